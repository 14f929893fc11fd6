// SBR HF adjustment's G X + Q V on ARM Advanced SIMD
// (src/sbr/hf_adjustment.cpp), two rows of one subband per step. Same
// results as the portable kernel: G X is VMULL by the multiplier and VRSHL
// by minus the shift (x mul + 2^(shift-1), shifted, formed without
// overflow; no rounding for a shift of 0); Q V, round(V 2^16 qHi / 2^32), is
// VQRDMULH of V << 15 by qHi (it saturates only for two factors of -2^31,
// and |V << 15| <= 2^30); the sum narrows with saturation (VQMOVN).
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"
#include "sbr/hf_adjustment.h"
#include "sbr/sbr_tables.h"

namespace fxaac {

void sbr_adjust_rows_neon(int32_t *x, int32_t rows, int32_t mul, int32_t shift, int32_t qHi,
                          int32_t noiseIndex, int32_t noiseStep)
{
    constexpr int32_t kRow = 2 * sbr::kBands;
    constexpr int32_t kMask = sbr::kNoiseTableSize - 1;
    const int64x2_t count = vdupq_n_s64(-shift);
    const int32x4_t q = vdupq_n_s32(qHi);
    int32_t r = 0;
    for (; r + 2 <= rows; r += 2, x += 2 * kRow, noiseIndex += 2 * noiseStep) {
        int32_t *const next = x + kRow;
        // The two rows' noise pairs (V re, V im) as one word each.
        int16x4_t v = vdup_n_s16(0);
        v = vreinterpret_s16_s32(
            vld1_lane_s32(reinterpret_cast<const int32_t *>(sbr::kSbrNoise[noiseIndex & kMask]),
                          vreinterpret_s32_s16(v), 0));
        v = vreinterpret_s16_s32(vld1_lane_s32(
            reinterpret_cast<const int32_t *>(sbr::kSbrNoise[(noiseIndex + noiseStep) & kMask]),
            vreinterpret_s32_s16(v), 1));
        const int32x4_t noise = vqrdmulhq_s32(vshll_n_s16(v, 15), q);
        const int64x2_t a = vaddq_s64(vrshlq_s64(vmull_n_s32(vld1_s32(x), mul), count),
                                      vmovl_s32(vget_low_s32(noise)));
        const int64x2_t b = vaddq_s64(vrshlq_s64(vmull_n_s32(vld1_s32(next), mul), count),
                                      vmovl_s32(vget_high_s32(noise)));
        vst1_s32(x, vqmovn_s64(a));
        vst1_s32(next, vqmovn_s64(b));
    }
    if (r < rows)
        sbr_adjust_rows_c(x, rows - r, mul, shift, qHi, noiseIndex, noiseStep);
}

}  // namespace fxaac

#endif  // __ARM_NEON
