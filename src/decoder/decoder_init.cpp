#include <cstring>

#include <fxaac/fxaac.h>

#include "filterbank/filter_bank_init.h"
#include "filterbank/pcm_output.h"
#include "fixedpoint/basic_ops.h"
#include "precise/precise_ops.h"

namespace {
// Defaults until a header says otherwise.
constexpr int32_t kDefaultSampleRate = 22050;
constexpr int32_t kDefaultChannels = 2;
constexpr int32_t kPcm16 = 1;
// The noise generator starts from a fixed non-zero state so that noise
// substitution is reproducible from the first frame.
constexpr int32_t kNoiseSeed = 1;
}  // namespace

void AACPlusDecoderInit(AacDecoder *instance, DecoderWorkArea *work)
{
    std::memset(instance, 0, sizeof *instance);
    instance->pcmFormat = kPcm16;
    instance->frameLength = FXAAC_FRAME_LENGTH;
    instance->sampleRate = kDefaultSampleRate;
    instance->channels = kDefaultChannels;

    instance->workBase = work->spectra[0];
    instance->scratchA = work->spectra[0];
    instance->scratchB = work->spectra[1];  // channel 0's spectrum region
    instance->elementRecord = &work->element.record;

    fxaac::filter_bank_init(instance);
    instance->pnsSeed = kNoiseSeed;
}

// The overlap is kept at the arithmetic's synthesis scale: a change between
// frames rescales it (saturating up, rounding down).
int32_t AACPlusDecoderSetArithmetic(AacDecoder *instance, int32_t arithmetic)
{
    if (arithmetic != FXAAC_ARITHMETIC_DEFAULT && arithmetic != FXAAC_ARITHMETIC_PRECISE)
        return -1;
    if (arithmetic != instance->arithmetic) {
        for (int32_t *overlap : instance->overlap) {
            if (arithmetic == FXAAC_ARITHMETIC_PRECISE) {
                for (int32_t i = 0; i < FXAAC_FRAME_LENGTH; i++)
                    overlap[i] = fxaac::shl_sat(overlap[i], fxaac::precise::kSynthesisBits);
            } else {
                fxaac::precise_to_synthesis_scale(overlap, FXAAC_FRAME_LENGTH);
            }
        }
    }
    instance->arithmetic = arithmetic;
    return 0;
}
