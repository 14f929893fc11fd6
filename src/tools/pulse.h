// Pulse data (ISO/IEC 14496-3 4.6.3.3): amplitudes added to quantised values
// of a long-window channel before inverse quantisation.
#ifndef FXAAC_TOOLS_PULSE_H
#define FXAAC_TOOLS_PULSE_H

#include <fxaac/fxaac.h>

namespace fxaac {
// True when every pulse lies inside the band table and the first `lines`
// spectral lines; pulse_decode may then run.
bool pulses_in_range(const ChannelStream *stream, int lines);
}  // namespace fxaac

namespace fxaac {
// Adds the pulses to the quantised values: magnitudes grow away from zero,
// and a zero value becomes negative.
void pulse_decode(const ChannelStream *stream, int16_t *quantised);
}  // namespace fxaac

#endif  // FXAAC_TOOLS_PULSE_H
