// Inverse MDCT of the precise arithmetic: the transform of filterbank/imdct.h
// with Q31 twiddles, products rounded once, and an FFT that keeps its
// values near the top of the word.
//
// out[n] = 2^(kSynthesisBits - kSpectrumBits) * G/2 * sum_k in[k] cos(2 pi (n +
// n0)(k + 1/2) / N) (G = 1 for N = 2048, 8 for N = 256, as filterbank/imdct.h),
// so that a Q31 window product gives samples at the precise synthesis scale
// (precise_ops.h).
//
// Steps, M = N/4:
//   1. block exponent: the coefficients are shifted so that the largest
//      magnitude has its top bit at 2^27 (left shifts are exact; a right
//      shift rounds), in place;
//   2. pre-twiddle z[k] = -(in[2k] + j in[N/2-1-2k]) e^(-j 2 pi (k + 1/8) / N),
//      rounded: |z| < 2^28.5;
//   3. M-point FFT whose radix-4 stages divide by 4 and radix-2 stage by 2,
//      rounding (fft_precise.h): the magnitudes stay below 2^29;
//   4. post-twiddle with the same angles, rounded to words, then shifted
//      (rounding, or saturating to the left) to undo the block exponent.
#ifndef FXAAC_PRECISE_IMDCT_PRECISE_H
#define FXAAC_PRECISE_IMDCT_PRECISE_H

#include <fxaac/fxaac.h>

namespace fxaac {
// Reads (and rescales) N/2 coefficients at in, writes N samples at out; uses
// the instance's scratchA and scratchB (N/2 words each), as IMDCT does.
void imdct_precise(AacDecoder *instance, int32_t *in, int32_t *out, int32_t N);
}  // namespace fxaac

#endif  // FXAAC_PRECISE_IMDCT_PRECISE_H
