// Inverse MDCT of 2048 or 256 samples through a complex FFT of N/4 points,
// with a block exponent (ISO/IEC 14496-3 4.6.19 without its 2/N factor).
//
// out[n] = G * sum_k in[k] cos(2 pi (n + n0)(k + 1/2) / N), n0 = (N/2 + 1)/2,
// up to the truncation of the fixed-point steps, with G = 1 for N = 2048 and
// G = 8 for N = 256 (a short window comes out at the level of a long one).
//
// Twiddle products: q(p, t) = floor(p * t / 2^16) for a word p and a Q15
// table value t (the truncating 32x16 product).
#ifndef FXAAC_FILTERBANK_IMDCT_H
#define FXAAC_FILTERBANK_IMDCT_H

#include <fxaac/fxaac.h>

namespace fxaac {
// Reads N/2 coefficients at in, writes N samples at out; uses the instance's
// scratchA and scratchB (N/2 words each).
void IMDCT(AacDecoder *instance, int32_t *in, int32_t *out, int32_t N);
// Pre-twiddle of the N/2 coefficients at in into scratchA (N/4 complex
// values); scratchA must not overlap in.
void ipreTwiddle(AacDecoder *instance, const int32_t *in, int32_t N);
// Post-twiddle of the FFT output in scratchB into the N samples at out,
// undoing the block exponent: shift >= 0 shifts right, shift < 0 shifts left
// by -shift with saturation.
void ipostTwiddle(AacDecoder *instance, int32_t *out, int32_t N, int32_t shift);
// Bitwise OR of the saturated absolute values of x[0] .. x[n/2 - 1] (half of
// n): it has the leading bit of the largest magnitude.
int32_t maxArray(const int32_t *x, int32_t n);
// Largest saturated absolute value of x[0] .. x[n/2 - 1]. Not used by the
// decoder.
int32_t max_Array_c(const int32_t *x, int32_t n);
// In place over n words: shift >= 0 gives x >> shift (arithmetic), shift < 0
// gives x << -shift, wrapping.
void normalize30(int32_t *x, int32_t shift, int32_t n);
void Normalize30_c(int32_t *x, int32_t shift, int32_t n);
// Pre-twiddle kernel: for k = 0 .. 2 count - 1, with a = in[2k] and
// b = in[N/2 - 1 - 2k] (front = in, back = &in[N/2 - 1], count = N/8),
//   out[2k]     = -sat(q(a, cos[k]) + q(b, sin[k]))
//   out[2k + 1] =  sat(q(a, sin[k]) - q(b, cos[k]))
// that is -(a + jb)(cos - j sin) / 2. Each step takes k from the front and
// its mirror 2 count - 1 - k from the back.
void preTwiddleCompute_c_neon(const int32_t *front, const int32_t *back, int32_t *out,
                              const int16_t *cosine, const int16_t *sine, int32_t count);
// The same with wrapping sums and negation. The sums of two products never
// leave the 32-bit range, so the results are identical. Not used by the
// decoder.
void preTwiddleCompute_c(const int32_t *front, const int32_t *back, int32_t *out,
                         const int16_t *cosine, const int16_t *sine, int32_t count);
void preTwiddleCompute(const int32_t *front, const int32_t *back, int32_t *out,
                       const int16_t *cosine, const int16_t *sine, int32_t count);
// Post-twiddle kernel: for k < M = N/4, with zr + j zi = in[k],
//   A[k] = sh(sat(q(zr, cos[k]) + q(zi, sin[k])))
//   B[k] = sh(sat(q(zr, sin[k]) - q(zi, cos[k])))
// where sh shifts right by shift (shift >= 0) or left by -shift with
// saturation; then for i < M/2:
//   out[M + 2i] = B[i],    out[M + 2i + 1] = A[M-1-i]
//   out[M - 1 - 2i] = -sat B[i],    out[M - 2 - 2i] = -sat A[M-1-i]
//   out[3M + 2i] = out[3M - 1 - 2i] = A[i]
//   out[3M + 2i + 1] = out[3M - 2 - 2i] = B[M-1-i]
void postTwiddleCompute12_c_neon(int32_t *out, const int32_t *in, const int16_t *cosine,
                                 const int16_t *sine, int32_t N, int32_t shift);
// Its two halves, not used by the decoder: form 1 for shift >= 0 (right
// shift), form 2 for shift <= 0 (saturating left shift by -shift); same
// arguments and results as the combined kernel in their range.
void postTwiddleCompute1_c(int32_t *out, const int32_t *in, const int16_t *cosine,
                           const int16_t *sine, int32_t N, int32_t shift);
void postTwiddleCompute2_c(int32_t *out, const int32_t *in, const int16_t *cosine,
                           const int16_t *sine, int32_t N, int32_t shift);
void postTwiddleCompute1(int32_t *out, const int32_t *in, const int16_t *cosine,
                         const int16_t *sine, int32_t N, int32_t shift);
void postTwiddleCompute2(int32_t *out, const int32_t *in, const int16_t *cosine,
                         const int16_t *sine, int32_t N, int32_t shift);
}  // namespace fxaac

#endif  // FXAAC_FILTERBANK_IMDCT_H
