// SBR HF adjustment's G X + Q V with SSE4.1 (src/sbr/hf_adjustment.cpp), two
// rows of one subband per step, each 64-bit lane one sample part. Same
// results as the portable kernel: G X is a 64-bit product, the rounding
// constant added and an arithmetic shift (a logical one between two sign
// flips); Q V is the high word of V 2^16 qHi + 2^31; the sum saturates to
// int32 where its high word is not the sign of its low word.
#include "dsp/kernels.h"
#include "sbr/hf_adjustment.h"
#include "sbr/sbr_tables.h"
#include "x86/simd.h"

namespace fxaac {
namespace {

// The sign of each 64-bit lane in both of its words.
FXAAC_SIMD_INLINE __m128i sign64(__m128i v)
{
    return _mm_shuffle_epi32(_mm_srai_epi32(v, 31), _MM_SHUFFLE(3, 3, 1, 1));
}

// v >> s, arithmetic, per 64-bit lane (s in 0..63).
FXAAC_SIMD_INLINE __m128i sra64(__m128i v, __m128i s)
{
    const __m128i m = sign64(v);
    return _mm_xor_si128(_mm_srl_epi64(_mm_xor_si128(v, m), s), m);
}

// Two 64-bit lanes saturated to int32, in words 0 and 2.
FXAAC_SIMD_INLINE __m128i saturate(__m128i v)
{
    const __m128i high = _mm_shuffle_epi32(v, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128i low_sign = _mm_srai_epi32(_mm_shuffle_epi32(v, _MM_SHUFFLE(2, 2, 0, 0)), 31);
    const __m128i fits = _mm_cmpeq_epi32(high, low_sign);
    const __m128i bound = _mm_xor_si128(_mm_srai_epi32(high, 31), _mm_set1_epi32(INT32_MAX));
    return _mm_blendv_epi8(bound, v, fits);
}

}  // namespace

void sbr_adjust_rows_sse41(int32_t *x, int32_t rows, int32_t mul, int32_t shift, int32_t qHi,
                           int32_t noiseIndex, int32_t noiseStep)
{
    constexpr int32_t kRow = 2 * sbr::kBands;
    constexpr int32_t kMask = sbr::kNoiseTableSize - 1;
    const __m128i m = _mm_set1_epi32(mul), q = _mm_set1_epi32(qHi);
    const __m128i count = _mm_cvtsi32_si128(shift);
    const __m128i round = _mm_set1_epi64x(shift > 0 ? int64_t{1} << (shift - 1) : 0);
    const __m128i half = _mm_set1_epi64x(int64_t{1} << 31);
    int32_t r = 0;
    for (; r + 2 <= rows; r += 2, x += 2 * kRow, noiseIndex += 2 * noiseStep) {
        int32_t *const next = x + kRow;
        // (re0, im0, re1, im1) and the noise pairs widened to words, << 16.
        const __m128i v = _mm_unpacklo_epi64(
            _mm_loadl_epi64(reinterpret_cast<const __m128i *>(x)),
            _mm_loadl_epi64(reinterpret_cast<const __m128i *>(next)));
        const __m128i w = _mm_slli_epi32(
            _mm_cvtepi16_epi32(_mm_setr_epi32(
                *reinterpret_cast<const int32_t *>(sbr::kSbrNoise[noiseIndex & kMask]),
                *reinterpret_cast<const int32_t *>(
                    sbr::kSbrNoise[(noiseIndex + noiseStep) & kMask]),
                0, 0)),
            16);
        // The real parts (re0, re1) from the even words, the imaginary ones
        // from the odd words, as 64-bit lanes.
        const auto part = [&](__m128i xs, __m128i ws) {
            const __m128i g = sra64(_mm_add_epi64(_mm_mul_epi32(xs, m), round), count);
            const __m128i t = _mm_add_epi64(_mm_mul_epi32(ws, q), half);
            const __m128i high = _mm_shuffle_epi32(t, _MM_SHUFFLE(3, 3, 1, 1));
            const __m128i n = _mm_blend_epi16(high, _mm_srai_epi32(high, 31), 0xCC);
            return saturate(_mm_add_epi64(g, n));
        };
        const __m128i re = part(v, w), im = part(V128::odd(v), V128::odd(w));
        _mm_storel_epi64(reinterpret_cast<__m128i *>(x), _mm_unpacklo_epi32(re, im));
        _mm_storel_epi64(reinterpret_cast<__m128i *>(next), _mm_unpackhi_epi32(re, im));
    }
    if (r < rows)
        sbr_adjust_rows_c(x, rows - r, mul, shift, qHi, noiseIndex, noiseStep);
}

}  // namespace fxaac
