// The SBR QMF banks' DCT-IV (src/sbr/qmf.cpp) for the x86-64 kernels: two
// transforms at a time, on four lanes each. L gives the vector type and its
// operations: Q4 below (one transform per __m128i, the SSE4.1 file runs it
// twice) or, in the AVX2 file, one transform in each 128-bit half of an
// __m256i; every operation but the loads and stores stays within a half.
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

// One transform per vector: the data of p[0], the tables as they are.
struct Q4 {
    using T = __m128i;
    using Ptr = const int32_t *const *;
    using OutPtr = int32_t *const *;
    static T load(Ptr p, int offset) { return V128::load(p[0] + offset); }
    static void store(OutPtr p, int offset, T v) { V128::store(p[0] + offset, v); }
    static T table(const int32_t *t) { return V128::load(t); }
    static T set1(int32_t v) { return _mm_set1_epi32(v); }
    static T setr(int32_t a, int32_t b, int32_t c, int32_t d) { return _mm_setr_epi32(a, b, c, d); }
    static T set1_64(int64_t v) { return _mm_set1_epi64x(v); }
    static T add(T a, T b) { return _mm_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm_sub_epi32(a, b); }
    static T add64(T a, T b) { return _mm_add_epi64(a, b); }
    static T sub64(T a, T b) { return _mm_sub_epi64(a, b); }
    static T mul(T a, T b) { return _mm_mul_epi32(a, b); }
    template <int S>
    static T srli64(T a)
    {
        return _mm_srli_epi64(a, S);
    }
    template <int S>
    static T slli64(T a)
    {
        return _mm_slli_epi64(a, S);
    }
    static T blend_odd(T even, T odd_lanes) { return _mm_blend_epi16(even, odd_lanes, 0xCC); }
    template <int Imm>
    static T shuffle(T a)
    {
        return _mm_shuffle_epi32(a, Imm);
    }
    template <int Imm>
    static T shuffle_ps(T a, T b)
    {
        return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), Imm));
    }
    static T unpacklo(T a, T b) { return _mm_unpacklo_epi32(a, b); }
    static T unpackhi(T a, T b) { return _mm_unpackhi_epi32(a, b); }
    static T unpacklo64(T a, T b) { return _mm_unpacklo_epi64(a, b); }
    static T unpackhi64(T a, T b) { return _mm_unpackhi_epi64(a, b); }
};

template <class L>
FXAAC_SIMD_INLINE typename L::T odd(typename L::T v)
{
    return L::template shuffle<_MM_SHUFFLE(3, 3, 1, 1)>(v);
}

template <class L>
FXAAC_SIMD_INLINE typename L::T reverse(typename L::T v)
{
    return L::template shuffle<_MM_SHUFFLE(0, 1, 2, 3)>(v);
}

// Even and odd words of a, b (eight words).
template <class L>
FXAAC_SIMD_INLINE void deinterleave(typename L::T a, typename L::T b, typename L::T &even,
                                    typename L::T &odd_words)
{
    even = L::template shuffle_ps<_MM_SHUFFLE(2, 0, 2, 0)>(a, b);
    odd_words = L::template shuffle_ps<_MM_SHUFFLE(3, 1, 3, 1)>(a, b);
}

// Bits 31 .. 62 of the even lanes' and odd lanes' 64-bit sums plus 2^30.
template <class L>
FXAAC_SIMD_INLINE typename L::T round31(typename L::T even, typename L::T odd_sums)
{
    const typename L::T bias = L::set1_64(int64_t{1} << 30);
    return L::blend_odd(L::template srli64<31>(L::add64(even, bias)),
                        L::template slli64<1>(L::add64(odd_sums, bias)));
}

// round((a c + b s) / 2^31) per lane.
template <class L>
FXAAC_SIMD_INLINE typename L::T dot31(typename L::T a, typename L::T c, typename L::T b,
                                      typename L::T s)
{
    const typename L::T even = L::add64(L::mul(a, c), L::mul(b, s));
    const typename L::T odds = L::add64(L::mul(odd<L>(a), odd<L>(c)), L::mul(odd<L>(b), odd<L>(s)));
    return round31<L>(even, odds);
}

// round((a c - b s) / 2^31) per lane.
template <class L>
FXAAC_SIMD_INLINE typename L::T dot31m(typename L::T a, typename L::T c, typename L::T b,
                                       typename L::T s)
{
    const typename L::T even = L::sub64(L::mul(a, c), L::mul(b, s));
    const typename L::T odds = L::sub64(L::mul(odd<L>(a), odd<L>(c)), L::mul(odd<L>(b), odd<L>(s)));
    return round31<L>(even, odds);
}

template <class L>
FXAAC_SIMD_INLINE void butterfly(typename L::T &ar, typename L::T &ai, typename L::T &br,
                                 typename L::T &bi, typename L::T c, typename L::T s)
{
    const typename L::T tr = dot31<L>(br, c, bi, s);
    const typename L::T ti = dot31m<L>(bi, c, br, s);
    br = L::sub(ar, tr);
    bi = L::sub(ai, ti);
    ar = L::add(ar, tr);
    ai = L::add(ai, ti);
}

