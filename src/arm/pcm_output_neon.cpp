// Two-channel PCM conversion on ARM Advanced SIMD: eight 16-bit or four
// 24-bit samples per step, converted in vectors and stored into every second
// element, out[2i], by a de-interleaving load of the pairs (VLD2), the even
// elements replaced, and an interleaving store (VST2): the elements in
// between, the other channel's, are written back unchanged. The last
// samples go four and two at a time, stored lane by lane. Same results as
// the portable kernels, with n rounded down to an even count.
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"

namespace fxaac {
namespace {

constexpr int32_t whole_pairs(int32_t n) { return n < 2 ? 0 : n - n % 2; }

// clip16((x + 256) >> 9): the offset is added with wrapping (VADD); VQSHRN
// shifts right arithmetically (truncating, no rounding constant) and narrows
// with saturation to the 16-bit range, which is the clip.
inline int16x4_t pcm16(int32x4_t x) { return vqshrn_n_s32(vaddq_s32(x, vdupq_n_s32(256)), 9); }

// clip24((x + 1) >> 1) with v = x + 1 (wrapping): VQSHL by 7 is v * 128
// exactly when v lies in [-2^24, 2^24 - 1], where v >> 1 needs no clip, and
// saturates to -2^31 or 2^31 - 1 outside it; the arithmetic right shift by
// 8 then gives v >> 1, or the clip bounds -2^23 and 2^23 - 1.
inline int32x4_t pcm24(int32x4_t x)
{
    return vshrq_n_s32(vqshlq_n_s32(vaddq_s32(x, vdupq_n_s32(1)), 7), 8);
}

// The last two samples, in the lower lanes (the upper two are zeros and
// are not stored).
inline int32x4_t load_two(const int32_t *in) { return vcombine_s32(vld1_s32(in), vdup_n_s32(0)); }

}  // namespace

void pcm16_interleave_neon(const int32_t *in, int16_t *out, int32_t n)
{
    const int32_t count = whole_pairs(n);
    int32_t i = 0;
    // A step reads out[2i .. 2i + 15]: the last element may lie past the
    // buffer's end (the second channel's slot ends at out[2 count - 2]), so
    // the last sample goes to the lane stores.
    for (; i + 8 < count; i += 8) {
        int16x8x2_t pairs = vld2q_s16(out + 2 * i);
        pairs.val[0] = vcombine_s16(pcm16(vld1q_s32(in + i)), pcm16(vld1q_s32(in + i + 4)));
        vst2q_s16(out + 2 * i, pairs);
    }
    int16_t *o = out + 2 * i;
    for (; i + 4 <= count; i += 4) {
        const int16x4_t s = pcm16(vld1q_s32(in + i));
        vst1_lane_s16(o, s, 0);
        o += 2;
        vst1_lane_s16(o, s, 1);
        o += 2;
        vst1_lane_s16(o, s, 2);
        o += 2;
        vst1_lane_s16(o, s, 3);
        o += 2;
    }
    if (i < count) {
        const int16x4_t s = pcm16(load_two(in + i));
        vst1_lane_s16(o, s, 0);
        vst1_lane_s16(o + 2, s, 1);
    }
}

void pcm24_interleave_neon(const int32_t *in, int32_t *out, int32_t n)
{
    const int32_t count = whole_pairs(n);
    int32_t i = 0;
    for (; i + 4 < count; i += 4) {  // as above: out[2i .. 2i + 7]
        int32x4x2_t pairs = vld2q_s32(out + 2 * i);
        pairs.val[0] = pcm24(vld1q_s32(in + i));
        vst2q_s32(out + 2 * i, pairs);
    }
    int32_t *o = out + 2 * i;
    for (; i + 4 <= count; i += 4) {
        const int32x4_t s = pcm24(vld1q_s32(in + i));
        vst1q_lane_s32(o, s, 0);
        o += 2;
        vst1q_lane_s32(o, s, 1);
        o += 2;
        vst1q_lane_s32(o, s, 2);
        o += 2;
        vst1q_lane_s32(o, s, 3);
        o += 2;
    }
    if (i < count) {
        const int32x4_t s = pcm24(load_two(in + i));
        vst1q_lane_s32(o, s, 0);
        vst1q_lane_s32(o + 2, s, 1);
    }
}

}  // namespace fxaac

#endif  // __ARM_NEON
