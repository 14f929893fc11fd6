#include "tools/tns.h"

#include <algorithm>

#include "fixedpoint/basic_ops.h"
#include "precise/precise_ops.h"
#include "precise/precise_tables.h"
#include "syntax/ics_info.h"
#include "tools/tns_tables.h"

namespace fxaac {
namespace {

// TNS_MAX_ORDER of ISO/IEC 14496-3 4.6.9 by the decoder's object type value
// (profile numbering: 0 Main, 1 LC, 2 SSR, 3 LTP; 17 ER LC, 19 ER LTP,
// 23 ER LD). 0: the type has no long-window TNS; types above 23 count as 0.
constexpr int16_t tns_max_order_table[24] = {
    20, 12, 12, 20, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 12, 0, 20, 0, 0, 0, 20,
};

// TNS_MAX_BANDS of ISO/IEC 14496-3 4.6.9 for AAC LC, by sampling frequency
// index (96000 Hz .. 8000 Hz): {long windows, short windows}.
constexpr uint8_t tns_max_bands_table[12][2] = {
    {31, 9},  {31, 9},  {34, 10}, {40, 14}, {42, 14}, {51, 14},
    {46, 14}, {46, 14}, {42, 14}, {42, 14}, {42, 14}, {39, 14},
};

constexpr int kLastBandOffset = 51;  // swb_offset holds 52 band offsets
constexpr int kLongWindowLines = FXAAC_FRAME_LENGTH;
constexpr int kCoefRow = FXAAC_TNS_MAX_FILTERS * FXAAC_TNS_COEF_SLOTS;  // slots per window

constexpr int32_t sub_wrap(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

int max_order(bool shortWindows, int16_t objectType)
{
    if (shortWindows)
        return kTnsMaxOrderShort;
    return objectType >= 0 && objectType < 24 ? tns_max_order_table[objectType] : 0;
}

// Bands TNS may reach: an unknown sampling frequency index reaches none.
int max_bands(int32_t sfIndex, bool shortWindows)
{
    return sfIndex >= 0 && sfIndex < 12 ? tns_max_bands_table[sfIndex][shortWindows] : 0;
}

// The reflection coefficient tables by resolution (3 or 4 bits) and
// compression, in Q18 and, for the precise arithmetic, Q31.
using CoefTables = const int32_t *const[2][2];
constexpr CoefTables kQ18Tables = {
    {tns_coef_res3, tns_coef_res3_compressed},
    {tns_coef_res4, tns_coef_res4_compressed},
};
constexpr CoefTables kQ31Tables = {
    {tns_q31_res3, tns_q31_res3_compressed},
    {tns_q31_res4, tns_q31_res4_compressed},
};

// Reflection coefficients of one filter from the tables. Each raw field is
// masked to its table, which only matters for fields the parser did not
// write.
void reflection_coefs(const TnsInfo *tns, int w, int f, int order, const CoefTables &kTables,
                      int32_t *k)
{
    const int res = tns->coef_res[w] != 0;
    const int compress = tns->coef_compress[w][f] != 0;
    const int32_t *table = kTables[res][compress];
    const unsigned mask = (1u << (3 + res - compress)) - 1;
    const uint8_t *coef = &tns->coef[w][FXAAC_TNS_COEF_SLOTS * f];
    for (int i = 0; i < order; i++)
        k[i] = table[coef[i] & mask];
}

// Line offset of band `band` within its window, the band clamped to the
// offset table and the line to the window.
int band_line(const ChannelStream *stream, int band, int windowLines)
{
    const int line = stream->swb_offset[std::clamp(band, 0, kLastBandOffset)];
    return std::clamp(line, 0, windowLines);
}

}  // namespace

int tns_reflection_to_lpc(const int32_t *k, int order, int16_t *lpc)
{
    // a[i]: A[i] in Q18. Step m adds reflection k[m-1]:
    // a'[i] = a[i] + k[m-1] a[m-i] (i < m), a'[m] = k[m-1]. The product takes
    // k in Q15 (k >> 3 fits 16 bits as |k| < 2^18) and doubles the truncated
    // 32x16 product, so it stays in Q18; the sum saturates.
    int32_t a[kTnsMaxOrder + 1];
    int32_t b[kTnsMaxOrder + 1];
    order = std::clamp(order, 0, kTnsMaxOrder);
    a[0] = 1 << 18;
    for (int m = 1; m <= order; m++) {
        const int32_t km = k[m - 1] >> 3;
        for (int i = 1; i < m; i++)
            b[i] = add_sat(a[i], mul_32x16_x2(km, a[m - i]));
        for (int i = 1; i < m; i++)
            a[i] = b[i];
        a[m] = k[m - 1];
    }

    // One shift for the whole vector: the OR of the magnitudes has the top bit
    // of the largest one. a[0] = 2^18 takes part, so norm <= 12 and lpc
    // keeps at least 2 integer bits: lpc[i] = A[i] in Q(2 + norm).
    int32_t bits = 0;
    for (int i = 0; i <= order; i++)
        bits |= abs_sat(a[i]);
    const int norm = norm_s32(bits);
    lpc[0] = 32767;
    for (int i = 1; i <= order; i++)
        lpc[i] = static_cast<int16_t>(shl_wrap(a[i], norm) >> 16);
    return norm;
}

}  // namespace fxaac

using namespace fxaac;

void fxaac::tns_ar_filter_fixed(int32_t *line, int32_t size, int32_t step, const int16_t *lpc,
                                int32_t order, int32_t shift, int32_t *scratch)
{
    // hist[j - 1] is the history word of the output j lines back. With the
    // history at 2^(15 - shift) times the output and lpc[j] = A[j] in
    // Q(shift), 2 * ((hist * lpc[j]) >> 16) is A[j] y[n - j]: no per-product
    // shift. The history grows downward, so nothing is ever moved.
    int32_t *hist = scratch + size;
    // The history scaling is a left shift by up for every shift the decoder
    // passes; other orders and shifts take the general loop.
    const int32_t up = 15 - shift;
    if (order > kTnsMaxOrder || up < 0 || up > 31) {
        for (int32_t n = 0; n < size; n++) {
            int32_t y = *line;
            const int32_t taps = std::min(n, order);
            for (int32_t j = taps; j >= 1; j--)
                y = sub_wrap(y, mul_32x16_x2(lpc[j], hist[j - 1]));
            *line = y;
            *--hist = shift_dir(y, shift - 15);
            line += step;
        }
        return;
    }

    // The coefficients in the upper half of a word: the 32 x 16 product
    // truncated to bits 16..47 is then the upper word of a 32 x 32 product.
    // The sum wraps, so its terms may come in any order.
    int32_t coef[kTnsMaxOrder];
    for (int32_t j = 0; j < order; j++)
        coef[j] = static_cast<int32_t>(static_cast<uint32_t>(lpc[j + 1]) << 16);
    const auto term = [](int32_t c, int32_t h) {
        return static_cast<uint32_t>((int64_t{h} * c) >> 32) << 1;
    };

    // The first order lines have fewer outputs before them than taps.
    const int32_t warm = std::min(size, std::max(order, 0));
    int32_t n = 0;
    for (; n < warm; n++) {
        uint32_t y = static_cast<uint32_t>(*line);
        for (int32_t j = 0; j < n; j++)
            y -= term(coef[j], hist[j]);
        *line = static_cast<int32_t>(y);
        *--hist = static_cast<int32_t>(y << up);
        line += step;
    }
    for (; n < size; n++) {
        uint32_t y = static_cast<uint32_t>(*line);
        for (int32_t j = 0; j < order; j++)
            y -= term(coef[j], hist[j]);
        *line = static_cast<int32_t>(y);
        *--hist = static_cast<int32_t>(y << up);
        line += step;
    }
}

namespace {

// Every filter of a channel: filter(w, f, order, first, size, step) with the
// filter's order and its range of lines (first line, count, direction).
template <typename Filter>
void for_each_filter(const ChannelStream *stream, const TnsInfo *tns, int32_t sfIndex,
                     int16_t objectType, int32_t *spectrum, Filter filter)
{
    if (!stream->tns_data_present || stream->num_windows < 1)
        return;
    const bool shortWindows = stream->window_sequence == kEightShort;
    // A long-window channel has one window of all lines; windows beyond
    // those of its sequence would lie outside the spectrum.
    const int numWindows = std::min<int>(stream->num_windows, shortWindows ? 8 : 1);
    const int windowLines = shortWindows ? kShortWindowLines : kLongWindowLines;
    const int orderCap = max_order(shortWindows, objectType);
    const int bands = std::clamp<int>(stream->max_sfb, 0, max_bands(sfIndex, shortWindows));
    for (int w = 0; w < numWindows; w++) {
        const int numFilters = std::min<int>(tns->n_filt[w], FXAAC_TNS_MAX_FILTERS);
        int top = std::max<int>(stream->num_swb, 0);
        for (int f = 0; f < numFilters; f++) {
            const int bottom = std::max(top - tns->length[w][f], 0);
            // Coefficients past a filter's 12 slots are the next filter's;
            // none are read past the window's row.
            const int order = std::min(
                {int{tns->order[w][f]}, orderCap, kCoefRow - FXAAC_TNS_COEF_SLOTS * f});
            const int start = band_line(stream, std::min(bottom, bands), windowLines);
            const int end = band_line(stream, std::min(top, bands), windowLines);
            top = bottom;
            if (order <= 0 || end <= start)
                continue;
            const bool down = tns->direction[w][f] != 0;
            int32_t *first = spectrum + windowLines * w + (down ? end - 1 : start);
            filter(w, f, order, first, end - start, down ? -1 : 1);
        }
    }
}

// The precise arithmetic. Reflection coefficients in Q31; the direct-form
// coefficients by the same order recursion in Q40 (|A[i]| <= C(order, i) <
// 2^18 for order 20), then as 32-bit words in Q(31 - bits) with bits the
// headroom the largest needs.
constexpr int kLpcFraction = 40;

// round(a * k / 2^31) for a Q40 value a and a Q31 coefficient k, by halves.
int64_t mul_q31_wide(int64_t a, int32_t k)
{
    const int64_t hi = a >> 31;                       // |hi| < 2^28
    const int64_t lo = a & ((int64_t{1} << 31) - 1);  // 0 .. 2^31 - 1
    return hi * k + precise::round_shift(lo * k, 31);
}

// A[1 .. order] as words in Q(fraction); returns fraction.
int lpc_precise(const int32_t *k, int order, int32_t *lpc)
{
    int64_t a[kTnsMaxOrder + 1];
    int64_t b[kTnsMaxOrder + 1];
    for (int m = 1; m <= order; m++) {
        for (int i = 1; i < m; i++)
            b[i] = a[i] + mul_q31_wide(a[m - i], k[m - 1]);
        for (int i = 1; i < m; i++)
            a[i] = b[i];
        a[m] = int64_t{k[m - 1]} << (kLpcFraction - 31);
    }
    int64_t largest = 0;
    for (int i = 1; i <= order; i++)
        largest = std::max(largest, a[i] < 0 ? -a[i] : a[i]);
    int shift = kLpcFraction - 30;  // Q30 when every |A| < 1
    while (shift < kLpcFraction && (largest >> shift) >= (int64_t{1} << 30))
        shift++;
    for (int i = 1; i <= order; i++)
        lpc[i - 1] = static_cast<int32_t>(precise::round_shift(a[i], shift));
    return kLpcFraction - shift;
}

// y[n] = x[n] - sum A[j] y[n-j]: the sum in 64 bits (wrapping only for
// inputs no encoder makes), rounded once, saturated.
void filter_precise(int32_t *line, int32_t size, int32_t step, const int32_t *lpc, int order,
                    int fraction, int32_t *history)
{
    for (int32_t n = 0; n < size; n++) {
        int64_t acc = int64_t{*line} * (int64_t{1} << fraction);
        const int taps = std::min<int32_t>(n, order);
        for (int j = 0; j < taps; j++)
            acc = precise::sub_wrap64(acc, int64_t{lpc[j]} * history[n - 1 - j]);
        const int32_t y = fraction > 0 ? sat32(precise::round_shift(acc, fraction)) : sat32(acc);
        *line = y;
        history[n] = y;
        line += step;
    }
}

}  // namespace

void fxaac::tns_decode_frame(ChannelStream *stream, TnsInfo *tns, int32_t sfIndex,
                             int16_t objectType, int32_t *spectrum, int32_t *scratch)
{
    for_each_filter(stream, tns, sfIndex, objectType, spectrum,
                    [&](int w, int f, int order, int32_t *first, int32_t size, int32_t step) {
                        int32_t k[kTnsMaxOrder];
                        int16_t lpc[kTnsMaxOrder + 1];
                        reflection_coefs(tns, w, f, order, kQ18Tables, k);
                        const int norm = tns_reflection_to_lpc(k, order, lpc);
                        tns_ar_filter_fixed(first, size, step, lpc, order, norm + 2, scratch);
                    });
}

void fxaac::tns_decode_frame_precise(const ChannelStream *stream, const TnsInfo *tns,
                                     int32_t sfIndex, int16_t objectType, int32_t *spectrum,
                                     int32_t *scratch)
{
    for_each_filter(stream, tns, sfIndex, objectType, spectrum,
                    [&](int w, int f, int order, int32_t *first, int32_t size, int32_t step) {
                        int32_t k[kTnsMaxOrder];
                        int32_t lpc[kTnsMaxOrder];
                        reflection_coefs(tns, w, f, order, kQ31Tables, k);
                        const int fraction = lpc_precise(k, order, lpc);
                        filter_precise(first, size, step, lpc, order, fraction, scratch);
                    });
}
