#include "tools/inverse_quantization.h"

#include <algorithm>
#include <cstring>

#include "dsp/kernels.h"
#include "fixedpoint/basic_ops.h"
#include "precise/precise_ops.h"
#include "precise/precise_tables.h"
#include "syntax/ics_info.h"
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

// sign(q) |q|^(4/3) in Q13. Magnitudes below 512 take pow_table directly;
// above, linear interpolation between the table entries at |q|/16, weights
// summing to 16; 8191 gives 1352639526, and t << 2 stays below 2^31 up to
// there. Larger magnitudes are limited to 8191.
inline int32_t dequantize(int32_t q)
{
    const int32_t sign = q >> 31;  // 0 or -1
    const int32_t a = (q ^ sign) - sign;
    int32_t r;
    if (a < kTableMagnitudes) [[likely]] {
        r = pow_table[a];
    } else {
        const int32_t m = a > kMaxMagnitude ? kMaxMagnitude : a;
        const int32_t j = m >> 4, f = m & 15;
        const int32_t t = (16 - f) * pow_table[j] + f * pow_table[j + 1];
        r = mul_32x16(kTwoPow4Over3, t << 2) << 1;
    }
    return (r ^ sign) - sign;
}

// Values per zero test. A run of zeros (most of the upper spectrum) costs a
// word test and one store per step; bands are multiples of 4 lines wide.
constexpr int kStep = 4;

inline bool all_zero(const int16_t *q)
{
    uint64_t w;
    std::memcpy(&w, q, sizeof w);
    return w == 0;
}

inline void store_zeros(int32_t *dst)
{
    for (int k = 0; k < kStep; k++)
        dst[k] = 0;
}

// The upper word of x * k: x * k >> 32, truncated.
inline int32_t mul_upper(int32_t x, int32_t k)
{
    return static_cast<int32_t>((int64_t{x} * k) >> 32);
}

// The three ways a band gain is applied (see band_gain), none (lines past
// the coded bands are dequantised only), and silent (a band below
// kSilentScaleFactor: all 0).
enum class GainForm { Up, Upper, UpperShift, None, Silent };

struct Gain {
    GainForm form;
    int32_t k;
    int32_t shift;
};

template <GainForm F>
inline int32_t apply_gain(int32_t x, const Gain &g)
{
    if constexpr (F == GainForm::Up)
        return shl_wrap(mul_32x16(g.k, x), g.shift);
    else if constexpr (F == GainForm::Upper)
        return mul_upper(x, g.k);
    else if constexpr (F == GainForm::UpperShift)
        return mul_upper(x, g.k) >> g.shift;
    else
        return x;
}

// The gain of one band: a Q14 mantissa m and a shift, from the scale factor
// split as 2^(sf >> 2) * 2^((sf & 3) / 4) against the unit exponent. A value
// becomes ((x * m) >> 16) >> s, which is x * m >> (16 + s) truncated once:
// for s up to 16 the upper word of x * (m << (16 - s)) (the factor keeps
// within 32 bits as |m| <= 2^15), beyond that the upper word of x * m
// shifted by s - 16. Returns false for a silent band. Every form maps 0 to 0.
inline bool band_gain(int32_t sf, const int16_t *mantissas, Gain *g)
{
    if (sf <= kSilentScaleFactor)
        return false;
    const int32_t m = mantissas[sf & 3];
    const int32_t e = sf >> 2;
    if (e > kUnitExponent) {
        *g = {GainForm::Up, m, e - kUnitExponent};
        return true;
    }
    const int32_t s = std::min(kUnitExponent - e, 31);
    if (s <= 16)
        *g = {GainForm::Upper, static_cast<int32_t>(static_cast<uint32_t>(m) << (16 - s)), 0};
    else
        *g = {GainForm::UpperShift, m, s - 16};
    return true;
}

template <GainForm F>
void scale_values(int32_t *values, int32_t count, const Gain &g)
{
    int32_t i = 0;
    for (; i + 4 <= count; i += 4) {
        values[i] = apply_gain<F>(values[i], g);
        values[i + 1] = apply_gain<F>(values[i + 1], g);
        values[i + 2] = apply_gain<F>(values[i + 2], g);
        values[i + 3] = apply_gain<F>(values[i + 3], g);
    }
    for (; i < count; i++)
        values[i] = apply_gain<F>(values[i], g);
}

