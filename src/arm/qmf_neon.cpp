// The SBR QMF banks' kernels on ARM Advanced SIMD (src/sbr/qmf.cpp), four
// values per vector. Same results as the portable kernels: every product is
// VMULL/VMLAL/VMLSL (exact 64-bit products and sums, which never overflow:
// see the bounds in src/sbr/qmf.cpp) and every rounded shift (v + 2^(s-1))
// >> s truncated to 32 bits is VRSHRN #31 for s = 31, VSHRN #32 then VRSHR
// #(s-32) for s = 35 and 37 (round_high()), VRSHL of the 64-bit value by -s
// then VMOVN for a variable s (VRSHR and VRSHL add the rounding constant
// without overflow), or, for the synthesis products h c with s >= 32,
// VQDMULH then VRSHL (mul_shift()).
//
// The DCT-IV runs the portable radix-2 FFT butterfly for butterfly: the same
// pairs with the same twiddles in the same stages, only several at once.
// Its data live as vectors of four consecutive points of the FFT's (bit
// reversed) input order r. The pre-twiddle gives vectors of four
// consecutive n, and r = 4b + k holds n = bitrev(r): for M = 32 points
// n = 8 bitrev2(k) + bitrev3(b), so the vectors n = 4i .. 4i+3 with
// i = 2 bitrev2(k) + g (g = 0, 1) hold point k of the blocks b = bitrev3(4g
// + l) in lane l; for M = 16, n = 4 bitrev2(k) + bitrev2(b) and i =
// bitrev2(k). The first two stages (within blocks of four) run on those
// vectors across blocks; interleaved stores then give one vector per block,
// on which the later stages run with their twiddles as vectors over m.
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"
#include "sbr/qmf_tables.h"

