// The HE-AAC calls: the core's frame stages with the SBR decoder hooked in
// after block parsing (the element's SBR payloads) and after each channel's
// synthesis (its samples, handed over at full precision).
#include <cstddef>
#include <cstring>

#include <fxaac/fxaac_heaac.h>

#include "bitstream/audio_config.h"
#include "decoder/block_parse.h"
#include "decoder/frame_stage.h"
#include "filterbank/pcm_output.h"
#include "ps/ps_decoder.h"
#include "ps/ps_syntax.h"
#include "sbr/sbr_decoder.h"

namespace {

using namespace fxaac;

// Parametric stereo of a mono stream: its decoder, the payload's state, the
// right channel's synthesis bank and the frame's parameters.
struct PsMemory {
    ps::PsDecoder decoder;
    ps::PsSyntaxState syntax;
    sbr::QmfSynthesisState synthesis;
    ps::PsFrame frame;
};

// The opaque memory of the record: the SBR decoder's frame work and state.
// Parametric stereo comes with a mono core, whose SBR decoder leaves its
// second channel unused: the PS memory takes that channel's place (the last
// member of the decoder) and the spare bytes after it. A frame of two
// channels takes the second channel back (psOwnsSecond 0, the channel
// reset); a frame of one gives it to parametric stereo again (reset too).
constexpr size_t kPsSpare = sizeof(PsMemory) - sizeof(sbr::SbrChannel);
struct SbrMemory {
    sbr::SbrWork work;
    int32_t psOwnsSecond;  // 1: decoder.channel[1] holds the PS memory
    sbr::SbrDecoder decoder;
    uint8_t psSpare[kPsSpare];
};
static_assert(sizeof(PsMemory) > sizeof(sbr::SbrChannel), "the spare bytes hold the rest");
static_assert(offsetof(sbr::SbrDecoder, channel) + 2 * sizeof(sbr::SbrChannel) ==
                  sizeof(sbr::SbrDecoder),
              "the second channel ends the decoder");
static_assert(offsetof(SbrMemory, psSpare) ==
                  offsetof(SbrMemory, decoder) + sizeof(sbr::SbrDecoder),
              "the spare bytes follow the decoder");
static_assert(alignof(sbr::SbrChannel) % alignof(PsMemory) == 0, "PS memory aligned there");
static_assert(sizeof(SbrMemory) <= FXAAC_HEAAC_SBR_BYTES, "FXAAC_HEAAC_SBR_BYTES holds it");
static_assert(alignof(SbrMemory) <= alignof(uint64_t), "HeAacDecoder::sbr aligns it");

SbrMemory *sbr_memory(HeAacDecoder *d) { return reinterpret_cast<SbrMemory *>(d->sbr); }

PsMemory &ps_memory(SbrMemory *m) { return *reinterpret_cast<PsMemory *>(&m->decoder.channel[1]); }

constexpr int32_t kHeaderCopyBytes = 5200;  // the longest ADIF header (16 PCEs) is under 5 KB

// One frame call through the hooks.
struct FrameCall {
    HeAacDecoder *d;
    void *output;
    Block block;          // the parse's payload places and layout
    bool data[2] = {};    // per SBR element: its payload was read
    bool psData = false;  // the frame's parametric stereo data was taken
    int32_t warning = 0;  // FXAAC_ERR_SBR_DATA when a payload was refused
};

// The output rate, decided at the first frame: SBR when the configuration
// says so or the frame carries SBR data, unless the configuration says none.
void decide(HeAacDecoder *d, bool payloads)
{
    const bool on = d->sbrSignalled == 1 || (d->sbrSignalled == 0 && payloads);
    const int32_t coreRate = d->core.sampleRate;
    d->sbrActive = on ? 1 : 0;
    if (!on) {
        d->outputRate = coreRate;
        return;
    }
    // The SBR tool runs at twice the core rate. A signalled SBR rate equal to
    // the core rate asks for its downsampled output (single-rate SBR).
    const int32_t sbrRate = 2 * coreRate;
    const bool singleRate = d->sbrRate > 0 && d->sbrRate <= coreRate;
    const bool down = singleRate || (d->flags & FXAAC_HEAAC_DOWNSAMPLED) != 0;
    sbr::init_decoder(&sbr_memory(d)->decoder, sbrRate, down);
    d->outputRate = down ? coreRate : sbrRate;
    d->downsampled = down ? 1 : 0;
}

bool on_parsed(void *ctx, const Block &b)
{
    auto *f = static_cast<FrameCall *>(ctx);
    if (f->d->sbrActive < 0 && b.channels > 0)
        decide(f->d, b.sbrPayloads > 0);
    f->block = b;
    return f->d->sbrActive == 1;
}

void give_second_to_ps(SbrMemory *m)
{
    PsMemory &p = ps_memory(m);
    std::memset(&p, 0, sizeof p);
    ps::reset_ps(&p.decoder);
    ps::reset_ps_syntax(&p.syntax);
    sbr::qmf_synthesis_reset(&p.synthesis);
    m->psOwnsSecond = 1;
}

// Before a frame of a stream with parametric stereo: the second SBR channel
// to whom the frame's channel count needs it.
void claim_second(HeAacDecoder *d, int32_t channels)
{
    SbrMemory *m = sbr_memory(d);
    if (d->psActive != 1)
        return;
    if (channels == 2 && m->psOwnsSecond) {
        sbr::reset_channel(&m->decoder.channel[1]);
        m->psOwnsSecond = 0;
    } else if (channels == 1 && !m->psOwnsSecond) {
        give_second_to_ps(m);
    }
}

// Parametric stereo, decided with the first SBR payload of a mono stream:
// signalled, or found in that payload.
void decide_ps(HeAacDecoder *d, const Block &b, bool found)
{
    d->psActive = b.channels == 1 && (d->psSignalled == 1 || found) ? 1 : 0;
    if (d->psActive != 1)
        return;
    give_second_to_ps(sbr_memory(d));
}

// Reads the parametric stereo data that the element's payload carries, or
// holds the last parameters. Returns 0 or a negative code.
int32_t take_ps(HeAacDecoder *d, FrameCall *f, sbr::SbrExtension *ext, bool payload)
{
    PsMemory &p = ps_memory(sbr_memory(d));
    int32_t rc = 0;
    f->psData = false;
    if (payload && ext->hasPs) {
        const int32_t end = aac_get_processed_bits(&ext->psCursor) + ext->psBits;
        rc = ps::read_ps_data(&ext->psCursor, end, &p.syntax, &p.frame);
        f->psData = rc == 0;
    }
    ps::start_ps_frame(&p.decoder, f->psData ? &p.frame : nullptr);
    return rc;
}

const SbrPayloadRef *payload_of(const Block &b, int element)
{
    for (int i = 0; i < b.sbrPayloads; i++)
        if (b.sbr[i].element == element)
            return &b.sbr[i];
    return nullptr;
}

// Parametric stereo applies to the frames of a mono core (a stream that
// turns stereo decodes its stereo frames as they are).
bool ps_on(const HeAacDecoder *d, int32_t channels) { return d->psActive == 1 && channels == 1; }

// One core channel through the SBR decoder (and parametric stereo) into
// the interleaved output of the core's channel count.
void process(HeAacDecoder *d, int k, int element, int frameCh, bool data, const int32_t *time,
             void *output, int32_t channels)
{
    SbrMemory *m = sbr_memory(d);
    const int32_t format = d->core.pcmFormat;
    if (ps_on(d, channels)) {
        PsMemory &p = ps_memory(m);
        sbr::PsStage stage{&p.decoder, &p.synthesis, {output, 2, 1, format}};
        sbr::process_channel(&m->decoder, &m->work, k, element, frameCh, data, time,
                             {output, 2, 0, format}, &stage);
        return;
    }
    sbr::process_channel(&m->decoder, &m->work, k, element, frameCh, data, time,
                         {output, channels, k, format}, nullptr);
}

void on_channel(void *ctx, int k, const int32_t *time)
{
    auto *f = static_cast<FrameCall *>(ctx);
    HeAacDecoder *d = f->d;
    SbrMemory *m = sbr_memory(d);
    const Block &b = f->block;
    const bool pair = b.channels == 2 && !b.twoSingles;
    const int element = b.twoSingles ? k : 0;
    if (k == 0)
        claim_second(d, b.channels);
    if (k == 0 || b.twoSingles) {  // the element's first channel: read its payload
        const SbrPayloadRef *p = payload_of(b, element);
        sbr::SbrExtension ext{};
        f->data[element] = false;
        if (p != nullptr) {
            const int32_t rc = sbr::read_element(&m->decoder, &m->work, element, p->ptr, p->bitPos,
                                                 p->bits, p->crc != 0, pair, &ext);
            f->data[element] = rc == 0;
            if (rc != 0) {
                f->warning = FXAAC_ERR_SBR_DATA;
                d->sbrErrors++;
            }
        }
        if (d->psActive < 0)
            decide_ps(d, b, f->data[element] && ext.hasPs);
        if (ps_on(d, b.channels) && take_ps(d, f, &ext, f->data[element]) < 0) {
            f->warning = FXAAC_ERR_SBR_DATA;
            d->sbrErrors++;
        }
    }
    process(d, k, element, pair ? k : 0, f->data[element], time, f->output, b.channels);
}

// The samples of a decoded frame at the output rate.
void finish_frame(HeAacDecoder *d, const FrameCall &f, FrameStatus *st)
{
    if (d->sbrActive != 1 || st->outputSamples == 0)
        return;
    if (!d->downsampled)
        st->outputSamples *= 2;
    if (ps_on(d, f.block.channels))
        st->outputSamples *= 2;
    if (f.data[0] || f.data[1])
        d->sbrFrames++;
    if (f.psData)
        d->psFrames++;
    if (st->errorCode == 0)
        st->errorCode = f.warning;
}

int32_t decode_block(HeAacDecoder *d, const uint8_t *input, int32_t bytes, void *output,
                     FrameStatus *status)
{
    FrameCall f{d, output, Block{}};
    const FrameHook hook{on_parsed, ChannelSink{d->handOff, on_channel, &f}};
    const int32_t result = decode_raw_data_hooked(&d->core, input, bytes, output, status, hook);
    finish_frame(d, f, status);
    return result;
}

void take_config(HeAacDecoder *d, const AudioConfig &cfg)
{
    if (cfg.psSignalled)
        d->psSignalled = 1;
    if (cfg.sbrSignalled) {
        d->sbrSignalled = 1;
        d->sbrRate = static_cast<int32_t>(sample_rates[cfg.extensionSfIndex & 15]);
    } else if (cfg.noSbrSignalled) {
        d->sbrSignalled = -1;
    }
}

// One LATM call. The LATM layer takes any error code of the payload's frame
// call for a failure and drops its samples; FXAAC_ERR_SBR_DATA is a warning
// that comes with the core's samples, so it is held back from that layer and
// told once the element is decoded.
struct LatmCall {
    HeAacDecoder *d;
    int32_t warning = 0;
};

void latm_configured(void *ctx, const AudioConfig &cfg)
{
    take_config(static_cast<LatmCall *>(ctx)->d, cfg);
}

void latm_payload(void *ctx, const uint8_t *payload, int32_t bytes, void *output,
                  FrameStatus *status)
{
    auto *call = static_cast<LatmCall *>(ctx);
    decode_block(call->d, payload, bytes, output, status);
    if (status->errorCode == FXAAC_ERR_SBR_DATA) {
        call->warning = status->errorCode;
        status->errorCode = 0;
    }
}

}  // namespace

