// The frame call: parses every syntax element of one raw data block, then
// reconstructs and synthesises each channel.
//
// Buffers of one call (N = 1024 lines, W = the work area):
//   channel 0: spectrum at W + 4N bytes, its quantised values in the upper
//              half (W + 6N) until they are expanded in place;
//   channel 1: quantised values at W while parsing, then moved to
//              output + 2N; spectrum in the output buffer until channel 0's
//              samples are written, then in the element record;
//   sections:  the six section arrays in the first 720 bytes at W + 4N,
//              dead once the spectra are parsed;
//   synthesis: W serves as the 2048-word time buffer and scratchA, the
//              element record as scratchB.
#include <cstdio>
#include <cstring>

#include <fxaac/fxaac.h>

#include "bitstream/adts.h"
#include "bitstream/bit_reader.h"
#include "bitstream/data_stream.h"
#include "bitstream/program_config.h"
#include "decoder/fill_element.h"
#include "decoder/frame_stage.h"
#include "filterbank/filter_bank.h"
#include "syntax/channel_element.h"
#include "syntax/ics_info.h"
#include "tools/inverse_quantization.h"
#include "tools/pns.h"
#include "tools/stereo.h"
#include "tools/tns.h"

namespace {

using namespace fxaac;

constexpr int N = FXAAC_FRAME_LENGTH;

enum ElementId : uint32_t {
    kSce = 0, kCpe = 1, kCce = 2, kLfe = 3, kDse = 4, kPce = 5, kFil = 6, kEnd = 7,
};
constexpr uint32_t kElementIdBits = 3;
constexpr int kCrcBits = 16;

// What the parse of one block leaves for reconstruction.
struct Block {
    int channels = 0;
    bool twoSingles = false;  // two SCE/LFE elements, a channel each
    int16_t *quantised[2];    // per output channel
    int32_t *spectrum[2];
    int32_t windowSequence[2] = {0, 0};
    int32_t windowShape[2] = {0, 0};
    const char *message = nullptr;  // printed when the block fails for good
};

// Frame-call buffers inside the work area and the caller's output.
void place_buffers(AacDecoder *dec, void *output, Block *b)
{
    int32_t *work = dec->workBase;
    b->spectrum[0] = work + N;
    b->spectrum[1] = static_cast<int32_t *>(output);
    b->quantised[0] = reinterpret_cast<int16_t *>(work) + 3 * N;
    b->quantised[1] = reinterpret_cast<int16_t *>(work);

    ChannelElement *e = dec->elementRecord;
    std::memset(e, 0, sizeof *e);
    uint8_t *sections = reinterpret_cast<uint8_t *>(work + N);
    for (int s = 0; s < 2; s++) {
        e->stream[s].sect_cb = sections + FXAAC_MAX_SECTIONS * (3 * s);
        e->stream[s].sect_start = sections + FXAAC_MAX_SECTIONS * (3 * s + 1);
        e->stream[s].sect_end = sections + FXAAC_MAX_SECTIONS * (3 * s + 2);
    }
    dec->scratchB = reinterpret_cast<int32_t *>(e);
}

int32_t parse_single(AacDecoder *dec, BitCursor *r, uint32_t id, Block *b)
{
    ChannelElement *e = dec->elementRecord;
    e->element_id = static_cast<uint16_t>(id);
    e->first_channel = static_cast<uint16_t>(b->channels);
    e->second_channel = static_cast<uint16_t>(b->channels + 1);
    int32_t status = single_lfe_channel_element(dec, e, r, b->quantised, dec->sfIndex,
                                                dec->objectType);
    b->channels += 1;
    return status;
}

int32_t parse_pair(AacDecoder *dec, BitCursor *r, Block *b)
{
    ChannelElement *e = dec->elementRecord;
    e->element_id = kCpe;
    e->first_channel = 0;
    e->second_channel = 1;
    int32_t status = channel_pair_element(e, r, b->quantised[0], b->quantised[1], dec->sfIndex,
                                          dec->objectType);
    b->channels = 2;
    return status;
}

// Error-resilient streams carry one element without an element id.
int32_t parse_resilient_block(AacDecoder *dec, BitCursor *r, FrameStatus *st, Block *b)
{
    if (dec->channels == 1)
        st->errorCode = parse_single(dec, r, kSce, b);
    else if (dec->channels == 2)
        st->errorCode = parse_pair(dec, r, b);
    else
        return st->errorCode = FXAAC_ERR_CHANNELS;
    return st->errorCode > 0 ? st->errorCode : 0;
}

// Reads elements until END. A block carries one SCE or LFE, two of them, or
// one CPE; coupling channel elements are not decoded.
int32_t parse_elements(AacDecoder *dec, BitCursor *r, FrameStatus *st, Block *b)
{
    int elements = 0;
    for (;;) {
        uint32_t id = read_bits(r, kElementIdBits);
        switch (id) {
        case kSce:
        case kLfe:
            if (b->channels == 2) {
                b->message = "Error in SCE";
                return st->errorCode = FXAAC_ERR_CHANNELS;
            }
            b->twoSingles = b->channels == 1;
            st->errorCode = parse_single(dec, r, id, b);
            elements++;
            break;
        case kCpe:
            if (elements > 0) {
                b->message = "Error in CPE";
                return st->errorCode = FXAAC_ERR_CHANNELS;
            }
            st->errorCode = parse_pair(dec, r, b);
            elements = 1;
            break;
        case kCce:
            return st->errorCode = FXAAC_ERR_COUPLING_ELEMENT;
        case kDse:
            data_stream_element(r);
            break;
        case kPce: {
            ProgramConfig pce = {};
            st->errorCode = program_config_element(&pce, r);  // -12 is kept, not fatal
            break;
        }
        case kFil:
            dec->fillExtensions |= VorNexAACPlus_GetSbrBitStream(r);
            break;
        default:  // kEnd
            return 0;
        }
        if (st->errorCode > 0)
            return st->errorCode;
    }
}

// The stream that carries output channel k.
ChannelStream *stream_of(ChannelElement *e, const Block &b, int k)
{
    if (b.twoSingles)
        return &e->stream[k];
    if (e->first_channel == k)
        return &e->stream[0];
    if (e->second_channel == k)
        return &e->stream[1];
    return &e->stream[0];
}

// Quantised values to the scaled spectrum in window order.
void dequantize_channel(AacDecoder *dec, const ChannelStream *s, const Block &b, int k)
{
    if (s->window_sequence == kEightShort) {
        int32_t *grouped = dec->workBase;
        dequantize_and_scale(s, grouped, b.quantised[k]);
        dec_quant_to_spec(s, b.spectrum[k], grouped);
    } else {
        dequantize_and_scale(s, b.spectrum[k], b.quantised[k]);  // in place
    }
}

// M/S on the first channel's turn, then noise, intensity (which writes the
// second channel) and TNS; the second channel gets noise and TNS.
void spectral_tools(AacDecoder *dec, Block *b, int k)
{
    ChannelElement *e = dec->elementRecord;
    ChannelStream *s;
    if (b->twoSingles) {
        s = &e->stream[k];
        pns_decode(s, b->spectrum[k], &dec->pnsSeed);
    } else if (e->first_channel == k) {
        s = &e->stream[0];
        ChannelStream *partner = &e->stream[1];
        int32_t *other = b->spectrum[e->second_channel & 1];
        ms_decode(s, partner, b->spectrum[k], other);
        pns_decode(s, b->spectrum[k], &dec->pnsSeed);
        if (b->channels == 2)
            is_decode(s, partner, b->spectrum[k], other);
    } else {
        s = e->second_channel == k ? &e->stream[1] : &e->stream[0];
        pns_decode(s, b->spectrum[k], &dec->pnsSeed);
    }
    tns_decode_frame(s, &s->tns, dec->sfIndex, static_cast<int16_t>(dec->objectType),
                     b->spectrum[k], dec->scratchA);
    b->windowSequence[k] = s->window_sequence;
    b->windowShape[k] = s->window_shape;
}

void synthesize(AacDecoder *dec, Block *b, void *output, int32_t *sbrTime, int32_t sbrMode)
{
    for (int k = 0; k < b->channels; k++) {
        ifilter_bank(dec, b->windowSequence[k], b->windowShape[k], dec->prevWindowShape[k],
                     b->spectrum[k], dec->overlap[k], sbrTime + N * k, dec->workBase, output,
                     b->twoSingles, b->channels, static_cast<int16_t>(dec->pcmFormat), k, sbrMode);
        dec->prevWindowShape[k] = b->windowShape[k];
        dec->scratchB = reinterpret_cast<int32_t *>(dec->elementRecord);
        dec->scratchA = dec->workBase;
        // The filterbank moved channel 1's spectrum out of the output buffer
        // into the element record before writing channel 0's samples.
        b->spectrum[1] = reinterpret_cast<int32_t *>(dec->elementRecord);
    }
}

// limit: the bytes a bounded call was given (the count never exceeds them),
// or -1.
int32_t fail(AacDecoder *dec, const BitCursor *r, FrameStatus *st, int32_t limit = -1)
{
    dec->rawBlocksLeft = 0;  // the next call of an ADTS stream looks for a new header
    st->outputSamples = 0;
    st->bytesConsumed = dec->isAdts ? static_cast<int16_t>(dec->adts.frame_length)
                                    : aac_get_processed_bits(r) >> 3;
    if (limit >= 0 && st->bytesConsumed > limit)
        st->bytesConsumed = limit;
    return dec->hasConfig ? -1 : 1;
}

// Fails with an explicit byte count (bounded calls never report more bytes
// than they were given).
int32_t fail_consuming(AacDecoder *dec, FrameStatus *st, int32_t code, int32_t bytes)
{
    dec->rawBlocksLeft = 0;
    st->errorCode = code;
    st->outputSamples = 0;
    st->bytesConsumed = bytes;
    return dec->hasConfig ? -1 : 1;
}

// The instance fields that parsing changes. A bounded call that runs out of
// data puts them back, so that the caller can append data and call again.
struct ParseState {
    AdtsHeader adts;
    int16_t rawBlocksLeft;
    int32_t sceTagSeen;
    int32_t firstSceTag;
    int32_t *scratchB;
};

ParseState save_parse_state(const AacDecoder *dec)
{
    return {dec->adts, dec->rawBlocksLeft, dec->sceTagSeen, dec->firstSceTag, dec->scratchB};
}

int32_t need_more_input(AacDecoder *dec, const ParseState &saved, FrameStatus *st)
{
    dec->adts = saved.adts;
    dec->rawBlocksLeft = saved.rawBlocksLeft;
    dec->sceTagSeen = saved.sceTagSeen;
    dec->firstSceTag = saved.firstSceTag;
    dec->scratchB = saved.scratchB;
    st->errorCode = FXAAC_ERR_NEED_MORE_INPUT;
    st->outputSamples = 0;
    st->bytesConsumed = 0;
    return dec->hasConfig ? -1 : 1;
}

// The caller's data: a bounded call knows its length (bytes >= 0).
struct Input {
    const uint8_t *start;
    int32_t bytes;  // -1: unbounded
    bool bounded() const { return bytes >= 0; }
    bool overrun(const BitCursor &r, int32_t limitBytes) const
    {
        return aac_get_processed_bits(&r) > 8 * static_cast<int64_t>(limitBytes);
    }
};

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

// Reads the header of a new ADTS frame. Returns 1 to go on with the block,
// or 0 when the call has already ended (its result in *result).
int adts_frame_start(AacDecoder *dec, BitCursor *r, const Input &in, const ParseState &saved,
                     FrameStatus *st, int32_t *result)
{
    st->errorCode = find_sync_word(&dec->adts, r);
    if (st->errorCode != 0) {
        if (!in.bounded()) {
            *result = fail(dec, r, st);
            return 0;
        }
        // The search stopped at the end of the data or after 8192 positions:
        // the positions examined are consumed; with none, wait for data.
        int32_t skipped = static_cast<int32_t>(r->ptr - in.start);
        *result = skipped == 0 ? need_more_input(dec, saved, st)
                               : fail_consuming(dec, st, FXAAC_ERR_NO_SYNC, skipped);
        return 0;
    }
    int32_t skipped = dec->adts.frame_length;
    st->errorCode = adts_frame(&dec->adts, r);
    if (in.bounded()) {
        if (in.overrun(*r, in.bytes)) {
            *result = need_more_input(dec, saved, st);
            return 0;
        }
        if (!plausible_adts_length(dec->adts, skipped)) {
            *result = fail_consuming(dec, st, FXAAC_ERR_ADTS_LENGTH, skipped + 1);
            return 0;
        }
        // A frame of one block is decoded only once it is all there; the
        // blocks of a longer frame are checked one by one as they come.
        if (dec->adts.number_of_raw_data_blocks_in_frame == 0 &&
            in.bytes < dec->adts.frame_length) {
            *result = need_more_input(dec, saved, st);
            return 0;
        }
    }
    if (st->errorCode != 0) {
        *result = fail(dec, r, st, in.bytes);
        return 0;
    }
    dec->rawBlocksLeft = static_cast<int16_t>(dec->adts.number_of_raw_data_blocks_in_frame + 1);
    return 1;
}

int32_t decode_frame(AacDecoder *dec, const Input &in, void *output, FrameStatus *status,
                     const int32_t *sbrFlag, bool quiet = false)
{
    const ParseState saved = save_parse_state(dec);
    Block b;
    place_buffers(dec, output, &b);
    std::memset(status, 0, sizeof *status);
    BitCursor r;
    if (in.bounded())
        init_bounded(&r, in.start, in.bytes);
    else
        aac_initbits(&r, in.start);

    // A whole single-block ADTS frame is present: the block must end in it.
    int32_t frameLimit = in.bytes;
    if (dec->isAdts && dec->rawBlocksLeft == 0) {
        int32_t result;
        if (!adts_frame_start(dec, &r, in, saved, status, &result))
            return result;
        if (dec->adts.number_of_raw_data_blocks_in_frame == 0)
            frameLimit = dec->adts.frame_length;
    }

    int32_t failure = dec->objectType > kLastNonResilientType
                          ? parse_resilient_block(dec, &r, status, &b)
                          : parse_elements(dec, &r, status, &b);
    if (failure == 0 && dec->isAdts) {
        if (dec->adts.number_of_raw_data_blocks_in_frame != 0 && dec->adts.protection_absent == 0)
            dec->adts.crc_check = read_bits(&r, kCrcBits);  // kept, not verified
        dec->rawBlocksLeft--;
    }
    if (failure == 0)
        aac_byte_align(&r);
    if (in.bounded() && in.overrun(r, frameLimit)) {
        if (frameLimit == in.bytes)  // the data end here: the block may go on
            return need_more_input(dec, saved, status);
        // The block runs past its own ADTS frame: damaged.
        return fail_consuming(dec, status, failure != 0 ? status->errorCode : FXAAC_ERR_FRAME_OVERRUN,
                              frameLimit);
    }
    // The trusting entry point keeps its diagnostics; bounded calls print nothing.
    if (failure != 0 && b.message && !quiet)
        std::puts(b.message);
    if (failure != 0) {
        // A bounded call that did not read this ADTS frame's header cannot
        // know where the frame ends: it consumes what it read and resumes
        // with a sync search.
        if (in.bounded() && dec->isAdts && frameLimit == in.bytes) {
            int32_t read = (aac_get_processed_bits(&r) + 7) >> 3;
            return fail_consuming(dec, status, status->errorCode,
                                  read < 1 ? 1 : (read > in.bytes ? in.bytes : read));
        }
        return fail(dec, &r, status, in.bytes);
    }

    status->bytesConsumed = aac_get_processed_bits(&r) >> 3;
    status->outputSamples = b.channels * (dec->objectType == kObjectTypeLd ? N / 2 : N);
    if (b.channels > 0) {
        if (b.channels == 2) {
            int16_t *moved = reinterpret_cast<int16_t *>(output) + N;
            std::memcpy(moved, b.quantised[1], sizeof(int16_t) * N);
            b.quantised[1] = moved;
        }
        for (int k = 0; k < b.channels; k++)
            dequantize_channel(dec, stream_of(dec->elementRecord, b, k), b, k);
        for (int k = 0; k < b.channels; k++)
            spectral_tools(dec, &b, k);
        int32_t sbrTime[2 * N];  // hand-off samples in SBR mode, dropped at return
        synthesize(dec, &b, output, sbrTime, sbrFlag != nullptr ? *sbrFlag : 0);
        dec->lastChannels = b.channels;  // the layout AACPlusConcealFrame repeats
    }
    dec->frameCount++;
    return 1;
}

}  // namespace

int32_t fxaac::decode_raw_data(AacDecoder *instance, const uint8_t *input, int32_t inputBytes,
                               void *output, FrameStatus *status, const int32_t *sbrFlag,
                               bool quiet)
{
    return decode_frame(instance, Input{input, inputBytes < 0 ? 0 : inputBytes}, output, status,
                        sbrFlag, quiet);
}

int32_t AACPlusDecode(AacDecoder *instance, const uint8_t *input, void *output,
                      FrameStatus *status, const int32_t *sbrFlag)
{
    return decode_frame(instance, Input{input, -1}, output, status, sbrFlag);
}

int32_t AACPlusDecodeBuffer(AacDecoder *instance, const uint8_t *input, int32_t inputBytes,
                            void *output, FrameStatus *status, const int32_t *sbrFlag)
{
    return fxaac::decode_raw_data(instance, input, inputBytes, output, status, sbrFlag, false);
}
