// Block parsing: the syntax elements of one raw data block into the element
// record and the quantised spectra (ISO/IEC 14496-3 4.4.2.1).
#ifndef FXAAC_DECODER_BLOCK_PARSE_H
#define FXAAC_DECODER_BLOCK_PARSE_H

#include <cstdint>

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"
#include "decoder/frame_buffers.h"
#include "syntax/channel_element.h"

namespace fxaac {

// Where a fill element's SBR extension payload lies (ISO/IEC 14496-3
// sbr_extension_data): from bit bitPos of ptr on, bits long, inside the
// frame's data. element: 0 for the first channel element of the block, 1
// for the second single channel element.
struct SbrPayloadRef {
    const uint8_t *ptr = nullptr;
    int32_t bitPos = 0;
    int32_t bits = 0;
    uint8_t crc = 0;  // extension type EXT_SBR_DATA_CRC
    uint8_t element = 0;
};

// What the parse of one block leaves for reconstruction and synthesis.
struct Block {
    int channels = 0;
    bool twoSingles = false;        // two SCE/LFE elements, a channel each
    int32_t code = 0;               // the last element's status, as the frame reports it
    const char *message = nullptr;  // the diagnostic of a misplaced element
    int32_t windowSequence[2] = {0, 0};
    int32_t windowShape[2] = {0, 0};
    int sbrPayloads = 0;  // SBR payloads met after a channel element
    SbrPayloadRef sbr[2];
};

// Clears the element record, binds its section lists and parses elements
// until END (or, for error-resilient object types, the one element the
// channel count implies). A block carries one SCE or LFE, two of them, or
// one CPE; a coupling channel element stops it. Returns 0, or the positive
// status that failed the block. A bounded cursor that runs past its end
// stops the parse at the next element boundary with 0; the caller reads
// its overrun flag. tap: an observer of each channel's parse, or null.
int32_t parse_block(AacDecoder *dec, BitCursor *r, const FrameBuffers &buf, Block *b,
                    const ChannelTap *tap = nullptr);

}  // namespace fxaac

#endif  // FXAAC_DECODER_BLOCK_PARSE_H
