// The precise IMDCT's twiddles and windows on ARM Advanced SIMD
// (src/precise/imdct_precise.h). Same results as the portable kernels: a
// part is round((a x + b y) / 2^31), the 64-bit sum exact (VMULL, VMLAL,
// VMLSL) and rounded by VRSHRN #31; the post-twiddle's rescaling is
// (v >> n) + ((v >> (n - 1)) & 1) (VSHL by negative counts; no rounding
// shift, whose sum could pass 2^31 on some implementations) or a saturating
// left shift
// (VQSHL); a window product is VQRDMULH, round(x w / 2^31) for w > -2^31.
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"

#define FXAAC_NEON_INLINE inline __attribute__((always_inline))

namespace fxaac {
namespace {

template <bool Subtract>
FXAAC_NEON_INLINE int32x4_t dot_round31(int32x4_t a, int32x4_t x, int32x4_t b, int32x4_t y)
{
    int64x2_t lo = vmull_s32(vget_low_s32(a), vget_low_s32(x));
    int64x2_t hi = vmull_s32(vget_high_s32(a), vget_high_s32(x));
    if constexpr (Subtract) {
        lo = vmlsl_s32(lo, vget_low_s32(b), vget_low_s32(y));
        hi = vmlsl_s32(hi, vget_high_s32(b), vget_high_s32(y));
    } else {
        lo = vmlal_s32(lo, vget_low_s32(b), vget_low_s32(y));
        hi = vmlal_s32(hi, vget_high_s32(b), vget_high_s32(y));
    }
    return vcombine_s32(vrshrn_n_s64(lo, 31), vrshrn_n_s64(hi, 31));
}

// The four lanes in reverse order.
FXAAC_NEON_INLINE int32x4_t reverse(int32x4_t v)
{
    const int32x4_t r = vrev64q_s32(v);
    return vcombine_s32(vget_high_s32(r), vget_low_s32(r));
}

FXAAC_NEON_INLINE void store_pairs(int32_t *p, int32x4_t even, int32x4_t odd)
{
    int32x4x2_t v;
    v.val[0] = even;
    v.val[1] = odd;
    vst2q_s32(p, v);
}

}  // namespace

// k .. k + 3 per step: a = front[2k] (the even words from front + 2k), b =
// back[-2k] (the odd words of the eight ending at back - 2k, reversed).
void pre_twiddle_q31_neon(const int32_t *front, const int32_t *back, int32_t *out,
                          const int32_t *cosine, const int32_t *sine, int32_t count)
{
    const int32_t values = 2 * count;
    if (values % 4 != 0) {
        pre_twiddle_q31_c(front, back, out, cosine, sine, count);
        return;
    }
    for (int32_t k = 0; k < values; k += 4) {
        const int32x4_t a = vld2q_s32(front + 2 * k).val[0];
        const int32x4_t b = reverse(vld2q_s32(back - 2 * k - 7).val[1]);
        const int32x4_t c = vld1q_s32(cosine + k), s = vld1q_s32(sine + k);
        store_pairs(out + 2 * k, vnegq_s32(dot_round31<false>(a, c, b, s)),
                    dot_round31<true>(a, s, b, c));
    }
}

// i .. i + 3 per step from the front, M - 1 - i - l from the back; the four
// quarters are written as the portable kernel places them.
void post_twiddle_q31_neon(int32_t *out, const int32_t *in, const int32_t *cosine,
                           const int32_t *sine, int32_t N, int32_t shift)
{
    const int32_t M = N / 4;
    if (M <= 0 || (M / 2) % 4 != 0 || shift < -31 || shift > 31) {
        post_twiddle_q31_c(out, in, cosine, sine, N, shift);
        return;
    }
    const int32x4_t count = vdupq_n_s32(-shift), first = vdupq_n_s32(1 - shift);
    const auto rescale = [shift, count, first](int32x4_t v) {
        if (shift > 0)
            return vaddq_s32(vshlq_s32(v, count), vandq_s32(vshlq_s32(v, first), vdupq_n_s32(1)));
        return vqshlq_s32(v, count);
    };
    for (int32_t i = 0; i < M / 2; i += 4) {
        const int32_t j = M - 4 - i;  // the back's lowest index
        const int32x4x2_t z = vld2q_s32(in + 2 * i);
        const int32x4x2_t y = vld2q_s32(in + 2 * j);
        const int32x4_t zr = z.val[0], zi = z.val[1];
        const int32x4_t yr = reverse(y.val[0]), yi = reverse(y.val[1]);
        const int32x4_t c = vld1q_s32(cosine + i), s = vld1q_s32(sine + i);
        const int32x4_t cb = reverse(vld1q_s32(cosine + j)), sb = reverse(vld1q_s32(sine + j));
        const int32x4_t fa = rescale(dot_round31<false>(zr, c, zi, s));
        const int32x4_t fb = rescale(dot_round31<true>(zr, s, zi, c));
        const int32x4_t ba = rescale(dot_round31<false>(yr, cb, yi, sb));
        const int32x4_t bb = rescale(dot_round31<true>(yr, sb, yi, cb));
        store_pairs(out + M + 2 * i, fb, ba);
        store_pairs(out + M - 8 - 2 * i, reverse(vqnegq_s32(ba)), reverse(vqnegq_s32(fb)));
        store_pairs(out + 3 * M + 2 * i, fa, bb);
        store_pairs(out + 3 * M - 8 - 2 * i, reverse(bb), reverse(fa));
    }
}

namespace {

// y (+)= round(x w / 2^31): Rise reads w upward, else downward from w[0];
// Add accumulates (wrapping).
template <bool Rise, bool Add>
void window_q31(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const int32x4_t c = Rise ? vld1q_s32(w + i) : reverse(vld1q_s32(w - i - 3));
        int32x4_t v = vqrdmulhq_s32(vld1q_s32(x + i), c);
        if constexpr (Add)
            v = vaddq_s32(vld1q_s32(y + i), v);
        vst1q_s32(y + i, v);
    }
    if (i < n) {
        if constexpr (Add)
            (Rise ? window_rise_add_q31_c : window_fall_add_q31_c)(x + i, Rise ? w + i : w - i,
                                                                   y + i, n - i);
        else
            (Rise ? window_rise_q31_c : window_fall_q31_c)(x + i, Rise ? w + i : w - i, y + i,
                                                           n - i);
    }
}

}  // namespace

void window_rise_q31_neon(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31<true, false>(x, w, y, n);
}

void window_fall_q31_neon(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31<false, false>(x, w, y, n);
}

void window_rise_add_q31_neon(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31<true, true>(x, w, y, n);
}

void window_fall_add_q31_neon(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31<false, true>(x, w, y, n);
}

// x = ((x >> 3) + 1) >> 1 (the sum stays below 2^28; no rounding shift,
// whose sum could pass 2^31 on some implementations).
void precise_descale_neon(int32_t *x, int32_t n)
{
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const int32x4_t v = vshrq_n_s32(vld1q_s32(x + i), 3);
        vst1q_s32(x + i, vshrq_n_s32(vaddq_s32(v, vdupq_n_s32(1)), 1));
    }
    if (i < n)
        precise_descale_c(x + i, n - i);
}

}  // namespace fxaac

#endif  // __ARM_NEON
