// The IMDCT's twiddles, block measure and block shift on x86 vectors, one
// template for SSE4.1 and AVX2. Same results as the portable kernels:
// truncating 32x16 products q(p, c) = floor(p * c / 2^16) (the coefficient
// widened to c << 16, the high word of the 64-bit product), saturating sums,
// differences and negations, and the block shifts with the scalar rules for
// every count.
//
// The twiddles run one vector of values from the front and one of their
// mirrors from the back per step; sizes that are not whole steps (the
// decoder has none) run the portable kernel.
#ifndef FXAAC_X86_IMDCT_SIMD_H
#define FXAAC_X86_IMDCT_SIMD_H

#include "dsp/kernels.h"
#include "x86/simd.h"

namespace fxaac {
namespace {

// kLanes words ending at last, reversed: last[0], last[-1], ...
template <class V>
FXAAC_SIMD_INLINE typename V::T load_reversed(const int32_t *last)
{
    return V::rev(V::load(last - (V::kLanes - 1)));
}

// kLanes coefficients c << 16 in compute order: table[i], i = first, first
// + 1, ... (Mirror: table[last], table[last - 1], ...).
template <class V>
FXAAC_SIMD_INLINE typename V::T coefficients(const int16_t *table, int32_t first)
{
    return V::porder(V::load_q16_hi(table + first));
}
template <class V>
FXAAC_SIMD_INLINE typename V::T mirror_coefficients(const int16_t *table, int32_t last)
{
    return V::rev_porder(V::load_q16_hi(table + last - (V::kLanes - 1)));
}

// The products of a rotation: p and its odd lanes, against cs and sn.
template <class V>
struct Operand {
    typename V::T v;
    typename V::T odd;
    explicit Operand(typename V::T value) : v(value), odd(V::odd(value)) {}
};

template <class V>
FXAAC_SIMD_INLINE typename V::T q(const Operand<V> &p, const Operand<V> &c)
{
    return mulhi<V>(p.v, p.odd, c.v, c.odd);
}

// Pre-twiddle: for k < 2 count, a = in[2k], b = in[N/2 - 1 - 2k]:
//   out[2k] = -sat(q(a, cs[k]) + q(b, sn[k])), out[2k + 1] = sat(q(a, sn[k]) - q(b, cs[k])).
// A step takes k .. k + L - 1 from the front (a from front[2k] upward, b
// from back[-2k] downward) and their mirrors M - j = 2 count - 1 - k - j
// (a from back[-2k - 1] downward, b from front[2k + 1] upward). Lanes hold
// j in compute order; the mirrors' results are stored in reverse.
// The default rotation: Q15 tables, truncating products, saturating sums.
// pre(): -(a + jb)(cs - j sn) / 2; post(): (zr + j zi)(cs - j sn) / 2 as
// A - j B. `first` is the table index of lane 0, and the lanes run down
// from there when mirrored.
template <class V>
struct Q15Rotation {
    using T = typename V::T;
    const int16_t *cosine;
    const int16_t *sine;

