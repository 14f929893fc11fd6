// The core's samples on their way into the SBR analysis bank: the hand-off
// scale (filterbank/pcm_output.h's myPCMtoSBR) and the analysis input with
// its block exponent (sbr_decoder.cpp). The loops are kernels
// (src/dsp/kernels.h); their portable versions are in sbr_input.cpp.
#ifndef FXAAC_SBR_SBR_INPUT_H
#define FXAAC_SBR_SBR_INPUT_H

#include <cstdint>

namespace fxaac::sbr {

// The hand-off from the core's synthesis scale (2^9 per 16-bit LSB, full
// scale 2^24): half an LSB added, then a saturating shift by 7 to full scale
// 2^31, so that it saturates where the 16-bit clip would apply.
constexpr int32_t kHandOffHalf = 1 << 8;
constexpr int kHandOffShift = 7;

// The core's hand-off samples carry the half LSB (2^15 at 2^16 per 16-bit
// LSB) that rounds its own 16-bit output; the output of the synthesis bank
// rounds again, so the analysis takes it off, saturating at -2^31.
constexpr int32_t kHandOffBias = 1 << 15;

constexpr int32_t sub_bias(int32_t x)
{
    return x >= INT32_MIN + kHandOffBias ? x - kHandOffBias : INT32_MIN;
}

constexpr uint32_t magnitude(int32_t x)
{
    return x < 0 ? 0u - static_cast<uint32_t>(x) : static_cast<uint32_t>(x);
}

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_SBR_INPUT_H
