// The library's internal entry points into frame decoding and stream set-up,
// for transports other than the ones the exported calls read themselves.
// Hidden: they are not part of the exported interface.
#ifndef FXAAC_DECODER_FRAME_STAGE_H
#define FXAAC_DECODER_FRAME_STAGE_H

#include <cstdint>

#include <fxaac/fxaac.h>
#include <fxaac/fxaac_latm.h>

#include "bitstream/audio_config.h"
#include "bitstream/bit_reader.h"
#include "decoder/block_parse.h"
#include "decoder/synthesis.h"

namespace fxaac {

// The frame call of AACPlusDecodeBuffer: one raw data block (or ADTS frame)
// in inputBytes bytes, never read past; it prints nothing.
int32_t decode_raw_data(AacDecoder *instance, const uint8_t *input, int32_t inputBytes,
                        void *output, FrameStatus *status, const int32_t *sbrFlag);

// What a layer on top of the core (the SBR decoder) sees of a frame call:
// the parsed block (its SBR payloads) before reconstruction; when parsed()
// returns true, every channel's samples then go through the sink instead of
// the output (else the core writes its PCM as usual).
struct FrameHook {
    bool (*parsed)(void *ctx, const Block &b);
    ChannelSink sink;  // sink.ctx is also parsed's context
};

// decode_raw_data with a hook: the samples go to the hook's sink; output
// serves only as the frame's scratch (channel 1's spectrum) and is then the
// sink's to write.
int32_t decode_raw_data_hooked(AacDecoder *instance, const uint8_t *input, int32_t inputBytes,
                               void *output, FrameStatus *status, const FrameHook &hook);

// Sets up the instance for the AudioSpecificConfig at the reader, as header
// decoding does for an AudioSpecificConfig stream (the reader starts on the
// config's first byte). Returns the config's length in bytes, or a negative
// FxaacStatus code. options: how to read it (HE-AAC signalling); parsed: the
// config as read, when not null.
int32_t configure_audio_specific_config(AacDecoder *instance, BitCursor *reader,
                                        const ConfigOptions &options = {},
                                        AudioConfig *parsed = nullptr);

// What a layer on top of the core changes in a LATM call: configs that
// signal SBR are taken and reported to configured(), and payloads go to
// decode() instead of the core's frame call.
struct LatmLayer {
    void *ctx;
    void (*configured)(void *ctx, const AudioConfig &cfg);
    void (*decode)(void *ctx, const uint8_t *payload, int32_t bytes, void *output,
                   FrameStatus *status);
};

// AACPlusDecodeLatm, with a layer when not null.
int32_t decode_latm(AacDecoder *instance, LatmState *latm, const uint8_t *input, int32_t inputBytes,
                    void *output, FrameStatus *status, const LatmLayer *layer);

// One channel's frame of concealment (the faded overlap, which is then
// cleared) as hand-off samples for the SBR decoder: 1024 words.
void conceal_channel(AacDecoder *instance, int channel, int32_t *handOff);

// Header decoding as AACPlusHeaderDecode does it, an AudioSpecificConfig
// read with options (its result in *parsed when not null).
int32_t decode_header(DecoderConfig config, AacDecoder *instance, const uint8_t *input,
                      const ConfigOptions &options, AudioConfig *parsed);

}  // namespace fxaac

#endif  // FXAAC_DECODER_FRAME_STAGE_H
