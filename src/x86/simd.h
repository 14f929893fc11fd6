// Vector building blocks for the x86-64 kernels: V128 (SSE4.1, four 32-bit
// lanes) and, in files built with AVX2, V256 (eight lanes), with the same
// member names so that one kernel template serves both widths.
//
// Everything here has internal linkage: each file compiles its own copy
// with its own instruction set, and no AVX2 code can leak into another
// file through a shared inline function. For the same reason the SIMD
// files include no other header of the library than src/dsp/kernels.h and
// headers of constants only (tools/noise_generator.h).
//
// Lane order. A complex buffer holds (real, imaginary) word pairs.
// deinterleave() splits two vectors of pairs into real parts and imaginary
// parts; in V256 the 128-bit halves are shuffled separately, so the lanes
// hold the elements 0, 1, 4, 5, 2, 3, 6, 7 ("compute order"), and
// interleave() undoes exactly that. porder() brings a vector in natural
// order (table entries) into compute order. In V128 compute order is the
// natural order.
//
// Products. PMULDQ (mul()) multiplies the signed low words of each 64-bit
// half into an exact 64-bit product; the odd lanes take a second PMULDQ on
// the operands moved down (odd()), and blend_odd() merges the halves' high
// or low words. mulhi(p, t) = floor(p * t / 2^32): with t = c << 16 for a
// Q15 coefficient c, the truncating 32x16 product floor(p * c / 2^16). It
// takes the odd lanes as extra arguments so that a value used in several
// products is moved once. (The FFT's doubling product is in fft_simd.h.)
#ifndef FXAAC_X86_SIMD_H
#define FXAAC_X86_SIMD_H

#include <immintrin.h>

#include <cstdint>

// The helpers below must melt into the kernels' loops.
#define FXAAC_SIMD_INLINE inline __attribute__((always_inline))

namespace fxaac {
namespace {

struct V128 {
    using T = __m128i;
    static constexpr int kLanes = 4;

    static T load(const int32_t *p)
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    }
    static void store(int32_t *p, T v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
    static T set1(int32_t v) { return _mm_set1_epi32(v); }
    static T zero() { return _mm_setzero_si128(); }

    static T add(T a, T b) { return _mm_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm_sub_epi32(a, b); }
    static T bit_and(T a, T b) { return _mm_and_si128(a, b); }
    static T bit_or(T a, T b) { return _mm_or_si128(a, b); }
    static T bit_xor(T a, T b) { return _mm_xor_si128(a, b); }
    static T and_not(T a, T b) { return _mm_andnot_si128(a, b); }  // ~a & b
    static T cmpeq(T a, T b) { return _mm_cmpeq_epi32(a, b); }
    static T min(T a, T b) { return _mm_min_epi32(a, b); }
    static T max(T a, T b) { return _mm_max_epi32(a, b); }
    static T abs(T a) { return _mm_abs_epi32(a); }  // -2^31 stays 0x80000000
    template <int S>
    static T srai(T a)
    {
        return _mm_srai_epi32(a, S);
    }
    // Shifts by a count register: counts of 32 and more give 0 (left) or the
    // sign fill (right), as the scalar shifts with clamped counts.
    static T sra(T a, __m128i count) { return _mm_sra_epi32(a, count); }
    static T sll(T a, __m128i count) { return _mm_sll_epi32(a, count); }
    // Lanes where mask has its sign bit set come from b, the others from a.
    static T blendv(T a, T b, T mask)
    {
        return _mm_castps_si128(
            _mm_blendv_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), _mm_castsi128_ps(mask)));
    }
    static bool any(T mask) { return _mm_movemask_epi8(mask) != 0; }
    static int32_t or_lanes(T v)
    {
        v = _mm_or_si128(v, _mm_shuffle_epi32(v, 0x4E));
        v = _mm_or_si128(v, _mm_shuffle_epi32(v, 0xB1));
        return _mm_cvtsi128_si32(v);
    }

    // 64-bit products of the even lanes, odd lanes moved down, 64-bit shifts,
    // and even lanes of a with odd lanes of b.
    static T mul(T a, T b) { return _mm_mul_epi32(a, b); }
    static T odd(T a) { return _mm_srli_epi64(a, 32); }
    static T add64(T a, T b) { return _mm_add_epi64(a, b); }
    static T sub64(T a, T b) { return _mm_sub_epi64(a, b); }
    static T set1_64(int64_t v) { return _mm_set1_epi64x(v); }
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

