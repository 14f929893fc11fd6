#include "tools/inverse_quantization.h"

#include <algorithm>
#include <cstring>

#include "fixedpoint/basic_ops.h"
#include "tools/dequant_tables.h"

using namespace fxaac;

namespace {

constexpr int32_t kTableMagnitudes = 512;
// The largest magnitude an escape can code. A pulse added to such a value may
// go beyond it; the interpolation would then read past the table's end.
constexpr int32_t kMaxMagnitude = 8191;
// 2^(4/3) in Q13 (pow_table[2]): the interpolation below evaluates the table
// at |q|/16 and multiplies by 16^(4/3) = 16 * 2^(4/3).
constexpr int32_t kTwoPow4Over3 = 20643;
// Scale factors count from 100 (gain 1); with the Q13 input that puts the
// unit shift at 100/4 + 13 - 2 (the Q14 mantissa and the 16-bit product):
// e = sf >> 2 = 36 leaves the value as it is.
constexpr int32_t kUnitExponent = 36;
// Below this scale factor a band's gain is under 2^-19: silence.
constexpr int32_t kSilentScaleFactor = 23;

// sign(q) |q|^(4/3) in Q13. Above 511 linear interpolation between the table
// entries at |q|/16, weights summing to 16; 8191 gives 1352639526, and t << 2
// stays below 2^31 up to there. Larger magnitudes are limited to 8191.
inline int32_t dequantize(int32_t q)
{
    const int32_t sign = q >> 31;  // 0 or -1
    const int32_t a = (q ^ sign) - sign;
    int32_t r;
    if (static_cast<uint32_t>(a) < kTableMagnitudes) [[likely]] {
        r = pow_table[a];
    } else {
        const int32_t m = a > kMaxMagnitude ? kMaxMagnitude : a;
        const int32_t j = m >> 4, f = m & 15;
        const int32_t t = (16 - f) * pow_table[j] + f * pow_table[j + 1];
        r = mul_32x16(kTwoPow4Over3, t << 2) << 1;
    }
    return (r ^ sign) - sign;
}

// Values per step of inverse_quantization. A run of zeros (most of the upper
// spectrum) costs a few word tests and one store.
constexpr int kStep = 8;
constexpr size_t kStepWords = kStep * sizeof(int16_t) / sizeof(uintptr_t);

inline bool all_zero(const int16_t *q)
{
    uintptr_t any = 0;
    for (size_t k = 0; k < kStepWords; k++) {
        uintptr_t w;
        std::memcpy(&w, reinterpret_cast<const uint8_t *>(q) + k * sizeof w, sizeof w);
        any |= w;
    }
    return any == 0;
}

// The upper word of x * k: x * k >> 32, truncated.
inline int32_t mul_upper(int32_t x, int32_t k)
{
    return static_cast<int32_t>((int64_t{x} * k) >> 32);
}

inline void mul_upper_band(int32_t *values, int32_t count, int32_t k, int32_t shift)
{
    int32_t i = 0;
    for (; i + 4 <= count; i += 4) {  // bands are multiples of 4 lines wide
        values[i] = mul_upper(values[i], k) >> shift;
        values[i + 1] = mul_upper(values[i + 1], k) >> shift;
        values[i + 2] = mul_upper(values[i + 2], k) >> shift;
        values[i + 3] = mul_upper(values[i + 3], k) >> shift;
    }
    for (; i < count; i++)
        values[i] = mul_upper(values[i], k) >> shift;
}

// The gain of one band: a Q14 mantissa m and a shift, from the scale factor
// split as 2^(sf >> 2) * 2^((sf & 3) / 4) against the unit exponent. A value
// becomes ((x * m) >> 16) >> s, which is x * m >> (16 + s) truncated once:
// for s up to 16 the upper word of x * (m << (16 - s)) (the factor keeps
// within 32 bits as |m| <= 2^15), beyond that the upper word of x * m
// shifted by s - 16.
inline void scale_band(int32_t sf, int32_t *values, int32_t count, const int16_t *mantissas)
{
    if (count <= 0)
        return;
    if (sf <= kSilentScaleFactor) {
        std::memset(values, 0, sizeof(int32_t) * static_cast<size_t>(count));
        return;
    }
    const int32_t m = mantissas[sf & 3];
    const int32_t e = sf >> 2;
    if (e > kUnitExponent) {
        const int32_t up = e - kUnitExponent;
        for (int32_t i = 0; i < count; i++)
            values[i] = shl_wrap(mul_32x16(m, values[i]), up);
        return;
    }
    const int32_t s = std::min(kUnitExponent - e, 31);
    if (s <= 16)
        mul_upper_band(values, count, static_cast<int32_t>(static_cast<uint32_t>(m) << (16 - s)),
                       0);
    else
        mul_upper_band(values, count, m, s - 16);
}

}  // namespace

void inverse_quantization(int32_t *dst, const int16_t *src)
{
    // In place (src in the upper half of dst's memory) the writes for values
    // i and i + 1 reach source values 2i - 1024 to 2i - 1021, none beyond
    // i + 1, all read by then; the writes of a step of zeros reach none
    // beyond i + 7, all tested by then.
    for (int i = 0; i < FXAAC_FRAME_LENGTH; i += kStep) {
        if (all_zero(src + i)) {
            std::memset(dst + i, 0, sizeof(int32_t) * kStep);
            continue;
        }
        for (int k = i; k < i + kStep; k += 2) {
            const int32_t q0 = src[k], q1 = src[k + 1];  // both read before either write
            dst[k] = dequantize(q0);
            dst[k + 1] = dequantize(q1);
        }
    }
}

void invquantize(int32_t *dst, const int16_t *src)
{
    for (int i = 0; i < FXAAC_FRAME_LENGTH; i++)
        dst[i] = dequantize(src[i]);
}

void get_scale_factor_gain(int32_t sf, int32_t *values, int32_t count, const int16_t *mantissas)
{
    scale_band(sf, values, count, mantissas);
}

void apply_scalefactors(const ChannelStream *stream, int32_t *spectrum)
{
    const int maxSfb = stream->max_sfb;
    int windowsBefore = 0;
    for (int g = 0; g < stream->num_window_groups; g++) {
        const int16_t *offsets = &stream->sect_sfb_offset[16 * g];
        int base = 128 * windowsBefore;
        int prev = 0;
        for (int b = 0; b < maxSfb; b++) {
            int width = offsets[b + 1] - prev;
            if (width < 0)
                width = 0;
            scale_band(stream->scale_factors[g * maxSfb + b], spectrum + base, width,
                       dec_scale_table);
            base += width;
            prev += width;
        }
        windowsBefore += stream->window_group_length[g];
    }
}

void dec_quant_to_spec(const ChannelStream *stream, int32_t *dst, const int32_t *src)
{
    const int numSwb = stream->num_swb;
    const int lines = stream->swb_offset[numSwb];  // 128 per short window
    int firstWindow = 0;
    for (int g = 0; g < stream->num_window_groups; g++) {
        const int windows = stream->window_group_length[g];
        int k = 0;
        for (int b = 0; b < numSwb; b++) {
            const int width = stream->swb_offset[b + 1] - stream->swb_offset[b];
            const int run = 4 * (width / 4);
            for (int w = 0; w < windows; w++) {
                std::memcpy(dst + (firstWindow + w) * lines + k, src,
                            sizeof(int32_t) * static_cast<size_t>(run));
                src += run;
            }
            k += width;
        }
        firstWindow += windows;
    }
}
