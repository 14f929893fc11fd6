// The SBR input kernels on ARM Advanced SIMD (src/sbr/sbr_input.cpp), four
// samples per vector. Same results as the portable kernels: the hand-off is
// VQSHL (a saturating left shift, as shl_sat) of the wrapping sum; the bias
// comes off with VQSUB (saturating at -2^31, as sub_bias); VABS leaves -2^31
// as 0x80000000, its magnitude read unsigned; VSHL by a positive register
// count wraps, as shl_wrap; VRSHL by a negative count rounds without
// overflow (the sum is formed wider), as the portable 64-bit sum.
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"
#include "sbr/sbr_input.h"

namespace fxaac {

void sbr_hand_off_neon(int32_t *out, const int32_t *samples, int32_t count)
{
    const int32x4_t half = vdupq_n_s32(sbr::kHandOffHalf);
    int32_t i = 0;
    for (; i + 4 <= count; i += 4)
        vst1q_s32(out + i,
                  vqshlq_n_s32(vaddq_s32(vld1q_s32(samples + i), half), sbr::kHandOffShift));
    sbr_hand_off_c(out + i, samples + i, count - i);
}

uint32_t sbr_input_peak_neon(const int32_t *x, int32_t n)
{
    const int32x4_t bias = vdupq_n_s32(sbr::kHandOffBias);
    uint32x4_t peak = vdupq_n_u32(0);
    int32_t i = 0;
    for (; i + 4 <= n; i += 4)
        peak = vmaxq_u32(peak,
                         vreinterpretq_u32_s32(vabsq_s32(vqsubq_s32(vld1q_s32(x + i), bias))));
    uint32x2_t pair = vpmax_u32(vget_low_u32(peak), vget_high_u32(peak));
    pair = vpmax_u32(pair, pair);
    const uint32_t head = vget_lane_u32(pair, 0), tail = sbr_input_peak_c(x + i, n - i);
    return head > tail ? head : tail;
}

void sbr_input_scale_neon(const int32_t *x, int32_t *out, int32_t n, int32_t shift)
{
    const int32x4_t bias = vdupq_n_s32(sbr::kHandOffBias), count = vdupq_n_s32(shift);
    int32_t i = 0;
    for (; i + 4 <= n; i += 4)
        vst1q_s32(out + i, vshlq_s32(vqsubq_s32(vld1q_s32(x + i), bias), count));
    sbr_input_scale_c(x + i, out + i, n - i, shift);
}

void sbr_rescale_down_neon(const int32_t *x, int32_t *out, int32_t n, int32_t shift)
{
    const int32x4_t count = vdupq_n_s32(-shift);
    int32_t i = 0;
    for (; i + 4 <= n; i += 4)
        vst1q_s32(out + i, vrshlq_s32(vld1q_s32(x + i), count));
    sbr_rescale_down_c(x + i, out + i, n - i, shift);
}

}  // namespace fxaac

#endif  // __ARM_NEON
