#include "tools/inverse_quantization.h"

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
    int32_t a = q < 0 ? -q : q;
    if (a > kMaxMagnitude)
        a = kMaxMagnitude;
    int32_t r;
    if (a < kTableMagnitudes) {
        r = pow_table[a];
    } else {
        int32_t j = a >> 4, f = a & 15;
        int32_t t = (16 - f) * pow_table[j] + f * pow_table[j + 1];
        r = mul_32x16(kTwoPow4Over3, t << 2) << 1;
    }
    return q < 0 ? -r : r;
}

}  // namespace

void inverse_quantization(int32_t *dst, const int16_t *src)
{
    for (int i = 0; i < FXAAC_FRAME_LENGTH; i += 2) {
        int32_t q0 = src[i], q1 = src[i + 1];  // both read before either write
        dst[i] = dequantize(q0);
        dst[i + 1] = dequantize(q1);
    }
}

void invquantize(int32_t *dst, const int16_t *src)
{
    for (int i = 0; i < FXAAC_FRAME_LENGTH; i++)
        dst[i] = dequantize(src[i]);
}

void get_scale_factor_gain(int32_t sf, int32_t *values, int32_t count, const int16_t *mantissas)
{
    if (sf <= kSilentScaleFactor) {
        if (count > 0)
            std::memset(values, 0, sizeof(int32_t) * static_cast<size_t>(count));
        return;
    }
    const int32_t m = mantissas[sf & 3];
    const int32_t e = sf >> 2;
    if (e <= kUnitExponent) {
        for (int32_t i = 0; i < count; i++)
            values[i] = shr(mul_32x16(m, values[i]), kUnitExponent - e);
    } else {
        for (int32_t i = 0; i < count; i++)
            values[i] = shl_wrap(mul_32x16(m, values[i]), e - kUnitExponent);
    }
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
            get_scale_factor_gain(stream->scale_factors[g * maxSfb + b], spectrum + base, width,
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
