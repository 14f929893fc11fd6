// The sources: one decoding loop per input family, each reading its input
// from the buffer (or the file) and handing frames to the session. Each
// returns false with *error when decoding cannot start or must stop.
#ifndef FXAAC_CLI_SOURCES_H
#define FXAAC_CLI_SOURCES_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "input_buffer.h"
#include "session.h"

namespace fxaac_cli {

// Headerless raw data blocks at the rate and channel count of the options
// (adts_source.cpp). total: the input's size, 0 when not known.
bool decode_raw(Session &s, InputBuffer &in, const DecodeOptions &options, uint64_t total,
                std::string *error);

// An ADTS or ADIF stream, or an AudioSpecificConfig (also behind a "HEAAC"
// marker) followed by raw data blocks (adts_source.cpp). kind: as detected,
// Unknown for input tried as an AudioSpecificConfig.
bool decode_with_header(Session &s, InputBuffer &in, FILE *file, InputKind kind, uint64_t total,
                        std::string *error);

// A LOAS stream of LATM elements (latm_source.cpp).
bool decode_latm(Session &s, InputBuffer &in, uint64_t total, std::string *error);

// The first AAC track of an MP4/M4A file (mp4_source.cpp).
bool decode_mp4(Session &s, InputBuffer &in, FILE *file, std::string *error);

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_SOURCES_H