namespace fxaac {

namespace {

using sbr::kQmfFftTwiddle;

inline int32x4_t reverse(int32x4_t v)
{
    const int32x4_t r = vrev64q_s32(v);
    return vcombine_s32(vget_high_s32(r), vget_low_s32(r));
}

// GCC: writes straight into the halves of the result's register (its
// vcombine would add moves), and dct4() without pre-RA scheduling.
#if defined(__GNUC__) && !defined(__clang__)
#define FXAAC_QMF_HALVES 1
#define FXAAC_QMF_NO_PRE_RA_SCHEDULING [[gnu::optimize("no-schedule-insns")]]
#else
#define FXAAC_QMF_HALVES 0
#define FXAAC_QMF_NO_PRE_RA_SCHEDULING
#endif

// The two halves narrowed into one vector, by VRSHRN #S (S >= 1) or VMOVN
// (S = 0).
template <int S>
inline int32x4_t narrow(int64x2_t lo, int64x2_t hi)
{
#if FXAAC_QMF_HALVES
    int32x4_t r;
    if constexpr (S == 0)
        asm("vmovn.i64 %e0, %q1\n\tvmovn.i64 %f0, %q2" : "=&w"(r) : "w"(lo), "w"(hi));
    else
        asm("vrshrn.i64 %e0, %q1, %3\n\tvrshrn.i64 %f0, %q2, %3"
            : "=&w"(r)
            : "w"(lo), "w"(hi), "i"(S));
    return r;
#else
    if constexpr (S == 0)
        return vcombine_s32(vmovn_s64(lo), vmovn_s64(hi));
    else
        return vcombine_s32(vrshrn_n_s64(lo, S), vrshrn_n_s64(hi, S));
#endif
}

// (v + 2^(S-1)) >> S truncated, S = 33 .. 63, for both halves: as
// 2^(S-1) is a multiple of 2^32, the high words (VSHRN #32: floor(v / 2^32),
// which fits 32 bits for |v| < 2^63) rounded by VRSHR #(S-32).
template <int S>
inline int32x4_t round_high(int64x2_t lo, int64x2_t hi)
{
    static_assert(S > 32 && S < 64, "a shift beyond the low word");
#if FXAAC_QMF_HALVES
    int32x4_t r;
    asm("vshrn.i64 %e0, %q1, #32\n\tvshrn.i64 %f0, %q2, #32" : "=&w"(r) : "w"(lo), "w"(hi));
#else
    const int32x4_t r = vcombine_s32(vshrn_n_s64(lo, 32), vshrn_n_s64(hi, 32));
#endif
    return vrshrq_n_s32(r, S - 32);
}

// round((a c + b s) / 2^31) per lane.
inline int32x4_t dot31(int32x4_t a, int32x4_t c, int32x4_t b, int32x4_t s)
{
    const int64x2_t lo = vmlal_s32(vmull_s32(vget_low_s32(a), vget_low_s32(c)), vget_low_s32(b),
                                   vget_low_s32(s));
    const int64x2_t hi = vmlal_s32(vmull_s32(vget_high_s32(a), vget_high_s32(c)), vget_high_s32(b),
                                   vget_high_s32(s));
    return narrow<31>(lo, hi);
}

// round((a c - b s) / 2^31) per lane.
inline int32x4_t dot31m(int32x4_t a, int32x4_t c, int32x4_t b, int32x4_t s)
{
    const int64x2_t lo = vmlsl_s32(vmull_s32(vget_low_s32(a), vget_low_s32(c)), vget_low_s32(b),
                                   vget_low_s32(s));
    const int64x2_t hi = vmlsl_s32(vmull_s32(vget_high_s32(a), vget_high_s32(c)), vget_high_s32(b),
                                   vget_high_s32(s));
    return narrow<31>(lo, hi);
}

// The radix-2 butterfly of the portable fft(): t = b (c - is), a + t, a - t.
inline void butterfly(int32x4_t &ar, int32x4_t &ai, int32x4_t &br, int32x4_t &bi, int32x4_t c,
                      int32x4_t s)
{
    const int32x4_t tr = dot31(br, c, bi, s);
    const int32x4_t ti = dot31m(bi, c, br, s);
    br = vsubq_s32(ar, tr);
    bi = vsubq_s32(ai, ti);
    ar = vaddq_s32(ar, tr);
    ai = vaddq_s32(ai, ti);
}

// Twiddles m * Step, m = 4j .. 4j+3, of the 32-entry table as (cos, sin).
template <int Step>
inline int32x4x2_t twiddles(int j)
{
    if constexpr (Step == 1) {
        return vld2q_s32(kQmfFftTwiddle[4 * j]);
    } else if constexpr (Step == 2) {
        const int32x4x4_t t = vld4q_s32(kQmfFftTwiddle[8 * j]);
        return {{t.val[0], t.val[1]}};
    } else {
        static_assert(Step == 4, "one vector of twiddles in the 8-point stage");
        int32x4x2_t t;
        for (int l = 0; l < 4; ++l) {
            t.val[0][l] = kQmfFftTwiddle[l * Step][0];
            t.val[1][l] = kQmfFftTwiddle[l * Step][1];
        }
        return t;
    }
}

// One FFT stage of length Len >= 8 on V blocks of four: blocks block + j and
// block + j + Len/8 with the twiddles of m = 4j .. 4j+3.
template <int Len, int V>
inline void stage(int32x4_t br[], int32x4_t bi[])
{
    constexpr int hv = Len / 8;
#pragma GCC unroll 8
    for (int j = 0; j < hv; ++j) {
        const int32x4x2_t t = twiddles<32 / Len>(j);
#pragma GCC unroll 8
        for (int block = 0; block < V; block += 2 * hv)
            butterfly(br[block + j], bi[block + j], br[block + j + hv], bi[block + j + hv],
                      t.val[0], t.val[1]);
    }
}

// Post-twiddle of block b: out(2k) and out(N-1-2k), k = 4b .. 4b+3.
template <int N>
inline void post(const int32_t (*tw)[2], int b, int32x4_t re, int32x4_t im, int32x4_t &even,
                 int32x4_t &odd)
{
    const int32x4x2_t t = vld2q_s32(tw[4 * b]);
    even = dot31(re, t.val[0], im, t.val[1]);
    odd = dot31m(re, t.val[1], im, t.val[0]);
}

// Pre-twiddle of the pairs in(2n) + i in(N-1-2n), n = 4i .. 4i+3, then
// stages 1 and 2 on points k = 0..3 of the four blocks in group g's lanes.
template <int N>
[[gnu::always_inline]] inline void first_stages(const int32_t *in, const int32_t (*tw)[2], int g,
                                                int32x4_t yr[4], int32x4_t yi[4])
{
    constexpr int V = N / 8, G = V / 4;
    static constexpr int kBitrev2[4] = {0, 2, 1, 3};
    int32x4_t xr[4], xi[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const int i = G * kBitrev2[k] + g;
        const int32x4x2_t front = vld2q_s32(in + 8 * i), back = vld2q_s32(in + 8 * (V - 1 - i));
        const int32x4_t a = front.val[0], b = reverse(back.val[1]);
        const int32x4x2_t t = vld2q_s32(tw[4 * i]);
        xr[k] = dot31(a, t.val[0], b, t.val[1]);
        xi[k] = dot31m(b, t.val[0], a, t.val[1]);
    }
    yr[0] = vaddq_s32(xr[0], xr[1]);
    yr[1] = vsubq_s32(xr[0], xr[1]);
    yr[2] = vaddq_s32(xr[2], xr[3]);
    yr[3] = vsubq_s32(xr[2], xr[3]);
    yi[0] = vaddq_s32(xi[0], xi[1]);
    yi[1] = vsubq_s32(xi[0], xi[1]);
    yi[2] = vaddq_s32(xi[2], xi[3]);
    yi[3] = vsubq_s32(xi[2], xi[3]);
    const int32x4_t c0 = vdupq_n_s32(kQmfFftTwiddle[0][0]), s0 = vdupq_n_s32(kQmfFftTwiddle[0][1]);
    const int32x4_t c8 = vdupq_n_s32(kQmfFftTwiddle[8][0]), s8 = vdupq_n_s32(kQmfFftTwiddle[8][1]);
    butterfly(yr[0], yi[0], yr[2], yi[2], c0, s0);
    butterfly(yr[1], yi[1], yr[3], yi[3], c8, s8);
}

// Post-twiddle of block b: out(2k) and out(N-1-2k), k = 4b .. 4b+3.
inline void post(const int32_t (*tw)[2], int b, int32x4_t re, int32x4_t im, int32x4_t &even,
                 int32x4_t &odd)
{
    const int32x4x2_t t = vld2q_s32(tw[4 * b]);
    even = dot31(re, t.val[0], im, t.val[1]);
    odd = dot31m(re, t.val[1], im, t.val[0]);
}

// The phases pass their vectors through memory so that each one's fit the
// sixteen registers; pre-RA scheduling would interleave them again (and
// spill).
//
// After the first two stages, lane l of group g holds block bitrev(4g + l)
// (bits: 3 for M = 32, 2 for M = 16), that is 2 bitrev2(l) + g for M = 32:
// group 0 has the blocks 0, 4, 2, 6, group 1 the blocks 1, 5, 3, 7. Stored
// as they are (point k of lane l at 16g + 4k + l), a de-interleaving load
// gives one vector per block. For M = 32 the third stage pairs lane l of the
// two groups (blocks 2c, 2c + 1, twiddle 4k), the fourth and fifth stay
// within a group (blocks b, b + 2 and b, b + 4), and the outputs of block b
// pair with those of block 7 - b, in the other group.
template <int N>
FXAAC_QMF_NO_PRE_RA_SCHEDULING void dct4(const int32_t *in, int32_t *out)
{
    constexpr int M = N / 2;
    const int32_t(*tw)[2] = N == 32 ? sbr::kQmfDct32Twiddle : sbr::kQmfDct64Twiddle;
    int32_t xr[M], xi[M];
    int32x4_t yr[4], yi[4];
    if constexpr (M == 16) {
        first_stages<N>(in, tw, 0, yr, yi);
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            vst1q_s32(xr + 4 * k, yr[k]);
            vst1q_s32(xi + 4 * k, yi[k]);
        }
        // lanes (blocks) 0, 2, 1, 3
        const int32x4x4_t lr = vld4q_s32(xr), li = vld4q_s32(xi);
        int32x4_t br[4] = {lr.val[0], lr.val[2], lr.val[1], lr.val[3]};
        int32x4_t bi[4] = {li.val[0], li.val[2], li.val[1], li.val[3]};
        stage<8, 4>(br, bi);
        stage<16, 4>(br, bi);
        int32x4_t even[4], odd[4];
#pragma GCC unroll 4
        for (int b = 0; b < 4; ++b)
            post(tw, b, br[b], bi[b], even[b], odd[b]);
#pragma GCC unroll 4
        for (int b = 0; b < 4; ++b)
            vst2q_s32(out + 8 * b, {{even[b], reverse(odd[3 - b])}});
    } else {
        first_stages<N>(in, tw, 0, yr, yi);
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            vst1q_s32(xr + 4 * k, yr[k]);
            vst1q_s32(xi + 4 * k, yi[k]);
        }
        first_stages<N>(in, tw, 1, yr, yi);
        // Stage 3: group 0's point k against group 1's, twiddle 4k.
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            int32x4_t ar = vld1q_s32(xr + 4 * k), ai = vld1q_s32(xi + 4 * k);
            butterfly(ar, ai, yr[k], yi[k], vdupq_n_s32(kQmfFftTwiddle[4 * k][0]),
                      vdupq_n_s32(kQmfFftTwiddle[4 * k][1]));
            vst1q_s32(xr + 4 * k, ar);
            vst1q_s32(xi + 4 * k, ai);
            vst1q_s32(xr + 16 + 4 * k, yr[k]);
            vst1q_s32(xi + 16 + 4 * k, yi[k]);
        }
        // Stages 4 and 5 and the post-twiddle by groups; group 0's outputs
        // wait in memory (over its own inputs) for their partners.
        int32x4_t even[4], odd[4];
#pragma GCC unroll 2
        for (int g = 0; g < 2; ++g) {
            const int32x4x4_t lr = vld4q_s32(xr + 16 * g), li = vld4q_s32(xi + 16 * g);
            // blocks g, g + 4, g + 2, g + 6 in the lanes' order
            int32x4_t br[4] = {lr.val[0], lr.val[1], lr.val[2], lr.val[3]};
            int32x4_t bi[4] = {li.val[0], li.val[1], li.val[2], li.val[3]};
            const int32x4x2_t t4 = twiddles<2>(g);
            butterfly(br[0], bi[0], br[2], bi[2], t4.val[0], t4.val[1]);  // g, g + 2
            butterfly(br[1], bi[1], br[3], bi[3], t4.val[0], t4.val[1]);  // g + 4, g + 6
            const int32x4x2_t t0 = twiddles<1>(g), t2 = twiddles<1>(g + 2);
            butterfly(br[0], bi[0], br[1], bi[1], t0.val[0], t0.val[1]);  // g, g + 4
            butterfly(br[2], bi[2], br[3], bi[3], t2.val[0], t2.val[1]);  // g + 2, g + 6
            const int blocks[4] = {g, g + 4, g + 2, g + 6};
#pragma GCC unroll 4
            for (int j = 0; j < 4; ++j)
                post(tw, blocks[j], br[j], bi[j], even[j], odd[j]);
            if (g == 0) {
#pragma GCC unroll 4
                for (int j = 0; j < 4; ++j) {
                    vst1q_s32(xr + 4 * j, even[j]);
                    vst1q_s32(xi + 4 * j, odd[j]);
                }
            }
        }
        // Group 1's block b = 1, 5, 3, 7 (index j) pairs with group 0's
        // 7 - b = 6, 2, 4, 0 (index 3 - j).
#pragma GCC unroll 4
        for (int j = 0; j < 4; ++j) {
            const int b = (j & 1) * 4 + (j >> 1) * 2 + 1;
            const int32x4_t even0 = vld1q_s32(xr + 4 * (3 - j)), odd0 = vld1q_s32(xi + 4 * (3 - j));
            vst2q_s32(out + 8 * b, {{even[j], reverse(odd0)}});
            vst2q_s32(out + 8 * (7 - b), {{even0, reverse(odd[j])}});
        }
    }
}

