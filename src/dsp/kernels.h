// The decoder's hot loops as kernels with one prototype each. Every kernel
// has a portable version (suffix _c, beside the code that uses it) and SIMD
// versions (src/arm/*_neon.cpp, src/x86/*_sse41.cpp and *_avx2.cpp, named
// after the portable file) that give bit-identical results: the same
// truncating products, saturating or wrapping sums and shifts, for every
// argument the portable version accepts. The list below is the one place
// that names the kernels and the versions each has; which version runs is
// decided in src/dsp/select.cpp. The decoder calls the kernels by their
// plain names (no suffix), which run the selected versions.
//
// Counts: the window kernels, add_saturate and the PCM kernels follow the
// pairs rule (n rounded down to an even count, an odd last element left
// untouched, n below 2 does nothing); the PCM kernels write every second
// element (out[2i]) and leave the elements in between as they were.
#ifndef FXAAC_DSP_KERNELS_H
#define FXAAC_DSP_KERNELS_H

#include <cstdint>

// Every kernel as K(a, x86, return type, name, (parameters), (arguments)),
// where a is passed through from the caller and x86 names the best x86-64
// version the kernel has: avx2 (SSE4.1 and AVX2 versions) or sse41 (an
// SSE4.1 version only: AVX2 would not pay, with no products and scattered
// stores). Every kernel has a portable and a NEON version.
#define FXAAC_KERNEL_LIST(K, a)                                                                    \
    /* one radix-4 FFT stage of block length n (512, 128, 32 or 64, 16) over N points */           \
    K(a, avx2, void, radix4_stage, (const int32_t *w, int32_t *x, int32_t N, int32_t n),           \
      (w, x, N, n))                                                                                \
    /* the n = 8 radix-4 stage of the 512-point FFT */                                             \
    K(a, avx2, void, radix4_stage8, (const int32_t *w8, int32_t *x, int32_t N, int32_t n),         \
      (w8, x, N, n))                                                                               \
    /* last FFT stages with digit-reversed stores: radix 2 (512 points), radix 4 (64) */           \
    K(a, sse41, void, post_radix2,                                                                 \
      (int32_t * out, const int32_t *x, const int32_t *digRev, int32_t N), (out, x, digRev, N))    \
    K(a, sse41, void, post_radix4,                                                                 \
      (int32_t * out, const int32_t *x, const int32_t *digRev, int32_t N), (out, x, digRev, N))    \
    /* IMDCT pre-twiddle (count = N/8) and post-twiddle with its block shift */                    \
    K(a, avx2, void, pre_twiddle,                                                                  \
      (const int32_t *front, const int32_t *back, int32_t *out, const int16_t *cosine,             \
       const int16_t *sine, int32_t count),                                                        \
      (front, back, out, cosine, sine, count))                                                     \
    K(a, avx2, void, post_twiddle,                                                                 \
      (int32_t * out, const int32_t *in, const int16_t *cosine, const int16_t *sine, int32_t N,    \
       int32_t shift),                                                                             \
      (out, in, cosine, sine, N, shift))                                                           \
    /* block measure (OR of saturated magnitudes of x[0 .. n/2-1]) and block shift */              \
    K(a, avx2, int32_t, block_magnitude, (const int32_t *x, int32_t n), (x, n))                    \
    K(a, avx2, void, block_shift, (int32_t * x, int32_t shift, int32_t n), (x, shift, n))          \
    /* window kernels: y = x*w>>16 (rising, falling), y += x*w>>16 (rising, falling); */           \
    /* the falling ones read w[0], w[-1], ...: w points at the last coefficient */                 \
    K(a, avx2, void, window_rise, (const int32_t *x, const int16_t *w, int32_t *y, int n),         \
      (x, w, y, n))                                                                                \
    K(a, avx2, void, window_fall, (const int32_t *x, const int16_t *w, int32_t *y, int n),         \
      (x, w, y, n))                                                                                \
    K(a, avx2, void, window_rise_add, (const int32_t *x, const int16_t *w, int32_t *y, int n),     \
      (x, w, y, n))                                                                                \
    K(a, avx2, void, window_fall_add, (const int32_t *x, const int16_t *w, int32_t *y, int n),     \
      (x, w, y, n))                                                                                \
    /* the long overlap-add: y = sat(y + (x*w>>16)) */                                             \
    K(a, avx2, void, window_rise_overlap, (const int32_t *x, const int16_t *w, int32_t *y, int n), \
      (x, w, y, n))                                                                                \
    /* saturating vector add */                                                                    \
    K(a, avx2, void, add_saturate, (const int32_t *x, const int32_t *y, int32_t *z, int n),        \
      (x, y, z, n))                                                                                \
    /* PCM conversion into every second slot: 16-bit and 24-bit in 32-bit words */                 \
    K(a, avx2, void, pcm16_interleave, (const int32_t *in, int16_t *out, int32_t n), (in, out, n)) \
    K(a, avx2, void, pcm24_interleave, (const int32_t *in, int32_t *out, int32_t n), (in, out, n)) \
    /* The precise arithmetic (src/precise): a scaled radix-4 stage (|w| <= 2^30, w > -2^31), */   \
    K(a, avx2, void, radix4_stage_q29, (const int32_t *w, int32_t *x, int32_t N, int32_t n),       \
      (w, x, N, n))                                                                                \
    /* the IMDCT twiddles in Q31 (post: |in| < 2^30, -31 <= shift <= 31), */                       \
    K(a, avx2, void, pre_twiddle_q31,                                                              \
      (const int32_t *front, const int32_t *back, int32_t *out, const int32_t *cosine,             \
       const int32_t *sine, int32_t count),                                                        \
      (front, back, out, cosine, sine, count))                                                     \
    K(a, avx2, void, post_twiddle_q31,                                                             \
      (int32_t * out, const int32_t *in, const int32_t *cosine, const int32_t *sine, int32_t N,    \
       int32_t shift),                                                                             \
      (out, in, cosine, sine, N, shift))                                                           \
    /* and the windows y = round(x w / 2^31), Q31 w > -2^31 (rising, falling) */                   \
    K(a, avx2, void, window_rise_q31, (const int32_t *x, const int32_t *w, int32_t *y, int n),     \
      (x, w, y, n))                                                                                \
    K(a, avx2, void, window_fall_q31, (const int32_t *x, const int32_t *w, int32_t *y, int n),     \
      (x, w, y, n))                                                                                \
    /* the short windows' accumulating forms, y += round(x w / 2^31) (wrapping), */                \
    K(a, avx2, void, window_rise_add_q31, (const int32_t *x, const int32_t *w, int32_t *y, int n), \
      (x, w, y, n))                                                                                \
    K(a, avx2, void, window_fall_add_q31, (const int32_t *x, const int32_t *w, int32_t *y, int n), \
      (x, w, y, n))                                                                                \
    /* the scaled FFTs' last stages (radix 2 with (v + 1) >> 1, radix 4 with (v + 2) >> 2), */     \
    K(a, sse41, void, post_radix2_q,                                                               \
      (int32_t * out, const int32_t *x, const int32_t *digRev, int32_t N), (out, x, digRev, N))    \
    K(a, sse41, void, post_radix4_q,                                                               \
      (int32_t * out, const int32_t *x, const int32_t *digRev, int32_t N), (out, x, digRev, N))    \
    /* and the synthesis scale down to the default's: x = ((x >> 3) + 1) >> 1 */                   \
    K(a, avx2, void, precise_descale, (int32_t * x, int32_t n), (x, n))                            \
    /* noise substitution: n generator values v, each shift_dir(mul_32x16_x2(gain, v), shift) */   \
    K(a, sse41, void, noise_fill,                                                                  \
      (int32_t * lines, int32_t n, uint32_t * state, int32_t gain, int32_t shift),                 \
      (lines, n, state, gain, shift))                                                              \
    /* mid/side: left, right = sat(left + right), sat(left - right) */                             \
    K(a, sse41, void, ms_sum_difference, (int32_t * left, int32_t * right, int32_t n),             \
      (left, right, n))                                                                            \
    /* intensity: to[i] = the first channel's line from[i] times m 2^-shift, m a Q14 */            \
    /* mantissa (|m| < 2^15), as tools/stereo.cpp's intensity_line */                              \
    K(a, sse41, void, intensity_scale,                                                             \
      (const int32_t *from, int32_t *to, int32_t m, int32_t shift, int32_t n),                     \
      (from, to, m, shift, n))                                                                     \
    /* SBR input: the hand-off shl_sat(x + 2^8, 7) (sbr/sbr_input.h), */                           \
    K(a, sse41, void, sbr_hand_off, (int32_t * out, const int32_t *samples, int32_t count),        \
      (out, samples, count))                                                                       \
    /* the largest magnitude of x - 2^15 (saturated), */                                           \
    K(a, sse41, uint32_t, sbr_input_peak, (const int32_t *x, int32_t n), (x, n))                   \
    /* and out = (x - 2^15, saturated) << shift (0 <= shift <= 31, wrapping) */                    \
    K(a, sse41, void, sbr_input_scale, (const int32_t *x, int32_t *out, int32_t n, int32_t shift), \
      (x, out, n, shift))                                                                          \
    /* and back from the block exponent: out = x / 2^shift rounded, 0 <= shift <= 31 */            \
    K(a, sse41, void, sbr_rescale_down,                                                            \
      (const int32_t *x, int32_t *out, int32_t n, int32_t shift), (x, out, n, shift))              \
    /* parametric stereo: the all-pass chains of bands 0 .. n - 1 (ps/ps_decoder.cpp) */           \
    K(a, sse41, void, ps_allpass,                                                                  \
      (const int32_t *decorr, const int32_t *gain, int32_t *pre, int32_t *link0, int32_t *link1,   \
       int32_t *link2, const int32_t *x, int32_t *y, int32_t n),                                   \
      (decorr, gain, pre, link0, link1, link2, x, y, n))                                           \
    /* mixing n bands by real h (left h1 h2, right h1 h2), |h1 s + h2 d| <= 2^62 */                \
    K(a, sse41, void, ps_mix_real,                                                                 \
      (const int32_t *s, const int32_t *d, int32_t *left, int32_t *right, const int32_t *h,        \
       int32_t n),                                                                                 \
      (s, d, left, right, h, n))                                                                   \
    /* and the matrices between envelopes: from + round((to - from) q / 2^30), 0 <= q <= 2^30 */   \
    K(a, sse41, void, ps_interpolate,                                                              \
      (const int32_t *from, const int32_t *to, int32_t *out, int32_t q, int32_t n),                \
      (from, to, out, q, n))                                                                       \
    /* and the hybrid analysis: count complex filters of 13 Q31 taps over 13 samples */            \
    K(a, sse41, void, ps_hybrid_filters,                                                           \
      (const int32_t *x, const int32_t *g, int32_t *out, int32_t count), (x, g, out, count))       \
    /* SBR QMF banks (src/sbr/qmf.cpp): two DCT-IVs of n = 32 or 64 points, in0 to out0 and */     \
    /* in1 to out1 (sum |in| < 2^30 each), */                                                      \
    K(a, avx2, void, qmf_dct4x2,                                                                   \
      (const int32_t *in0, const int32_t *in1, int32_t *out0, int32_t *out1, int32_t n),           \
      (in0, in1, out0, out1, n))                                                                   \
    /* the analysis window and fold of history x (320 words) into p, q (32 each), w the */         \
    /* 640-tap Q31 window (the ten taps of a fold within 2 in magnitude), */                       \
    K(a, avx2, void, qmf_analysis_fold,                                                            \
      (const int32_t *x, const int32_t *w, int32_t *p, int32_t *q), (x, w, p, q))                  \
    /* the analysis output rotation ([k][re, im] pairs out of the two transforms; Q31 */           \
    /* (cos, sin) pairs above -2^31), */                                                           \
    K(a, avx2, void, qmf_analysis_rotate,                                                          \
      (const int32_t *cr, const int32_t *sr, const int32_t *rotation, int32_t *out),               \
      (cr, sr, rotation, out))                                                                     \
    /* the synthesis input of n = 64 or 32 bands ([k][re, im]): clamped, block scaled, */          \
    /* the odd imaginary parts negated; returns the scaling exponent g, */                         \
    K(a, avx2, int32_t, qmf_synthesis_prepare,                                                     \
      (const int32_t *in, int32_t *xr, int32_t *xi, int32_t n), (in, xr, xi, n))                   \
    /* the synthesis windowing: 9 pending rows of 64 words from row head, the transforms */        \
    /* cr, si (n each, wrapping sums), taps w > -2^31, rounded shift 1 to 62 of products */        \
    K(a, avx2, void, qmf_synthesis_window,                                                         \
      (int32_t * partial, int32_t head, const int32_t *cr, const int32_t *si, const int32_t *w,    \
       int32_t n, int32_t shift, int32_t *out),                                                    \
      (partial, head, cr, si, w, n, shift, out))                                                   \
    /* SBR HF generation (src/sbr/hf_generation.cpp): the covariance sums of low subbands */       \
    /* lo .. hi - 1 (|X| < 2^27), */                                                               \
    K(a, sse41, void, sbr_covariance_sums,                                                         \
      (const int32_t *rows, int32_t lo, int32_t hi, int64_t *sums), (rows, lo, hi, sums))          \
    /* and one patch's prediction */                                                               \
    K(a, sse41, void, sbr_predict_patch,                                                           \
      (int32_t * rows, int32_t k, int32_t p, int32_t n, const int32_t *c0, const int32_t *c1,      \
       int32_t r0, int32_t r1),                                                                    \
      (rows, k, p, n, c0, c1, r0, r1))                                                             \
    /* SBR HF adjustment (src/sbr/hf_adjustment.cpp): G X + Q V of one subband's rows */           \
    K(a, sse41, void, sbr_adjust_rows,                                                             \
      (int32_t * x, int32_t rows, int32_t mul, int32_t shift, int32_t qHi, int32_t noiseIndex,     \
       int32_t noiseStep),                                                                         \
      (x, rows, mul, shift, qHi, noiseIndex, noiseStep))                                           \
    /* dequantisation: runs (from, to, form, k, shift) of out = gain(sign(q) |q|^(4/3)), */        \
    /* the gain forms of tools/inverse_quantization.cpp (3: none, 4: silent); in place as there */ \
    K(a, sse41, void, dequantize_bands,                                                            \
      (const int16_t *q, int32_t *out, const int32_t *runs, int32_t count), (q, out, runs, count))

