// section_data and scale_factor_data (ISO/IEC 14496-3 4.4.2.7, 4.6.2.3):
// the codebook sections of every window group and one value per coded band.
#ifndef FXAAC_SYNTAX_SECTION_DATA_H
#define FXAAC_SYNTAX_SECTION_DATA_H

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"

namespace fxaac {
enum Codebook : int8_t {
    kZeroHcb = 0,
    kEscHcb = 11,
    kReservedHcb = 12,
    kNoiseHcb = 13,
    kIntensityHcb2 = 14,
    kIntensityHcb = 15,
};

// Decodes one scalefactor Huffman codeword: the difference, -60 to +60.
int32_t decode_scale_factor_difference(BitCursor *reader);
}  // namespace fxaac

namespace fxaac {
// Reads the sections of every group: 0, or 21 when a section ends past
// max_sfb or a group has more sections than bands (which would overrun the
// section arrays).
int32_t section_data(ChannelStream *stream, BitCursor *reader);
// Reads scale factors, noise energies and intensity positions: 0, 2 (reserved
// codebook 12 in a band) or 3 (a scale factor below 0).
int32_t scale_factor_data(ChannelStream *stream, BitCursor *reader);
}  // namespace fxaac

#endif  // FXAAC_SYNTAX_SECTION_DATA_H
