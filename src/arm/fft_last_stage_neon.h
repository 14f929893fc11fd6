// The walk of the FFTs' last stages on ARM Advanced SIMD, shared by the
// default and the precise kernels.
#ifndef FXAAC_ARM_FFT_LAST_STAGE_NEON_H
#define FXAAC_ARM_FFT_LAST_STAGE_NEON_H

#include <arm_neon.h>

#include <cstdint>

#define FXAAC_NEON_INLINE inline __attribute__((always_inline))

namespace fxaac {
namespace {

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

#endif  // FXAAC_ARM_FFT_LAST_STAGE_NEON_H
