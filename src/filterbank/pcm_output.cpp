// PCM and SBR output of the synthesis samples. The two-channel kernels and
// their one-sample-per-step forms share one conversion per format; only the
// step differs. The two-channel 16-bit and 24-bit conversions are kernels
// (src/dsp/kernels.h) whose portable versions are here.
#include "filterbank/pcm_output.h"

#include "dsp/kernels.h"
#include "fixedpoint/basic_ops.h"
#include "precise/precise_ops.h"
#include "sbr/sbr_input.h"

namespace {

using fxaac::add_wrap;
using fxaac::shl_sat;
using fxaac::shr;

// A 16-bit LSB is 2^9 at the synthesis scale (full scale 2^24); a 24-bit
// LSB is 2^1. The offsets are half an LSB, so the shifts round to nearest.
constexpr int kShift16 = 9;
constexpr int32_t kHalf16 = 1 << (kShift16 - 1);
constexpr int kShift24 = 1;
constexpr int32_t kHalf24 = 1;
// Moves the 2^24 full scale to 2^31: a saturating left shift by 7 then
// saturates exactly where the 16-bit (or 24-bit) clip would apply.
constexpr int kFullScaleShift = 7;

constexpr int32_t clamp(int32_t v, int32_t lo, int32_t hi)
{
    return v < lo ? lo : (v > hi ? hi : v);
}

// One conversion per format. Cell is the output element type.
struct Pcm16 {
    using Cell = int16_t;
    static int16_t convert(int32_t x)
    {
        return static_cast<int16_t>(clamp(add_wrap(x, kHalf16) >> kShift16, INT16_MIN, INT16_MAX));
    }
};

struct Pcm16NoShift {
    using Cell = int16_t;
    static int16_t convert(int32_t x)
    {
        return static_cast<int16_t>(clamp(x, INT16_MIN, INT16_MAX));
    }
};

struct Pcm24 {
    using Cell = int32_t;
    static constexpr int32_t kMax = (1 << 23) - 1;
    static int32_t convert(int32_t x)
    {
        return clamp(add_wrap(x, kHalf24) >> kShift24, -kMax - 1, kMax);
    }
};

// out[2i] = convert(in[i]) for i below n rounded down to a multiple of Step;
// the odd elements belong to the other channel and are not touched.
template <class Format, int Step>
void interleave(const int32_t *in, typename Format::Cell *out, int32_t n)
{
    const int32_t count = n - n % Step;
    for (int32_t i = 0; i < count; i += Step) {
        for (int j = 0; j < Step; ++j)
            out[2 * (i + j)] = Format::convert(in[i + j]);
    }
}

constexpr int kPair = 2;

// One-channel paths: saturating shift to full scale at 2^31, then keep the
// top 16 (or 24) bits. Same results as the clipping conversions above.
int16_t mono16(int32_t x)
{
    return static_cast<int16_t>(shr(shl_sat(add_wrap(x, kHalf16), kFullScaleShift), 16));
}

int32_t mono24(int32_t x) { return shr(shl_sat(add_wrap(x, kHalf24), kFullScaleShift), 8); }

// NoShift: two-channel 16-bit output clipped without the rounding shift.
template <bool NoShift>
void *to_pcm(const int32_t *samples, void *out, int32_t channels, int16_t format, int32_t swap,
             int32_t count, int32_t channel)
{
    const auto slot = static_cast<int16_t>(swap == 1 ? 1 - channel : channel);
    if (format == 2) {
        int32_t *words = static_cast<int32_t *>(out) + slot;
        if (channels == 2) {
            fxaac::pcm24_interleave(samples, words, count);
        } else {
            for (int32_t i = 0; i < count; ++i)
                words[i] = mono24(samples[i]);
        }
    } else {
        int16_t *cells = static_cast<int16_t *>(out) + slot;
        if (channels == 2) {
            if constexpr (NoShift) {
                interleave<Pcm16NoShift, kPair>(samples, cells, count);
            } else {
                fxaac::pcm16_interleave(samples, cells, count);
            }
        } else {
            for (int32_t i = 0; i < count; ++i)
                cells[i] = mono16(samples[i]);
        }
    }
    return out;
}

}  // namespace

namespace fxaac {

// The portable kernels (src/dsp/kernels.h).
void pcm16_interleave_c(const int32_t *in, int16_t *out, int32_t n)
{
    interleave<Pcm16, kPair>(in, out, n);
}
void pcm24_interleave_c(const int32_t *in, int32_t *out, int32_t n)
{
    interleave<Pcm24, kPair>(in, out, n);
}

}  // namespace fxaac

// The two-channel kernels run the selected versions; the _c forms below
// convert one sample per step.
void fxaac::out16bit(const int32_t *in, int16_t *out, int32_t n)
{
    fxaac::pcm16_interleave(in, out, n);
}
void fxaac::out24bit(const int32_t *in, int32_t *out, int32_t n)
{
    fxaac::pcm24_interleave(in, out, n);
}
void fxaac::out16bit_noshift(const int32_t *in, int16_t *out, int32_t n)
{
    interleave<Pcm16NoShift, kPair>(in, out, n);
}

void fxaac::out16bit_c(const int32_t *in, int16_t *out, int32_t n)
{
    interleave<Pcm16, 1>(in, out, n);
}
void fxaac::out24bit_c(const int32_t *in, int32_t *out, int32_t n)
{
    interleave<Pcm24, 1>(in, out, n);
}
void fxaac::out16bit_noshift_c(const int32_t *in, int16_t *out, int32_t n)
{
    interleave<Pcm16NoShift, 1>(in, out, n);
}

void *fxaac::myOutputToPCM(const int32_t *samples, void *out, int32_t channels, int16_t format,
                           int32_t swap, int32_t count, int32_t channel)
{
    return to_pcm<false>(samples, out, channels, format, swap, count, channel);
}

void *fxaac::myOutputToPCM_noshift(const int32_t *samples, void *out, int32_t channels,
                                   int16_t format, int32_t swap, int32_t count, int32_t channel)
{
    return to_pcm<true>(samples, out, channels, format, swap, count, channel);
}

void fxaac::myPCMtoSBR(int32_t *out, const int32_t *samples, int32_t /*channels*/, int32_t count)
{
    static_assert(sbr::kHandOffHalf == kHalf16 && sbr::kHandOffShift == kFullScaleShift,
                  "the hand-off kernel's scale");
    sbr_hand_off(out, samples, count);
}

// The portable kernel (src/dsp/kernels.h): the rounding shift by
// kSynthesisBits, which the kernel's name fixes at 4.
static_assert(fxaac::precise::kSynthesisBits == 4, "precise_descale shifts by 4");
void fxaac::precise_descale_c(int32_t *x, int32_t n)
{
    for (int32_t i = 0; i < n; ++i)
        x[i] = precise::round_down_bounded(x[i], precise::kSynthesisBits);
}

void fxaac::precise_to_synthesis_scale(int32_t *samples, int32_t count)
{
    precise_descale(samples, count);
}

void fxaac::precise_to_sbr(int32_t *out, const int32_t *samples, int32_t count)
{
    constexpr int32_t kShift = kFullScaleShift - precise::kSynthesisBits;
    constexpr int32_t kHalf = kHalf16 << precise::kSynthesisBits;
    for (int32_t i = 0; i < count; ++i)
        out[i] = shl_sat(add_sat(samples[i], kHalf), kShift);
}
