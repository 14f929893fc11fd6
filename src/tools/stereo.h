// Joint stereo of a channel pair (ISO/IEC 14496-3 4.6.8.1, 4.6.8.2): mid/side
// and intensity stereo, undone in place on the scaled spectra.
#ifndef FXAAC_TOOLS_STEREO_H
#define FXAAC_TOOLS_STEREO_H

#include <fxaac/fxaac.h>

FXAAC_EXTERN_C_BEGIN
// Mid/side bands become left = m + s, right = m - s (saturating).
FXAAC_API void ms_decode(const ChannelStream *first, const ChannelStream *second,
                         int32_t *spectrumFirst, int32_t *spectrumSecond);
// Intensity bands of the second channel become the first channel's lines
// scaled by +-2^(-position/4); only spectrumSecond is written.
FXAAC_API void is_decode(const ChannelStream *first, const ChannelStream *second,
                         const int32_t *spectrumFirst, int32_t *spectrumSecond);
FXAAC_EXTERN_C_END

#endif  // FXAAC_TOOLS_STEREO_H