// round(h c / 2^shift) per lane, count = -shift: the exact products.
inline int32x4_t mul_shift(int32x4_t h, int32x4_t c, int64x2_t count)
{
    const int64x2_t lo = vrshlq_s64(vmull_s32(vget_low_s32(h), vget_low_s32(c)), count);
    const int64x2_t hi = vrshlq_s64(vmull_s32(vget_high_s32(h), vget_high_s32(c)), count);
    return narrow<0>(lo, hi);
}

// The same for shift >= 32 and c > -2^31: VQDMULH gives q = floor(h c / 2^31)
// (no saturation), and as 2^(shift-1) is a multiple of 2^31,
// floor((h c + 2^(shift-1)) / 2^shift) = (q + 2^(shift-32)) >> (shift-31),
// VRSHL by count = 31 - shift.
inline int32x4_t mul_shift(int32x4_t h, int32x4_t c, int32x4_t count)
{
    return vrshlq_s32(vqdmulhq_s32(h, c), count);
}

template <int Stride>
inline int32x4_t taps(const int32_t *w)
{
    if constexpr (Stride == 1)
        return vld1q_s32(w);
    else
        return vld2q_s32(w).val[0];
}

template <int N, class Count>
void synthesis_window(int32_t *partial, int32_t head, const int32_t *cr, const int32_t *si,
                      const int32_t *w, Count count, int32_t *out)
{
    constexpr int kRow = 64, kRows = 9, Stride = 64 / N;
    int32_t *row[kRows];
    for (int age = 0; age < kRows; ++age)
        row[age] = partial + kRow * ((head + age) % kRows);
    for (int j = 0; j < N; j += 4) {
        // h(j) = S(j) - C(j), h(N + j) = C(N-1-j) + S(N-1-j) with
        // S(j) = si(N-1-j)
        const int32x4_t h0 = vsubq_s32(reverse(vld1q_s32(si + N - 4 - j)), vld1q_s32(cr + j));
        const int32x4_t h1 = vaddq_s32(reverse(vld1q_s32(cr + N - 4 - j)), vld1q_s32(si + j));
        // the taps of ages 0 .. 9, 64 apart
        const int32_t *c = w + Stride * j;
        // out = sat(4 (now + p)): a saturating sum then a saturating
        // doubling twice saturate exactly where the 64-bit value does
        const int32x4_t now = vld1q_s32(row[0] + j);
        const int32x4_t p = mul_shift(h0, taps<Stride>(c), count);
        vst1q_s32(out + j, vqshlq_n_s32(vqaddq_s32(now, p), 2));
        c += 64;
#pragma GCC unroll 8
        for (int age = 1; age < kRows; ++age) {
            const int32x4_t t = mul_shift((age & 1) ? h1 : h0, taps<Stride>(c), count);
            c += 64;
            vst1q_s32(row[age] + j, vaddq_s32(vld1q_s32(row[age] + j), t));
        }
        // age 9: the row now serves output T + 9
        vst1q_s32(row[0] + j, mul_shift(h1, taps<Stride>(c), count));
    }
}

