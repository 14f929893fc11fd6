// The LATM/LOAS call: finds and checks one AudioMuxElement, adopts its
// StreamMuxConfig, moves the payload to a byte boundary in the caller's
// LatmState and hands it to the frame stage as one raw data block.
#include <cstring>

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"
#include "bitstream/latm.h"
#include "decoder/frame_stage.h"

namespace {

using namespace fxaac;

int32_t finish(FrameStatus *st, int32_t code, int32_t consumed)
{
    st->errorCode = code;
    st->bytesConsumed = consumed;
    st->outputSamples = 0;
    return -1;
}

// An element that is refused is skipped whole only when its length leads to
// the next sync word (or to the end of the data, where that cannot be told):
// else its sync word is taken as false, so that junk cannot hide elements.
bool sync_follows(const uint8_t *input, int32_t n, int32_t elementBytes)
{
    return n - elementBytes < 2 || find_loas_sync(input + elementBytes, 2) == 0;
}

bool same_config(const LatmMuxConfig &a, const LatmMuxConfig &b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// A StreamMuxConfig met in an element: a new or changed one sets up the
// instance. Returns 0 or the code that refuses it (kept for the elements
// that refer to it).
int32_t adopt_config(AacDecoder *dec, LatmState *latm, const LatmMuxConfig &cfg,
                     const LatmLayer *layer)
{
    if (latm->configStatus == 0 && same_config(cfg, latm->config))
        return 0;
    latm->config = cfg;
    BitCursor r;
    init_bounded(&r, latm->config.asc, FXAAC_LATM_CONFIG_BYTES);
    ConfigOptions options;
    options.sbr = layer != nullptr;
    options.totalBits = static_cast<int32_t>(cfg.ascBits);
    AudioConfig parsed = {};
    int32_t result = configure_audio_specific_config(dec, &r, options, &parsed);
    if (result >= 0 && layer != nullptr)
        layer->configured(layer->ctx, parsed);
    latm->configStatus = result < 0 ? result : 0;
    dec->isAdts = 0;  // blocks arrive without ADTS headers
    dec->rawBlocksLeft = 0;
    return latm->configStatus;
}

// The element's status when it cannot be decoded: a refused config is kept
// (as far as it was read, for callers that name what it asks for); an element
// that refers to a refused config repeats that code.
int32_t element_failure(LatmState *latm, const LatmElement &e, int32_t code)
{
    if (code == FXAAC_ERR_LATM_NO_CONFIG)
        return latm->configStatus;
    if (e.newConfig) {
        latm->config = e.config;
        latm->configStatus = code;
    }
    return code;
}

// The payload of a parsed element through the frame stage.
int32_t decode_payload(AacDecoder *dec, LatmState *latm, const uint8_t *element,
                       int32_t elementBytes, const LatmElement &e, void *output, FrameStatus *st,
                       const LatmLayer *layer)
{
    copy_bits(latm->payload, e.payloadBytes, element, elementBytes, e.payloadBit);
    latm->payloadBytes = e.payloadBytes;
    const int32_t noSbr = 0;
    if (layer != nullptr)
        layer->decode(layer->ctx, latm->payload, e.payloadBytes, output, st);
    else
        decode_raw_data(dec, latm->payload, e.payloadBytes, output, st, &noSbr);
    // A block that runs past its payload is damaged, not incomplete.
    if (st->errorCode == FXAAC_ERR_NEED_MORE_INPUT)
        return finish(st, FXAAC_ERR_FRAME_OVERRUN, elementBytes);
    if (st->errorCode != 0)
        return finish(st, st->errorCode, elementBytes);
    st->bytesConsumed = elementBytes;
    return 1;  // samples, or none for a block without channel elements
}

}  // namespace

void AACPlusLatmInit(LatmState *latm)
{
    std::memset(latm, 0, sizeof *latm);
    latm->configStatus = FXAAC_ERR_LATM_NO_CONFIG;
}

int32_t AACPlusDecodeLatm(AacDecoder *instance, LatmState *latm, const uint8_t *input,
                          int32_t inputBytes, void *output, FrameStatus *status)
{
    return fxaac::decode_latm(instance, latm, input, inputBytes, output, status, nullptr);
}

int32_t fxaac::decode_latm(AacDecoder *instance, LatmState *latm, const uint8_t *input,
                           int32_t inputBytes, void *output, FrameStatus *status,
                           const LatmLayer *layer)
{
    std::memset(status, 0, sizeof *status);
    const int32_t n = inputBytes > 0 ? inputBytes : 0;
    const int32_t sync = find_loas_sync(input, n);
    if (sync > 0)
        return finish(status, FXAAC_ERR_NO_SYNC, sync);
    if (n < kLoasHeaderBytes)
        return finish(status, FXAAC_ERR_NEED_MORE_INPUT, 0);
    const int32_t elementBytes = loas_element_bytes(input);
    if (n < elementBytes)
        return finish(status, FXAAC_ERR_NEED_MORE_INPUT, 0);

    LatmElement e;
    int32_t code = parse_audio_mux_element(input, elementBytes,
                                           latm->configStatus == 0 ? &latm->config : nullptr, &e,
                                           layer != nullptr);
    // A damaged length or a false sync word: search on from the next byte.
    if (code == FXAAC_ERR_LATM_LENGTH || (code != 0 && !sync_follows(input, n, elementBytes)))
        return finish(status, FXAAC_ERR_LATM_LENGTH, 1);
    if (code != 0)
        return finish(status, element_failure(latm, e, code), elementBytes);
    if (e.newConfig && (code = adopt_config(instance, latm, e.config, layer)) != 0)
        return finish(status, code, elementBytes);
    return decode_payload(instance, latm, input, elementBytes, e, output, status, layer);
}
