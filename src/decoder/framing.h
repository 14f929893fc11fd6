// Framing: where a frame call's block starts and ends in the caller's data.
// For ADTS the frame header (sync search, fields, plausibility); for every
// stream the bytes a call consumes and the instance state a bounded call
// puts back when the data end too early.
#ifndef FXAAC_DECODER_FRAMING_H
#define FXAAC_DECODER_FRAMING_H

#include <cstdint>

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"

namespace fxaac {

// The caller's data: a bounded call knows its length (bytes >= 0).
struct FrameInput {
    const uint8_t *start;
    int32_t bytes;  // -1: unbounded
    bool bounded() const { return bytes >= 0; }
};

// The instance fields that parsing changes. A bounded call that runs out of
// data puts them back, so that the caller can append data and call again.
struct ParseState {
    AdtsHeader adts;
    int16_t rawBlocksLeft;
    int32_t sceTagSeen;
    int32_t firstSceTag;
    uint32_t fillExtensions;
    int32_t *scratchB;
};

ParseState save_parse_state(const AacDecoder *dec);

// Ends a call that produced no samples with code and consumed bytes.
// FXAAC_ERR_NEED_MORE_INPUT puts the saved state back and consumes nothing;
// any other code makes the next call of an ADTS stream look for a new frame
// header. Returns the frame call's result: -1 for ADIF and
// AudioSpecificConfig streams, else 1.
int32_t end_without_samples(AacDecoder *dec, const ParseState &saved, FrameStatus *st, int32_t code,
                            int32_t consumed);

// The bytes a failed block consumes: the ADTS frame's length (the bytes
// skipped before its sync word included), or the bytes read; never more
// than a bounded call was given.
int32_t failed_block_bytes(const AacDecoder *dec, const BitCursor &r, const FrameInput &in);

// Reads the header of a new ADTS frame at r. Returns true to go on with its
// first block, whose end a bounded cursor is then narrowed to when the frame
// holds one block; false when the call has ended (its result in *result).
bool start_adts_frame(AacDecoder *dec, BitCursor *r, const FrameInput &in, const ParseState &saved,
                      FrameStatus *st, int32_t *result);

}  // namespace fxaac

#endif  // FXAAC_DECODER_FRAMING_H
