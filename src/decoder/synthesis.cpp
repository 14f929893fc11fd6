#include "decoder/synthesis.h"

#include "filterbank/filter_bank.h"

namespace {

using namespace fxaac;

constexpr int N = FXAAC_FRAME_LENGTH;

// Every channel through the filterbank, handing its samples to handOff(k)
// (the hand-off format) when sbrMode is non-zero, else writing PCM.
template <typename HandOff>
void run_channels(AacDecoder *dec, FrameBuffers *buf, const Block &b, void *output, int32_t sbrMode,
                  HandOff handOff)
{
    for (int k = 0; k < b.channels; k++) {
        // The filterbank saves output's first 4096 bytes (channel 1's
        // spectrum) to scratchB before channel 0's samples go there.
        dec->scratchB = buf->savedSpectrum;
        dec->scratchA = buf->work;
        int32_t *time = handOff.buffer(k);
        filter_bank_channel(dec, b.windowSequence[k], b.windowShape[k], dec->prevWindowShape[k],
                            buf->spectrum[k], dec->overlap[k], time, buf->work, output,
                            b.twoSingles, b.channels, static_cast<int16_t>(dec->pcmFormat), k,
                            sbrMode, b.channels == 2 && k == 0);
        dec->prevWindowShape[k] = b.windowShape[k];
        handOff.done(k, time);
        buf->spectrum[1] = buf->savedSpectrum;
    }
    dec->scratchB = buf->savedSpectrum;
    dec->scratchA = buf->work;
}

// The frame call's own hand-off buffer (SBR mode of the exported calls): its
// 8 KB live on the stack of this function only.
struct LocalHandOff {
    int32_t *samples;
    int32_t *buffer(int k) const { return samples != nullptr ? samples + N * k : nullptr; }
    void done(int, const int32_t *) const {}
};

struct SinkHandOff {
    const ChannelSink *sink;
    int32_t *buffer(int) const { return sink->time; }
    void done(int k, const int32_t *time) const { sink->done(sink->ctx, k, time); }
};

__attribute__((noinline)) void synthesize_locally(AacDecoder *dec, FrameBuffers *buf,
                                                  const Block &b, void *output, int32_t sbrMode)
{
    int32_t sbrTime[2 * N];  // hand-off samples in SBR mode, dropped at return
    run_channels(dec, buf, b, output, sbrMode, LocalHandOff{sbrTime});
}

}  // namespace

void fxaac::synthesize_block(AacDecoder *dec, FrameBuffers *buf, const Block &b, void *output,
                             int32_t sbrMode, const ChannelSink *sink)
{
    if (sink != nullptr)
        run_channels(dec, buf, b, output, 1, SinkHandOff{sink});
    else if (sbrMode != 0)
        synthesize_locally(dec, buf, b, output, sbrMode);
    else  // PCM output: no hand-off buffer
        run_channels(dec, buf, b, output, 0, LocalHandOff{nullptr});
}
