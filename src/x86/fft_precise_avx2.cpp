// The precise FFT's radix-4 stages with AVX2 (src/dsp/kernels.h).
#include "x86/fft_precise_simd.h"

namespace fxaac {

void radix4_stage_q29_avx2(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    radix4_stage_q29_simd<V256>(w, x, N, n);
}

}  // namespace fxaac
