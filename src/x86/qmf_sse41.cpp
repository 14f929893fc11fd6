// The SBR QMF banks' kernels with SSE4.1 (src/sbr/qmf.cpp), four values per
// vector. Same results as the portable kernels: every product is an exact
// 64-bit PMULDQ (even lanes; the odd lanes moved down for a second one) and
// every sum of products a 64-bit sum, which never overflows (the bounds in
// src/sbr/qmf.cpp). A rounded shift (v + 2^(s-1)) >> s truncated to 32 bits
// is bits s .. s+31 of v + 2^(s-1): for s <= 32 the low word of a logical
// 64-bit shift by s (or, for the odd lanes, the high word of a left shift by
// 32 - s), for s > 32 the high word shifted arithmetically by s - 32 (the
// bits above 63 are sign bits).
//
// The DCT-IV (src/x86/qmf_simd.h) runs the portable radix-2 FFT in the same
// order of blocks as the NEON version (src/arm/qmf_neon.cpp, whose header
// explains it).
#include "dsp/kernels.h"
#include "x86/qmf_simd.h"

namespace fxaac {

namespace {

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

// Rounded shift of the 64-bit sums (even and odd lanes) by S > 32, S known:
// the truncated results in natural lane order.
template <int S>
FXAAC_SIMD_INLINE __m128i round_high(__m128i even, __m128i odd_sums)
{
    static_assert(S > 32 && S < 64, "a shift into the high word");
    const __m128i bias = _mm_set1_epi64x(int64_t{1} << (S - 1));
    const __m128i e = _mm_srai_epi32(_mm_add_epi64(even, bias), S - 32);
    const __m128i o = _mm_srai_epi32(_mm_add_epi64(odd_sums, bias), S - 32);
    return _mm_blend_epi16(_mm_srli_epi64(e, 32), o, 0xCC);
}

// round(h c / 2^shift) per lane, for any shift of 1 to 62. For shift >= 33,
// as 2^(shift-1) is a multiple of 2^32, it is (q + 2^(shift-33)) >>
// (shift-32) with q = floor(h c / 2^32), the products' high words (|q| <=
// 2^30: no overflow).
struct MulShift {
    __m128i bias, round, count;
    bool high;  // shift > 32: the high words, rounded by round, shifted by count
    explicit MulShift(int32_t shift)
        : bias(_mm_set1_epi64x(int64_t{1} << (shift - 1))),
          round(_mm_set1_epi32(shift > 32 ? 1 << (shift - 33) : 0)),
          count(_mm_cvtsi32_si128(shift > 32 ? shift - 32 : shift)), high(shift > 32)
    {}
    FXAAC_SIMD_INLINE __m128i operator()(__m128i h, __m128i h_odd, __m128i c) const
    {
        const __m128i e = _mm_mul_epi32(h, c), o = _mm_mul_epi32(h_odd, odd(c));
        if (high) {
            const __m128i q = _mm_blend_epi16(_mm_srli_epi64(e, 32), o, 0xCC);
            return _mm_sra_epi32(_mm_add_epi32(q, round), count);
        }
        // shift <= 32: the low word of (e + bias) >> shift, the high word
        // of (o + bias) << (32 - shift)
        const __m128i left = _mm_sub_epi64(_mm_cvtsi32_si128(32), count);
        return _mm_blend_epi16(_mm_srl_epi64(_mm_add_epi64(e, bias), count),
                               _mm_sll_epi64(_mm_add_epi64(o, bias), left), 0xCC);
    }
};

template <int Stride>
FXAAC_SIMD_INLINE __m128i taps(const int32_t *w)
{
    if constexpr (Stride == 1) {
        return load(w);
    } else {
        __m128i even, unused;
        load2(w, even, unused);
        return even;
    }
}

// sat(4 (a + b)) per lane: the sum, exact in double, clamped.
FXAAC_SIMD_INLINE __m128i saturate4(__m128i a, __m128i b)
{
    const __m128d top = _mm_set1_pd(2147483647.0), bottom = _mm_set1_pd(-2147483648.0);
    const __m128d four = _mm_set1_pd(4.0);
    auto half = [&](__m128i x, __m128i y) {
        const __m128d v = _mm_mul_pd(_mm_add_pd(_mm_cvtepi32_pd(x), _mm_cvtepi32_pd(y)), four);
        return _mm_cvttpd_epi32(_mm_max_pd(_mm_min_pd(v, top), bottom));
    };
    const __m128i lo = half(a, b), hi = half(_mm_unpackhi_epi64(a, a), _mm_unpackhi_epi64(b, b));
    return _mm_unpacklo_epi64(lo, hi);
}

template <int N>
void synthesis_window(int32_t *partial, int32_t head, const int32_t *cr, const int32_t *si,
                      const int32_t *w, int32_t shift, int32_t *out)
{
    constexpr int kRow = 64, kRows = 9, Stride = 64 / N;
    const MulShift mul(shift);
    int32_t *row[kRows];
    for (int age = 0; age < kRows; ++age)
        row[age] = partial + kRow * ((head + age) % kRows);
    for (int j = 0; j < N; j += 4) {
        // h(j) = S(j) - C(j), h(N + j) = C(N-1-j) + S(N-1-j) with
        // S(j) = si(N-1-j)
        const __m128i h0 = _mm_sub_epi32(reverse(load(si + N - 4 - j)), load(cr + j));
        const __m128i h1 = _mm_add_epi32(reverse(load(cr + N - 4 - j)), load(si + j));
        const __m128i o0 = odd(h0), o1 = odd(h1);
        const __m128i p = mul(h0, o0, taps<Stride>(w + Stride * j));
        V128::store(out + j, saturate4(load(row[0] + j), p));
        V128::store(row[0] + j, mul(h1, o1, taps<Stride>(w + 64 * kRows + Stride * j)));
#pragma GCC unroll 8
        for (int age = 1; age < kRows; ++age) {
            const __m128i t = (age & 1) ? mul(h1, o1, taps<Stride>(w + 64 * age + Stride * j))
                                        : mul(h0, o0, taps<Stride>(w + 64 * age + Stride * j));
            V128::store(row[age] + j, _mm_add_epi32(load(row[age] + j), t));
        }
    }
}

}  // namespace

void qmf_dct4x2_sse41(const int32_t *in0, const int32_t *in1, int32_t *out0, int32_t *out1,
                      int32_t n)
{
    qmf4::dct4_pair<qmf4::Q4>(in0, nullptr, out0, nullptr, n);
    qmf4::dct4_pair<qmf4::Q4>(in1, nullptr, out1, nullptr, n);
}

void qmf_analysis_fold_sse41(const int32_t *x, const int32_t *w, int32_t *p, int32_t *q)
{
    // u(n), n = 4i .. 4i+3: the even n's and the odd n's sums
    auto u = [&](int i, __m128i &even, __m128i &odds) {
        even = odds = _mm_setzero_si128();
        for (int j = 0; j < 5; ++j) {
            const __m128i xj = load(x + 4 * i + 64 * j);
            __m128i wj, unused;
            load2(w + 8 * i + 128 * j, wj, unused);
            even = _mm_add_epi64(even, _mm_mul_epi32(xj, wj));
            odds = _mm_add_epi64(odds, _mm_mul_epi32(odd(xj), odd(wj)));
        }
    };
    const __m128i sign = _mm_setr_epi32(1, -1, 1, -1);  // DST-IV through DCT-IV
    for (int i = 0; i < 8; ++i) {
        __m128i ae, ao, be, bo;
        u(i, ae, ao);
        u(15 - i, be, bo);
        // u(63 - n): n = 4i and 4i+2 pair with the odd sums of 15 - i
        // swapped, n = 4i+1 and 4i+3 with its even ones
        const __m128i re = _mm_shuffle_epi32(bo, _MM_SHUFFLE(1, 0, 3, 2));
        const __m128i ro = _mm_shuffle_epi32(be, _MM_SHUFFLE(1, 0, 3, 2));
        V128::store(p + 4 * i, round_high<37>(_mm_sub_epi64(ae, re), _mm_sub_epi64(ao, ro)));
        V128::store(
            q + 4 * i,
            _mm_sign_epi32(round_high<37>(_mm_add_epi64(ae, re), _mm_add_epi64(ao, ro)), sign));
    }
}

void qmf_analysis_rotate_sse41(const int32_t *cr, const int32_t *sr, const int32_t *rotation,
                               int32_t *out)
{
    for (int i = 0; i < 8; ++i) {
        const __m128i a = load(cr + 4 * i), b = reverse(load(sr + 28 - 4 * i));
        __m128i c, s;
        load2(rotation + 8 * i, c, s);
        const __m128i ao = odd(a), bo = odd(b), co = odd(c), so = odd(s);
        const __m128i re = round_high<35>(
            _mm_add_epi64(_mm_mul_epi32(a, c), _mm_mul_epi32(b, s)),
            _mm_add_epi64(_mm_mul_epi32(ao, co), _mm_mul_epi32(bo, so)));
        const __m128i im = round_high<35>(
            _mm_sub_epi64(_mm_mul_epi32(b, c), _mm_mul_epi32(a, s)),
            _mm_sub_epi64(_mm_mul_epi32(bo, co), _mm_mul_epi32(ao, so)));
        __m128i lo, hi;
        V128::interleave(re, im, lo, hi);
        V128::store(out + 8 * i, lo);
        V128::store(out + 8 * i + 4, hi);
    }
}

int32_t qmf_synthesis_prepare_sse41(const int32_t *in, int32_t *xr, int32_t *xi, int32_t n)
{
    if (n != 64 && n != 32)
        return qmf_synthesis_prepare_c(in, xr, xi, n);
    const __m128i limit = _mm_set1_epi32(1 << 27), low = _mm_set1_epi32(-(1 << 27));
    __m128i peak = _mm_setzero_si128();
    for (int k = 0; k < n; k += 4) {
        __m128i re, im;
        load2(in + 2 * k, re, im);
        re = _mm_min_epi32(_mm_max_epi32(re, low), limit);
        im = _mm_min_epi32(_mm_max_epi32(im, low), limit);
        peak = _mm_or_si128(peak, _mm_or_si128(_mm_abs_epi32(re), _mm_abs_epi32(im)));
        V128::store(xr + k, re);
        V128::store(xi + k, im);
    }
    const uint32_t all = static_cast<uint32_t>(V128::or_lanes(peak));
    // the portable kernel's exponent
    const int limitBits = n == 64 ? 23 : 24;
    const int bits = all ? 32 - __builtin_clz(all) : 0;
    const int g = limitBits - bits < 8 ? limitBits - bits : 8;
    const __m128i sign = _mm_setr_epi32(1, -1, 1, -1);
    if (g >= 0) {  // no overflow: |x 2^g| < 2^limitBits
        const __m128i count = _mm_cvtsi32_si128(g);
        for (int k = 0; k < n; k += 4) {
            V128::store(xr + k, _mm_sll_epi32(load(xr + k), count));
            V128::store(xi + k, _mm_sign_epi32(_mm_sll_epi32(load(xi + k), count), sign));
        }
    } else {  // (x + 2^(-g-1)) >> -g, |x| <= 2^27
        const __m128i count = _mm_cvtsi32_si128(-g), bias = _mm_set1_epi32(1 << (-g - 1));
        for (int k = 0; k < n; k += 4) {
            V128::store(xr + k, _mm_sra_epi32(_mm_add_epi32(load(xr + k), bias), count));
            V128::store(xi + k, _mm_sign_epi32(
                                    _mm_sra_epi32(_mm_add_epi32(load(xi + k), bias), count), sign));
        }
    }
    return g;
}

void qmf_synthesis_window_sse41(int32_t *partial, int32_t head, const int32_t *cr,
                                const int32_t *si, const int32_t *w, int32_t n, int32_t shift,
                                int32_t *out)
{
    if (n == 64)
        synthesis_window<64>(partial, head, cr, si, w, shift, out);
    else if (n == 32)
        synthesis_window<32>(partial, head, cr, si, w, shift, out);
}

}  // namespace fxaac