template <int N>
void synthesis_window(int32_t *partial, int32_t head, const int32_t *cr, const int32_t *si,
                      const int32_t *w, int32_t shift, int32_t *out)
{
    if (shift >= 32)
        synthesis_window<N>(partial, head, cr, si, w, vdupq_n_s32(31 - shift), out);
    else
        synthesis_window<N>(partial, head, cr, si, w, vdupq_n_s64(-shift), out);
}

}  // namespace

void qmf_dct4x2_neon(const int32_t *in0, const int32_t *in1, int32_t *out0, int32_t *out1,
                     int32_t n)
{
    if (n == 32) {
        dct4<32>(in0, out0);
        dct4<32>(in1, out1);
    } else if (n == 64) {
        dct4<64>(in0, out0);
        dct4<64>(in1, out1);
    }
}

void qmf_analysis_fold_neon(const int32_t *x, const int32_t *w, int32_t *p, int32_t *q)
{
    // u(n), n = 4i .. 4i+3, as two pairs of 64-bit sums
    auto u = [&](int i, int64x2_t &lo, int64x2_t &hi) {
        const int32x4_t x0 = vld1q_s32(x + 4 * i), w0 = vld2q_s32(w + 8 * i).val[0];
        lo = vmull_s32(vget_low_s32(x0), vget_low_s32(w0));
        hi = vmull_s32(vget_high_s32(x0), vget_high_s32(w0));
#pragma GCC unroll 4
        for (int j = 1; j < 5; ++j) {
            const int32x4_t xj = vld1q_s32(x + 4 * i + 64 * j);
            const int32x4_t wj = vld2q_s32(w + 8 * i + 128 * j).val[0];
            lo = vmlal_s32(lo, vget_low_s32(xj), vget_low_s32(wj));
            hi = vmlal_s32(hi, vget_high_s32(xj), vget_high_s32(wj));
        }
    };
    const int32x4_t sign = {1, -1, 1, -1};  // DST-IV through DCT-IV
    for (int i = 0; i < 8; ++i) {
        int64x2_t a0, a1, b0, b1;
        u(i, a0, a1);
        u(15 - i, b0, b1);
        // u(63 - n) for n = 4i .. 4i+3: b reversed
        const int64x2_t r0 = vcombine_s64(vget_high_s64(b1), vget_low_s64(b1));
        const int64x2_t r1 = vcombine_s64(vget_high_s64(b0), vget_low_s64(b0));
        vst1q_s32(p + 4 * i, round_high<37>(vsubq_s64(a0, r0), vsubq_s64(a1, r1)));
        vst1q_s32(q + 4 * i, vmulq_s32(round_high<37>(vaddq_s64(a0, r0), vaddq_s64(a1, r1)), sign));
    }
}

