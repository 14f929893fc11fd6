// SBR HF generation's sums and prediction on ARM Advanced SIMD
// (src/sbr/hf_generation.cpp), two subbands per step with their real and
// imaginary parts de-interleaved (VLD2), 64-bit lanes accumulating exact
// products (VMLAL, VMLSL): the portable kernels' integer sums in another
// order, so the same values. The prediction rounds with VRSHRN #29 (the sum
// plus 2^28, shifted, the low word kept: the portable cast) and adds with
// wrapping, as the portable kernel within its range. Subbands outer, rows
// inner: the sums and coefficients stay in registers.
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"
#include "sbr/hf_generation.h"
#include "sbr/sbr_types.h"

namespace fxaac {

namespace {
constexpr int kRow = 2 * sbr::kBands;
}  // namespace

void sbr_covariance_sums_neon(const int32_t *rows, int32_t lo, int32_t hi, int64_t *sums)
{
    int32_t p = lo;
    for (; p + 2 <= hi; p += 2) {
        int64x2_t e = vdupq_n_s64(0), c1r = e, c1i = e, c2r = e, c2i = e;
        int32x2x2_t x2 = vld2_s32(rows + 2 * p), x1 = vld2_s32(rows + kRow + 2 * p);
        for (int n = 2; n < sbr::kRows; ++n) {
            const int32x2x2_t x0 = vld2_s32(rows + n * kRow + 2 * p);
            e = vmlal_s32(vmlal_s32(e, x1.val[0], x1.val[0]), x1.val[1], x1.val[1]);
            c1r = vmlal_s32(vmlal_s32(c1r, x0.val[0], x1.val[0]), x0.val[1], x1.val[1]);
            c1i = vmlsl_s32(vmlal_s32(c1i, x0.val[1], x1.val[0]), x0.val[0], x1.val[1]);
            c2r = vmlal_s32(vmlal_s32(c2r, x0.val[0], x2.val[0]), x0.val[1], x2.val[1]);
            c2i = vmlsl_s32(vmlal_s32(c2i, x0.val[1], x2.val[0]), x0.val[0], x2.val[1]);
            x2 = x1;
            x1 = x0;
        }
        vst1q_s64(sums + p, e);
        vst1q_s64(sums + sbr::kLowBands + p, c1r);
        vst1q_s64(sums + 2 * sbr::kLowBands + p, c1i);
        vst1q_s64(sums + 3 * sbr::kLowBands + p, c2r);
        vst1q_s64(sums + 4 * sbr::kLowBands + p, c2i);
    }
    sbr_covariance_sums_c(rows, p, hi, sums);
}

void sbr_predict_patch_neon(int32_t *rows, int32_t k, int32_t p, int32_t n, const int32_t *c0,
                            const int32_t *c1, int32_t r0, int32_t r1)
{
    int32_t x = 0;
    for (; x + 2 <= n; x += 2) {
        const int32x2x2_t a = vld2_s32(c0 + 2 * x), b = vld2_s32(c1 + 2 * x);
        const int32_t *src = rows + 2 * (p + x);
        int32_t *dst = rows + 2 * (k + x);
        int32x2x2_t x2 = vld2_s32(src + (r0 - 2) * kRow), x1 = vld2_s32(src + (r0 - 1) * kRow);
        for (int32_t r = r0; r < r1; ++r) {
            const int32x2x2_t x0 = vld2_s32(src + r * kRow);
            int64x2_t re = vmull_s32(a.val[0], x1.val[0]);
            re = vmlsl_s32(re, a.val[1], x1.val[1]);
            re = vmlal_s32(re, b.val[0], x2.val[0]);
            re = vmlsl_s32(re, b.val[1], x2.val[1]);
            int64x2_t im = vmull_s32(a.val[0], x1.val[1]);
            im = vmlal_s32(im, a.val[1], x1.val[0]);
            im = vmlal_s32(im, b.val[0], x2.val[1]);
            im = vmlal_s32(im, b.val[1], x2.val[0]);
            const int32x2x2_t y = {{vadd_s32(x0.val[0], vrshrn_n_s64(re, sbr::kHfAlphaQ)),
                                    vadd_s32(x0.val[1], vrshrn_n_s64(im, sbr::kHfAlphaQ))}};
            vst2_s32(dst + r * kRow, y);
            x2 = x1;
            x1 = x0;
        }
    }
    sbr_predict_patch_c(rows, k + x, p + x, n - x, c0 + 2 * x, c1 + 2 * x, r0, r1);
}

}  // namespace fxaac

#endif  // __ARM_NEON
