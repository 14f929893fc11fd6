#include "decoder/framing.h"

#include "bitstream/adts.h"

namespace {

using namespace fxaac;

// A bounded ADTS frame must be plausible and wholly present before its block
// is parsed. ISO/IEC 13818-7 bounds a raw data block by 6144 bits per
// channel; a length of more than twice that (room for over-stuffed fill
// data), or one shorter than the header, marks a false sync word or a
// damaged header.
constexpr int32_t kMaxBlockBytesPerChannel = 2 * 6144 / 8;
constexpr int32_t kMaxAdtsChannels = 8;

bool plausible_adts_length(const AdtsHeader &h, int32_t skipped)
{
    int32_t length = static_cast<int32_t>(h.frame_length) - skipped;
    int32_t channels = h.channel_configuration == 0 || h.channel_configuration == 7
                           ? kMaxAdtsChannels
                           : h.channel_configuration;
    int32_t blocks = h.number_of_raw_data_blocks_in_frame + 1;
    int32_t header = 7 + (h.protection_absent ? 0 : 2 * blocks);
    return length >= header && length <= header + blocks * channels * kMaxBlockBytesPerChannel;
}

}  // namespace

fxaac::ParseState fxaac::save_parse_state(const AacDecoder *dec)
{
    return {dec->adts,        dec->rawBlocksLeft,  dec->sceTagSeen,
            dec->firstSceTag, dec->fillExtensions, dec->scratchB};
}

int32_t fxaac::end_without_samples(AacDecoder *dec, const ParseState &saved, FrameStatus *st,
                                   int32_t code, int32_t consumed)
{
    if (code == FXAAC_ERR_NEED_MORE_INPUT) {
        dec->adts = saved.adts;
        dec->rawBlocksLeft = saved.rawBlocksLeft;
        dec->sceTagSeen = saved.sceTagSeen;
        dec->firstSceTag = saved.firstSceTag;
        dec->fillExtensions = saved.fillExtensions;
        dec->scratchB = saved.scratchB;
        consumed = 0;
    } else {
        dec->rawBlocksLeft = 0;  // the next call of an ADTS stream looks for a new header
    }
    st->errorCode = code;
    st->outputSamples = 0;
    st->bytesConsumed = consumed;
    return dec->hasConfig ? -1 : 1;
}

int32_t fxaac::failed_block_bytes(const AacDecoder *dec, const BitCursor &r, const FrameInput &in)
{
    int32_t bytes = dec->isAdts ? static_cast<int16_t>(dec->adts.frame_length)
                                : aac_get_processed_bits(&r) >> 3;
    return in.bounded() && bytes > in.bytes ? in.bytes : bytes;
}

bool fxaac::start_adts_frame(AacDecoder *dec, BitCursor *r, const FrameInput &in,
                             const ParseState &saved, FrameStatus *st, int32_t *result)
{
    int32_t code = find_sync_word(&dec->adts, r);
    if (code != 0) {
        // A bounded search stops at the end of the data or after 8192
        // positions: the positions examined are consumed; with none, wait
        // for data.
        int32_t skipped = static_cast<int32_t>(r->ptr - in.start);
        if (!in.bounded())
            *result = end_without_samples(dec, saved, st, code, failed_block_bytes(dec, *r, in));
        else
            *result = end_without_samples(dec, saved, st,
                                          skipped == 0 ? FXAAC_ERR_NEED_MORE_INPUT : code, skipped);
        return false;
    }
    int32_t skipped = dec->adts.frame_length;
    code = adts_frame(&dec->adts, r);
    if (in.bounded()) {
        if (r->overrun) {
            *result = end_without_samples(dec, saved, st, FXAAC_ERR_NEED_MORE_INPUT, 0);
            return false;
        }
        if (!plausible_adts_length(dec->adts, skipped)) {
            *result = end_without_samples(dec, saved, st, FXAAC_ERR_ADTS_LENGTH, skipped + 1);
            return false;
        }
        // A frame of one block is decoded only once it is all there, and its
        // block must end inside it; the blocks of a longer frame are checked
        // one by one as they come.
        if (dec->adts.number_of_raw_data_blocks_in_frame == 0) {
            if (in.bytes < dec->adts.frame_length) {
                *result = end_without_samples(dec, saved, st, FXAAC_ERR_NEED_MORE_INPUT, 0);
                return false;
            }
            r->end = in.start + dec->adts.frame_length;
        }
    }
    if (code != 0) {
        *result = end_without_samples(dec, saved, st, code, failed_block_bytes(dec, *r, in));
        return false;
    }
    dec->rawBlocksLeft = static_cast<int16_t>(dec->adts.number_of_raw_data_blocks_in_frame + 1);
    return true;
}
