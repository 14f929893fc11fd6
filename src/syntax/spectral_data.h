// spectral_data (ISO/IEC 14496-3 4.4.2.7, 4.6.3): the Huffman-coded quantised
// spectrum of one channel, decoded with the packed codebook tables.
#ifndef FXAAC_SYNTAX_SPECTRAL_DATA_H
#define FXAAC_SYNTAX_SPECTRAL_DATA_H

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"

namespace fxaac {
// Largest magnitude an escape sequence may carry (prefix of at most 8 ones).
constexpr int kMaxEscapeMagnitude = 8191;

// Decodes one codeword of codebook cb (1 to 11) into out[0..dim-1], signs
// applied and escapes resolved; returns the value count, or -1 for an escape
// beyond kMaxEscapeMagnitude.
int decode_spectral_codeword(BitCursor *reader, int cb, int16_t *out);
}  // namespace fxaac

namespace fxaac {
// Writes the channel's 1024 quantised values (512 for ER AAC LD), grouped and
// window-interleaved for short windows: 0, or 22 for an escape above 8191.
int32_t spectral_data(const ChannelStream *stream, BitCursor *reader, int16_t *quantised,
                      int16_t objectType);
}  // namespace fxaac

#endif  // FXAAC_SYNTAX_SPECTRAL_DATA_H
