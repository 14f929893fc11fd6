#include "tools/stereo.h"

#include "dsp/kernels.h"

#include "fixedpoint/basic_ops.h"
#include "precise/precise_ops.h"
#include "precise/precise_tables.h"
#include "syntax/section_data.h"
#include "tools/dequant_tables.h"

using namespace fxaac;

namespace {

constexpr int kMsAllBands = 2;
constexpr int kMsPerBand = 1;
// Intensity positions count from 60 here: e = 60 - position splits into the
// Q14 mantissa 2^((e & 3)/4) and the shift 14 - (e >> 2), so that the result
// is v * 2^(-position/4) after the doubling multiply.
constexpr int32_t kPositionOffset = 60;
constexpr int32_t kMantissaShift = 14;

bool is_intensity(int cb) { return cb == kIntensityHcb || cb == kIntensityHcb2; }

// v * m * 2^-shift, with v normalised first so that the 16-bit mantissa keeps
// full precision; the final shift undoes the normalisation as well.
inline int32_t intensity_line(int32_t v, int32_t m, int32_t shift)
{
    int32_t n = norm_s32(v);
    int32_t t = mul_32x16_x2(m, shl_wrap(v, n));
    int32_t s = n + shift;
    return s >= 0 ? shr(t, s) : shl_wrap(t, -s);
}

}  // namespace

void fxaac::ms_decode(const ChannelStream *first, const ChannelStream *second,
                      int32_t *spectrumFirst, int32_t *spectrumSecond)
{
    if (first->ms_mask_present <= 0)
        return;
    const int maxSfb = first->max_sfb;
    int window = 0;
    for (int g = 0; g < first->num_window_groups; g++) {
        for (int w = 0; w < first->window_group_length[g]; w++, window++) {
            for (int sfb = 0; sfb < maxSfb; sfb++) {
                const int x = g * maxSfb + sfb;
                if (first->ms_mask_present != kMsAllBands && !first->ms_used[x])
                    continue;
                if (is_intensity(second->sfb_cb[x]) || first->sfb_cb[x] == kNoiseHcb)
                    continue;
                const int start = 128 * window + first->swb_offset[sfb];
                const int width = second->swb_offset[sfb + 1] - second->swb_offset[sfb];
                ms_sum_difference(spectrumFirst + start, spectrumSecond + start, width);
            }
        }
    }
}

void fxaac::ms_sum_difference_c(int32_t *left, int32_t *right, int32_t n)
{
    for (int32_t i = 0; i < n; i++) {
        const int32_t l = left[i], r = right[i];
        left[i] = add_sat(l, r);
        right[i] = sub_sat(l, r);
    }
}

namespace {

// Every intensity band of the second channel: band(from, to, count, sign, e)
// with the first channel's lines `from`, the second's `to`, sign +-1 and
// e = 60 - position; bands with e < 0 are cleared.
template <typename Band>
void for_each_intensity_band(const ChannelStream *first, const ChannelStream *second,
                             const int32_t *spectrumFirst, int32_t *spectrumSecond, Band band)
{
    const int maxSfb = second->max_sfb;
    int window = 0;
    for (int g = 0; g < second->num_window_groups; g++) {
        for (int w = 0; w < second->window_group_length[g]; w++, window++) {
            for (int sfb = 0; sfb < maxSfb; sfb++) {
                const int x = g * maxSfb + sfb;
                if (!is_intensity(second->sfb_cb[x]))
                    continue;
                int32_t sign = second->sfb_cb[x] == kIntensityHcb ? 1 : -1;
                // With per-band M/S flags, a flagged intensity band is inverted.
                if (first->ms_mask_present == kMsPerBand)
                    sign *= 1 - 2 * first->ms_used[g * first->max_sfb + sfb];
                const int start = 128 * window + second->swb_offset[sfb];
                const int count = second->swb_offset[sfb + 1] - second->swb_offset[sfb];
                const int32_t e = kPositionOffset - second->scale_factors[x];
                if (e < 0) {
                    for (int i = 0; i < count; i++)
                        spectrumSecond[start + i] = 0;
                    continue;
                }
                band(spectrumFirst + start, spectrumSecond + start, count, sign, e);
            }
        }
    }
}

}  // namespace

void fxaac::is_decode(const ChannelStream *first, const ChannelStream *second,
                      const int32_t *spectrumFirst, int32_t *spectrumSecond)
{
    for_each_intensity_band(
        first, second, spectrumFirst, spectrumSecond,
        [](const int32_t *from, int32_t *to, int count, int32_t sign, int32_t e) {
            intensity_scale(from, to, sign * dec_scale_table[e & 3], kMantissaShift - (e >> 2),
                            count);
        });
}

void fxaac::intensity_scale_c(const int32_t *from, int32_t *to, int32_t m, int32_t shift, int32_t n)
{
    for (int32_t i = 0; i < n; i++)
        to[i] = intensity_line(from[i], m, shift);
}

// v * sign * 2^(-position/4) = v * sign * 2^((e & 3)/4) * 2^((e >> 2) - 15),
// rounded once.
void fxaac::is_decode_precise(const ChannelStream *first, const ChannelStream *second,
                              const int32_t *spectrumFirst, int32_t *spectrumSecond)
{
    for_each_intensity_band(
        first, second, spectrumFirst, spectrumSecond,
        [](const int32_t *from, int32_t *to, int count, int32_t sign, int32_t e) {
            const int32_t m = sign * gain_q30[e & 3];
            for (int i = 0; i < count; i++)
                to[i] = precise::scale_q30(from[i], m, kPositionOffset / 4 - (e >> 2));
        });
}
