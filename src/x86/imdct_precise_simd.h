// The precise IMDCT's twiddles and windows on x86 vectors, one template for
// SSE4.1 and AVX2, through the twiddle walks of imdct_simd.h. Same results as the portable
// kernels: a part is the low word of round((a x + b y) / 2^31), the 64-bit
// sum exact; the post-twiddle's rescaling is a rounding right shift
// (v >> n) + ((v >> (n - 1)) & 1) or a saturating left shift.
#ifndef FXAAC_X86_IMDCT_PRECISE_SIMD_H
#define FXAAC_X86_IMDCT_PRECISE_SIMD_H

#include "x86/imdct_simd.h"

namespace fxaac {
namespace {

// round((a x + b y) / 2^31) per lane, the odd lanes' operands moved down
// (the even lanes' result is the low word of the sum shifted right by 31,
// the odd lanes' the high word of the sum shifted left by 1).
template <class V>
FXAAC_SIMD_INLINE typename V::T dot_round31(const Operand<V> &a, const Operand<V> &x,
                                            const Operand<V> &b, const Operand<V> &y)
{
    using T = typename V::T;
    const T half = V::set1_64(int64_t{1} << 30);
    const T even = V::add64(V::add64(V::mul(a.v, x.v), V::mul(b.v, y.v)), half);
    const T odd = V::add64(V::add64(V::mul(a.odd, x.odd), V::mul(b.odd, y.odd)), half);
    return V::blend_odd(V::template srli64<31>(even), V::template slli64<1>(odd));
}

// The Q31 rotation (src/precise/imdct_precise.cpp): pre(): -round((a + jb)
// (c - j s)), the negation wrapping; post(): round((zr + j zi)(c - j s)) as
// A - j B. Subtracted products take the negated coefficient, which fits.
template <class V>
struct Q31Rotation {
    using T = typename V::T;
    const int32_t *cosine;
    const int32_t *sine;

    // kLanes table words in compute order from first up, or mirrored down.
    FXAAC_SIMD_INLINE T table(const int32_t *t, int32_t first, bool mirrored) const
    {
        return mirrored ? V::rev_porder(V::load(t + first - (V::kLanes - 1)))
                        : V::porder(V::load(t + first));
    }
    FXAAC_SIMD_INLINE void pre(T a_v, T b_v, int32_t first, bool mirrored, T &re, T &im) const
    {
        const T c = table(cosine, first, mirrored), s = table(sine, first, mirrored);
        const Operand<V> a(a_v), b(b_v), co(c), si(s), nc(V::sub(V::zero(), c));
        re = V::sub(V::zero(), dot_round31<V>(a, co, b, si));
        im = dot_round31<V>(a, si, b, nc);
    }
    FXAAC_SIMD_INLINE void post(T zr, T zi, int32_t first, bool mirrored, T &A, T &B) const
    {
        const T c = table(cosine, first, mirrored), s = table(sine, first, mirrored);
        const Operand<V> r(zr), m(zi), co(c), si(s), nc(V::sub(V::zero(), c));
        A = dot_round31<V>(r, co, m, si);
        B = dot_round31<V>(r, si, m, nc);
    }
};

// The rescaling after the post-twiddle.
template <class V>
struct RoundRight {
    __m128i count;  // n
    __m128i first;  // n - 1
    FXAAC_SIMD_INLINE typename V::T operator()(typename V::T v) const
    {
        return V::add(V::sra(v, count), V::bit_and(V::sra(v, first), V::set1(1)));
    }
};
template <class V>
struct SaturateLeft {
    __m128i test;
    __m128i count;
    FXAAC_SIMD_INLINE typename V::T operator()(typename V::T v) const
    {
        return shl_sat<V>(v, test, count);
    }
};

// round(x w / 2^31) per lane.
template <class V>
FXAAC_SIMD_INLINE typename V::T window_product(typename V::T x, typename V::T w)
{
    using T = typename V::T;
    const Operand<V> a(x), c(w);
    const T half = V::set1_64(int64_t{1} << 30);
    const T even = V::add64(V::mul(a.v, c.v), half);
    const T odd = V::add64(V::mul(a.odd, c.odd), half);
    return V::blend_odd(V::template srli64<31>(even), V::template slli64<1>(odd));
}

template <class V>
void pre_twiddle_q31_simd(const int32_t *front, const int32_t *back, int32_t *out,
                          const int32_t *cosine, const int32_t *sine, int32_t count)
{
    if (count % V::kLanes != 0) {
        pre_twiddle_q31_c(front, back, out, cosine, sine, count);
        return;
    }
    pre_twiddle_walk<V>(front, back, out, Q31Rotation<V>{cosine, sine}, count);
}

template <class V>
void post_twiddle_q31_simd(int32_t *out, const int32_t *in, const int32_t *cosine,
                           const int32_t *sine, int32_t N, int32_t shift)
{
    const int32_t M = N / 4;
    if (M <= 0 || (M / 2) % V::kLanes != 0 || shift < -31 || shift > 31) {
        post_twiddle_q31_c(out, in, cosine, sine, N, shift);
        return;
    }
    const Q31Rotation<V> rot{cosine, sine};
    if (shift > 0) {
        const RoundRight<V> sh{shift_count(static_cast<uint32_t>(shift)),
                               shift_count(static_cast<uint32_t>(shift - 1))};
        post_twiddle_loop<V>(out, in, rot, M, sh);
    } else {
        const uint32_t left = static_cast<uint32_t>(-shift);
        post_twiddle_loop<V>(out, in, rot, M,
                             SaturateLeft<V>{shift_count(31u - left), shift_count(left)});
    }
}

// y (+)= round(x w / 2^31): Rise reads w upward, else downward from w[0];
// Add accumulates (wrapping).
template <class V, bool Rise, bool Add>
void window_q31_simd(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    int i = 0;
    for (; i + V::kLanes <= n; i += V::kLanes) {
        const typename V::T c = Rise ? V::load(w + i) : V::rev(V::load(w - i - (V::kLanes - 1)));
        typename V::T v = window_product<V>(V::load(x + i), c);
        if constexpr (Add)
            v = V::add(V::load(y + i), v);
        V::store(y + i, v);
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

// x = ((x >> 3) + 1) >> 1 (the sum stays below 2^28).
template <class V>
void precise_descale_simd(int32_t *x, int32_t n)
{
    int32_t i = 0;
    const typename V::T one = V::set1(1);
    for (; i + V::kLanes <= n; i += V::kLanes) {
        const typename V::T v = V::template srai<3>(V::load(x + i));
        V::store(x + i, V::template srai<1>(V::add(v, one)));
    }
    if (i < n)
        precise_descale_c(x + i, n - i);
}

}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_IMDCT_PRECISE_SIMD_H
