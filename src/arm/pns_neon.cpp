// Noise substitution's generator and scaling on ARM Advanced SIMD
// (src/tools/pns.cpp). Four lanes run the generator one step apart, each
// jumping four steps per vector (tools/noise_generator.h), so the values come
// out in order. Same results as the portable kernel: mul_32x16_x2(gain, v) is
// VQDMULH by gain << 15 (floor(v gain / 2^16); the product cannot saturate,
// |gain << 15| < 2^31) doubled with wrapping, and shift_dir a shift by a
// register count for |shift| < 32 (other counts take the portable kernel).
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"
#include "tools/noise_generator.h"

namespace fxaac {

void noise_fill_neon(int32_t *lines, int32_t n, uint32_t *state, int32_t gain, int32_t shift)
{
    if (shift <= -32 || shift >= 32 || n < 4) {
        noise_fill_c(lines, n, state, gain, shift);
        return;
    }
    const uint32_t s1 = noise_step(*state), s2 = noise_step(s1), s3 = noise_step(s2);
    const uint32_t first[4] = {s1, s2, s3, noise_step(s3)};
    uint32x4_t lanes = vld1q_u32(first);
    const uint32x4_t step = vdupq_n_u32(kNoiseMultiplier4), add = vdupq_n_u32(kNoiseIncrement4);
    const int32x4_t k = vdupq_n_s32(static_cast<int16_t>(gain) * (1 << 15));
    const int32x4_t count = vdupq_n_s32(-shift);
    int32_t i = 0;
    uint32x4_t used = lanes;  // the last vector of values written
    for (; i + 4 <= n; i += 4) {
        const int32x4_t v = vshlq_n_s32(vqdmulhq_s32(vreinterpretq_s32_u32(lanes), k), 1);
        vst1q_s32(lines + i, vshlq_s32(v, count));
        used = lanes;
        lanes = vmlaq_u32(add, lanes, step);
    }
    *state = vgetq_lane_u32(used, 3);  // the state after value i - 1 (i >= 4)
    noise_fill_c(lines + i, n - i, state, gain, shift);
}

}  // namespace fxaac

#endif  // __ARM_NEON
