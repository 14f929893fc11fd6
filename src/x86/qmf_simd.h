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

// Pre-twiddle of the pairs in(2n) + i in(N-1-2n), n = 4i .. 4i+3, then
// stages 1 and 2 on points k = 0..3 of the four blocks in group g's lanes.
template <int N>
FXAAC_SIMD_INLINE void first_stages(const int32_t *in, const int32_t (*tw)[2], int g, __m128i yr[4],
                                    __m128i yi[4])
{
    constexpr int V = N / 8, G = V / 4;
    static constexpr int kBitrev2[4] = {0, 2, 1, 3};
    __m128i xr[4], xi[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const int i = G * kBitrev2[k] + g;
        __m128i a, unused, rest, b, c, s;
        load2(in + 8 * i, a, unused);
        load2(in + 8 * (V - 1 - i), rest, b);
        b = reverse(b);
        load2(tw[4 * i], c, s);
        xr[k] = dot31(a, c, b, s);
        xi[k] = dot31m(b, c, a, s);
    }
    yr[0] = _mm_add_epi32(xr[0], xr[1]);
    yr[1] = _mm_sub_epi32(xr[0], xr[1]);
    yr[2] = _mm_add_epi32(xr[2], xr[3]);
    yr[3] = _mm_sub_epi32(xr[2], xr[3]);
    yi[0] = _mm_add_epi32(xi[0], xi[1]);
    yi[1] = _mm_sub_epi32(xi[0], xi[1]);
    yi[2] = _mm_add_epi32(xi[2], xi[3]);
    yi[3] = _mm_sub_epi32(xi[2], xi[3]);
    const __m128i c0 = _mm_set1_epi32(kQmfFftTwiddle[0][0]);
    const __m128i s0 = _mm_set1_epi32(kQmfFftTwiddle[0][1]);
    const __m128i c8 = _mm_set1_epi32(kQmfFftTwiddle[8][0]);
    const __m128i s8 = _mm_set1_epi32(kQmfFftTwiddle[8][1]);
    butterfly(yr[0], yi[0], yr[2], yi[2], c0, s0);
    butterfly(yr[1], yi[1], yr[3], yi[3], c8, s8);
}

// Post-twiddle of block b: out(2k) and out(N-1-2k), k = 4b .. 4b+3.
FXAAC_SIMD_INLINE void post(const int32_t (*tw)[2], int b, __m128i re, __m128i im, __m128i &even,
                            __m128i &odd_out)
{
    __m128i c, s;
    load2(tw[4 * b], c, s);
    even = dot31(re, c, im, s);
    odd_out = dot31m(re, s, im, c);
}

// out(8b .. 8b+7): even(b) interleaved with odd(7-b) reversed.
FXAAC_SIMD_INLINE void store_block(int32_t *out, __m128i even, __m128i odd_partner)
{
    __m128i lo, hi;
    V128::interleave(even, reverse(odd_partner), lo, hi);
    V128::store(out, lo);
    V128::store(out + 4, hi);
}

