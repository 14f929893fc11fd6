// Windowing and overlap-add (ISO/IEC 14496-3 4.6.11.3).
//
// Sample scale: the inverse transform delivers samples at the synthesis
// scale; every window product is (x * w) >> 16 with a Q15 window, that is
// x * w / 2. Where a window is 1.0 (the flat parts of the start and stop
// windows) the samples are shifted right by 1 instead, so that all windowed
// samples carry the same factor 1/2 and the overlap array can be added
// directly. The long overlap-add saturates; the short-window accumulation
// wraps.
//
// Frame geometry (samples of the 2048-long time buffer):
//   long windows:   rise 0..1023, fall 1024..2047
//   start window:   flat 1024..1471, short fall 1472..1599, zero 1600..2047
//   stop window:    zero 0..447, short rise 448..575, flat 576..1023
//   short window k: rise 448 + 128k .. 575 + 128k, fall the next 128
#include "filterbank/filter_bank.h"

#include "dsp/kernels.h"
#include "filterbank/imdct.h"
#include "filterbank/pcm_output.h"
#include "fixedpoint/vector_ops.h"
#include "precise/imdct_precise.h"
#include "precise/precise_tables.h"
#include "syntax/ics_info.h"

namespace {

using namespace fxaac;

constexpr int32_t kFrame = FXAAC_FRAME_LENGTH;     // output samples; half a long window
constexpr int32_t kLongSize = 2 * kFrame;          // long transform length
constexpr int32_t kShortHalf = kShortWindowLines;  // half a short window; its coefficients
constexpr int32_t kShortSize = 2 * kShortHalf;     // short transform length
constexpr int32_t kShortWindows = 8;
// The eight short windows (448..1599) are centred on the middle of the
// 2048-sample block: the first starts (1024 - 128) / 2 = 448 samples in,
// which is also the length of the flat and zero stretches of the start and
// stop windows.
constexpr int32_t kFlat = (kFrame - kShortHalf) / 2;

// Where the 1024 finished samples of a channel go.
struct Output {
    void *pcm;
    int32_t *sbr;
    int32_t *saved;  // receives pcm's first 1024 words when save is set
    int32_t swap;
    int32_t channels;
    int16_t format;
    int32_t channel;
    int32_t sbr_mode;
    bool precise;  // samples at the precise arithmetic's scale
    bool save;
};

// The caller keeps the second channel's spectrum in the output buffer while
// the first channel is synthesised; with two channels it is moved to the
// saved area before samples overwrite it.
// The precise arithmetic's samples go to the SBR hand-off with all their
// bits, or to PCM through the synthesis scale (in place: the caller reuses
// the buffer only after this).
void hand_over(const Output &out, int32_t *samples)
{
    if (out.save)
        my_vcopy(static_cast<const int32_t *>(out.pcm), out.saved, kFrame);
    if (out.sbr_mode != 0) {
        if (out.precise)
            precise_to_sbr(out.sbr, samples, kFrame);
        else
            myPCMtoSBR(out.sbr, samples, out.channels, kFrame);
        return;
    }
    if (out.precise)
        precise_to_synthesis_scale(samples, kFrame);
    myOutputToPCM(samples, out.pcm, out.channels, out.format, out.swap, kFrame, out.channel);
}

// y[i] = x[i] >> 1, two per step (n even): a window value of 1.0 at the
// scale of the window products.
void halve(const int32_t *x, int32_t *y, int32_t n)
{
    for (int32_t i = 0; i < n; i += 2) {
        y[i] = x[i] >> 1;
        y[i + 1] = x[i + 1] >> 1;
    }
}

// The two arithmetics of the filterbank. The default one: the IMDCT of
// filterbank/imdct.h, Q15 windows, and flat window parts of 1/2 (a halving
// shift). The precise one: the IMDCT of precise/imdct_precise.h, whose
// output is already at the window products' scale, and Q31 windows rounded.
struct DefaultArithmetic {
    using Coef = int16_t;
    static void imdct(AacDecoder *d, int32_t *in, int32_t *out, int32_t N) { IMDCT(d, in, out, N); }
    static const Coef *long_window(const AacDecoder *d, int shape) { return d->longWindow[shape]; }
    static const Coef *short_window(const AacDecoder *d, int shape)
    {
        return d->shortWindow[shape];
    }
    static void flat(int32_t *x, int32_t n) { halve(x, x, n); }
    static void rise(const int32_t *x, const Coef *w, int32_t *y, int n)
    {
        window_rise(x, w, y, n);
    }
    static void fall(const int32_t *x, const Coef *w, int32_t *y, int n)
    {
        window_fall(x, w, y, n);
    }
    static void rise_add(const int32_t *x, const Coef *w, int32_t *y, int n)
    {
        window_rise_add(x, w, y, n);
    }
    static void fall_add(const int32_t *x, const Coef *w, int32_t *y, int n)
    {
        window_fall_add(x, w, y, n);
    }
    // overlap = sat(overlap + rising window of x), one pass.
    static void rise_overlap(const int32_t *x, const Coef *w, int32_t *overlap, int n)
    {
        window_rise_overlap(x, w, overlap, n);
    }
};

struct PreciseArithmetic {
    using Coef = int32_t;
    static void imdct(AacDecoder *d, int32_t *in, int32_t *out, int32_t N)
    {
        imdct_precise(d, in, out, N);
    }
    static const Coef *long_window(const AacDecoder *, int shape)
    {
        return shape != 0 ? window_kbd_long_q31 : window_sine_long_q31;
    }
    static const Coef *short_window(const AacDecoder *, int shape)
    {
        return shape != 0 ? window_kbd_short_q31 : window_sine_short_q31;
    }
    static void flat(int32_t *, int32_t) {}
    static void rise(const int32_t *x, const Coef *w, int32_t *y, int n)
    {
        window_rise_q31(x, w, y, n);
    }
    static void fall(const int32_t *x, const Coef *w, int32_t *y, int n)
    {
        window_fall_q31(x, w, y, n);
    }
    static void rise_add(const int32_t *x, const Coef *w, int32_t *y, int n)
    {
        window_rise_add_q31(x, w, y, n);
    }
    static void fall_add(const int32_t *x, const Coef *w, int32_t *y, int n)
    {
        window_fall_add_q31(x, w, y, n);
    }
    static void rise_overlap(int32_t *x, const Coef *w, int32_t *overlap, int n)
    {
        window_rise_q31(x, w, x, n);
        add_saturate(x, overlap, overlap, n);
    }
};

// First half of the stop window, in place: zero, rising short half, flat.
template <typename A>
void stop_rise(const typename A::Coef *short_rise, int32_t *time)
{
    my_vzero(time + kFlat - 1, kFlat);
    A::rise(time + kFlat, short_rise, time + kFlat, kShortHalf);
    A::flat(time + kFlat + kShortHalf, kFlat);
}

// Second half of the start window into overlap: flat (the scaled samples
// are left in time as well), falling short half, zero.
template <typename A>
void start_fall(const typename A::Coef *short_rise, int32_t *time, int32_t *overlap)
{
    int32_t *second = time + kFrame;
    A::flat(second, kFlat);
    my_vcopy(second, overlap, kFlat);
    A::fall(second + kFlat, short_rise + kShortHalf - 1, overlap + kFlat, kShortHalf);
    my_vzero(overlap + kFrame - 1, kFrame - kFlat - kShortHalf);
}

// ONLY_LONG, LONG_START and LONG_STOP. The rising edge takes the previous
// frame's shape, the falling edge this frame's.
template <typename A>
void long_sequence(AacDecoder *instance, int32_t sequence, int shape, int previous,
                   int32_t *spectrum, int32_t *overlap, int32_t *time, const Output &out)
{
    A::imdct(instance, spectrum, time, kLongSize);
    if (sequence == kLongStop) {
        stop_rise<A>(A::short_window(instance, previous), time);
        add_saturate(time, overlap, overlap, kFrame);
    } else {
        A::rise_overlap(time, A::long_window(instance, previous), overlap, kFrame);
    }
    // overlap holds the finished samples: hand them over before it is reused.
    hand_over(out, overlap);
    if (sequence == kLongStart) {
        start_fall<A>(A::short_window(instance, shape), time, overlap);
    } else {
        A::fall(time + kFrame, A::long_window(instance, shape) + kFrame - 1, overlap, kFrame);
    }
}

// Points the transform scratch into the area scratchB designates (at least
// 512 words): scratchA and scratchB 128 words each, then the 256 samples
// of one short transform, whose address is returned.
int32_t *short_scratch(AacDecoder *instance)
{
    int32_t *const area = instance->scratchB;
    instance->scratchA = area;
    instance->scratchB = area + kShortHalf;
    return area + kShortSize;
}

// EIGHT_SHORT: the overlap array holds the eight windows' coefficients
// while the windows are accumulated into time, which starts as the old
// overlap followed by zeros. The copies run in this order because the
// spectrum may lie in time[1024..2047].
template <typename A>
void eight_short(AacDecoder *instance, int shape, int previous, const int32_t *spectrum,
                 int32_t *overlap, int32_t *time, const Output &out)
{
    my_vcopy(overlap, time, kFrame);
    my_vcopy(spectrum, overlap, kFrame);
    my_vzero(time + kLongSize - 1, kFrame);
    int32_t *const u = short_scratch(instance);
    const typename A::Coef *const rise = A::short_window(instance, shape);
    for (int32_t k = 0; k < kShortWindows; ++k) {
        int32_t *const window = time + kFlat + k * kShortHalf;
        A::imdct(instance, overlap + k * kShortHalf, u, kShortSize);
        A::rise_add(u, k == 0 ? A::short_window(instance, previous) : rise, window, kShortHalf);
        A::fall_add(u + kShortHalf, rise + kShortHalf - 1, window + kShortHalf, kShortHalf);
    }
    // Windows 3 to 7 reach past the frame: 1024..1599, zeros after.
    my_vcopy(time + kFrame, overlap, kFrame);
    hand_over(out, time);
}

}  // namespace

