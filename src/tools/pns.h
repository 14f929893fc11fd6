// Perceptual noise substitution (ISO/IEC 14496-3 4.6.13): bands coded with
// the noise codebook are filled with pseudo-random values scaled to their
// noise energy.
#ifndef FXAAC_TOOLS_PNS_H
#define FXAAC_TOOLS_PNS_H

#include <fxaac/fxaac.h>

namespace fxaac {
// Fills the channel's noise bands; seed is the instance's generator state,
// which runs on across bands, channels and frames.
void pns_decode(const ChannelStream *stream, int32_t *spectrum, int32_t *seed);
// The same bands in the precise arithmetic: each band's energy is exactly its
// noise energy (at the precise spectrum's scale), whatever values were drawn.
void pns_decode_precise(const ChannelStream *stream, int32_t *spectrum, int32_t *seed);
// A second, independent generator (not used by decoding): starts at seed + 1
// and restarts every `period` calls when period is non-zero.
void random1init(int32_t seed, int32_t period);
// Next value of that generator, 0 to 2^31 - 1.
int32_t random1(void);
}  // namespace fxaac

#endif  // FXAAC_TOOLS_PNS_H