void qmf_analysis_rotate_neon(const int32_t *cr, const int32_t *sr, const int32_t *rotation,
                              int32_t *out)
{
    for (int i = 0; i < 8; ++i) {
        const int32x4_t a = vld1q_s32(cr + 4 * i), b = reverse(vld1q_s32(sr + 28 - 4 * i));
        const int32x4x2_t t = vld2q_s32(rotation + 8 * i);
        const int32x2_t c0 = vget_low_s32(t.val[0]), c1 = vget_high_s32(t.val[0]);
        const int32x2_t s0 = vget_low_s32(t.val[1]), s1 = vget_high_s32(t.val[1]);
        const int32x2_t a0 = vget_low_s32(a), a1 = vget_high_s32(a);
        const int32x2_t b0 = vget_low_s32(b), b1 = vget_high_s32(b);
        const int32x4_t re = round_high<35>(vmlal_s32(vmull_s32(a0, c0), b0, s0),
                                            vmlal_s32(vmull_s32(a1, c1), b1, s1));
        const int32x4_t im = round_high<35>(vmlsl_s32(vmull_s32(b0, c0), a0, s0),
                                            vmlsl_s32(vmull_s32(b1, c1), a1, s1));
        vst2q_s32(out + 8 * i, {{re, im}});
    }
}

