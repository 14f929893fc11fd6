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

int32_t parse_single(AacDecoder *dec, BitReader *r, uint32_t id, Block *b)
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

int32_t parse_pair(AacDecoder *dec, BitReader *r, Block *b)
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
int32_t parse_resilient_block(AacDecoder *dec, BitReader *r, FrameStatus *st, Block *b)
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
int32_t parse_elements(AacDecoder *dec, BitReader *r, FrameStatus *st, Block *b)
{
    int elements = 0;
    for (;;) {
        uint32_t id = read_bits(r, kElementIdBits);
        switch (id) {
        case kSce:
        case kLfe:
            if (b->channels == 2) {
                std::puts("Error in SCE");
                return st->errorCode = FXAAC_ERR_CHANNELS;
            }
            b->twoSingles = b->channels == 1;
            st->errorCode = parse_single(dec, r, id, b);
            elements++;
            break;
        case kCpe:
            if (elements > 0) {
                std::puts("Error in CPE");
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
            VorNexAACPlus_GetSbrBitStream(r);
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
        inverse_quantization(grouped, b.quantised[k]);
        apply_scalefactors(s, grouped);
        dec_quant_to_spec(s, b.spectrum[k], grouped);
    } else {
        inverse_quantization(b.spectrum[k], b.quantised[k]);  // in place
        apply_scalefactors(s, b.spectrum[k]);
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

int32_t fail(AacDecoder *dec, const BitReader *r, FrameStatus *st)
{
    dec->rawBlocksLeft = 0;  // the next call of an ADTS stream looks for a new header
    st->outputSamples = 0;
    st->bytesConsumed = dec->isAdts ? static_cast<int16_t>(dec->adts.frame_length)
                                    : aac_get_processed_bits(r) >> 3;
    return dec->hasConfig ? -1 : 1;
}

}  // namespace

int32_t AACPlusDecode(AacDecoder *instance, const uint8_t *input, void *output,
                      FrameStatus *status, const int32_t *sbrFlag)
{
    AacDecoder *dec = instance;
    Block b;
    place_buffers(dec, output, &b);
    std::memset(status, 0, sizeof *status);
    BitReader r;
    aac_initbits(&r, input);

    if (dec->isAdts && dec->rawBlocksLeft == 0) {
        if ((status->errorCode = find_sync_word(&dec->adts, &r)) != 0 ||
            (status->errorCode = adts_frame(&dec->adts, &r)) != 0)
            return fail(dec, &r, status);
        dec->rawBlocksLeft = static_cast<int16_t>(dec->adts.number_of_raw_data_blocks_in_frame + 1);
    }

    int32_t failure = dec->objectType > kLastNonResilientType
                          ? parse_resilient_block(dec, &r, status, &b)
                          : parse_elements(dec, &r, status, &b);
    if (failure != 0)
        return fail(dec, &r, status);

    if (dec->isAdts) {
        if (dec->adts.number_of_raw_data_blocks_in_frame != 0 && dec->adts.protection_absent == 0)
            dec->adts.crc_check = read_bits(&r, kCrcBits);  // kept, not verified
        dec->rawBlocksLeft--;
    }
    aac_byte_align(&r);
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
        synthesize(dec, &b, output, sbrTime, *sbrFlag);
    }
    dec->frameCount++;
    return 1;
}
