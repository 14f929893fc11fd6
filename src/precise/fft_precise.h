// Scaled complex FFTs of 512 and 64 points for the precise inverse MDCT:
//
//   X[k] = (1/n) sum_m x[m] e^(-j 2 pi m k / n),
//
// radix-4 decimation in frequency in place (the stages of filterbank/fft.h),
// then a last stage (radix 2 for 512 points, radix 4 for 64) that writes the
// bins in natural order to out. Each radix-4 stage divides by 4 and the
// radix-2 stage by 2; a twiddled leg is rotated and divided by its products
// with Q29 coefficients (a quarter in Q31, precise_tables.h), each rounded:
// q(u, c) = round(u c / 2^31) (ARM's VQRDMULH), real part q(u_re, c) +
// q(u_im, s); an untwiddled one rounds its sum: (v + 2) >> 2 or (v + 1) >> 1.
//
// Range: inputs of magnitude |x| <= 2^29 - 64 keep every sum below 2^31 and
// every output at most 2^29; rounding adds at most two units per stage.
#ifndef FXAAC_PRECISE_FFT_PRECISE_H
#define FXAAC_PRECISE_FFT_PRECISE_H

#include <cstdint>

namespace fxaac {
// n = 512 or 64 points from in (destroyed) to out; the buffers must not
// overlap. Any other n does nothing.
void fft_precise(int32_t *in, int32_t *out, int32_t n);
}  // namespace fxaac

#endif  // FXAAC_PRECISE_FFT_PRECISE_H
