// Noise substitution's generator and scaling with SSE4.1 (src/tools/pns.cpp).
// Four lanes run the generator one step apart, each jumping four steps per
// vector (tools/noise_generator.h), so the values come out in order. Same
// results as the portable kernel: mul_32x16_x2(gain, v) is floor(v gain /
// 2^16) (the high word of v times gain << 16) doubled with wrapping, and
// shift_dir a shift by a count register for |shift| < 32 (other counts take
// the portable kernel).
#include "dsp/kernels.h"
#include "tools/noise_generator.h"
#include "x86/simd.h"

namespace fxaac {

void noise_fill_sse41(int32_t *lines, int32_t n, uint32_t *state, int32_t gain, int32_t shift)
{
    if (shift <= -32 || shift >= 32 || n < 4) {
        noise_fill_c(lines, n, state, gain, shift);
        return;
    }
    const uint32_t s1 = noise_step(*state), s2 = noise_step(s1), s3 = noise_step(s2);
    __m128i lanes = _mm_setr_epi32(static_cast<int32_t>(s1), static_cast<int32_t>(s2),
                                   static_cast<int32_t>(s3), static_cast<int32_t>(noise_step(s3)));
    const __m128i step = V128::set1(static_cast<int32_t>(kNoiseMultiplier4));
    const __m128i add = V128::set1(static_cast<int32_t>(kNoiseIncrement4));
    const __m128i k = V128::set1(static_cast<int32_t>(static_cast<uint32_t>(gain) << 16));
    const __m128i k_odd = V128::odd(k);
    const __m128i count = shift_count(static_cast<uint32_t>(shift > 0 ? shift : -shift));
    int32_t i = 0;
    __m128i used = lanes;
    for (; i + 4 <= n; i += 4) {
        const __m128i product = mulhi<V128>(lanes, V128::odd(lanes), k, k_odd);
        const __m128i v = V128::add(product, product);
        V128::store(lines + i, shift > 0 ? V128::sra(v, count) : V128::sll(v, count));
        used = lanes;
        lanes = V128::add(_mm_mullo_epi32(lanes, step), add);
    }
    *state = static_cast<uint32_t>(_mm_extract_epi32(used, 3));
    noise_fill_c(lines + i, n - i, state, gain, shift);
}

}  // namespace fxaac