template <class L>
FXAAC_SIMD_INLINE void transpose(typename L::T &y0, typename L::T &y1, typename L::T &y2,
                                 typename L::T &y3)
{
    const typename L::T a = L::unpacklo(y0, y1), b = L::unpackhi(y0, y1);
    const typename L::T c = L::unpacklo(y2, y3), d = L::unpackhi(y2, y3);
    y0 = L::unpacklo64(a, c);
    y1 = L::unpackhi64(a, c);
    y2 = L::unpacklo64(b, d);
    y3 = L::unpackhi64(b, d);
}

// Twiddle pairs t[0 .. 3] as (cos, sin) vectors.
template <class L>
FXAAC_SIMD_INLINE void twiddles(const int32_t (*t)[2], typename L::T &c, typename L::T &s)
{
    deinterleave<L>(L::table(t[0]), L::table(t[2]), c, s);
}

// The FFT stage of length Len (8 or 16) on the four blocks of 16 points.
template <class L, int Len>
FXAAC_SIMD_INLINE void stage16(typename L::T br[], typename L::T bi[])
{
    constexpr int hv = Len / 8, step = 32 / Len;
#pragma GCC unroll 2
    for (int j = 0; j < hv; ++j) {
        const int m = 4 * j * step;
        const typename L::T c = L::setr(kQmfFftTwiddle[m][0], kQmfFftTwiddle[m + step][0],
                                        kQmfFftTwiddle[m + 2 * step][0],
                                        kQmfFftTwiddle[m + 3 * step][0]);
        const typename L::T s = L::setr(kQmfFftTwiddle[m][1], kQmfFftTwiddle[m + step][1],
                                        kQmfFftTwiddle[m + 2 * step][1],
                                        kQmfFftTwiddle[m + 3 * step][1]);
#pragma GCC unroll 4
        for (int block = 0; block < 4; block += 2 * hv)
            butterfly<L>(br[block + j], bi[block + j], br[block + j + hv], bi[block + j + hv], c,
                         s);
    }
}

// Pre-twiddle of the pairs in(2n) + i in(N-1-2n), n = 4i .. 4i+3, then
// stages 1 and 2 on points k = 0..3 of the four blocks in group g's lanes.
template <class L, int N>
FXAAC_SIMD_INLINE void first_stages(typename L::Ptr in, const int32_t (*tw)[2], int g,
                                    typename L::T yr[4], typename L::T yi[4])
{
    using T = typename L::T;
    constexpr int V = N / 8, G = V / 4;
    static constexpr int kBitrev2[4] = {0, 2, 1, 3};
    T xr[4], xi[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const int i = G * kBitrev2[k] + g;
        T a, unused, rest, b, c, s;
        deinterleave<L>(L::load(in, 8 * i), L::load(in, 8 * i + 4), a, unused);
        deinterleave<L>(L::load(in, 8 * (V - 1 - i)), L::load(in, 8 * (V - 1 - i) + 4), rest, b);
        b = reverse<L>(b);
        twiddles<L>(tw + 4 * i, c, s);
        xr[k] = dot31<L>(a, c, b, s);
        xi[k] = dot31m<L>(b, c, a, s);
    }
    yr[0] = L::add(xr[0], xr[1]);
    yr[1] = L::sub(xr[0], xr[1]);
    yr[2] = L::add(xr[2], xr[3]);
    yr[3] = L::sub(xr[2], xr[3]);
    yi[0] = L::add(xi[0], xi[1]);
    yi[1] = L::sub(xi[0], xi[1]);
    yi[2] = L::add(xi[2], xi[3]);
    yi[3] = L::sub(xi[2], xi[3]);
    const T c0 = L::set1(kQmfFftTwiddle[0][0]), s0 = L::set1(kQmfFftTwiddle[0][1]);
    const T c8 = L::set1(kQmfFftTwiddle[8][0]), s8 = L::set1(kQmfFftTwiddle[8][1]);
    butterfly<L>(yr[0], yi[0], yr[2], yi[2], c0, s0);
    butterfly<L>(yr[1], yi[1], yr[3], yi[3], c8, s8);
}

// Post-twiddle of block b: out(2k) and out(N-1-2k), k = 4b .. 4b+3.
template <class L>
FXAAC_SIMD_INLINE void post(const int32_t (*tw)[2], int b, typename L::T re, typename L::T im,
                            typename L::T &even, typename L::T &odd_out)
{
    typename L::T c, s;
    twiddles<L>(tw + 4 * b, c, s);
    even = dot31<L>(re, c, im, s);
    odd_out = dot31m<L>(re, s, im, c);
}

// out(8b .. 8b+7): even(b) interleaved with odd(7-b) reversed.
template <class L>
FXAAC_SIMD_INLINE void store_block(typename L::OutPtr out, int b, typename L::T even,
                                   typename L::T odd_partner)
{
    const typename L::T r = reverse<L>(odd_partner);
    L::store(out, 8 * b, L::unpacklo(even, r));
    L::store(out, 8 * b + 4, L::unpackhi(even, r));
}

