// Conversion of finished synthesis samples to the caller's output formats.
//
// Samples arrive at the synthesis scale, where a full-scale 16-bit sample is
// 2^24 (9 fractional bits below the 16-bit LSB). Conversions round to nearest
// (halves up) by adding half an output LSB before an arithmetic right shift,
// then clip:
//   16-bit PCM:  clip16((x + 256) >> 9)
//   24-bit PCM:  clip24((x + 1) >> 1), one 32-bit word per sample
//   SBR:         sat(x + 256) << 7, whose top 16 bits are the 16-bit PCM
//                sample and whose low 16 bits keep the fraction
// The offset additions wrap modulo 2^32, as the shift-and-clip does on the
// target.
//
// Interleaving: with two channels, sample i of slot s lands in element
// 2i + s of the output (16-bit cells or 32-bit words); with one channel in
// element i + s.
#ifndef FXAAC_FILTERBANK_PCM_OUTPUT_H
#define FXAAC_FILTERBANK_PCM_OUTPUT_H

#include <fxaac/fxaac.h>

namespace fxaac {
// Writes count samples of one channel into the interleaved buffer out and
// returns out. The slot is channel, or 1 - channel when swap is 1. format 2
// gives 24-bit samples in 32-bit words, any other value 16-bit samples. With
// two channels count must be even (the decoder passes 1024).
void *myOutputToPCM(const int32_t *samples, void *out, int32_t channels, int16_t format,
                    int32_t swap, int32_t count, int32_t channel);
// As myOutputToPCM, except that two-channel 16-bit output is clipped without
// rounding shift (out16bit_noshift). Not used by the decoder.
void *myOutputToPCM_noshift(const int32_t *samples, void *out, int32_t channels, int16_t format,
                            int32_t swap, int32_t count, int32_t channel);
// Two-channel kernels: out[2i] for i < n, odd elements untouched. They
// convert two samples per step and handle n rounded down to an even count.
void out16bit(const int32_t *in, int16_t *out, int32_t n);
void out24bit(const int32_t *in, int32_t *out, int32_t n);
// out[2i] = clip16(in[i]): no offset, no shift.
void out16bit_noshift(const int32_t *in, int16_t *out, int32_t n);
// One-sample-per-step forms of the three kernels, with identical results
// for even n. Not used by the decoder.
void out16bit_c(const int32_t *in, int16_t *out, int32_t n);
void out16bit_noshift_c(const int32_t *in, int16_t *out, int32_t n);
void out24bit_c(const int32_t *in, int32_t *out, int32_t n);
// SBR hand-off: out[i] = sat((samples[i] + 256) << 7) for i < count; count
// <= 0 writes nothing. channels is accepted for call compatibility and not
// used: the hand-off buffers are per channel.
void myPCMtoSBR(int32_t *out, const int32_t *samples, int32_t channels, int32_t count);

// The precise arithmetic's samples (2^kSynthesisBits times the synthesis
// scale, precise/precise_ops.h): in place to the synthesis scale, rounded
// (ties up), for the conversions above; or to the SBR hand-off with all
// their bits, sat(x * 2^(7 - kSynthesisBits) + 2^15) (the same half-step
// offset as myPCMtoSBR).
void precise_to_synthesis_scale(int32_t *samples, int32_t count);
void precise_to_sbr(int32_t *out, const int32_t *samples, int32_t count);
}  // namespace fxaac

#endif  // FXAAC_FILTERBANK_PCM_OUTPUT_H