void AACPlusHeAacInit(HeAacDecoder *decoder, int32_t pcmFormat, int32_t flags)
{
    std::memset(decoder, 0, sizeof *decoder);
    AACPlusDecoderInit(&decoder->core, &decoder->work);
    decoder->core.pcmFormat = pcmFormat;
    if ((flags & FXAAC_HEAAC_PRECISE) != 0)
        AACPlusDecoderSetArithmetic(&decoder->core, FXAAC_ARITHMETIC_PRECISE);
    decoder->flags = flags;
    decoder->sbrActive = -1;
    decoder->psActive = -1;
}

int32_t AACPlusHeAacHeaderDecode(HeAacDecoder *decoder, DecoderConfig config, const uint8_t *input,
                                 int32_t inputBytes)
{
    // Header decoding reads without a bound: it gets a zero-padded copy.
    uint8_t copy[kHeaderCopyBytes] = {};
    const int32_t n = inputBytes < 0                      ? 0
                      : inputBytes > kHeaderCopyBytes - 3 ? kHeaderCopyBytes - 3
                                                          : inputBytes;
    if (input != nullptr && n > 0)
        std::memcpy(copy, input, static_cast<size_t>(n));
    ConfigOptions options;
    options.sbr = true;
    options.totalBits = 8 * n;
    AudioConfig parsed = {};
    const int32_t result = decode_header(config, &decoder->core, copy, options, &parsed);
    if (result >= 0)
        take_config(decoder, parsed);
    return result;
}

