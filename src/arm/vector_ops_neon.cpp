// Window multiply, multiply-accumulate and saturating add on ARM Advanced
// SIMD, four words per vector. Same results as the portable kernels: the
// truncating 32x16 product, wrapping accumulation, saturating addition, and
// the pairs rule (n rounded down to an even count, an odd last element left
// untouched).
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"

namespace fxaac {
namespace {

// (x * w) >> 16 on four lanes. VQDMULH returns the high word of 2 * x * c,
// rounded toward minus infinity; with c = w << 15 (VSHLL) that is
// floor(x * w * 2^16 / 2^32) = floor(x * w / 2^16), bits 16..47 of the
// 48-bit product. It saturates only when x and c are both -2^31, and c lies
// in [-2^30, 2^30 - 2^15]: never.
inline int32x4_t mul_q15(int32x4_t x, int16x4_t w) { return vqdmulhq_s32(x, vshll_n_s16(w, 15)); }
inline int32x2_t mul_q15(int32x2_t x, int16x4_t w)
{
    return vqdmulh_s32(x, vget_low_s32(vshll_n_s16(w, 15)));
}

// n rounded down to an even count; 0 below 2.
constexpr int whole_pairs(int n) { return n < 2 ? 0 : n - n % 2; }

// The two coefficients of lanes i, i + 1 in a 64-bit vector (the upper two
// lanes are don't-care copies): w[i], w[i + 1] forward, w[-i], w[-i - 1]
// backward.
template <bool Backward>
inline int16x4_t pair_coefficients(const int16_t *w, int i)
{
    int16x4_t c = vdup_n_s16(0);
    if constexpr (Backward) {
        c = vld1_lane_s16(w - i, c, 0);
        c = vld1_lane_s16(w - i - 1, c, 1);
    } else {
        c = vld1_lane_s16(w + i, c, 0);
        c = vld1_lane_s16(w + i + 1, c, 1);
    }
    return c;
}

// y[i] = m(x[i], w[±i]) (+ y[i] when Accumulate: wrapping, or saturating
// (VQADD) when Saturate) for i below the pairs count. Eight lanes per step,
// then one step of four and one of two. y may be x: every step loads before
// it stores.
template <bool Backward, bool Accumulate, bool Saturate = false>
void window(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    const int count = whole_pairs(n);
    const int32_t *const end8 = x + (count & ~7);
    // Pointers advance after every load and store (post-increment addressing).
    const int16_t *c = Backward ? w - 7 : w;
    for (; x != end8; c += Backward ? -8 : 8) {
        int16x4_t w0, w1;
        if constexpr (Backward) {
            // w[-i-7] .. w[-i], each half reversed: the high half serves lanes
            // i .. i+3, the low half lanes i+4 .. i+7.
            const int16x8_t r = vrev64q_s16(vld1q_s16(c));
            w0 = vget_high_s16(r);
            w1 = vget_low_s16(r);
        } else {
            const int16x8_t v = vld1q_s16(c);
            w0 = vget_low_s16(v);
            w1 = vget_high_s16(v);
        }
        int32x4_t p0 = mul_q15(vld1q_s32(x), w0);
        x += 4;
        int32x4_t p1 = mul_q15(vld1q_s32(x), w1);
        x += 4;
        if constexpr (Accumulate && Saturate) {
            p0 = vqaddq_s32(vld1q_s32(y), p0);
            p1 = vqaddq_s32(vld1q_s32(y + 4), p1);
        } else if constexpr (Accumulate) {
            p0 = vaddq_s32(vld1q_s32(y), p0);
            p1 = vaddq_s32(vld1q_s32(y + 4), p1);
        }
        vst1q_s32(y, p0);
        y += 4;
        vst1q_s32(y, p1);
        y += 4;
    }
    int i = count & ~7;  // the coefficients of the remaining lanes: w[±i], ...
    if ((count & 4) != 0) {
        const int16x4_t v = Backward ? vrev64_s16(vld1_s16(w - i - 3)) : vld1_s16(w + i);
        int32x4_t p = mul_q15(vld1q_s32(x), v);
        if constexpr (Accumulate)
            p = Saturate ? vqaddq_s32(vld1q_s32(y), p) : vaddq_s32(vld1q_s32(y), p);
        vst1q_s32(y, p);
        x += 4;
        y += 4;
        i += 4;
    }
    if ((count & 2) != 0) {
        int32x2_t p = mul_q15(vld1_s32(x), pair_coefficients<Backward>(w, i));
        if constexpr (Accumulate)
            p = Saturate ? vqadd_s32(vld1_s32(y), p) : vadd_s32(vld1_s32(y), p);
        vst1_s32(y, p);
    }
}

}  // namespace

void window_rise_neon(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window<false, false>(x, w, y, n);
}

void window_fall_neon(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window<true, false>(x, w, y, n);
}

void window_rise_add_neon(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window<false, true>(x, w, y, n);
}

void window_fall_add_neon(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window<true, true>(x, w, y, n);
}

void window_rise_overlap_neon(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window<false, true, true>(x, w, y, n);
}

// z[i] = sat(x[i] + y[i]) (VQADD), pairs; z may be x or y.
void add_saturate_neon(const int32_t *x, const int32_t *y, int32_t *z, int n)
{
    const int count = whole_pairs(n);
    const int32_t *const end8 = x + (count & ~7);
    while (x != end8) {
        const int32x4_t x0 = vld1q_s32(x), y0 = vld1q_s32(y);
        const int32x4_t x1 = vld1q_s32(x + 4), y1 = vld1q_s32(y + 4);
        x += 8;
        y += 8;
        vst1q_s32(z, vqaddq_s32(x0, y0));
        vst1q_s32(z + 4, vqaddq_s32(x1, y1));
        z += 8;
    }
    if ((count & 4) != 0) {
        vst1q_s32(z, vqaddq_s32(vld1q_s32(x), vld1q_s32(y)));
        x += 4;
        y += 4;
        z += 4;
    }
    if ((count & 2) != 0)
        vst1_s32(z, vqadd_s32(vld1_s32(x), vld1_s32(y)));
}

}  // namespace fxaac

#endif  // __ARM_NEON
