// The precise arithmetic's stages without SIMD versions (the kernels are in
// src/dsp/kernels.h): the short windows' accumulating window products and
// the FFTs' last stages.
#ifndef FXAAC_PRECISE_PRECISE_KERNELS_H
#define FXAAC_PRECISE_PRECISE_KERNELS_H

#include <cstdint>

namespace fxaac {
// y += round(x w / 2^31), wrapping; the falling form reads w[0], w[-1], ...
void window_rise_add_q31(const int32_t *x, const int32_t *w, int32_t *y, int n);
void window_fall_add_q31(const int32_t *x, const int32_t *w, int32_t *y, int n);
// The last stages of the scaled FFTs (fft_precise.h).
void post_radix2_q(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N);
void post_radix4_q(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N);
}  // namespace fxaac

#endif  // FXAAC_PRECISE_PRECISE_KERNELS_H
