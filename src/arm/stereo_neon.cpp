// Mid/side and intensity stereo on ARM Advanced SIMD (src/tools/stereo.cpp),
// four lines per vector. Same results as the portable kernels: M/S is
// VQADD/VQSUB (saturating, as add_sat and sub_sat); an intensity line
// normalises v by VCLS (norm_s32: 0 and -1 give 31, -2^31 gives 0), takes
// mul_32x16_x2 as VQDMULH by m << 15 (floor(x m / 2^16); |m << 15| < 2^30, no
// saturation) doubled, then shifts by s = norm + shift: right (VSHL by a
// negative count truncates, as shr; s >= 32 gives the sign fill, as s = 31)
// or left with wrapping (shl_wrap). Shifts outside [-31, 31] take the
// portable kernel.
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"

namespace fxaac {

void ms_sum_difference_neon(int32_t *left, int32_t *right, int32_t n)
{
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const int32x4_t l = vld1q_s32(left + i), r = vld1q_s32(right + i);
        vst1q_s32(left + i, vqaddq_s32(l, r));
        vst1q_s32(right + i, vqsubq_s32(l, r));
    }
    ms_sum_difference_c(left + i, right + i, n - i);
}

void intensity_scale_neon(const int32_t *from, int32_t *to, int32_t m, int32_t shift, int32_t n)
{
    if (shift < -31 || shift > 31) {
        intensity_scale_c(from, to, m, shift, n);
        return;
    }
    const int32x4_t k = vdupq_n_s32(static_cast<int16_t>(m) * (1 << 15));
    const int32x4_t bias = vdupq_n_s32(shift), top = vdupq_n_s32(31);
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const int32x4_t v = vld1q_s32(from + i);
        const int32x4_t norm = vclsq_s32(v);
        const int32x4_t t = vqdmulhq_s32(vshlq_s32(v, norm), k);
        const int32x4_t s = vminq_s32(vaddq_s32(norm, bias), top);
        vst1q_s32(to + i, vshlq_s32(vaddq_s32(t, t), vnegq_s32(s)));
    }
    intensity_scale_c(from + i, to + i, m, shift, n - i);
}

}  // namespace fxaac

#endif  // __ARM_NEON
