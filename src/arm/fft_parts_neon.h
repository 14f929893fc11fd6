// The pieces of the NEON FFT kernels that the default and the precise
// arithmetic share: four complex values per vector pair with their wrapping
// sums, their loads and stores, and the walk of the last stages.
#ifndef FXAAC_ARM_FFT_PARTS_NEON_H
#define FXAAC_ARM_FFT_PARTS_NEON_H

#include <arm_neon.h>

#include <cstdint>

#define FXAAC_NEON_INLINE inline __attribute__((always_inline))

namespace fxaac {
namespace {

// Four complex values, real parts in one vector and imaginary parts in the
// other (as a de-interleaving VLD2 splits them).
struct Complex4 {
    int32x4_t re;
    int32x4_t im;
};

FXAAC_NEON_INLINE Complex4 add(Complex4 a, Complex4 b)
{
    return {vaddq_s32(a.re, b.re), vaddq_s32(a.im, b.im)};
}
FXAAC_NEON_INLINE Complex4 sub(Complex4 a, Complex4 b)
{
    return {vsubq_s32(a.re, b.re), vsubq_s32(a.im, b.im)};
}
// a - j b and a + j b.
FXAAC_NEON_INLINE Complex4 sub_j(Complex4 a, Complex4 b)
{
    return {vaddq_s32(a.re, b.im), vsubq_s32(a.im, b.re)};
}
FXAAC_NEON_INLINE Complex4 add_j(Complex4 a, Complex4 b)
{
    return {vsubq_s32(a.re, b.im), vaddq_s32(a.im, b.re)};
}

FXAAC_NEON_INLINE Complex4 load4(const int32_t *x)
{
    const int32x4x2_t v = vld2q_s32(x);
    return {v.val[0], v.val[1]};
}

FXAAC_NEON_INLINE void store4(int32_t *x, Complex4 c)
{
    int32x4x2_t v;
    v.val[0] = c.re;
    v.val[1] = c.im;
    vst2q_s32(x, v);
}

// Leg values of two blocks: the two (re, im) pairs at a and the two at b
// de-interleaved (VUZP) into (a0, a1, b0, b1) real and imaginary parts.
FXAAC_NEON_INLINE Complex4 load_pairs(const int32_t *a, const int32_t *b)
{
    const int32x4x2_t v = vuzpq_s32(vld1q_s32(a), vld1q_s32(b));
    return {v.val[0], v.val[1]};
}

// The inverse: lanes 0, 1 back to a, lanes 2, 3 to b, interleaved (VZIP).
FXAAC_NEON_INLINE void store_pairs(int32_t *a, int32_t *b, Complex4 c)
{
    const int32x4x2_t v = vzipq_s32(c.re, c.im);
    vst1q_s32(a, v.val[0]);
    vst1q_s32(b, v.val[1]);
}

// Two complex values in one vector: (re, im, re, im).
FXAAC_NEON_INLINE int32x4_t join(const int32_t *a, const int32_t *b)
{
    return vcombine_s32(vld1_s32(a), vld1_s32(b));
}

// Last stages, N/8 steps of two groups of four values: step t reads group A
// at (N/2) (t div N/16) + 4 (t mod N/16) and group B N/4 positions further
// on; group B's bins are one above group A's, so each vector holds the same
// leg of both groups, (A re, A im, B re, B im), and is stored as one bin
// pair. digRev[t] / 8 is group A's first bin. The steps are walked in runs
// of N/16, one per value of t div N/16, which needs no division.
template <typename Group>
FXAAC_NEON_INLINE void last_stage(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N,
                                  Group group)
{
    const int32_t steps = N / 8;
    const int32_t per_run = N / 16;
    if (per_run <= 0)
        return;
    int32_t t = 0;
    for (const int32_t *run = x; t < steps; run += N) {  // N words: N/2 positions
        const int32_t run_end = steps - t < per_run ? steps : t + per_run;
        const int32_t *a = run;
        for (; t < run_end; ++t, a += 8)
            group(a, a + N / 2, out + 2 * (digRev[t] / 8));
    }
}

}  // namespace
}  // namespace fxaac

#endif  // FXAAC_ARM_FFT_PARTS_NEON_H
