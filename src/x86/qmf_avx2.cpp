// The SBR QMF banks' kernels with AVX2 (src/sbr/qmf.cpp): the synthesis
// input and windowing, the analysis fold and rotation on eight values per
// vector, the pairs of DCT-IVs (src/x86/qmf_simd.h) one transform in each
// 128-bit half.
// The arithmetic is the SSE4.1 versions' (src/x86/qmf_sse41.cpp) on twice
// the lanes: VPMULDQ per 128-bit half as PMULDQ, the 32-bit shuffles and
// blends within each half; only the loads that reverse or pick the even
// words cross the halves.
#include "dsp/kernels.h"
#include "x86/qmf_simd.h"
#include "x86/simd.h"

namespace fxaac {

namespace {

using V = __m256i;

// Two DCT-IVs at once for qmf4::dct4(): the first transform's data in the
// low halves, the second's in the high halves, the tables in both.
struct Q4x2 {
    using T = __m256i;
    using Ptr = const int32_t *const *;
    using OutPtr = int32_t *const *;
    static T load(Ptr p, int offset)
    {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(V128::load(p[0] + offset)),
                                       V128::load(p[1] + offset), 1);
    }
    static void store(OutPtr p, int offset, T v)
    {
        V128::store(p[0] + offset, _mm256_castsi256_si128(v));
        V128::store(p[1] + offset, _mm256_extracti128_si256(v, 1));
    }
    static T table(const int32_t *t) { return _mm256_broadcastsi128_si256(V128::load(t)); }
    static T set1(int32_t v) { return _mm256_set1_epi32(v); }
    static T setr(int32_t a, int32_t b, int32_t c, int32_t d)
    {
        return _mm256_setr_epi32(a, b, c, d, a, b, c, d);
    }
    static T set1_64(int64_t v) { return _mm256_set1_epi64x(v); }
    static T add(T a, T b) { return _mm256_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm256_sub_epi32(a, b); }
    static T add64(T a, T b) { return _mm256_add_epi64(a, b); }
    static T sub64(T a, T b) { return _mm256_sub_epi64(a, b); }
    static T mul(T a, T b) { return _mm256_mul_epi32(a, b); }
    template <int S>
    static T srli64(T a)
    {
        return _mm256_srli_epi64(a, S);
    }
    template <int S>
    static T slli64(T a)
    {
        return _mm256_slli_epi64(a, S);
    }
    static T blend_odd(T even, T odd_lanes) { return _mm256_blend_epi32(even, odd_lanes, 0xAA); }
    template <int Imm>
    static T shuffle(T a)
    {
        return _mm256_shuffle_epi32(a, Imm);
    }
    template <int Imm>
    static T shuffle_ps(T a, T b)
    {
        return _mm256_castps_si256(
            _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), Imm));
    }
    static T unpacklo(T a, T b) { return _mm256_unpacklo_epi32(a, b); }
    static T unpackhi(T a, T b) { return _mm256_unpackhi_epi32(a, b); }
    static T unpacklo64(T a, T b) { return _mm256_unpacklo_epi64(a, b); }
    static T unpackhi64(T a, T b) { return _mm256_unpackhi_epi64(a, b); }
};

FXAAC_SIMD_INLINE V load(const int32_t *p) { return V256::load(p); }
FXAAC_SIMD_INLINE V odd(V v) { return _mm256_shuffle_epi32(v, _MM_SHUFFLE(3, 3, 1, 1)); }
FXAAC_SIMD_INLINE V reverse(V v)
{
    return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0));
}

// The even words of p[0 .. 15], in order.
FXAAC_SIMD_INLINE V even_words(const int32_t *p)
{
    const __m256 a = _mm256_castsi256_ps(load(p)), b = _mm256_castsi256_ps(load(p + 8));
    const V mixed = _mm256_castps_si256(_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)));
    return _mm256_permute4x64_epi64(mixed, _MM_SHUFFLE(3, 1, 2, 0));
}