// The phases of the NEON version (src/arm/qmf_neon.cpp): for 64 points the
// two groups' first stages, the third stage across them, then the last two
// stages and the post-twiddle per group, with transposes for its
// de-interleaving loads.
template <class L, int N>
void dct4(typename L::Ptr in, typename L::OutPtr out)
{
    using T = typename L::T;
    constexpr int M = N / 2;
    const int32_t(*tw)[2] = N == 32 ? sbr::kQmfDct32Twiddle : sbr::kQmfDct64Twiddle;
    T yr[4], yi[4];
    if constexpr (M == 16) {
        first_stages<L, N>(in, tw, 0, yr, yi);
        transpose<L>(yr[0], yr[1], yr[2], yr[3]);  // lanes (blocks) 0, 2, 1, 3
        transpose<L>(yi[0], yi[1], yi[2], yi[3]);
        T br[4] = {yr[0], yr[2], yr[1], yr[3]}, bi[4] = {yi[0], yi[2], yi[1], yi[3]};
        stage16<L, 8>(br, bi);
        stage16<L, 16>(br, bi);
        T even[4], odds[4];
#pragma GCC unroll 4
        for (int b = 0; b < 4; ++b)
            post<L>(tw, b, br[b], bi[b], even[b], odds[b]);
#pragma GCC unroll 4
        for (int b = 0; b < 4; ++b)
            store_block<L>(out, b, even[b], odds[3 - b]);
    } else {
        T xr[8], xi[8];  // group g's point k at 4g + k
        first_stages<L, N>(in, tw, 0, yr, yi);
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            xr[k] = yr[k];
            xi[k] = yi[k];
        }
        first_stages<L, N>(in, tw, 1, yr, yi);
        // Stage 3: group 0's point k against group 1's, twiddle 4k.
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            butterfly<L>(xr[k], xi[k], yr[k], yi[k], L::set1(kQmfFftTwiddle[4 * k][0]),
                         L::set1(kQmfFftTwiddle[4 * k][1]));
            xr[4 + k] = yr[k];
            xi[4 + k] = yi[k];
        }
        T even[4], odds[4], even0[4], odd0[4];
#pragma GCC unroll 2
        for (int g = 0; g < 2; ++g) {
            // blocks g, g + 4, g + 2, g + 6
            T br[4], bi[4];
#pragma GCC unroll 4
            for (int k = 0; k < 4; ++k) {
                br[k] = xr[4 * g + k];
                bi[k] = xi[4 * g + k];
            }
            transpose<L>(br[0], br[1], br[2], br[3]);
            transpose<L>(bi[0], bi[1], bi[2], bi[3]);
            const T c4 = L::setr(kQmfFftTwiddle[8 * g][0], kQmfFftTwiddle[8 * g + 2][0],
                                 kQmfFftTwiddle[8 * g + 4][0], kQmfFftTwiddle[8 * g + 6][0]);
            const T s4 = L::setr(kQmfFftTwiddle[8 * g][1], kQmfFftTwiddle[8 * g + 2][1],
                                 kQmfFftTwiddle[8 * g + 4][1], kQmfFftTwiddle[8 * g + 6][1]);
            butterfly<L>(br[0], bi[0], br[2], bi[2], c4, s4);  // g, g + 2
            butterfly<L>(br[1], bi[1], br[3], bi[3], c4, s4);  // g + 4, g + 6
            T c, s;
            twiddles<L>(kQmfFftTwiddle + 4 * g, c, s);
            butterfly<L>(br[0], bi[0], br[1], bi[1], c, s);  // g, g + 4
            twiddles<L>(kQmfFftTwiddle + 4 * g + 8, c, s);
            butterfly<L>(br[2], bi[2], br[3], bi[3], c, s);  // g + 2, g + 6
            const int blocks[4] = {g, g + 4, g + 2, g + 6};
#pragma GCC unroll 4
            for (int j = 0; j < 4; ++j) {
                if (g == 0)
                    post<L>(tw, blocks[j], br[j], bi[j], even0[j], odd0[j]);
                else
                    post<L>(tw, blocks[j], br[j], bi[j], even[j], odds[j]);
            }
        }
        // Group 1's block b = 1, 5, 3, 7 (index j) pairs with group 0's
        // 7 - b = 6, 2, 4, 0 (index 3 - j).
#pragma GCC unroll 4
        for (int j = 0; j < 4; ++j) {
            const int b = (j & 1) * 4 + (j >> 1) * 2 + 1;
            store_block<L>(out, b, even[j], odd0[3 - j]);
            store_block<L>(out, 7 - b, even0[3 - j], odds[j]);
        }
    }
}

// Two transforms of n = 32 or 64 points, each alone (Q4) or both at once.
template <class L>
void dct4_pair(const int32_t *in0, const int32_t *in1, int32_t *out0, int32_t *out1, int32_t n)
{
    const int32_t *const in[2] = {in0, in1};
    int32_t *const out[2] = {out0, out1};
    if (n == 32)
        dct4<L, 32>(in, out);
    else if (n == 64)
        dct4<L, 64>(in, out);
}

}  // namespace qmf4
}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_QMF_SIMD_H
