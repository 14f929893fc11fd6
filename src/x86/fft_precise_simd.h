// The scaled radix-4 stages of the precise FFT (src/precise/fft_precise.h)
// on x86 vectors, one template for SSE4.1 and AVX2, through the stage walk
// of fft_simd.h. Same results as the portable stage: sums and differences
// wrap, the untwiddled leg is (v + 2) >> 2, and a twiddled part is the sum
// of two products each rounded to round(a x / 2^31).
#ifndef FXAAC_X86_FFT_PRECISE_SIMD_H
#define FXAAC_X86_FFT_PRECISE_SIMD_H

#include "x86/fft_simd.h"

namespace fxaac {
namespace {

// cos and sin of legs 1 to 3 (Q29), in compute order.
template <class V>
struct QuarterTwiddles {
    typename V::T c[3];
    typename V::T s[3];
};

// round(a x / 2^31) per lane (the low word), a and x with their odd lanes:
// the even lanes' in the low word of the 64-bit sum shifted right by 31, the
// odd lanes' in the high word of the sum shifted left by 1.
template <class V>
FXAAC_SIMD_INLINE typename V::T mul_q31(typename V::T a, typename V::T ao, typename V::T x,
                                        typename V::T xo)
{
    const typename V::T half = V::set1_64(int64_t{1} << 30);
    const typename V::T even = V::add64(V::mul(a, x), half);
    const typename V::T odd = V::add64(V::mul(ao, xo), half);
    return V::blend_odd(V::template srli64<31>(even), V::template slli64<1>(odd));
}

// (re + j im)(c - j s) with quarter coefficients: real q(re, c) + q(im, s),
// imaginary q(im, c) - q(re, s).
template <class V>
FXAAC_SIMD_INLINE void rotate_quarter(typename V::T &re, typename V::T &im, typename V::T c,
                                      typename V::T s)
{
    using T = typename V::T;
    const T ro = V::odd(re), io = V::odd(im), co = V::odd(c), so = V::odd(s);
    const T real = V::add(mul_q31<V>(re, ro, c, co), mul_q31<V>(im, io, s, so));
    im = V::sub(mul_q31<V>(im, io, c, co), mul_q31<V>(re, ro, s, so));
    re = real;
}

struct PreciseButterfly {
    template <class V>
    using Twiddles = QuarterTwiddles<V>;
    template <class V>
    static FXAAC_SIMD_INLINE Twiddles<V> load(const int32_t *first, const int32_t *second)
    {
        Twiddles<V> t;
#pragma GCC unroll 3
        for (int leg = 0; leg < 3; ++leg) {
            t.c[leg] = V::load_groups(first + 8 * leg, second + 8 * leg);
            t.s[leg] = V::load_groups(first + 8 * leg + 4, second + 8 * leg + 4);
        }
        return t;
    }
    template <class V>
    static FXAAC_SIMD_INLINE void run(typename V::T re[4], typename V::T im[4],
                                      const Twiddles<V> &w)
    {
        using T = typename V::T;
        const T s02r = V::add(re[0], re[2]), s02i = V::add(im[0], im[2]);
        const T d02r = V::sub(re[0], re[2]), d02i = V::sub(im[0], im[2]);
        const T s13r = V::add(re[1], re[3]), s13i = V::add(im[1], im[3]);
        const T d13r = V::sub(re[1], re[3]), d13i = V::sub(im[1], im[3]);
        const T two = V::set1(2);
        re[0] = V::template srai<2>(V::add(V::add(s02r, s13r), two));
        im[0] = V::template srai<2>(V::add(V::add(s02i, s13i), two));
        re[1] = V::add(d02r, d13i);
        im[1] = V::sub(d02i, d13r);
        re[2] = V::sub(s02r, s13r);
        im[2] = V::sub(s02i, s13i);
        re[3] = V::sub(d02r, d13i);
        im[3] = V::add(d02i, d13r);
#pragma GCC unroll 3
        for (int leg = 1; leg < 4; ++leg)
            rotate_quarter<V>(re[leg], im[leg], w.c[leg - 1], w.s[leg - 1]);
    }
    // The coefficients are within +-2^30 (the contract of the kernel).
    template <class V>
    static bool usable(const int32_t *, int32_t)
    {
        return true;
    }
    static void portable(const int32_t *w, int32_t *x, int32_t N, int32_t n)
    {
        radix4_stage_q29_c(w, x, N, n);
    }
};

// A stage of the precise FFT: the n = 8 stage (two butterflies per block,
// the packed group serving two blocks per step) or any other.
template <class V>
void radix4_stage_q29_simd(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    if (n != 8) {
        radix4_stage_simd<V, PreciseButterfly>(w, x, N, n);
        return;
    }
    const auto tw = PreciseButterfly::load<V128>(w, w);
    int32_t block = 0;
    for (; block + 2 * n <= N; block += 2 * n)
        stage8_pair<PreciseButterfly>(x + 2 * block, tw);
    if (block < N)
        radix4_stage_q29_c(w, x + 2 * block, N - block, n);
}

}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_FFT_PRECISE_SIMD_H
