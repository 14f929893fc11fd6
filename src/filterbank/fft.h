// Fixed-point complex FFTs of 512 and 64 points for the inverse MDCT.
//
// Both are radix-4 decimation-in-frequency transforms that work in place on
// their input, followed by a last stage (radix-2 for 512 points, radix-4 for
// 64) that undoes the digit-reversed order while writing a separate output:
//
//   X[k] = sum_m x[m] e^(-j 2 pi m k / N),   no normalisation.
//
// Complex buffers hold (real, imaginary) word pairs. No stage scales: the
// caller leaves log2(N) bits of headroom (input below 2^22 for 512 points,
// below 2^25 for 64). Sums and differences wrap modulo 2^32; a twiddle
// product keeps floor(p * c / 2^15) for a Q15 coefficient c, so a twiddle of
// 1.0 (stored as 32767) loses a little on every twiddled leg.
//
// The kernels below (one radix-4 stage, the n = 8 stage, the two last
// stages) each have a plain signature so that a SIMD version can replace
// them; any replacement must keep the same truncations and wrapping.
#ifndef FXAAC_FILTERBANK_FFT_H
#define FXAAC_FILTERBANK_FFT_H

#include <stdint.h>

#include <fxaac/fxaac_export.h>

namespace fxaac {
// n = 512 or 64 points from in to out; in is destroyed, the buffers must not
// overlap. Any other n does nothing.
void my_FFT(int32_t *in, int32_t *out, int32_t n);
// The 512-point transform: w = enc_neon_w_512_word32, w8 =
// enc_neon_w_512_8_word32, n = 512.
void iDSP_fft32x32_512(const int32_t *w, const int32_t *w8, int32_t n, int32_t *in, int32_t *out);
// The 64-point transform: w = enc_neon_w_64_word32, n = 64.
void iDSP_fft32x32_64(const int32_t *w, int32_t n, int32_t *in, int32_t *out);
// One radix-4 stage of block length n (a multiple of 16) over all N points
// of x, in place, with that stage's twiddles w.
void radix4Bfly_neon(const int32_t *w, int32_t *x, int32_t N, int32_t n);
// The n = 8 stage, two blocks per step, with the packed twiddles w8.
void radix4Bfly_neon_w8(const int32_t *w8, int32_t *x, int32_t N, int32_t n);
// Last stages: a radix-2 (N = 512) or radix-4 (N = 64) butterfly without
// twiddles, writing each result to its bin in out; digRevTable holds the
// byte offset of each step's first bin.
void postRadixCompute2(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N);
void postRadixCompute4(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N);
// Scalar forms of the two last stages, same arguments and results; no
// decoder path calls them.
void postradix2(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N);
void postradix4(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N);
}  // namespace fxaac

#endif  // FXAAC_FILTERBANK_FFT_H