    FXAAC_SIMD_INLINE Operand<V> table(const int16_t *t, int32_t first, bool mirrored) const
    {
        return Operand<V>(mirrored ? mirror_coefficients<V>(t, first) : coefficients<V>(t, first));
    }
    FXAAC_SIMD_INLINE void pre(T a_v, T b_v, int32_t first, bool mirrored, T &re, T &im) const
    {
        const Operand<V> a(a_v), b(b_v);
        const Operand<V> cs = table(cosine, first, mirrored), sn = table(sine, first, mirrored);
        re = neg_sat<V>(add_sat<V>(q(a, cs), q(b, sn)));
        im = sub_sat<V>(q(a, sn), q(b, cs));
    }
    FXAAC_SIMD_INLINE void post(T zr, T zi, int32_t first, bool mirrored, T &A, T &B) const
    {
        const Operand<V> r(zr), m(zi);
        const Operand<V> cs = table(cosine, first, mirrored), sn = table(sine, first, mirrored);
        A = add_sat<V>(q(r, cs), q(m, sn));
        B = sub_sat<V>(q(r, sn), q(m, cs));
    }
};

// Pre-twiddle walk: for k < 2 count, a = in[2k], b = in[N/2 - 1 - 2k]
// rotated by rot.pre() into out[2k], out[2k + 1]. A step takes k .. k + L
// - 1 from the front (a from front[2k] upward, b from back[-2k] downward)
// and their mirrors M - j = 2 count - 1 - k - j (a from back[-2k - 1]
// downward, b from front[2k + 1] upward). Lanes hold j in compute order;
// the mirrors' results are stored in reverse. count % L == 0.
template <class V, class Rot>
void pre_twiddle_walk(const int32_t *front, const int32_t *back, int32_t *out, const Rot &rot,
                      int32_t count)
{
    using T = typename V::T;
    constexpr int32_t L = V::kLanes;
    const int32_t last = 2 * count - 1;
    for (int32_t k = 0; k < count; k += L) {
        const int32_t mirror = last - k;
        T a_re, b_mirror, b_re, a_mirror;
        V::deinterleave(V::load(front + 2 * k), V::load(front + 2 * k + L), a_re, b_mirror);
        V::deinterleave(load_reversed<V>(back - 2 * k), load_reversed<V>(back - 2 * k - L), b_re,
                        a_mirror);
        T re, im, lo, hi;
        rot.pre(a_re, b_re, k, false, re, im);
        V::interleave(re, im, lo, hi);
        V::store(out + 2 * k, lo);
        V::store(out + 2 * k + L, hi);
        rot.pre(a_mirror, b_mirror, mirror, true, re, im);
        V::interleave(re, im, lo, hi);
        int32_t *const lowest = out + 2 * (mirror - (L - 1));
        V::store(lowest, V::rev64(hi));
        V::store(lowest + L, V::rev64(lo));
    }
}

template <class V>
void pre_twiddle_simd(const int32_t *front, const int32_t *back, int32_t *out,
                      const int16_t *cosine, const int16_t *sine, int32_t count)
{
    if (count % V::kLanes != 0) {
        pre_twiddle_c(front, back, out, cosine, sine, count);
        return;
    }
    pre_twiddle_walk<V>(front, back, out, Q15Rotation<V>{cosine, sine}, count);
}

// The block exponent undone after the post-twiddle.
template <class V, bool Left>
struct BlockShift {
    __m128i test;   // left: the saturation test's right shift
    __m128i count;  // the shift
    typename V::T operator()(typename V::T v) const
    {
        if constexpr (Left)
            return shl_sat<V>(v, test, count);
        return V::sra(v, count);
    }
};

// Post-twiddle: for k < M = N/4 with z[k] = zr + j zi,
//   A[k] = sh(sat(q(zr, cs[k]) + q(zi, sn[k]))), B[k] = sh(sat(q(zr, sn[k]) - q(zi, cs[k]))),
// placed as out[M + 2i] = B[i], out[M + 2i + 1] = A[M-1-i],
// out[M - 1 - 2i] = -B[i], out[M - 2 - 2i] = -A[M-1-i] (saturating),
// out[3M + 2i] = out[3M - 1 - 2i] = A[i],
// out[3M + 2i + 1] = out[3M - 2 - 2i] = B[M-1-i].
// A step takes i .. i + L - 1 (front) and M - 1 - i - l (back, l in lane
// order), and writes each quarter from its boundary outward.
template <class V, class Rot, class Shift>
void post_twiddle_loop(int32_t *out, const int32_t *in, const Rot &rot, int32_t M, Shift sh)
{
    using T = typename V::T;
    constexpr int32_t L = V::kLanes;
    for (int32_t i = 0; i < M / 2; i += L) {
        const int32_t back = M - 1 - i;
        T zr, zi, wr, wi;
        V::deinterleave(V::load(in + 2 * i), V::load(in + 2 * i + L), zr, zi);
        V::deinterleave(V::rev64(V::load(in + 2 * back - (L - 2))),
                        V::rev64(V::load(in + 2 * back - (2 * L - 2))), wr, wi);
        T fa, fb, ba, bb;
        rot.post(zr, zi, i, false, fa, fb);
        rot.post(wr, wi, back, true, ba, bb);
        fa = sh(fa);
        fb = sh(fb);
        ba = sh(ba);
        bb = sh(bb);
        T lo, hi;
        V::interleave(fb, ba, lo, hi);
        V::store(out + M + 2 * i, lo);
        V::store(out + M + 2 * i + L, hi);
        V::interleave(neg_sat<V>(ba), neg_sat<V>(fb), lo, hi);
        V::store(out + M - 2 * i - 2 * L, V::rev64(hi));
        V::store(out + M - 2 * i - L, V::rev64(lo));
        V::interleave(fa, bb, lo, hi);
        V::store(out + 3 * M + 2 * i, lo);
        V::store(out + 3 * M + 2 * i + L, hi);
        V::interleave(bb, fa, lo, hi);
        V::store(out + 3 * M - 2 * i - 2 * L, V::rev64(hi));
        V::store(out + 3 * M - 2 * i - L, V::rev64(lo));
    }
}

// shift >= 0: right by shift (counts modulo 256); shift < 0: left by -shift
// with saturation.
template <class V>
void post_twiddle_simd(int32_t *out, const int32_t *in, const int16_t *cosine, const int16_t *sine,
                       int32_t N, int32_t shift)
{
    const int32_t M = N / 4;
    if (M <= 0 || (M / 2) % V::kLanes != 0) {
        post_twiddle_c(out, in, cosine, sine, N, shift);
        return;
    }
    if (shift >= 0) {
        const __m128i count = shift_count(static_cast<uint32_t>(shift) & 255u);
        post_twiddle_loop<V>(out, in, Q15Rotation<V>{cosine, sine}, M,
                             BlockShift<V, false>{count, count});
    } else {
        const uint32_t left = 0u - static_cast<uint32_t>(shift);
        const BlockShift<V, true> sh{shift_count((31u - left) & 255u), shift_count(left & 255u)};
        post_twiddle_loop<V>(out, in, Q15Rotation<V>{cosine, sine}, M, sh);
    }
}

// OR of the saturated magnitudes of x[0 .. n/2 - 1]. PABSD leaves -2^31 as
// 0x80000000, whose saturated magnitude 2^31 - 1 would set every other bit:
// a set sign bit in the OR stands for 2^31 - 1.
template <class V>
int32_t block_magnitude_simd(const int32_t *x, int32_t n)
{
    constexpr int32_t L = V::kLanes;
    const int32_t half = n / 2;
    typename V::T acc = V::zero();
    int32_t i = 0;
    for (; i + L <= half; i += L)
        acc = V::bit_or(acc, V::abs(V::load(x + i)));
    int32_t result = V::or_lanes(acc);
    if (result < 0)
        result = INT32_MAX;
    if (i < half)
        result |= block_magnitude_c(x + i, 2 * (half - i));
    return result;
}

// x[i] >> shift (shift > 0) or x[i] << -shift, wrapping, counts modulo 256.
template <class V>
void block_shift_simd(int32_t *x, int32_t shift, int32_t n)
{
    constexpr int32_t L = V::kLanes;
    int32_t i = 0;
    if (shift > 0) {
        const __m128i count = shift_count(static_cast<uint32_t>(shift) & 255u);
        for (; i + L <= n; i += L)
            V::store(x + i, V::sra(V::load(x + i), count));
    } else {
        const __m128i count = shift_count((0u - static_cast<uint32_t>(shift)) & 255u);
        for (; i + L <= n; i += L)
            V::store(x + i, V::sll(V::load(x + i), count));
    }
    if (i < n)
        block_shift_c(x + i, shift, n - i);
}

}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_IMDCT_SIMD_H