int32_t AACPlusHeAacDecode(HeAacDecoder *decoder, const uint8_t *input, int32_t inputBytes,
                           void *output, FrameStatus *status)
{
    return decode_block(decoder, input, inputBytes, output, status);
}

int32_t AACPlusHeAacDecodeLatm(HeAacDecoder *decoder, LatmState *latm, const uint8_t *input,
                               int32_t inputBytes, void *output, FrameStatus *status)
{
    LatmCall call{decoder};
    const LatmLayer layer{&call, latm_configured, latm_payload};
    const int32_t result = decode_latm(&decoder->core, latm, input, inputBytes, output, status,
                                       &layer);
    if (status->outputSamples > 0 && status->errorCode == 0)
        status->errorCode = call.warning;
    return result;
}

int32_t AACPlusHeAacConceal(HeAacDecoder *decoder, void *output, FrameStatus *status)
{
    if (decoder->sbrActive != 1)
        return AACPlusConcealFrame(&decoder->core, output, status);
    std::memset(status, 0, sizeof *status);
    AacDecoder *core = &decoder->core;
    core->rawBlocksLeft = 0;
    const int32_t channels = core->lastChannels;
    if (channels < 1 || channels > FXAAC_MAX_CHANNELS)
        return 0;
    claim_second(decoder, channels);
    if (ps_on(decoder, channels))
        ps::start_ps_frame(&ps_memory(sbr_memory(decoder)).decoder, nullptr);
    for (int k = 0; k < channels; k++) {
        conceal_channel(core, k, decoder->handOff);
        process(decoder, k, 0, 0, false, decoder->handOff, output, channels);
    }
    const int32_t outChannels = ps_on(decoder, channels) ? 2 : channels;
    status->outputSamples = outChannels * FXAAC_FRAME_LENGTH * (decoder->downsampled ? 1 : 2);
    return status->outputSamples;
}