void fxaac::filter_bank_channel(AacDecoder *instance, int32_t window_sequence, int32_t window_shape,
                                int32_t previous_shape, int32_t *spectrum, int32_t *overlap,
                                int32_t *sbr_out, int32_t *time, void *pcm_out, int32_t swap,
                                int32_t channels, int16_t format, int32_t channel, int32_t sbr_mode,
                                bool save)
{
    if (window_sequence < kOnlyLong || window_sequence > kLongStop)
        return;
    const bool precise = instance->arithmetic == FXAAC_ARITHMETIC_PRECISE;
    const Output out{pcm_out, sbr_out, instance->scratchB, swap,    channels,
                     format,  channel, sbr_mode,           precise, save};
    // window_shape is a one-bit field; the mask keeps the table index in range.
    const int shape = window_shape & 1;
    const int previous = previous_shape & 1;
    if (window_sequence == kEightShort) {
        (precise ? eight_short<PreciseArithmetic>
                 : eight_short<DefaultArithmetic>)(instance, shape, previous, spectrum, overlap,
                                                   time, out);
    } else {
        (precise ? long_sequence<PreciseArithmetic>
                 : long_sequence<DefaultArithmetic>)(instance, window_sequence, shape, previous,
                                                     spectrum, overlap, time, out);
    }
}

void fxaac::ifilter_bank(AacDecoder *instance, int32_t window_sequence, int32_t window_shape,
                         int32_t previous_shape, int32_t *spectrum, int32_t *overlap,
                         int32_t *sbr_out, int32_t *time, void *pcm_out, int32_t swap,
                         int32_t channels, int16_t format, int32_t channel, int32_t sbr_mode)
{
    filter_bank_channel(instance, window_sequence, window_shape, previous_shape, spectrum, overlap,
                        sbr_out, time, pcm_out, swap, channels, format, channel, sbr_mode,
                        channels == 2);
}