    static void deinterleave(T a, T b, T &re, T &im)
    {
        const __m128 fa = _mm_castsi128_ps(a), fb = _mm_castsi128_ps(b);
        re = _mm_castps_si128(_mm_shuffle_ps(fa, fb, _MM_SHUFFLE(2, 0, 2, 0)));
        im = _mm_castps_si128(_mm_shuffle_ps(fa, fb, _MM_SHUFFLE(3, 1, 3, 1)));
    }
    static void interleave(T re, T im, T &a, T &b)
    {
        a = _mm_unpacklo_epi32(re, im);
        b = _mm_unpackhi_epi32(re, im);
    }
    static T porder(T v) { return v; }
    static T rev(T v) { return _mm_shuffle_epi32(v, _MM_SHUFFLE(0, 1, 2, 3)); }
    static T rev_porder(T v) { return rev(v); }
    static T rev64(T v) { return _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 3, 2)); }

    // kLanes Q15 coefficients as c << 16, natural order.
    static T load_q16_hi(const int16_t *p)
    {
        return _mm_unpacklo_epi16(_mm_setzero_si128(),
                                  _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
    }
    // Twiddle words of two groups of four (V128: the first only; callers pass
    // it as the second too, never a null pointer that offsets would make
    // invalid).
    static T load_groups(const int32_t *first, const int32_t * /*second*/) { return load(first); }

    // PCM stores into every second element: in 16-bit cells, the low halves
    // of v replace the even cells of old; in words, v's lanes spread to the
    // even words of two vectors.
    static T blend_even16(T old, T v) { return _mm_blend_epi16(old, v, 0x55); }
    static void spread_even(T v, T &lo, T &hi)
    {
        lo = _mm_unpacklo_epi32(v, v);
        hi = _mm_unpackhi_epi32(v, v);
    }
    static T blend_even32(T old, T v) { return _mm_blend_epi16(old, v, 0x33); }
};

#if defined(__AVX2__)
struct V256 {
    using T = __m256i;
    static constexpr int kLanes = 8;

    static T load(const int32_t *p)
    {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    }
    static void store(int32_t *p, T v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
    static T set1(int32_t v) { return _mm256_set1_epi32(v); }
    static T zero() { return _mm256_setzero_si256(); }

    static T add(T a, T b) { return _mm256_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm256_sub_epi32(a, b); }
    static T bit_and(T a, T b) { return _mm256_and_si256(a, b); }
    static T bit_or(T a, T b) { return _mm256_or_si256(a, b); }
    static T bit_xor(T a, T b) { return _mm256_xor_si256(a, b); }
    static T and_not(T a, T b) { return _mm256_andnot_si256(a, b); }
    static T cmpeq(T a, T b) { return _mm256_cmpeq_epi32(a, b); }
    static T min(T a, T b) { return _mm256_min_epi32(a, b); }
    static T max(T a, T b) { return _mm256_max_epi32(a, b); }
    static T abs(T a) { return _mm256_abs_epi32(a); }
    template <int S>
    static T srai(T a)
    {
        return _mm256_srai_epi32(a, S);
    }
    static T sra(T a, __m128i count) { return _mm256_sra_epi32(a, count); }
    static T sll(T a, __m128i count) { return _mm256_sll_epi32(a, count); }
    static T blendv(T a, T b, T mask)
    {
        return _mm256_castps_si256(_mm256_blendv_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b),
                                                    _mm256_castsi256_ps(mask)));
    }
    static bool any(T mask) { return _mm256_movemask_epi8(mask) != 0; }
    static int32_t or_lanes(T v)
    {
        return V128::or_lanes(
            _mm_or_si128(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
    }

    static T mul(T a, T b) { return _mm256_mul_epi32(a, b); }
    static T odd(T a) { return _mm256_srli_epi64(a, 32); }
    static T add64(T a, T b) { return _mm256_add_epi64(a, b); }
    static T sub64(T a, T b) { return _mm256_sub_epi64(a, b); }
    static T set1_64(int64_t v) { return _mm256_set1_epi64x(v); }
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

    static void deinterleave(T a, T b, T &re, T &im)
    {
        const __m256 fa = _mm256_castsi256_ps(a), fb = _mm256_castsi256_ps(b);
        re = _mm256_castps_si256(_mm256_shuffle_ps(fa, fb, _MM_SHUFFLE(2, 0, 2, 0)));
        im = _mm256_castps_si256(_mm256_shuffle_ps(fa, fb, _MM_SHUFFLE(3, 1, 3, 1)));
    }
    static void interleave(T re, T im, T &a, T &b)
    {
        a = _mm256_unpacklo_epi32(re, im);
        b = _mm256_unpackhi_epi32(re, im);
    }
    // Natural order 0..7 to compute order 0, 1, 4, 5, 2, 3, 6, 7.
    static T porder(T v) { return _mm256_permute4x64_epi64(v, _MM_SHUFFLE(3, 1, 2, 0)); }
    static T rev(T v)
    {
        return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0));
    }
    // Reversed, in compute order: lane l takes element 7 - (0, 1, 4, 5, 2, 3, 6, 7)[l].
    static T rev_porder(T v)
    {
        return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(7, 6, 3, 2, 5, 4, 1, 0));
    }
    static T rev64(T v) { return _mm256_permute4x64_epi64(v, _MM_SHUFFLE(0, 1, 2, 3)); }

    static T load_q16_hi(const int16_t *p)
    {
        return _mm256_slli_epi32(
            _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p))), 16);
    }
    static T load_groups(const int32_t *first, const int32_t *second)
    {
        const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(V128::load(first)),
                                                     V128::load(second), 1);
        return porder(both);
    }

    static T blend_even16(T old, T v) { return _mm256_blend_epi16(old, v, 0x55); }
    static void spread_even(T v, T &lo, T &hi)
    {
        const T halves = _mm256_permute4x64_epi64(v, _MM_SHUFFLE(3, 1, 2, 0));
        lo = _mm256_unpacklo_epi32(halves, halves);
        hi = _mm256_unpackhi_epi32(halves, halves);
    }
    static T blend_even32(T old, T v) { return _mm256_blend_epi32(old, v, 0x55); }
};
#endif  // __AVX2__

