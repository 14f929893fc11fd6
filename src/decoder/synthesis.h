// Synthesis: the filterbank of each channel and its output, as PCM into the
// caller's buffer or, in SBR mode, as hand-off samples.
#ifndef FXAAC_DECODER_SYNTHESIS_H
#define FXAAC_DECODER_SYNTHESIS_H

#include <cstdint>

#include <fxaac/fxaac.h>

#include "decoder/block_parse.h"
#include "decoder/frame_buffers.h"

namespace fxaac {

// Where the SBR decoder takes each channel's samples: the filterbank hands
// them over into time (1024 words), then done(ctx, channel, time) runs
// before the next channel is synthesised. done may write the output buffer.
struct ChannelSink {
    int32_t *time;
    void (*done)(void *ctx, int channel, const int32_t *time);
    void *ctx;
};

// Synthesises every channel of the block into output (sbrMode 0) or into a
// hand-off buffer of the call (sbrMode non-zero), and keeps each channel's
// window shape for the next frame. With a sink, every channel goes to it
// (sbrMode is then ignored).
void synthesize_block(AacDecoder *dec, FrameBuffers *buf, const Block &b, void *output,
                      int32_t sbrMode, const ChannelSink *sink = nullptr);

}  // namespace fxaac

#endif  // FXAAC_DECODER_SYNTHESIS_H