inline void scale_band(int32_t sf, int32_t *values, int32_t count, const int16_t *mantissas)
{
    if (count <= 0)
        return;
    Gain g;
    if (!band_gain(sf, mantissas, &g)) {
        std::memset(values, 0, sizeof(int32_t) * static_cast<size_t>(count));
        return;
    }
    switch (g.form) {
    case GainForm::Up: return scale_values<GainForm::Up>(values, count, g);
    case GainForm::Upper: return scale_values<GainForm::Upper>(values, count, g);
    default: return scale_values<GainForm::UpperShift>(values, count, g);
    }
}

// The runs of lines of one channel for the dequantize_bands kernel, in
// order (in place, a run's writes reach only source values of its own lines
// and earlier ones), given to the kernel a batch at a time.
class Runs {
public:
    Runs(int32_t *dst, const int16_t *src) : dst_(dst), src_(src) {}
    ~Runs() { flush(); }
    Runs(const Runs &) = delete;
    Runs &operator=(const Runs &) = delete;

    // dst[i] = gain(dequantize(src[i])) for i in [from, to).
    void add(int32_t from, int32_t to, GainForm form, int32_t k, int32_t shift)
    {
        if (to <= from)
            return;
        int32_t *r = &runs_[kRunWords * count_];
        r[0] = from;
        r[1] = to;
        r[2] = static_cast<int32_t>(form);
        r[3] = k;
        r[4] = shift;
        if (++count_ == kBatch)
            flush();
    }

    // A band at scale factor sf; a silent one's values are all 0, whatever
    // was quantised.
    void band(int32_t sf, int32_t from, int32_t to)
    {
        Gain g;
        if (!band_gain(sf, dec_scale_table, &g))
            add(from, to, GainForm::Silent, 0, 0);
        else
            add(from, to, g.form, g.k, g.shift);
    }

    void flush()
    {
        if (count_ > 0)
            dequantize_bands(src_, dst_, runs_, count_);
        count_ = 0;
    }

private:
    static constexpr int kRunWords = 5;
    static constexpr int kBatch = 16;
    int32_t *dst_;
    const int16_t *src_;
    int32_t runs_[kRunWords * kBatch];
    int count_ = 0;
};

}  // namespace

void fxaac::inverse_quantization(int32_t *dst, const int16_t *src)
{
    Runs(dst, src).add(0, FXAAC_FRAME_LENGTH, GainForm::None, 0, 0);
}

void fxaac::invquantize(int32_t *dst, const int16_t *src)
{
    for (int i = 0; i < FXAAC_FRAME_LENGTH; i++)
        dst[i] = dequantize(src[i]);
}

void fxaac::get_scale_factor_gain(int32_t sf, int32_t *values, int32_t count,
                                  const int16_t *mantissas)
{
    scale_band(sf, values, count, mantissas);
}

void fxaac::apply_scalefactors(const ChannelStream *stream, int32_t *spectrum)
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

void fxaac::dec_quant_to_spec(const ChannelStream *stream, int32_t *dst, const int32_t *src)
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

