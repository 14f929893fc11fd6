#include "decoder/reconstruction.h"

#include <cstring>

#include "syntax/ics_info.h"
#include "tools/inverse_quantization.h"
#include "tools/pns.h"
#include "tools/stereo.h"
#include "tools/tns.h"

namespace {

using namespace fxaac;

constexpr int N = FXAAC_FRAME_LENGTH;

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

// M/S on the first channel's turn, then noise, intensity (which writes the
// second channel) and TNS; the second channel gets noise and TNS.
void spectral_tools(AacDecoder *dec, const FrameBuffers &buf, Block *b, int k)
{
    const bool precise = dec->arithmetic == FXAAC_ARITHMETIC_PRECISE;
    const auto pns = precise ? pns_decode_precise : pns_decode;
    ChannelElement *e = dec->elementRecord;
    ChannelStream *s;
    if (b->twoSingles) {
        s = &e->stream[k];
        pns(s, buf.spectrum[k], &dec->pnsSeed);
    } else if (e->first_channel == k) {
        s = &e->stream[0];
        ChannelStream *partner = &e->stream[1];
        int32_t *other = buf.spectrum[e->second_channel & 1];
        ms_decode(s, partner, buf.spectrum[k], other);
        pns(s, buf.spectrum[k], &dec->pnsSeed);
        if (b->channels == 2)
            (precise ? is_decode_precise : is_decode)(s, partner, buf.spectrum[k], other);
    } else {
        s = e->second_channel == k ? &e->stream[1] : &e->stream[0];
        pns(s, buf.spectrum[k], &dec->pnsSeed);
    }
    const auto objectType = static_cast<int16_t>(dec->objectType);
    if (precise)
        tns_decode_frame_precise(s, &s->tns, dec->sfIndex, objectType, buf.spectrum[k],
                                 dec->scratchA);
    else
        tns_decode_frame(s, &s->tns, dec->sfIndex, objectType, buf.spectrum[k], dec->scratchA);
    b->windowSequence[k] = s->window_sequence;
    b->windowShape[k] = s->window_shape;
}

}  // namespace

void fxaac::dequantize_channel(const ChannelStream *s, const int16_t *quantised, int32_t *spectrum,
                               int32_t *grouped, bool precise)
{
    const auto dequantize = precise ? dequantize_and_scale_precise : dequantize_and_scale;
    if (s->window_sequence == kEightShort) {
        dequantize(s, grouped, quantised);
        dec_quant_to_spec(s, spectrum, grouped);
    } else {
        dequantize(s, spectrum, quantised);  // in place in the decoder
    }
}

void fxaac::reconstruct_block(AacDecoder *dec, FrameBuffers *buf, Block *b)
{
    // Channel 1's quantised values leave the work area, whose first half
    // short-window dequantisation of channel 0 needs.
    if (b->channels == 2) {
        std::memcpy(buf->movedQuantised, buf->quantised[1], sizeof(int16_t) * N);
        buf->quantised[1] = buf->movedQuantised;
    }
    for (int k = 0; k < b->channels; k++)
        dequantize_channel(stream_of(dec->elementRecord, *b, k), buf->quantised[k],
                           buf->spectrum[k], buf->work,
                           dec->arithmetic == FXAAC_ARITHMETIC_PRECISE);
    for (int k = 0; k < b->channels; k++)
        spectral_tools(dec, *buf, b, k);
}