// The odd words of p[0 .. 15], in order.
FXAAC_SIMD_INLINE V odd_words(const int32_t *p)
{
    const __m256 a = _mm256_castsi256_ps(load(p)), b = _mm256_castsi256_ps(load(p + 8));
    const V mixed = _mm256_castps_si256(_mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
    return _mm256_permute4x64_epi64(mixed, _MM_SHUFFLE(3, 1, 2, 0));
}

// Even lanes' results in the low words of e, odd lanes' in the high words
// of o: merged in order.
FXAAC_SIMD_INLINE V merge_high(V e, V o)
{
    return _mm256_blend_epi32(_mm256_srli_epi64(e, 32), o, 0xAA);
}

// round(h c / 2^shift), shift 1 to 62, as MulShift of the SSE4.1 file.
struct MulShift {
    V bias, round;
    __m128i count;
    bool high;
    explicit MulShift(int32_t shift)
        : bias(_mm256_set1_epi64x(int64_t{1} << (shift - 1))),
          round(_mm256_set1_epi32(shift > 32 ? 1 << (shift - 33) : 0)),
          count(_mm_cvtsi32_si128(shift > 32 ? shift - 32 : shift)), high(shift > 32)
    {}
    FXAAC_SIMD_INLINE V operator()(V h, V h_odd, V c) const
    {
        const V e = _mm256_mul_epi32(h, c), o = _mm256_mul_epi32(h_odd, odd(c));
        if (high)
            return _mm256_sra_epi32(_mm256_add_epi32(merge_high(e, o), round), count);
        const __m128i left = _mm_sub_epi64(_mm_cvtsi32_si128(32), count);
        return _mm256_blend_epi32(_mm256_srl_epi64(_mm256_add_epi64(e, bias), count),
                                  _mm256_sll_epi64(_mm256_add_epi64(o, bias), left), 0xAA);
    }
};

// sat(4 (a + b)) per lane: the sum, exact in double, clamped.
FXAAC_SIMD_INLINE V saturate4(V a, V b)
{
    const __m256d top = _mm256_set1_pd(2147483647.0), bottom = _mm256_set1_pd(-2147483648.0);
    const __m256d four = _mm256_set1_pd(4.0);
    auto half = [&](__m128i x, __m128i y) {
        const __m256d v = _mm256_mul_pd(_mm256_add_pd(_mm256_cvtepi32_pd(x), _mm256_cvtepi32_pd(y)),
                                        four);
        return _mm256_cvttpd_epi32(_mm256_max_pd(_mm256_min_pd(v, top), bottom));
    };
    const __m128i lo = half(_mm256_castsi256_si128(a), _mm256_castsi256_si128(b));
    const __m128i hi = half(_mm256_extracti128_si256(a, 1), _mm256_extracti128_si256(b, 1));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}

template <int Stride>
FXAAC_SIMD_INLINE V taps(const int32_t *w)
{
    if constexpr (Stride == 1)
        return load(w);
    else
        return even_words(w);
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
    for (int j = 0; j < N; j += 8) {
        // h(j) = S(j) - C(j), h(N + j) = C(N-1-j) + S(N-1-j) with
        // S(j) = si(N-1-j)
        const V h0 = _mm256_sub_epi32(reverse(load(si + N - 8 - j)), load(cr + j));
        const V h1 = _mm256_add_epi32(reverse(load(cr + N - 8 - j)), load(si + j));
        const V o0 = odd(h0), o1 = odd(h1);
        const V p = mul(h0, o0, taps<Stride>(w + Stride * j));
        V256::store(out + j, saturate4(load(row[0] + j), p));
        V256::store(row[0] + j, mul(h1, o1, taps<Stride>(w + 64 * kRows + Stride * j)));
#pragma GCC unroll 8
        for (int age = 1; age < kRows; ++age) {
            const V t = (age & 1) ? mul(h1, o1, taps<Stride>(w + 64 * age + Stride * j))
                                  : mul(h0, o0, taps<Stride>(w + 64 * age + Stride * j));
            V256::store(row[age] + j, _mm256_add_epi32(load(row[age] + j), t));
        }
    }
}

// Bits 37 .. 68 of the sums plus 2^36 (the high words of the sums plus
// 2^36 shifted by 5), in order.
FXAAC_SIMD_INLINE V round37(V even, V odd_sums)
{
    const V bias = _mm256_set1_epi64x(int64_t{1} << 36);
    return merge_high(_mm256_srai_epi32(_mm256_add_epi64(even, bias), 5),
                      _mm256_srai_epi32(_mm256_add_epi64(odd_sums, bias), 5));
}

}  // namespace

void qmf_dct4x2_avx2(const int32_t *in0, const int32_t *in1, int32_t *out0, int32_t *out1,
                     int32_t n)
{
    qmf4::dct4_pair<Q4x2>(in0, in1, out0, out1, n);
}

void qmf_analysis_fold_avx2(const int32_t *x, const int32_t *w, int32_t *p, int32_t *q)
{
    // u(n), n = 8i .. 8i+7: the even n's and the odd n's sums
    auto u = [&](int i, V &even, V &odds) {
        even = odds = _mm256_setzero_si256();
        for (int j = 0; j < 5; ++j) {
            const V xj = load(x + 8 * i + 64 * j), wj = even_words(w + 16 * i + 128 * j);
            even = _mm256_add_epi64(even, _mm256_mul_epi32(xj, wj));
            odds = _mm256_add_epi64(odds, _mm256_mul_epi32(odd(xj), odd(wj)));
        }
    };
    const V sign = _mm256_setr_epi32(1, -1, 1, -1, 1, -1, 1, -1);  // DST-IV through DCT-IV
    for (int i = 0; i < 4; ++i) {
        V ae, ao, be, bo;
        u(i, ae, ao);
        u(7 - i, be, bo);
        // u(63 - n): the even n pair with the odd sums of 7 - i reversed,
        // the odd n with its even ones
        const V re = _mm256_permute4x64_epi64(bo, _MM_SHUFFLE(0, 1, 2, 3));
        const V ro = _mm256_permute4x64_epi64(be, _MM_SHUFFLE(0, 1, 2, 3));
        V256::store(p + 8 * i, round37(_mm256_sub_epi64(ae, re), _mm256_sub_epi64(ao, ro)));
        V256::store(
            q + 8 * i,
            _mm256_sign_epi32(round37(_mm256_add_epi64(ae, re), _mm256_add_epi64(ao, ro)), sign));
    }
}