// floor(p * t / 2^32) per lane; po, to: odd(p), odd(t).
template <class V>
FXAAC_SIMD_INLINE typename V::T mulhi(typename V::T p, typename V::T po, typename V::T t,
                                      typename V::T to)
{
    return V::blend_odd(V::template srli64<32>(V::mul(p, t)), V::mul(po, to));
}

// Saturating sum and difference: on overflow (operands of equal sign, in
// the sum, and a result of the other sign) the bound of a's sign.
template <class V>
FXAAC_SIMD_INLINE typename V::T add_sat(typename V::T a, typename V::T b)
{
    const typename V::T r = V::add(a, b);
    const typename V::T overflow = V::and_not(V::bit_xor(a, b), V::bit_xor(a, r));
    return V::blendv(r, V::bit_xor(V::template srai<31>(a), V::set1(INT32_MAX)), overflow);
}

template <class V>
FXAAC_SIMD_INLINE typename V::T sub_sat(typename V::T a, typename V::T b)
{
    const typename V::T r = V::sub(a, b);
    const typename V::T overflow = V::bit_and(V::bit_xor(a, b), V::bit_xor(a, r));
    return V::blendv(r, V::bit_xor(V::template srai<31>(a), V::set1(INT32_MAX)), overflow);
}

// -x saturated: -(-2^31) gives 2^31 - 1.
template <class V>
FXAAC_SIMD_INLINE typename V::T neg_sat(typename V::T x)
{
    return V::sub(V::zero(), V::max(x, V::set1(-INT32_MAX)));
}

// A shift count for sra/sll.
inline __m128i shift_count(uint32_t count) { return _mm_cvtsi32_si128(static_cast<int>(count)); }

// x << n saturated, as the scalar rule: t = x >> (31 - n) (count taken
// modulo 256, 32 and more giving the sign fill) equal to x's sign fill
// keeps x << n (wrapping, counts of 32 and more giving 0); otherwise the
// bound of x's sign.
template <class V>
FXAAC_SIMD_INLINE typename V::T shl_sat(typename V::T x, __m128i test_count, __m128i count)
{
    const typename V::T sign = V::template srai<31>(x);
    const typename V::T keep = V::cmpeq(V::sra(x, test_count), sign);
    return V::blendv(V::bit_xor(sign, V::set1(INT32_MAX)), V::sll(x, count), keep);
}

// Whether any of the words is -2^31: their minimum.
template <class V>
inline bool any_min(const int32_t *w, int32_t words)
{
    typename V::T low = V::set1(INT32_MAX);
    int32_t i = 0;
    for (; i + V::kLanes <= words; i += V::kLanes)
        low = V::min(low, V::load(w + i));
    bool found = V::any(V::cmpeq(low, V::set1(INT32_MIN)));
    for (; i < words; ++i)
        found = found || w[i] == INT32_MIN;
    return found;
}

// n rounded down to an even count, 0 below 2: the pairs rule.
constexpr int whole_pairs(int n) { return n < 2 ? 0 : n - n % 2; }

}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_SIMD_H
