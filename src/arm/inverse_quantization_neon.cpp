// Dequantisation on ARM Advanced SIMD (src/tools/inverse_quantization.cpp),
// eight lines per step (four at a band's end). |q|^(4/3) of magnitudes up
// to 15 comes from the first 16 entries of pow_table split into byte planes
// (VLD4), looked up with VTBL and put back together with VZIP; a step with
// a larger magnitude, rare, and lines past the last whole four take the
// portable kernel. The gains give the portable kernel's values: mul_32x16
// is VQDMULH by k << 15 (floor(x k / 2^16), no saturation as
// |k << 15| <= 2^30) followed by a wrapping VSHL; the upper word of x k is
// VQDMULH by k / 2 for an even k (never saturating, |k / 2| <= 2^30) or
// VMULL and VSHRN #32, shifted on by VSHL with a negative count (floor). In
// place (q in the upper half of out's memory) each step reads its values
// before it writes, and its writes reach no value of a later step.
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"
#include "tools/dequant_tables.h"

namespace fxaac {
namespace {

// The forms of tools/inverse_quantization.cpp's runs.
enum Form { kUp = 0, kUpper = 1, kUpperShift = 2, kNone = 3, kSilent = 4 };

inline int32x4_t upper_word(int32x4_t x, int32x2_t k)
{
    return vcombine_s32(vshrn_n_s64(vmull_s32(vget_low_s32(x), k), 32),
                        vshrn_n_s64(vmull_s32(vget_high_s32(x), k), 32));
}

// The gain of a run in the form F: factors and counts in vectors.
template <int F>
struct Gain {
    int32x4_t factor, count;
    int32x2_t k;
    bool even;
    Gain(int32_t kk, int32_t shift)
    {
        even = (kk & 1) == 0;
        factor = vdupq_n_s32(F == kUp ? static_cast<int16_t>(kk) * (1 << 15) : kk / 2);
        count = vdupq_n_s32(F == kUp ? shift : -shift);
        k = vdup_n_s32(kk);
    }
    int32x4_t operator()(int32x4_t x) const
    {
        if constexpr (F == kUp)
            return vshlq_s32(vqdmulhq_s32(x, factor), count);
        else if constexpr (F == kUpper)
            return even ? vqdmulhq_s32(x, factor) : upper_word(x, k);
        else if constexpr (F == kUpperShift)
            return vshlq_s32(upper_word(x, k), count);
        else
            return x;
    }
};

// sign(v) |v|^(4/3) of eight values, all of magnitude 15 or less, from the
// byte planes p0 .. p3.
inline int32x4x2_t power(uint8x8x2_t p0, uint8x8x2_t p1, uint8x8x2_t p2, uint8x8x2_t p3,
                         int16x8_t v)
{
    const uint8x8_t index = vmovn_u16(vreinterpretq_u16_s16(vabsq_s16(v)));
    const uint8x8x2_t low = vzip_u8(vtbl2_u8(p0, index), vtbl2_u8(p1, index));
    const uint8x8x2_t high = vzip_u8(vtbl2_u8(p2, index), vtbl2_u8(p3, index));
    const uint16x4x2_t first = vzip_u16(vreinterpret_u16_u8(low.val[0]),
                                        vreinterpret_u16_u8(high.val[0]));
    const uint16x4x2_t second = vzip_u16(vreinterpret_u16_u8(low.val[1]),
                                         vreinterpret_u16_u8(high.val[1]));
    const int16x8_t sign = vshrq_n_s16(v, 15);
    const int32x4_t s0 = vmovl_s16(vget_low_s16(sign)), s1 = vmovl_s16(vget_high_s16(sign));
    const int32x4_t m0 = vreinterpretq_s32_u16(vcombine_u16(first.val[0], first.val[1]));
    const int32x4_t m1 = vreinterpretq_s32_u16(vcombine_u16(second.val[0], second.val[1]));
    return {{vsubq_s32(veorq_s32(m0, s0), s0), vsubq_s32(veorq_s32(m1, s1), s1)}};
}

// Whether any of the values has a magnitude above 15 (-32768 counts).
inline bool large(int16x8_t v)
{
    const uint8x8_t high = vqshrn_n_u16(vreinterpretq_u16_s16(vabsq_s16(v)), 4);
    return vget_lane_u64(vreinterpret_u64_u8(high), 0) != 0;
}

inline bool zero(int16x8_t v)
{
    const int16x4_t folded = vorr_s16(vget_low_s16(v), vget_high_s16(v));
    return vget_lane_u64(vreinterpret_u64_s16(folded), 0) == 0;
}

template <int F>
inline __attribute__((always_inline)) void run(uint8x8x2_t p0, uint8x8x2_t p1, uint8x8x2_t p2,
                                               uint8x8x2_t p3, const int16_t *q, int32_t *out,
                                               int32_t n, const int32_t *desc)
{
    const Gain<F> gain(desc[3], desc[4]);
    int32_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const int16x8_t v = vld1q_s16(q + i);
        if (zero(v)) {
            vst1q_s32(out + i, vdupq_n_s32(0));
            vst1q_s32(out + i + 4, vdupq_n_s32(0));
            continue;
        }
        if (large(v)) {
            const int32_t one[5] = {i, i + 8, desc[2], desc[3], desc[4]};
            dequantize_bands_c(q, out, one, 1);
            continue;
        }
        const int32x4x2_t m = power(p0, p1, p2, p3, v);
        vst1q_s32(out + i, gain(m.val[0]));
        vst1q_s32(out + i + 4, gain(m.val[1]));
    }
    if (i + 4 <= n) {
        const int16x8_t v = vcombine_s16(vld1_s16(q + i), vdup_n_s16(0));
        if (!large(v)) {
            vst1q_s32(out + i, gain(power(p0, p1, p2, p3, v).val[0]));
            i += 4;
        }
    }
    if (i < n) {
        const int32_t rest[5] = {i, n, desc[2], desc[3], desc[4]};
        dequantize_bands_c(q, out, rest, 1);
    }
}

}  // namespace

void dequantize_bands_neon(const int16_t *q, int32_t *out, const int32_t *runs, int32_t count)
{
    const uint8x16x4_t t = vld4q_u8(reinterpret_cast<const uint8_t *>(pow_table));
    const uint8x8x2_t p0 = {{vget_low_u8(t.val[0]), vget_high_u8(t.val[0])}};
    const uint8x8x2_t p1 = {{vget_low_u8(t.val[1]), vget_high_u8(t.val[1])}};
    const uint8x8x2_t p2 = {{vget_low_u8(t.val[2]), vget_high_u8(t.val[2])}};
    const uint8x8x2_t p3 = {{vget_low_u8(t.val[3]), vget_high_u8(t.val[3])}};
    for (int32_t r = 0; r < count; r++, runs += 5) {
        const int32_t from = runs[0], n = runs[1] - runs[0];
        switch (runs[2]) {
        case kUp: run<kUp>(p0, p1, p2, p3, q + from, out + from, n, runs); break;
        case kUpper: run<kUpper>(p0, p1, p2, p3, q + from, out + from, n, runs); break;
        case kUpperShift: run<kUpperShift>(p0, p1, p2, p3, q + from, out + from, n, runs); break;
        case kNone: run<kNone>(p0, p1, p2, p3, q + from, out + from, n, runs); break;
        default: dequantize_bands_c(q, out, runs, 1); break;
        }
    }
}

}  // namespace fxaac

#endif  // __ARM_NEON