void qmf_analysis_rotate_avx2(const int32_t *cr, const int32_t *sr, const int32_t *rotation,
                              int32_t *out)
{
    const V bias = _mm256_set1_epi64x(int64_t{1} << 34);
    // bits 35 .. 66 of the sums plus 2^34, in order
    auto round35 = [&](V even, V odds) {
        return merge_high(_mm256_srai_epi32(_mm256_add_epi64(even, bias), 3),
                          _mm256_srai_epi32(_mm256_add_epi64(odds, bias), 3));
    };
    for (int i = 0; i < 4; ++i) {
        const V a = load(cr + 8 * i), b = reverse(load(sr + 24 - 8 * i));
        const V c = even_words(rotation + 16 * i), s = odd_words(rotation + 16 * i);
        const V ao = odd(a), bo = odd(b), co = odd(c), so = odd(s);
        const V re = round35(_mm256_add_epi64(_mm256_mul_epi32(a, c), _mm256_mul_epi32(b, s)),
                             _mm256_add_epi64(_mm256_mul_epi32(ao, co), _mm256_mul_epi32(bo, so)));
        const V im = round35(_mm256_sub_epi64(_mm256_mul_epi32(b, c), _mm256_mul_epi32(a, s)),
                             _mm256_sub_epi64(_mm256_mul_epi32(bo, co), _mm256_mul_epi32(ao, so)));
        // (re, im) pairs: k = 0, 1, 4, 5 and 2, 3, 6, 7 per unpack
        const V lo = _mm256_unpacklo_epi32(re, im), hi = _mm256_unpackhi_epi32(re, im);
        V256::store(out + 16 * i, _mm256_permute2x128_si256(lo, hi, 0x20));
        V256::store(out + 16 * i + 8, _mm256_permute2x128_si256(lo, hi, 0x31));
    }
}

int32_t qmf_synthesis_prepare_avx2(const int32_t *in, int32_t *xr, int32_t *xi, int32_t n)
{
    if (n != 64 && n != 32)
        return qmf_synthesis_prepare_c(in, xr, xi, n);
    const V limit = _mm256_set1_epi32(1 << 27), low = _mm256_set1_epi32(-(1 << 27));
    V peak = _mm256_setzero_si256();
    for (int k = 0; k < n; k += 8) {
        const V re = _mm256_min_epi32(_mm256_max_epi32(even_words(in + 2 * k), low), limit);
        const V im = _mm256_min_epi32(_mm256_max_epi32(odd_words(in + 2 * k), low), limit);
        peak = _mm256_or_si256(peak, _mm256_or_si256(_mm256_abs_epi32(re), _mm256_abs_epi32(im)));
        V256::store(xr + k, re);
        V256::store(xi + k, im);
    }
    const uint32_t all = static_cast<uint32_t>(V256::or_lanes(peak));
    // the portable kernel's exponent
    const int limitBits = n == 64 ? 23 : 24;
    const int bits = all ? 32 - __builtin_clz(all) : 0;
    const int g = limitBits - bits < 8 ? limitBits - bits : 8;
    const V sign = _mm256_setr_epi32(1, -1, 1, -1, 1, -1, 1, -1);
    if (g >= 0) {  // no overflow: |x 2^g| < 2^limitBits
        const __m128i count = _mm_cvtsi32_si128(g);
        for (int k = 0; k < n; k += 8) {
            V256::store(xr + k, _mm256_sll_epi32(load(xr + k), count));
            V256::store(xi + k, _mm256_sign_epi32(_mm256_sll_epi32(load(xi + k), count), sign));
        }
    } else {  // (x + 2^(-g-1)) >> -g, |x| <= 2^27
        const __m128i count = _mm_cvtsi32_si128(-g);
        const V bias = _mm256_set1_epi32(1 << (-g - 1));
        for (int k = 0; k < n; k += 8) {
            V256::store(xr + k, _mm256_sra_epi32(_mm256_add_epi32(load(xr + k), bias), count));
            V256::store(xi + k,
                        _mm256_sign_epi32(
                            _mm256_sra_epi32(_mm256_add_epi32(load(xi + k), bias), count), sign));
        }
    }
    return g;
}

void qmf_synthesis_window_avx2(int32_t *partial, int32_t head, const int32_t *cr, const int32_t *si,
                               const int32_t *w, int32_t n, int32_t shift, int32_t *out)
{
    if (n == 64)
        synthesis_window<64>(partial, head, cr, si, w, shift, out);
    else if (n == 32)
        synthesis_window<32>(partial, head, cr, si, w, shift, out);
}

}  // namespace fxaac