namespace {

// The walk of dequantize_and_scale: band(sf, dst, src, from, to) for every
// coded band, range(dst, src, from, to) for the lines no band covers.
//
// Band b of group g covers sect_sfb_offset[16 g + b] to [16 g + b + 1] from
// the group's start (128 lines per window before it): the offsets rise from
// 0 and end within the group (ics_info derives them from the band tables),
// as apply_scalefactors takes them. The ends are still held to the group's
// block, so that no write leaves the spectrum.
template <typename Band, typename Range>
void walk_bands(const ChannelStream *stream, int32_t *dst, const int16_t *src, Band band,
                Range range)
{
    constexpr int32_t kLines = FXAAC_FRAME_LENGTH;
    const int maxSfb = stream->max_sfb;
    int32_t done = 0;  // values below are written
    int windowsBefore = 0;
    for (int g = 0; g < stream->num_window_groups; g++) {
        const int16_t *offsets = &stream->sect_sfb_offset[16 * g];
        const int32_t start = std::clamp(kShortWindowLines * windowsBefore, done, kLines);
        windowsBefore += stream->window_group_length[g];
        const int32_t bound = g + 1 < stream->num_window_groups
                                  ? std::clamp(kShortWindowLines * windowsBefore, start, kLines)
                                  : kLines;
        range(dst, src, done, start);
        done = start;
        for (int b = 0; b < maxSfb; b++) {
            const int32_t end = std::clamp(start + offsets[b + 1], done, bound);
            band(stream->scale_factors[g * maxSfb + b], dst, src, done, end);
            done = end;
        }
    }
    range(dst, src, done, kLines);
}

// The precise arithmetic: round(|q|^(4/3) 2^((sf - 100)/4) 2^kSpectrumBits)
// with the sign of q, saturated to 32 bits. |q|^(4/3) comes from the table
// below 512 (Q27, Q23 or Q19) and from a Newton step above (Q13); pulses
// may take |q| up to 8191 + 15.
constexpr int32_t kPreciseMaxMagnitude = 8191 + 15;
// Scale factor 100 is gain 1; kSpectrumBits more in quarter steps.
constexpr int32_t kUnitScaleFactor = 100;
constexpr int32_t kPreciseUnit = kUnitScaleFactor - 4 * precise::kSpectrumBits;

// The fraction bits of pow43_scaled[a]: 27, 23 or 19.
constexpr int32_t pow43_fraction(int32_t a) { return 27 - 4 * ((a >= 8) + (a >= 64)); }

// |q|^(4/3) in Q13 for 512 <= q <= 8206: P0 from a linear interpolation of
// the table at q/16 (relative error below 2^-12), then one Newton step for
// P^3 = q^4 in Q16, which squares the error; rounded to Q13: relative error
// below 2^-25.
int64_t pow43_large_q13(int32_t q)
{
    // The table ends at 511: the top 31 values extrapolate from 509 and 510.
    const int32_t j = std::min(q >> 4, 510), f = q - 16 * j;
    constexpr int64_t kSixteenPow = 2642246;  // 16^(4/3) = 2^(16/3) in Q16, rounded
    const auto q19 = [](int32_t i) { return int64_t{pow43_scaled[i]} >> (pow43_fraction(i) - 19); };
    const int64_t mix = int64_t{16 - f} * q19(j) + int64_t{f} * q19(j + 1);  // Q23
    const int64_t p0 = (mix * kSixteenPow) >> 31;                            // Q8
    const int64_t square = (p0 * p0) >> 16;                                  // Q0
    const int64_t cube = square * p0;                                        // Q8
    const int64_t q4 = int64_t{q} * q * q * q;
    const int64_t r = (q4 << 8) - cube;                      // Q8 residual of P^3
    const int64_t p1 = (p0 << 8) + (r << 8) / (3 * square);  // Q16
    return (p1 + 4) >> 3;
}

int32_t dequantize_precise(int32_t q, int32_t sf)
{
    if (q == 0)
        return 0;
    const int32_t a = std::min(q < 0 ? -q : q, kPreciseMaxMagnitude);
    const int32_t e = sf - kPreciseUnit;
    const int32_t m = gain_q30[e & 3];
    const int32_t down = e >> 2;  // 2^(e >> 2)
    int32_t v;
    if (a < 512)
        v = precise::scale_sat(int64_t{pow43_scaled[a]} * m, 30 + pow43_fraction(a) - down);
    else
        v = precise::scale_sat(pow43_large_q13(a) * m, 43 - down);
    return q < 0 ? -v : v;
}

// pow43_fraction(a) - 19 for a < 512 by a / 8: 8, 4, then 0.
constexpr uint8_t kExtraFraction[64] = {8, 4, 4, 4, 4, 4, 4, 4};

// One band. The common case, |q| < 512 at a gain that leaves a shift of 1
// to 31 after the upper word of the product (Q19 shift s from 33 to 55), is
// round(round(P m / 2^32) / 2^r) with r = s - 32 + (the table's fraction -
// 19): one rounding multiply (ARM's SMMULR) and a rounding shift. Larger
// magnitudes are done after, by dequantize_precise, as are bands of other
// gains: their word keeps the quantised value until then (in place as
// dequantize_scaled, the source may already be overwritten).
void dequantize_band_precise(int32_t sf, int32_t *dst, const int16_t *src, int32_t from, int32_t to)
{
    const int32_t e = sf - kPreciseUnit;
    const int32_t m = gain_q30[e & 3];
    const int32_t s = 49 - (e >> 2);
    if (s < 33 || s > 55) {
        for (int32_t i = from; i < to; i++)
            dst[i] = dequantize_precise(src[i], sf);
        return;
    }
    const int32_t base = s - 32;
    constexpr int kPending = 32;
    int32_t pending[kPending];
    int escapes = 0;
    const int32_t *const table = pow43_scaled;
    const auto magnitude = [&](int32_t a) {
        return precise::round_down_bounded(precise::mul_hi_round(table[a], m),
                                           base + kExtraFraction[a >> 3]);
    };
    const auto one = [&](int32_t q, int32_t at) {
        const int32_t a = q < 0 ? -q : q;
        if (a >= 512) [[unlikely]] {
            if (escapes == kPending)
                return dequantize_precise(q, sf);
            pending[escapes++] = at;
            return q;
        }
        const int32_t v = magnitude(a);
        return q < 0 ? -v : v;
    };
    int32_t i = from;
    for (; i + kStep <= to; i += kStep) {
        if (all_zero(src + i)) {
            store_zeros(dst + i);
            continue;
        }
        const int32_t q0 = src[i], q1 = src[i + 1], q2 = src[i + 2], q3 = src[i + 3];
        dst[i] = one(q0, i);
        dst[i + 1] = one(q1, i + 1);
        dst[i + 2] = one(q2, i + 2);
        dst[i + 3] = one(q3, i + 3);
    }
    for (; i < to; i++)
        dst[i] = one(src[i], i);
    for (int k = 0; k < escapes; k++)
        dst[pending[k]] = dequantize_precise(dst[pending[k]], sf);
}

}  // namespace

