// Benchmark inputs: the test vectors of tests/vectors, and the channels of
// their raw data blocks captured at the points where the parsers and the
// spectral tools take over, so that each stage can be timed alone on real
// frames.
#ifndef FXAAC_BENCH_DATA_H
#define FXAAC_BENCH_DATA_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"

namespace fxaac_bench {

// A vector's line of tests/vectors/manifest.txt.
struct VectorInfo {
    std::string name, kind;
    int32_t fs = 0, chn = 0, hdrPrsnt = 1;
};

// tests/vectors, or the folder named by the environment variable FXAAC_VECTORS.
std::string vector_dir();
std::vector<VectorInfo> manifest();
// The file's bytes followed by 8 zero bytes (room for the unbounded reader's
// look-ahead).
std::vector<uint8_t> read_vector(const std::string &name);

// One channel of one raw data block. The readers point into the owning
// StreamCapture's bytes; the streams' section lists point into this record.
struct ChannelCapture {
    ChannelStream atSections;  // after global_gain and ics_info: input of section_data
    BitCursor sectionReader;   // at the section data
    ChannelStream atSpectrum;  // after the side data: input of spectral_data
    BitCursor spectrumReader;  // at the spectral data
    uint8_t sections[3][FXAAC_MAX_SECTIONS];        // atSpectrum's section lists
    uint8_t sectionScratch[3][FXAAC_MAX_SECTIONS];  // atSections' lists, rewritten by reruns
    int16_t quantised[FXAAC_FRAME_LENGTH];          // spectral_data's output, pulses added
    int32_t spectrum[FXAAC_FRAME_LENGTH];           // dequantised and scaled, window order
};

// Every channel of every raw data block of an ADTS vector (one block per
// ADTS frame), as the library's own block parser meets them.
struct StreamCapture {
    std::string name;
    int32_t sfIndex = 0;
    int32_t objectType = 1;  // profile numbering, as the decoder passes it: 1 is LC
    int32_t frames = 0;
    std::vector<uint8_t> bytes;
    std::vector<std::unique_ptr<ChannelCapture>> channels;
};

// Captures a vector; on a stream it cannot walk it reports why in *error and
// returns nullptr.
std::unique_ptr<StreamCapture> capture_stream(const std::string &name, std::string *error);

}  // namespace fxaac_bench

#endif  // FXAAC_BENCH_DATA_H
