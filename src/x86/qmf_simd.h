// The SBR QMF banks' DCT-IV (src/sbr/qmf.cpp) on four lanes for the x86-64
// kernels: built by the SSE4.1 file and, VEX-encoded (three-operand forms,
// without the register copies of the two-operand ones), by the AVX2 file.
// The arithmetic is that of src/x86/qmf_sse41.cpp (see its header); the
// order of blocks that of the NEON version (src/arm/qmf_neon.cpp, whose
// header explains it). Internal linkage, as x86/simd.h.
#ifndef FXAAC_X86_QMF_SIMD_H
#define FXAAC_X86_QMF_SIMD_H

#include "sbr/qmf_tables.h"
#include "x86/simd.h"

namespace fxaac {
namespace {
namespace qmf4 {

using sbr::kQmfFftTwiddle;

FXAAC_SIMD_INLINE __m128i odd(__m128i v) { return _mm_shuffle_epi32(v, _MM_SHUFFLE(3, 3, 1, 1)); }

FXAAC_SIMD_INLINE __m128i reverse(__m128i v)
{
    return _mm_shuffle_epi32(v, _MM_SHUFFLE(0, 1, 2, 3));
}

FXAAC_SIMD_INLINE __m128i load(const int32_t *p) { return V128::load(p); }

// Even and odd words of p[0 .. 7].
FXAAC_SIMD_INLINE void load2(const int32_t *p, __m128i &even, __m128i &odd_words)
{
    V128::deinterleave(load(p), load(p + 4), even, odd_words);
}

// Bits 31 .. 62 of the even lanes' and odd lanes' 64-bit sums plus 2^30.
FXAAC_SIMD_INLINE __m128i round31(__m128i even, __m128i odd_sums)
{
    const __m128i bias = _mm_set1_epi64x(int64_t{1} << 30);
    return _mm_blend_epi16(_mm_srli_epi64(_mm_add_epi64(even, bias), 31),
                           _mm_slli_epi64(_mm_add_epi64(odd_sums, bias), 1), 0xCC);
}

// round((a c + b s) / 2^31) per lane.
FXAAC_SIMD_INLINE __m128i dot31(__m128i a, __m128i c, __m128i b, __m128i s)
{
    const __m128i even = _mm_add_epi64(_mm_mul_epi32(a, c), _mm_mul_epi32(b, s));
    const __m128i odds = _mm_add_epi64(_mm_mul_epi32(odd(a), odd(c)),
                                       _mm_mul_epi32(odd(b), odd(s)));
    return round31(even, odds);
}

// round((a c - b s) / 2^31) per lane.
FXAAC_SIMD_INLINE __m128i dot31m(__m128i a, __m128i c, __m128i b, __m128i s)
{
    const __m128i even = _mm_sub_epi64(_mm_mul_epi32(a, c), _mm_mul_epi32(b, s));
    const __m128i odds = _mm_sub_epi64(_mm_mul_epi32(odd(a), odd(c)),
                                       _mm_mul_epi32(odd(b), odd(s)));
    return round31(even, odds);
}

FXAAC_SIMD_INLINE void butterfly(__m128i &ar, __m128i &ai, __m128i &br, __m128i &bi, __m128i c,
                                 __m128i s)
{
    const __m128i tr = dot31(br, c, bi, s);
    const __m128i ti = dot31m(bi, c, br, s);
    br = _mm_sub_epi32(ar, tr);
    bi = _mm_sub_epi32(ai, ti);
    ar = _mm_add_epi32(ar, tr);
    ai = _mm_add_epi32(ai, ti);
}

FXAAC_SIMD_INLINE void transpose(__m128i &y0, __m128i &y1, __m128i &y2, __m128i &y3)
{
    const __m128i a = _mm_unpacklo_epi32(y0, y1), b = _mm_unpackhi_epi32(y0, y1);
    const __m128i c = _mm_unpacklo_epi32(y2, y3), d = _mm_unpackhi_epi32(y2, y3);
    y0 = _mm_unpacklo_epi64(a, c);
    y1 = _mm_unpackhi_epi64(a, c);
    y2 = _mm_unpacklo_epi64(b, d);
    y3 = _mm_unpackhi_epi64(b, d);
}

template <int Len, int V>
FXAAC_SIMD_INLINE void stage(__m128i br[], __m128i bi[])
{
    constexpr int hv = Len / 8, step = 32 / Len;
#pragma GCC unroll 8
    for (int j = 0; j < hv; ++j) {
        const int m = 4 * j * step;
        const __m128i c = _mm_setr_epi32(kQmfFftTwiddle[m][0], kQmfFftTwiddle[m + step][0],
                                         kQmfFftTwiddle[m + 2 * step][0],
                                         kQmfFftTwiddle[m + 3 * step][0]);
        const __m128i s = _mm_setr_epi32(kQmfFftTwiddle[m][1], kQmfFftTwiddle[m + step][1],
                                         kQmfFftTwiddle[m + 2 * step][1],
                                         kQmfFftTwiddle[m + 3 * step][1]);
#pragma GCC unroll 8
        for (int block = 0; block < V; block += 2 * hv)
            butterfly(br[block + j], bi[block + j], br[block + j + hv], bi[block + j + hv], c, s);
    }
}

template <int N>
void dct4(const int32_t *in, int32_t *out)
{
    constexpr int M = N / 2, V = M / 4, G = V / 4;
    const int32_t(*tw)[2] = N == 32 ? sbr::kQmfDct32Twiddle : sbr::kQmfDct64Twiddle;
    __m128i re[V], im[V];
#pragma GCC unroll 8
    for (int i = 0; i < V; ++i) {
        __m128i a, unused, rest, b, c, s;
        load2(in + 8 * i, a, unused);
        load2(in + 8 * (V - 1 - i), rest, b);
        b = reverse(b);
        load2(tw[4 * i], c, s);
        re[i] = dot31(a, c, b, s);
        im[i] = dot31m(b, c, a, s);
    }
    static constexpr int kBitrev2[4] = {0, 2, 1, 3};
    const __m128i c0 = _mm_set1_epi32(kQmfFftTwiddle[0][0]),
                  s0 = _mm_set1_epi32(kQmfFftTwiddle[0][1]);
    const __m128i c8 = _mm_set1_epi32(kQmfFftTwiddle[8][0]),
                  s8 = _mm_set1_epi32(kQmfFftTwiddle[8][1]);
    __m128i br[V], bi[V];
#pragma GCC unroll 2
    for (int g = 0; g < G; ++g) {
        __m128i xr[4], xi[4];
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            xr[k] = re[G * kBitrev2[k] + g];
            xi[k] = im[G * kBitrev2[k] + g];
        }
        __m128i r0 = _mm_add_epi32(xr[0], xr[1]), r1 = _mm_sub_epi32(xr[0], xr[1]);
        __m128i r2 = _mm_add_epi32(xr[2], xr[3]), r3 = _mm_sub_epi32(xr[2], xr[3]);
        __m128i i0 = _mm_add_epi32(xi[0], xi[1]), i1 = _mm_sub_epi32(xi[0], xi[1]);
        __m128i i2 = _mm_add_epi32(xi[2], xi[3]), i3 = _mm_sub_epi32(xi[2], xi[3]);
        butterfly(r0, i0, r2, i2, c0, s0);
        butterfly(r1, i1, r3, i3, c8, s8);
        transpose(r0, r1, r2, r3);
        transpose(i0, i1, i2, i3);
        const __m128i rr[4] = {r0, r1, r2, r3}, ii[4] = {i0, i1, i2, i3};
#pragma GCC unroll 4
        for (int l = 0; l < 4; ++l) {
            const int b = G == 2 ? (kBitrev2[l] << 1) | g : kBitrev2[l];
            br[b] = rr[l];
            bi[b] = ii[l];
        }
    }
    stage<8, V>(br, bi);
    stage<16, V>(br, bi);
    if constexpr (M == 32)
        stage<32, V>(br, bi);
    __m128i even[V], odds[V];
#pragma GCC unroll 8
    for (int b = 0; b < V; ++b) {
        __m128i c, s;
        load2(tw[4 * b], c, s);
        even[b] = dot31(br[b], c, bi[b], s);
        odds[b] = dot31m(br[b], s, bi[b], c);
    }
#pragma GCC unroll 8
    for (int b = 0; b < V; ++b) {
        __m128i lo, hi;
        V128::interleave(even[b], reverse(odds[V - 1 - b]), lo, hi);
        V128::store(out + 8 * b, lo);
        V128::store(out + 8 * b + 4, hi);
    }
}

}  // namespace qmf4
}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_QMF_SIMD_H
