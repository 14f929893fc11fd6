// Concealment of a lost or damaged frame: the tail of the last good frame,
// faded out, in place of the frame that is missing.
//
// After every frame the overlap array of a channel holds the windowed second
// half of the last inverse transform, at the synthesis scale (2^24 is 16-bit
// full scale; 2^28 in the precise arithmetic): the samples that the next
// frame's first half would have been added to. With nothing to add, they are what the next frame
// would begin with; a falling linear fade across the frame brings them to zero, and the cleared
// overlap lets the next good frame rise from silence through its own window.
#include <cstring>

#include <fxaac/fxaac.h>

#include "decoder/frame_stage.h"
#include "filterbank/pcm_output.h"

namespace {

constexpr int32_t kFrame = FXAAC_FRAME_LENGTH;
constexpr int kFrameBits = 10;  // kFrame == 1 << kFrameBits
static_assert(kFrame == 1 << kFrameBits, "the fade divides by the frame length with a shift");

// x[i] * (kFrame - i) / kFrame: gain 1 at the first sample, 1/1024 at the last.
void fade_out(int32_t *x)
{
    for (int32_t i = 0; i < kFrame; i++)
        x[i] = static_cast<int32_t>((static_cast<int64_t>(x[i]) * (kFrame - i)) >> kFrameBits);
}

}  // namespace

void fxaac::conceal_channel(AacDecoder *instance, int channel, int32_t *handOff)
{
    int32_t *overlap = instance->overlap[channel];
    fade_out(overlap);
    if (instance->arithmetic == FXAAC_ARITHMETIC_PRECISE)
        precise_to_sbr(handOff, overlap, kFrame);
    else
        myPCMtoSBR(handOff, overlap, 1, kFrame);
    std::memset(overlap, 0, sizeof instance->overlap[channel]);
}

int32_t AACPlusConcealFrame(AacDecoder *instance, void *output, FrameStatus *status)
{
    std::memset(status, 0, sizeof *status);
    instance->rawBlocksLeft = 0;  // an ADTS stream goes on with a sync search
    const int32_t channels = instance->lastChannels;
    if (channels < 1 || channels > FXAAC_MAX_CHANNELS)
        return 0;
    const auto format = static_cast<int16_t>(instance->pcmFormat);
    for (int32_t k = 0; k < channels; k++) {
        int32_t *overlap = instance->overlap[k];
        fade_out(overlap);
        if (instance->arithmetic == FXAAC_ARITHMETIC_PRECISE)
            fxaac::precise_to_synthesis_scale(overlap, kFrame);
        fxaac::myOutputToPCM(overlap, output, channels, format, 0, kFrame, k);
        std::memset(overlap, 0, sizeof instance->overlap[k]);
    }
    status->outputSamples = channels * kFrame;
    return status->outputSamples;
}
