// IMDCT twiddles, block measure and block shift with AVX2
// (src/dsp/kernels.h).
#include "x86/imdct_simd.h"

namespace fxaac {

void pre_twiddle_avx2(const int32_t *front, const int32_t *back, int32_t *out,
                      const int16_t *cosine, const int16_t *sine, int32_t count)
{
    pre_twiddle_simd<V256>(front, back, out, cosine, sine, count);
}

void post_twiddle_avx2(int32_t *out, const int32_t *in, const int16_t *cosine, const int16_t *sine,
                       int32_t N, int32_t shift)
{
    post_twiddle_simd<V256>(out, in, cosine, sine, N, shift);
}

int32_t block_magnitude_avx2(const int32_t *x, int32_t n)
{
    return block_magnitude_simd<V256>(x, n);
}

void block_shift_avx2(int32_t *x, int32_t shift, int32_t n) { block_shift_simd<V256>(x, shift, n); }

}  // namespace fxaac
