// The SBR input kernels with SSE4.1 (src/sbr/sbr_input.cpp), four samples
// per vector. Same results as the portable kernels: shl_sat and the
// saturating difference as x86/simd.h has them; PABSD leaves -2^31 as
// 0x80000000, its magnitude read unsigned (PMAXUD).
#include "dsp/kernels.h"
#include "sbr/sbr_input.h"
#include "x86/simd.h"

namespace fxaac {

void sbr_hand_off_sse41(int32_t *out, const int32_t *samples, int32_t count)
{
    const __m128i half = V128::set1(sbr::kHandOffHalf);
    const __m128i test = shift_count(31 - sbr::kHandOffShift),
                  shift = shift_count(sbr::kHandOffShift);
    int32_t i = 0;
    for (; i + 4 <= count; i += 4)
        V128::store(out + i, shl_sat<V128>(V128::add(V128::load(samples + i), half), test, shift));
    sbr_hand_off_c(out + i, samples + i, count - i);
}

uint32_t sbr_input_peak_sse41(const int32_t *x, int32_t n)
{
    const __m128i bias = V128::set1(sbr::kHandOffBias);
    __m128i peak = V128::zero();
    int32_t i = 0;
    for (; i + 4 <= n; i += 4)
        peak = _mm_max_epu32(peak, V128::abs(sub_sat<V128>(V128::load(x + i), bias)));
    peak = _mm_max_epu32(peak, _mm_shuffle_epi32(peak, _MM_SHUFFLE(1, 0, 3, 2)));
    peak = _mm_max_epu32(peak, _mm_shuffle_epi32(peak, _MM_SHUFFLE(2, 3, 0, 1)));
    const uint32_t head = static_cast<uint32_t>(_mm_cvtsi128_si32(peak));
    const uint32_t tail = sbr_input_peak_c(x + i, n - i);
    return head > tail ? head : tail;
}

void sbr_input_scale_sse41(const int32_t *x, int32_t *out, int32_t n, int32_t shift)
{
    const __m128i bias = V128::set1(sbr::kHandOffBias);
    const __m128i count = shift_count(static_cast<uint32_t>(shift));
    int32_t i = 0;
    for (; i + 4 <= n; i += 4)
        V128::store(out + i, V128::sll(sub_sat<V128>(V128::load(x + i), bias), count));
    sbr_input_scale_c(x + i, out + i, n - i, shift);
}

void sbr_rescale_down_sse41(const int32_t *x, int32_t *out, int32_t n, int32_t shift)
{
    if (shift == 0) {
        sbr_rescale_down_c(x, out, n, shift);
        return;
    }
    // floor((x + 2^(s-1)) / 2^s) = (x >> s) + bit s - 1 of x, without overflow.
    const __m128i count = shift_count(static_cast<uint32_t>(shift));
    const __m128i below = shift_count(static_cast<uint32_t>(shift - 1)), one = V128::set1(1);
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i v = V128::load(x + i);
        V128::store(out + i,
                    V128::add(V128::sra(v, count), V128::bit_and(V128::sra(v, below), one)));
    }
    sbr_rescale_down_c(x + i, out + i, n - i, shift);
}

}  // namespace fxaac
