// Fill elements (ISO/IEC 14496-3 fill_element): their payloads, SBR data
// included, are skipped unread.
#ifndef FXAAC_DECODER_FILL_ELEMENT_H
#define FXAAC_DECODER_FILL_ELEMENT_H

#include "bitstream/bit_reader.h"

namespace fxaac {
// Advances the reader, standing after the element id, past the element.
// Returns 1 << extension_type (the first 4 payload bits, ISO/IEC 14496-3
// 4.4.2.7), or 0 for an empty element.
uint32_t VorNexAACPlus_GetSbrBitStream(BitCursor *reader);
}  // namespace fxaac

#endif  // FXAAC_DECODER_FILL_ELEMENT_H
