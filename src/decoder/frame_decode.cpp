// The frame call: one raw data block through four stages, each with one job.
//   framing         decoder/framing.cpp        the ADTS header, limits, bytes consumed
//   block parsing   decoder/block_parse.cpp    elements into the element record
//   reconstruction  decoder/reconstruction.cpp the per-channel spectral tools
//   synthesis       decoder/synthesis.cpp      filterbank and output
// over the buffers of decoder/frame_buffers.h.
#include <cstdio>
#include <cstring>

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"
#include "decoder/block_parse.h"
#include "decoder/frame_buffers.h"
#include "decoder/frame_stage.h"
#include "decoder/framing.h"
#include "decoder/reconstruction.h"
#include "decoder/synthesis.h"
#include "syntax/ics_info.h"

namespace {

using namespace fxaac;

constexpr int N = FXAAC_FRAME_LENGTH;
constexpr int kCrcBits = 16;

// Where a bounded call's block ended in failure or ran past its end, and the
// call without samples that follows. limitIsData: the cursor's end is the end
// of the caller's data, not of a whole ADTS frame.
int32_t end_failed_block(AacDecoder *dec, const BitCursor &r, const FrameInput &in,
                         const ParseState &saved, FrameStatus *st, int32_t failure,
                         bool limitIsData)
{
    if (r.overrun) {
        if (limitIsData)  // the data end here: the block may go on
            return end_without_samples(dec, saved, st, FXAAC_ERR_NEED_MORE_INPUT, 0);
        // The block runs past its own ADTS frame: damaged.
        return end_without_samples(dec, saved, st, failure != 0 ? failure : FXAAC_ERR_FRAME_OVERRUN,
                                   static_cast<int32_t>(r.end - in.start));
    }
    // A bounded call that did not read this ADTS frame's header cannot know
    // where the frame ends: it consumes what it read and resumes with a sync
    // search.
    if (dec->isAdts && limitIsData) {
        int32_t read = (aac_get_processed_bits(&r) + 7) >> 3;
        return end_without_samples(dec, saved, st, failure,
                                   read < 1 ? 1 : (read > in.bytes ? in.bytes : read));
    }
    return end_without_samples(dec, saved, st, failure, failed_block_bytes(dec, r, in));
}

int32_t decode_frame(AacDecoder *dec, const FrameInput &in, void *output, FrameStatus *status,
                     const int32_t *sbrFlag, const FrameHook *hook = nullptr)
{
    const ParseState saved = save_parse_state(dec);
    FrameBuffers buf = plan_frame_buffers(dec, output);
    std::memset(status, 0, sizeof *status);
    BitCursor r;
    if (in.bounded())
        init_bounded(&r, in.start, in.bytes);
    else
        aac_initbits(&r, in.start);

    int32_t result;
    if (dec->isAdts && dec->rawBlocksLeft == 0 &&
        !start_adts_frame(dec, &r, in, saved, status, &result))
        return result;
    const bool limitIsData = in.bounded() && r.end == in.start + in.bytes;

    Block b;
    const int32_t failure = parse_block(dec, &r, buf, &b);
    if (failure == 0 && dec->isAdts) {
        if (dec->adts.number_of_raw_data_blocks_in_frame != 0 && dec->adts.protection_absent == 0)
            dec->adts.crc_check = read_bits(&r, kCrcBits);  // kept, not verified
        dec->rawBlocksLeft--;
    }
    if (failure == 0)
        aac_byte_align(&r);
    if (in.bounded() && (failure != 0 || r.overrun))
        return end_failed_block(dec, r, in, saved, status, failure, limitIsData);
    if (failure != 0) {
        // The trusting entry point keeps its diagnostics.
        if (b.message)
            std::puts(b.message);
        return end_without_samples(dec, saved, status, failure, failed_block_bytes(dec, r, in));
    }

    status->errorCode = b.code;
    status->bytesConsumed = aac_get_processed_bits(&r) >> 3;
    status->outputSamples = b.channels * (dec->objectType == kObjectTypeLd ? N / 2 : N);
    const bool hooked = hook != nullptr && hook->parsed(hook->sink.ctx, b);
    if (b.channels > 0) {
        reconstruct_block(dec, &buf, &b);
        synthesize_block(dec, &buf, b, output, sbrFlag != nullptr ? *sbrFlag : 0,
                         hooked ? &hook->sink : nullptr);
        dec->lastChannels = b.channels;  // the layout AACPlusConcealFrame repeats
    }
    dec->frameCount++;
    return 1;
}

}  // namespace

int32_t fxaac::decode_raw_data(AacDecoder *instance, const uint8_t *input, int32_t inputBytes,
                               void *output, FrameStatus *status, const int32_t *sbrFlag)
{
    return decode_frame(instance, FrameInput{input, inputBytes < 0 ? 0 : inputBytes}, output,
                        status, sbrFlag);
}

int32_t fxaac::decode_raw_data_hooked(AacDecoder *instance, const uint8_t *input,
                                      int32_t inputBytes, void *output, FrameStatus *status,
                                      const FrameHook &hook)
{
    return decode_frame(instance, FrameInput{input, inputBytes < 0 ? 0 : inputBytes}, output,
                        status, nullptr, &hook);
}

int32_t AACPlusDecode(AacDecoder *instance, const uint8_t *input, void *output, FrameStatus *status,
                      const int32_t *sbrFlag)
{
    return decode_frame(instance, FrameInput{input, -1}, output, status, sbrFlag);
}

int32_t AACPlusDecodeBuffer(AacDecoder *instance, const uint8_t *input, int32_t inputBytes,
                            void *output, FrameStatus *status, const int32_t *sbrFlag)
{
    return fxaac::decode_raw_data(instance, input, inputBytes, output, status, sbrFlag);
}