int32_t qmf_synthesis_prepare_neon(const int32_t *in, int32_t *xr, int32_t *xi, int32_t n)
{
    if (n != 64 && n != 32)
        return qmf_synthesis_prepare_c(in, xr, xi, n);
    const int32x4_t limit = vdupq_n_s32(1 << 27), low = vdupq_n_s32(-(1 << 27));
    int32x4_t peak = vdupq_n_s32(0);
    for (int k = 0; k < n; k += 4) {
        const int32x4x2_t v = vld2q_s32(in + 2 * k);
        const int32x4_t re = vminq_s32(vmaxq_s32(v.val[0], low), limit);
        const int32x4_t im = vminq_s32(vmaxq_s32(v.val[1], low), limit);
        peak = vorrq_s32(peak, vorrq_s32(vabsq_s32(re), vabsq_s32(im)));
        vst1q_s32(xr + k, re);
        vst1q_s32(xi + k, im);
    }
    const int32x2_t half = vorr_s32(vget_low_s32(peak), vget_high_s32(peak));
    const uint32_t all = static_cast<uint32_t>(vget_lane_s32(vorr_s32(half, vrev64_s32(half)), 0));
    // the portable kernel's exponent
    const int limitBits = n == 64 ? 23 : 24;
    const int bits = all ? 32 - __builtin_clz(all) : 0;
    const int g = limitBits - bits < 8 ? limitBits - bits : 8;
    // x 2^g, or x / 2^-g rounded: VRSHL by g either way (no overflow: |x 2^g|
    // < 2^limitBits)
    const int32x4_t count = vdupq_n_s32(g), sign = {1, -1, 1, -1};
    for (int k = 0; k < n; k += 4) {
        vst1q_s32(xr + k, vrshlq_s32(vld1q_s32(xr + k), count));
        vst1q_s32(xi + k, vmulq_s32(vrshlq_s32(vld1q_s32(xi + k), count), sign));
    }
    return g;
}

void qmf_synthesis_window_neon(int32_t *partial, int32_t head, const int32_t *cr, const int32_t *si,
                               const int32_t *w, int32_t n, int32_t shift, int32_t *out)
{
    if (n == 64)
        synthesis_window<64>(partial, head, cr, si, w, shift, out);
    else if (n == 32)
        synthesis_window<32>(partial, head, cr, si, w, shift, out);
}

}  // namespace fxaac

#endif  // __ARM_NEON
