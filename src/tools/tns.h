// Temporal noise shaping (ISO/IEC 14496-3 4.6.9): per window and filter, the
// transmitted reflection coefficients become a direct-form all-pole filter
// y[n] = x[n] - sum_j A[j] y[n - j], run in place over a range of spectral
// lines, upward or downward.
#ifndef FXAAC_TOOLS_TNS_H
#define FXAAC_TOOLS_TNS_H

#include <fxaac/fxaac.h>

namespace fxaac {
// Longest filter of any object type (AAC Main, LTP, ER LTP, ER LD).
constexpr int kTnsMaxOrder = 20;
// Longest filter of a short window, whatever the object type.
constexpr int kTnsMaxOrderShort = 7;

// Converts reflection coefficients k[0 .. order-1] (Q18, |k| < 2^18) into the
// 16-bit coefficients lpc[0 .. order] of the filter, order 0..kTnsMaxOrder.
// The order-recursive conversion runs in Q18 with saturating sums; the vector
// is then scaled by the common shift norm (0..12) that brings its largest
// magnitude into 16 bits, so lpc[i] holds A[i] in Q(2 + norm) and lpc[0] is
// 32767 (unused by the filter). Returns norm.
int tns_reflection_to_lpc(const int32_t *k, int order, int16_t *lpc);
}  // namespace fxaac

namespace fxaac {
// Applies the TNS filters of one channel to its spectrum (1024 words, window
// w of eight short windows at lines 128w .. 128w + 127), in place. Nothing
// happens when tns_data_present is 0. sfIndex outside 0..11 filters nothing;
// objectType outside 0..23, or one without a TNS maximum order, skips the
// long-window filters. scratch: the filter history, up to 1024 words (see
// tns_ar_filter_fixed); its previous contents are irrelevant.
void tns_decode_frame(ChannelStream *stream, TnsInfo *tns, int32_t sfIndex, int16_t objectType,
                      int32_t *spectrum, int32_t *scratch);
// The same filters in the precise arithmetic: Q31 reflection coefficients,
// 32-bit direct-form coefficients, 64-bit sums rounded once per line.
// scratch: up to 1024 words of history.
void tns_decode_frame_precise(const ChannelStream *stream, const TnsInfo *tns, int32_t sfIndex,
                              int16_t objectType, int32_t *spectrum, int32_t *scratch);
// All-pole filter over `size` lines in place, visiting line[0], line[step],
// line[2 * step], ... (step +1 upward, -1 downward). For the n-th line:
//   y[n] = x[n] - sum_{j=1}^{min(n, order)} 2 * ((h[n-j] * lpc[j]) >> 16)
// with the history word h[m] = y[m] << (15 - shift) (wrapping), the 32x16
// product truncated to bits 16..47 and every sum wrapping. With lpc[j] =
// A[j] in Q(shift) this is y[n] = x[n] - sum A[j] y[n-j] from zero initial
// state. tns_decode_frame passes shift 2..14; above 15 the history scaling
// becomes a right shift.
// Scratch: the history word of the n-th line goes to scratch[size - 1 - n],
// so exactly scratch[0] .. scratch[size - 1] is written (newest lowest: the
// output j lines back is j words above it). size <= 0 does nothing.
void tns_ar_filter_fixed(int32_t *line, int32_t size, int32_t step, const int16_t *lpc,
                         int32_t order, int32_t shift, int32_t *scratch);
}  // namespace fxaac

#endif  // FXAAC_TOOLS_TNS_H
