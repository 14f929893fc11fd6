// ADTS framing (ISO/IEC 13818-7 and ISO/IEC 14496-3 adts_frame): sync search,
// header parsing, and the object-type gate shared by every configuration path.
#ifndef FXAAC_BITSTREAM_ADTS_H
#define FXAAC_BITSTREAM_ADTS_H

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"

namespace fxaac {
// 0 when the audio object type (0 to 31) is decodable (AAC LC, ER AAC LC), else -12.
int32_t can_decode_objType(int32_t objectType);
}  // namespace fxaac

namespace fxaac {
// Byte-by-byte search over 8192 positions; 0 with the reader after the sync
// bits and the skipped byte count in frame_length, or -5.
int32_t find_sync_word(AdtsHeader *header, BitCursor *reader);
// Consumes 12 bits; 0 when they are the sync word, else -5.
int32_t find_sync_word_once(AdtsHeader *header, BitCursor *reader);
int32_t adts_fixed_header(AdtsHeader *header, BitCursor *reader);
void adts_variable_header(AdtsHeader *header, BitCursor *reader);
void adts_error_check(AdtsHeader *header, BitCursor *reader);
void adts_header_error_check(AdtsHeader *header, BitCursor *reader);
// Everything after the sync word; 0, or -12 for an undecodable object type.
int32_t adts_frame(AdtsHeader *header, BitCursor *reader);
}  // namespace fxaac

namespace fxaac {
constexpr uint32_t kAdtsSyncWord = 0xFFF;
// Positions examined by the sync search: 0 to 8191 bytes after its start.
constexpr int kSyncSearchPositions = 8192;
}  // namespace fxaac

#endif  // FXAAC_BITSTREAM_ADTS_H