// FXAAC_IF_HAS_AVX2_<x86>(text): text for a kernel with an AVX2 version.
#define FXAAC_IF_HAS_AVX2_avx2(...) __VA_ARGS__
#define FXAAC_IF_HAS_AVX2_sse41(...)

#define FXAAC_KERNEL_DECLARE(isa, x86, ret, name, params, args) ret name##_##isa params;
#define FXAAC_KERNEL_DECLARE_AVX2(a, x86, ret, name, params, args)                                 \
    FXAAC_IF_HAS_AVX2_##x86(ret name##_avx2 params;)
#define FXAAC_KERNEL_DECLARE_SELECTED(a, x86, ret, name, params, args) ret name params;

namespace fxaac {
// The versions of each instruction set, with their suffixes.
FXAAC_KERNEL_LIST(FXAAC_KERNEL_DECLARE, c)
FXAAC_KERNEL_LIST(FXAAC_KERNEL_DECLARE, neon)
FXAAC_KERNEL_LIST(FXAAC_KERNEL_DECLARE, sse41)
FXAAC_KERNEL_LIST(FXAAC_KERNEL_DECLARE_AVX2, )

// The selected versions, under the plain names (src/dsp/select.cpp).
FXAAC_KERNEL_LIST(FXAAC_KERNEL_DECLARE_SELECTED, )

// The instruction set the selected versions use: "avx2", "sse41", "neon" or
// "portable" (on x86-64 at the AVX2 level, kernels without an AVX2 version
// run their SSE4.1 one).
const char *kernel_isa();
}  // namespace fxaac

#endif  // FXAAC_DSP_KERNELS_H
