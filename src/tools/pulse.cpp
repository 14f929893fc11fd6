#include "tools/pulse.h"

namespace fxaac {

bool pulses_in_range(const ChannelStream *stream, int lines)
{
    const PulseInfo &p = stream->pulse;
    if (p.pulse_start_sfb >= stream->num_swb)
        return false;
    int k = stream->swb_offset[p.pulse_start_sfb];
    for (int i = 0; i <= p.number_pulse; i++)
        k += p.pulse_offset[i];
    return k < lines;
}

}  // namespace fxaac

void fxaac::pulse_decode(const ChannelStream *stream, int16_t *quantised)
{
    const PulseInfo &p = stream->pulse;
    int k = stream->swb_offset[p.pulse_start_sfb];
    for (int i = 0; i <= p.number_pulse; i++) {
        k += p.pulse_offset[i];
        int q = quantised[k];
        quantised[k] = static_cast<int16_t>(q > 0 ? q + p.pulse_amp[i] : q - p.pulse_amp[i]);
    }
}
