// Inverse quantisation and scale factors (ISO/IEC 14496-3 4.6.1, 4.6.2):
// quantised values to sign(q) |q|^(4/3) in Q13, then each band scaled by
// 2^((sf - 100)/4), leaving the rescaled coefficients as plain integers; for
// eight short windows the grouped, interleaved order is then undone.
#ifndef FXAAC_TOOLS_INVERSE_QUANTIZATION_H
#define FXAAC_TOOLS_INVERSE_QUANTIZATION_H

#include <fxaac/fxaac.h>

namespace fxaac {
// dst[i] = sign(q) |q|^(4/3) * 2^13 for 1024 values, |q| <= 8191. May run in
// place with src in the second half of dst's 4096 bytes: src[i] is read
// before dst[i] is written, and that write reaches only values already read.
void inverse_quantization(int32_t *dst, const int16_t *src);
// Same results, one value per step.
void invquantize(int32_t *dst, const int16_t *src);
// Scales every coded band of the spectrum (grouped order) by its scale factor.
void apply_scalefactors(const ChannelStream *stream, int32_t *spectrum);
// Scales count values in place by 2^((sf - 100)/4); sf <= 23 silences them.
void get_scale_factor_gain(int32_t sf, int32_t *values, int32_t count, const int16_t *mantissas);
// Reorders eight short windows from grouped, band-interleaved order (src) to
// window order (dst).
void dec_quant_to_spec(const ChannelStream *stream, int32_t *dst, const int32_t *src);
}  // namespace fxaac

namespace fxaac {
// inverse_quantization and apply_scalefactors in one pass, with the same
// results, for a stream whose band offsets come from ics_info; may run in
// place as inverse_quantization.
void dequantize_and_scale(const ChannelStream *stream, int32_t *dst, const int16_t *src);
// The same in the precise arithmetic (precise/precise_ops.h): each value
// round(sign(q) |q|^(4/3) 2^((sf - 100)/4) 2^kSpectrumBits), saturated.
void dequantize_and_scale_precise(const ChannelStream *stream, int32_t *dst, const int16_t *src);
}  // namespace fxaac

#endif  // FXAAC_TOOLS_INVERSE_QUANTIZATION_H
