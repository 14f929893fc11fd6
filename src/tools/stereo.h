// Joint stereo of a channel pair (ISO/IEC 14496-3 4.6.8.1, 4.6.8.2): mid/side
// and intensity stereo, undone in place on the scaled spectra.
#ifndef FXAAC_TOOLS_STEREO_H
#define FXAAC_TOOLS_STEREO_H

#include <fxaac/fxaac.h>

namespace fxaac {
// Mid/side bands become left = m + s, right = m - s (saturating).
void ms_decode(const ChannelStream *first, const ChannelStream *second, int32_t *spectrumFirst,
               int32_t *spectrumSecond);
// Intensity bands of the second channel become the first channel's lines
// scaled by +-2^(-position/4); only spectrumSecond is written.
void is_decode(const ChannelStream *first, const ChannelStream *second,
               const int32_t *spectrumFirst, int32_t *spectrumSecond);
// The same in the precise arithmetic: one 32x32 product rounded per line.
void is_decode_precise(const ChannelStream *first, const ChannelStream *second,
                       const int32_t *spectrumFirst, int32_t *spectrumSecond);
}  // namespace fxaac

#endif  // FXAAC_TOOLS_STEREO_H
