// Mid/side and intensity stereo with SSE4.1 (src/tools/stereo.cpp), four
// lines per vector. Same results as the portable kernels: M/S sums and
// differences saturated (x86/simd.h); an intensity line for shift >= 1, where every lane's total
// shift s = norm(v) + shift is at least 1, equals floor(v m / 2^(15 + shift))
// (the normalisation cancels: floor(2 floor(x m / 2^16) / 2^s) =
// floor(x m / 2^(15 + s)) with x = v 2^norm), one 64-bit product and a shift
// by 16 to 32 whose low word is the line. Other shifts take the portable
// kernel.
#include "dsp/kernels.h"
#include "x86/simd.h"

namespace fxaac {
void ms_sum_difference_sse41(int32_t *left, int32_t *right, int32_t n)
{
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i l = V128::load(left + i), r = V128::load(right + i);
        V128::store(left + i, add_sat<V128>(l, r));
        V128::store(right + i, sub_sat<V128>(l, r));
    }
    ms_sum_difference_c(left + i, right + i, n - i);
}

void intensity_scale_sse41(const int32_t *from, int32_t *to, int32_t m, int32_t shift, int32_t n)
{
    if (shift < 1 || shift > 17) {
        intensity_scale_c(from, to, m, shift, n);
        return;
    }
    const __m128i k = _mm_set1_epi32(static_cast<int16_t>(m));
    const __m128i count = _mm_cvtsi32_si128(15 + shift);
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i v = V128::load(from + i);
        const __m128i even = _mm_srl_epi64(_mm_mul_epi32(v, k), count);
        const __m128i odd = _mm_srl_epi64(_mm_mul_epi32(V128::odd(v), k), count);
        V128::store(to + i, V128::blend_odd(even, _mm_slli_epi64(odd, 32)));
    }
    intensity_scale_c(from + i, to + i, m, shift, n - i);
}

}  // namespace fxaac