namespace fxaac {

void dequantize_and_scale(const ChannelStream *stream, int32_t *dst, const int16_t *src)
{
    Runs runs(dst, src);
    walk_bands(
        stream, dst, src,
        [&](int32_t sf, int32_t *, const int16_t *, int32_t from, int32_t to) {
            runs.band(sf, from, to);
        },
        [&](int32_t *, const int16_t *, int32_t from, int32_t to) {
            runs.add(from, to, GainForm::None, 0, 0);
        });
}

void dequantize_and_scale_precise(const ChannelStream *stream, int32_t *dst, const int16_t *src)
{
    // Lines past the coded bands are zero in a valid stream; any value there
    // is taken at gain 1.
    walk_bands(stream, dst, src, dequantize_band_precise,
               [](int32_t *d, const int16_t *s, int32_t from, int32_t to) {
                   dequantize_band_precise(kUnitScaleFactor, d, s, from, to);
               });
}

}  // namespace fxaac

namespace {

template <GainForm F>
void dequantize_scaled(const int16_t *q, int32_t *out, int32_t n, const Gain &g)
{
    int32_t i = 0;
    for (; i + kStep <= n; i += kStep) {
        if (all_zero(q + i)) {
            store_zeros(out + i);
            continue;
        }
        const int32_t q0 = q[i], q1 = q[i + 1], q2 = q[i + 2], q3 = q[i + 3];
        out[i] = apply_gain<F>(dequantize(q0), g);
        out[i + 1] = apply_gain<F>(dequantize(q1), g);
        out[i + 2] = apply_gain<F>(dequantize(q2), g);
        out[i + 3] = apply_gain<F>(dequantize(q3), g);
    }
    for (; i < n; i++)
        out[i] = apply_gain<F>(dequantize(q[i]), g);
}

}  // namespace

// The portable kernel: for each run (from, to, form, k, shift),
// out[i] = gain(sign(q[i]) |q[i]|^(4/3)) in one of band_gain's forms, or
// without a gain (form 3), or 0 (form 4, a silent band). In place (q in the
// upper half of out's memory, indexed alike) each step reads its values
// before it writes.
void fxaac::dequantize_bands_c(const int16_t *q, int32_t *out, const int32_t *runs, int32_t count)
{
    for (int32_t r = 0; r < count; r++, runs += 5) {
        const int32_t from = runs[0], n = runs[1] - runs[0];
        const Gain g{static_cast<GainForm>(runs[2]), runs[3], runs[4]};
        switch (g.form) {
        case GainForm::Up: dequantize_scaled<GainForm::Up>(q + from, out + from, n, g); break;
        case GainForm::Upper: dequantize_scaled<GainForm::Upper>(q + from, out + from, n, g); break;
        case GainForm::UpperShift:
            dequantize_scaled<GainForm::UpperShift>(q + from, out + from, n, g);
            break;
        case GainForm::None: dequantize_scaled<GainForm::None>(q + from, out + from, n, g); break;
        default: std::memset(out + from, 0, sizeof(int32_t) * static_cast<size_t>(n)); break;
        }
    }
}
