#include "tools/pns.h"

#include "dsp/kernels.h"
#include "tools/noise_generator.h"
#include "fixedpoint/basic_ops.h"
#include "precise/precise_ops.h"
#include "precise/precise_tables.h"
#include "sbr/soft_float.h"
#include "syntax/section_data.h"
#include "tools/dequant_tables.h"

using namespace fxaac;

namespace {

// Noise energies are in quarter steps with 2^(120/4) at the unit shift.
constexpr int32_t kUnitEnergyShift = 30;

// The ANSI C generator for random1: a separate, resettable sequence.
constexpr uint32_t kRandMultiplier = 1103515245u;
constexpr uint32_t kRandIncrement = 12345u;

struct ResettableRandom {
    uint32_t start;
    uint32_t state;
    int32_t period;
    int32_t calls;
};
// Process-wide state of random1; decoding never touches it.
ResettableRandom g_random1 = {1, 1, 0, 0};

inline int32_t next_noise(uint32_t *state)
{
    *state = noise_step(*state);
    return static_cast<int32_t>(*state);
}

void fill_noise_band(int32_t *lines, int width, int32_t energy, uint32_t norm, uint32_t *state)
{
    // gain ~ norm * 2^((energy & 3)/4), so that energy >> 2 is left for a shift.
    const int32_t gain = mul_32x16_x2(dec_scale_table[energy & 3], static_cast<int32_t>(norm)) >>
                         16;
    noise_fill(lines, width, state, gain, kUnitEnergyShift - (energy >> 2));
}

}  // namespace

namespace {

// Every noise band of a channel: fill(lines, width, energy, norm, state).
template <typename Fill>
void for_each_noise_band(const ChannelStream *stream, int32_t *spectrum, int32_t *seed, Fill fill)
{
    uint32_t state = static_cast<uint32_t>(*seed);
    const int maxSfb = stream->max_sfb;
    int window = 0;
    for (int g = 0; g < stream->num_window_groups; g++) {
        for (int w = 0; w < stream->window_group_length[g]; w++, window++) {
            for (int sfb = 0; sfb < maxSfb; sfb++) {
                const int x = g * maxSfb + sfb;
                if (stream->sfb_cb[x] != kNoiseHcb)
                    continue;
                const int width = stream->swb_offset[sfb + 1] - stream->swb_offset[sfb];
                if (width <= 0)
                    continue;
                fill(spectrum + 128 * window + stream->swb_offset[sfb], width,
                     stream->scale_factors[x], stream->noise_band_table[sfb], &state);
            }
        }
    }
    *seed = static_cast<int32_t>(state);
}

// The precise arithmetic: the band's energy (sum of squares) is exactly
// 2^(energy/2) spectral units squared, times 2^(2 kSpectrumBits): the
// generator's values (their top 24 bits) scaled by 2^(energy/4) / sqrt(sum
// of their squares), a number in the soft-float form of the SBR tools.
void fill_noise_band_precise(int32_t *lines, int width, int32_t energy, uint32_t, uint32_t *state)
{
    // The generator's values v >> 8 (|v >> 8| < 2^23: a band's sum stays
    // below 2^53), by the default's kernel: floor(floor(v 2^14 / 2^16) 2 / 2^7).
    constexpr int kDrop = 8;
    noise_fill(lines, width, state, 1 << 14, kDrop - 1);
    int64_t sum = 0;
    for (int i = 0; i < width; i++)
        sum += int64_t{lines[i]} * lines[i];
    using namespace sbr;
    const SoftFloat target = {gain_q30[energy & 3], (energy >> 2) - 30 + precise::kSpectrumBits};
    const SoftFloat scale = sf_div(target, sf_sqrt(sf_from_u64(static_cast<uint64_t>(sum), 0)));
    // Each line round(round(v 2^8 m / 2^32) / 2^n), n = -(e + 24): the value's
    // 24 bits fill a word, one rounding multiply, one rounding shift.
    const int32_t n = -(scale.e + 24);
    if (n >= 1 && n <= 31) {
        for (int i = 0; i < width; i++)
            lines[i] = precise::round_down_bounded(
                precise::mul_hi_round(lines[i] << kDrop, scale.m), n);
        return;
    }
    for (int i = 0; i < width; i++)
        lines[i] = sat32(sf_apply(lines[i], scale, 0));
}

}  // namespace

// The portable kernel (src/dsp/kernels.h).
void fxaac::noise_fill_c(int32_t *lines, int32_t n, uint32_t *state, int32_t gain, int32_t shift)
{
    for (int32_t i = 0; i < n; i++)
        lines[i] = shift_dir(mul_32x16_x2(gain, next_noise(state)), shift);
}

void fxaac::pns_decode(const ChannelStream *stream, int32_t *spectrum, int32_t *seed)
{
    for_each_noise_band(stream, spectrum, seed, fill_noise_band);
}

void fxaac::pns_decode_precise(const ChannelStream *stream, int32_t *spectrum, int32_t *seed)
{
    for_each_noise_band(stream, spectrum, seed, fill_noise_band_precise);
}

void fxaac::random1init(int32_t seed, int32_t period)
{
    g_random1.start = static_cast<uint32_t>(seed) + 1u;
    g_random1.state = g_random1.start;
    g_random1.period = period;
    g_random1.calls = 0;
}

int32_t fxaac::random1(void)
{
    if (g_random1.period != 0 && ++g_random1.calls >= g_random1.period) {
        g_random1.calls = 0;
        g_random1.state = g_random1.start;
    }
    g_random1.state = g_random1.state * kRandMultiplier + kRandIncrement;
    return static_cast<int32_t>(g_random1.state & 0x7FFFFFFFu);
}
