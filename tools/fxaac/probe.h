// What the input is: its kind from the first bytes, the formats fxaac does not
// decode named for what they are, where an ADTS or LOAS stream cut anywhere
// begins, and the metadata tags in front of and behind a stream.
#ifndef FXAAC_CLI_PROBE_H
#define FXAAC_CLI_PROBE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace fxaac_cli {

enum class InputKind { Unknown, Adts, Adif, Asc, MarkedAsc, Mp4, Raw, Latm };

const char *input_kind_name(InputKind kind);

// The kind of input that the first bytes announce (Unknown: none of the
// recognisable ones; such input is tried as an AudioSpecificConfig).
InputKind detect_input_kind(const uint8_t *data, size_t n);

// What a file that fxaac does not decode looks like ("an MP3 file", "a WAV
// file", ...), from its first bytes; nullptr when it looks like none of them.
// afterId3: the bytes follow an ID3v2 tag (which MP3 files begin with).
const char *foreign_format(const uint8_t *data, size_t n, bool afterId3);

// An ADTS fixed header at data (ISO/IEC 13818-7 adts_fixed_header): sync
// word, layer 0, a sampling frequency index below 12, a frame length of at
// least the header. Returns the frame length, or 0.
size_t adts_frame_length(const uint8_t *data, size_t n);

// Two ADTS headers with the same fixed fields (ISO/IEC 13818-7
// adts_fixed_header; the private bit aside), 4 bytes each.
bool same_fixed_header(const uint8_t *a, const uint8_t *b);

// Offset of the first ADTS header that the next one confirms (same fixed
// header, its frame length leading to the next sync word), or of a lone
// header whose frame ends exactly at the end of the data when atEnd; n when
// there is none.
size_t find_adts_start(const uint8_t *data, size_t n, bool atEnd);

// A LOAS sync word and length at the start that lead to the next sync word
// (or to the end of the data).
bool looks_like_loas(const uint8_t *data, size_t n);

// Where a LOAS stream that does not start on a sync word (one cut anywhere)
// begins in data[0, n): the first of three elements that lead from one to
// the next; n when there is none.
size_t loas_start(const uint8_t *data, size_t n);

// Audio object type of an AudioSpecificConfig (0 when it is cut off).
int32_t asc_object_type(const uint8_t *data, size_t n);

// channelConfiguration of an AudioSpecificConfig (ISO/IEC 14496-3
// 1.6.2.1), or -1 when it is cut off.
int asc_channel_config(const uint8_t *data, size_t n);

// Bytes of an ID3v2 tag in front of the stream, 0 when there is none.
uint64_t id3_tag_bytes(const uint8_t *data, size_t n);

// Bytes of metadata tags at the end of data (ID3v1, APEv2, Lyrics3 v1 and
// v2, appended ID3v2), in any order and number; 0 when it ends otherwise.
size_t trailing_tag_bytes(const uint8_t *data, size_t n);

// Where the metadata tags at the end of a regular file of size bytes begin
// (UINT64_MAX for other inputs: their tags are found once the end is read).
uint64_t tags_start(FILE *file, uint64_t size);

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_PROBE_H