// The phases of the NEON version (src/arm/qmf_neon.cpp): for 64 points the
// two groups' first stages, the third stage across them, then the last two
// stages and the post-twiddle per group, through memory between them, with
// transposes for its de-interleaving loads.
template <int N>
void dct4(const int32_t *in, int32_t *out)
{
    constexpr int M = N / 2;
    const int32_t(*tw)[2] = N == 32 ? sbr::kQmfDct32Twiddle : sbr::kQmfDct64Twiddle;
    __m128i yr[4], yi[4];
    if constexpr (M == 16) {
        first_stages<N>(in, tw, 0, yr, yi);
        transpose(yr[0], yr[1], yr[2], yr[3]);  // lanes (blocks) 0, 2, 1, 3
        transpose(yi[0], yi[1], yi[2], yi[3]);
        __m128i br[4] = {yr[0], yr[2], yr[1], yr[3]}, bi[4] = {yi[0], yi[2], yi[1], yi[3]};
        stage<8, 4>(br, bi);
        stage<16, 4>(br, bi);
        __m128i even[4], odds[4];
#pragma GCC unroll 4
        for (int b = 0; b < 4; ++b)
            post(tw, b, br[b], bi[b], even[b], odds[b]);
#pragma GCC unroll 4
        for (int b = 0; b < 4; ++b)
            store_block(out + 8 * b, even[b], odds[3 - b]);
    } else {
        alignas(16) int32_t xr[M], xi[M];
        first_stages<N>(in, tw, 0, yr, yi);
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            V128::store(xr + 4 * k, yr[k]);
            V128::store(xi + 4 * k, yi[k]);
        }
        first_stages<N>(in, tw, 1, yr, yi);
        // Stage 3: group 0's point k against group 1's, twiddle 4k.
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            __m128i ar = V128::load(xr + 4 * k), ai = V128::load(xi + 4 * k);
            butterfly(ar, ai, yr[k], yi[k], _mm_set1_epi32(kQmfFftTwiddle[4 * k][0]),
                      _mm_set1_epi32(kQmfFftTwiddle[4 * k][1]));
            V128::store(xr + 4 * k, ar);
            V128::store(xi + 4 * k, ai);
            V128::store(xr + 16 + 4 * k, yr[k]);
            V128::store(xi + 16 + 4 * k, yi[k]);
        }
        __m128i even[4], odds[4];
#pragma GCC unroll 2
        for (int g = 0; g < 2; ++g) {
            // blocks g, g + 4, g + 2, g + 6
            __m128i br[4], bi[4];
#pragma GCC unroll 4
            for (int k = 0; k < 4; ++k) {
                br[k] = V128::load(xr + 16 * g + 4 * k);
                bi[k] = V128::load(xi + 16 * g + 4 * k);
            }
            transpose(br[0], br[1], br[2], br[3]);
            transpose(bi[0], bi[1], bi[2], bi[3]);
            const __m128i c4 = _mm_setr_epi32(
                kQmfFftTwiddle[8 * g][0], kQmfFftTwiddle[8 * g + 2][0],
                kQmfFftTwiddle[8 * g + 4][0], kQmfFftTwiddle[8 * g + 6][0]);
            const __m128i s4 = _mm_setr_epi32(
                kQmfFftTwiddle[8 * g][1], kQmfFftTwiddle[8 * g + 2][1],
                kQmfFftTwiddle[8 * g + 4][1], kQmfFftTwiddle[8 * g + 6][1]);
            butterfly(br[0], bi[0], br[2], bi[2], c4, s4);  // g, g + 2
            butterfly(br[1], bi[1], br[3], bi[3], c4, s4);  // g + 4, g + 6
            __m128i c, s;
            load2(kQmfFftTwiddle[4 * g], c, s);
            butterfly(br[0], bi[0], br[1], bi[1], c, s);  // g, g + 4
            load2(kQmfFftTwiddle[4 * g + 8], c, s);
            butterfly(br[2], bi[2], br[3], bi[3], c, s);  // g + 2, g + 6
            const int blocks[4] = {g, g + 4, g + 2, g + 6};
#pragma GCC unroll 4
            for (int j = 0; j < 4; ++j)
                post(tw, blocks[j], br[j], bi[j], even[j], odds[j]);
            if (g == 0) {  // waiting in memory for their partners
#pragma GCC unroll 4
                for (int j = 0; j < 4; ++j) {
                    V128::store(xr + 4 * j, even[j]);
                    V128::store(xi + 4 * j, odds[j]);
                }
            }
        }
        // Group 1's block b = 1, 5, 3, 7 (index j) pairs with group 0's
        // 7 - b = 6, 2, 4, 0 (index 3 - j).
#pragma GCC unroll 4
        for (int j = 0; j < 4; ++j) {
            const int b = (j & 1) * 4 + (j >> 1) * 2 + 1;
            const __m128i even0 = V128::load(xr + 4 * (3 - j));
            const __m128i odd0 = V128::load(xi + 4 * (3 - j));
            store_block(out + 8 * b, even[j], odd0);
            store_block(out + 8 * (7 - b), even0, odds[j]);
        }
    }
}

}  // namespace qmf4
}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_QMF_SIMD_H
