#include "decoder/synthesis.h"

#include "filterbank/filter_bank.h"

void fxaac::synthesize_block(AacDecoder *dec, FrameBuffers *buf, const Block &b, void *output,
                             int32_t sbrMode, const ChannelSink *sink)
{
    constexpr int N = FXAAC_FRAME_LENGTH;
    int32_t sbrTime[2 * N];  // hand-off samples in SBR mode, dropped at return
    for (int k = 0; k < b.channels; k++) {
        // The filterbank saves output's first 4096 bytes (channel 1's
        // spectrum) to scratchB before channel 0's samples go there.
        dec->scratchB = buf->savedSpectrum;
        dec->scratchA = buf->work;
        int32_t *handOff = sink != nullptr ? sink->time : sbrTime + N * k;
        ifilter_bank(dec, b.windowSequence[k], b.windowShape[k], dec->prevWindowShape[k],
                     buf->spectrum[k], dec->overlap[k], handOff, buf->work, output, b.twoSingles,
                     b.channels, static_cast<int16_t>(dec->pcmFormat), k,
                     sink != nullptr ? 1 : sbrMode);
        dec->prevWindowShape[k] = b.windowShape[k];
        if (sink != nullptr)
            sink->done(sink->ctx, k, handOff);
        buf->spectrum[1] = buf->savedSpectrum;
    }
    dec->scratchB = buf->savedSpectrum;
    dec->scratchA = buf->work;
}
