// Radix-4 FFT stages on x86 vectors, one template for SSE4.1 (four
// butterflies per step) and AVX2 (eight). Same results as the portable
// stages: sums and differences wrap, each twiddle product is the high word
// of the doubling product floor(p * t / 2^31), and the two products of a
// part are added (or subtracted) with wrapping.
//
// That product saturates only for p = t = -2^31; a stage whose twiddle
// words contain -2^31 (no table of the decoder does) runs the portable
// stage instead.
#ifndef FXAAC_X86_FFT_SIMD_H
#define FXAAC_X86_FFT_SIMD_H

#include "dsp/kernels.h"
#include "x86/simd.h"

namespace fxaac {
namespace {

// ws and wc of legs 1 to 3, in compute order.
template <class V>
struct LegTwiddles {
    typename V::T ws[3];
    typename V::T wc[3];
};

// A group of 24 twiddle words: ws[4], wc[4] of leg 1, then legs 2 and 3.
// V256 takes lanes 0..3 from first and 4..7 from second.
template <class V>
FXAAC_SIMD_INLINE LegTwiddles<V> load_twiddles(const int32_t *first, const int32_t *second)
{
    LegTwiddles<V> t;
#pragma GCC unroll 3
    for (int leg = 0; leg < 3; ++leg) {
        t.ws[leg] = V::load_groups(first + 8 * leg, second + 8 * leg);
        t.wc[leg] = V::load_groups(first + 8 * leg + 4, second + 8 * leg + 4);
    }
    return t;
}

// (re + j im)(wc - j ws): real q(im, ws) + q(re, wc), imaginary
// q(im, wc) - q(re, ws). Each pair of products is summed in the 64-bit
// halves before the halves are merged: the even lanes keep their result in
// the low word (shifted right by 31), the odd lanes in the high word
// (shifted left by 1), and word-wise sums do not mix the words.
template <class V>
FXAAC_SIMD_INLINE void rotate(typename V::T &re, typename V::T &im, typename V::T ws,
                              typename V::T wc)
{
    using T = typename V::T;
    const T re_odd = V::odd(re), im_odd = V::odd(im), ws_odd = V::odd(ws), wc_odd = V::odd(wc);
    const T real_even = V::add(V::template srli64<31>(V::mul(im, ws)),
                               V::template srli64<31>(V::mul(re, wc)));
    const T real_odd = V::add(V::template slli64<1>(V::mul(im_odd, ws_odd)),
                              V::template slli64<1>(V::mul(re_odd, wc_odd)));
    const T imag_even = V::sub(V::template srli64<31>(V::mul(im, wc)),
                               V::template srli64<31>(V::mul(re, ws)));
    const T imag_odd = V::sub(V::template slli64<1>(V::mul(im_odd, wc_odd)),
                              V::template slli64<1>(V::mul(re_odd, ws_odd)));
    re = V::blend_odd(real_even, real_odd);
    im = V::blend_odd(imag_even, imag_odd);
}

// The radix-4 butterfly on every lane, legs p0..p3 as real and imaginary
// vectors: y0 = p0 + p1 + p2 + p3, y1 = ((p0 - p2) - j(p1 - p3)) W1,
// y2 = ((p0 + p2) - (p1 + p3)) W2, y3 = ((p0 - p2) + j(p1 - p3)) W3.
template <class V>
FXAAC_SIMD_INLINE void butterfly(typename V::T re[4], typename V::T im[4], const LegTwiddles<V> &w)
{
    using T = typename V::T;
    const T s02r = V::add(re[0], re[2]), s02i = V::add(im[0], im[2]);
    const T d02r = V::sub(re[0], re[2]), d02i = V::sub(im[0], im[2]);
    const T s13r = V::add(re[1], re[3]), s13i = V::add(im[1], im[3]);
    const T d13r = V::sub(re[1], re[3]), d13i = V::sub(im[1], im[3]);
    re[0] = V::add(s02r, s13r);
    im[0] = V::add(s02i, s13i);
    re[1] = V::add(d02r, d13i);
    im[1] = V::sub(d02i, d13r);
    re[2] = V::sub(s02r, s13r);
    im[2] = V::sub(s02i, s13i);
    re[3] = V::sub(d02r, d13i);
    im[3] = V::add(d02i, d13r);
#pragma GCC unroll 3
    for (int leg = 1; leg < 4; ++leg)
        rotate<V>(re[leg], im[leg], w.ws[leg - 1], w.wc[leg - 1]);
}

// The default stages' butterfly kind (radix4_stage_simd's K): Q15
// twiddles in high halves, unscaled; a stage whose twiddle words hold
// -2^31 runs the portable stage.
struct DefaultButterfly {
    template <class V>
    using Twiddles = LegTwiddles<V>;
    template <class V>
    static FXAAC_SIMD_INLINE Twiddles<V> load(const int32_t *first, const int32_t *second)
    {
        return load_twiddles<V>(first, second);
    }
    template <class V>
    static FXAAC_SIMD_INLINE void run(typename V::T re[4], typename V::T im[4],
                                      const Twiddles<V> &w)
    {
        butterfly<V>(re, im, w);
    }
    template <class V>
    static bool usable(const int32_t *w, int32_t words)
    {
        return !any_min<V>(w, words);
    }
    static void portable(const int32_t *w, int32_t *x, int32_t N, int32_t n)
    {
        radix4_stage_c(w, x, N, n);
    }
};

// Butterflies of kind K whose legs lie stride words apart: the first half
// of the lanes' values at a, the second half at b (kLanes / 2 complex
// values each).
template <class V, class K>
FXAAC_SIMD_INLINE void butterfly_at(int32_t *a, int32_t *b, int32_t stride,
                                    const typename K::template Twiddles<V> &w)
{
    typename V::T re[4], im[4];
#pragma GCC unroll 4
    for (int q = 0; q < 4; ++q) {
        V::deinterleave(V::load(a + q * stride), V::load(b + q * stride), re[q], im[q]);
    }
    K::template run<V>(re, im, w);
#pragma GCC unroll 4
    for (int q = 0; q < 4; ++q) {
        typename V::T lo, hi;
        V::interleave(re[q], im[q], lo, hi);
        V::store(a + q * stride, lo);
        V::store(b + q * stride, hi);
    }
}

// One stage of block length n: butterflies m of a block go four to a
// twiddle group (m = 4g .. 4g + 3, words 24g ..). V256 takes two groups of
// a block per step, or, for n = 16 (one group per block), the same group
// in two blocks.
template <class V, class K = DefaultButterfly>
void radix4_stage_simd(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    const int32_t quarter = n / 4;
    if (quarter <= 0 || quarter % 4 != 0 || !K::template usable<V>(w, 6 * quarter)) {
        K::portable(w, x, N, n);
        return;
    }
    const int32_t stride = 2 * quarter;
    const bool two_groups = V::kLanes == 8 && quarter % 8 == 0;
    const bool two_blocks = V::kLanes == 8 && quarter == 4;
    int32_t block = 0;
    if (two_groups) {
        for (; block < N; block += n) {
            for (int32_t m = 0; m < quarter; m += 8) {
                int32_t *p = x + 2 * (block + m);
                butterfly_at<V, K>(p, p + 8, stride,
                                   K::template load<V>(w + 6 * m, w + 6 * m + 24));
            }
        }
    } else if (two_blocks) {
        const auto tw = K::template load<V>(w, w);
        for (; block + n < N; block += 2 * n)
            butterfly_at<V, K>(x + 2 * block, x + 2 * (block + n), stride, tw);
    }
    // Four butterflies per step (V128, and whatever V256 left).
    for (; block < N; block += n) {
        for (int32_t m = 0; m < quarter; m += 4) {
            int32_t *p = x + 2 * (block + m);
            butterfly_at<V128, K>(p, p + 4, stride, K::template load<V128>(w + 6 * m, w + 6 * m));
        }
    }
}

// The n = 8 stage, one step for two blocks: lanes 0, 1 are m = 0, 1 of a
// block (legs two complex values apart), lanes 2, 3 those of the next one.
template <class K = DefaultButterfly>
inline void stage8_pair(int32_t *x, const typename K::template Twiddles<V128> &w8)
{
    butterfly_at<V128, K>(x, x + 16, 4, w8);
}

// Step t = o N/16 + u reads four values at (N/2) o + 4u (group A) and four
// at N/4 positions further on (group B); A's results go to bins r, B's to
// r + 1, so each store holds one result of each, A's first. body(bin, p)
// gets the four pairs p[k] = (A value k, B value k).
template <typename Body>
void for_each_bin_pair(const int32_t *x, int32_t *out, const int32_t *digRev, int32_t N, Body body)
{
    const int32_t per_half = N / 16;
    for (int32_t t = 0, o = 0; t < N / 8; ++o) {
        for (int32_t u = 0; u < per_half && t < N / 8; ++u, ++t) {
            const int32_t position = N / 2 * o + 4 * u;
            const int32_t *a = x + 2 * position, *b = x + 2 * (position + N / 4);
            const __m128i a01 = V128::load(a), a23 = V128::load(a + 4);
            const __m128i b01 = V128::load(b), b23 = V128::load(b + 4);
            const __m128i p[4] = {_mm_unpacklo_epi64(a01, b01), _mm_unpackhi_epi64(a01, b01),
                                  _mm_unpacklo_epi64(a23, b23), _mm_unpackhi_epi64(a23, b23)};
            body(out + 2 * (digRev[t] / 8), p);
        }
    }
}

}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_FFT_SIMD_H
