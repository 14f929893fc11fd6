#include "syntax/channel_element.h"

#include <cstring>

#include "syntax/ics_info.h"
#include "syntax/section_data.h"
#include "syntax/side_data.h"
#include "syntax/spectral_data.h"
#include "tools/pulse.h"

using namespace fxaac;

namespace {

enum MsMask { kMsNone = 0, kMsPerBand = 1, kMsAll = 2 };

// Side data flags and their parsers; gain control (AAC SSR) is refused.
int32_t read_side_data(ChannelStream *s, BitCursor *r, int32_t objectType)
{
    if ((s->pulse_data_present = static_cast<uint8_t>(read_bits(r, 1))))
        pulse_data(&s->pulse, r);
    s->tns_data_present = static_cast<uint8_t>(read_bits(r, 1));
    if (s->tns_data_present && objectType <= kLastNonResilientType) {
        int32_t status = tns_data(s, &s->tns, r);
        if (status != FXAAC_OK)
            return status;
    }
    if ((s->gain_control_data_present = static_cast<uint8_t>(read_bits(r, 1))))
        return FXAAC_ERR_GAIN_CONTROL;
    return FXAAC_OK;
}

void tap_at(const ChannelTap *tap, TapPoint point, const ChannelStream *s, const BitCursor *r,
            const int16_t *quantised = nullptr)
{
    if (tap != nullptr)
        tap->at(tap->context, point, s, r, quantised);
}

// Pulses are added to the quantised values of long windows only.
int32_t add_pulses(ChannelStream *stream, int16_t *quantised, int32_t objectType)
{
    if (stream->pulse_data_present == 0)
        return FXAAC_OK;
    if (stream->window_sequence == kEightShort)
        return FXAAC_ERR_PULSE_SHORT;  // read, but pulses are defined for long windows only
    const int lines = objectType == kObjectTypeLd ? FXAAC_FRAME_LENGTH / 2 : FXAAC_FRAME_LENGTH;
    if (!pulses_in_range(stream, lines))
        return FXAAC_ERR_PULSE_POSITION;
    pulse_decode(stream, quantised);
    return FXAAC_OK;
}

}  // namespace

int32_t fxaac::individual_channel_stream(ChannelElement *element, BitCursor *reader,
                                         ChannelStream *stream, int32_t scaleFlag,
                                         int16_t *quantised, int32_t sfIndex, int32_t objectType,
                                         const ChannelTap *tap)
{
    stream->global_gain = static_cast<uint16_t>(read_bits(reader, 8));
    int32_t status;
    if (element->common_window == 0 && scaleFlag == 0 &&
        (status = ics_info(stream, reader, 0, sfIndex, objectType)) > 0)
        return status;
    tap_at(tap, TapPoint::kSections, stream, reader);
    if ((status = section_data(stream, reader)) > 0)
        return status;
    if ((status = scale_factor_data(stream, reader)) > 0)
        return status;
    if (scaleFlag == 0 && (status = read_side_data(stream, reader, objectType)) > 0)
        return status;
    // The error-resilient syntax places TNS data after the gain control flag.
    if (objectType > kLastNonResilientType && stream->tns_data_present &&
        (status = tns_data(stream, &stream->tns, reader)) > 0)
        return status;
    tap_at(tap, TapPoint::kSpectrum, stream, reader);
    if ((status = spectral_data(stream, reader, quantised, static_cast<int16_t>(objectType))) > 0)
        return status;
    if ((status = add_pulses(stream, quantised, objectType)) != FXAAC_OK)
        return status;
    tap_at(tap, TapPoint::kParsed, stream, reader, quantised);
    return FXAAC_OK;
}

int32_t fxaac::single_lfe_channel_element(AacDecoder *instance, ChannelElement *element,
                                          BitCursor *reader, int16_t *const *quantised,
                                          int32_t sfIndex, int32_t objectType,
                                          const ChannelTap *tap)
{
    element->element_instance_tag = static_cast<uint16_t>(read_bits(reader, 4));
    const int32_t tag = element->element_instance_tag;
    int which = 0;
    if (instance->sceTagSeen != 1) {
        instance->firstSceTag = tag;
        instance->sceTagSeen = 1;
    } else if (tag != instance->firstSceTag) {
        which = 1;
    }
    element->common_window = 0;
    return individual_channel_stream(element, reader, &element->stream[which], 0, quantised[which],
                                     sfIndex, objectType, tap);
}

int32_t fxaac::channel_pair_element(ChannelElement *element, BitCursor *reader, int16_t *quantised0,
                                    int16_t *quantised1, int32_t sfIndex, int32_t objectType,
                                    const ChannelTap *tap)
{
    element->element_instance_tag = static_cast<uint16_t>(read_bits(reader, 4));
    element->common_window = read_bits(reader, 1);
    ChannelStream *first = &element->stream[0];
    if (element->common_window == 0) {
        first->ms_mask_present = kMsNone;
    } else {
        int32_t status = ics_info(first, reader, 1, sfIndex, objectType);
        if (status > 0)
            return status;
        first->ms_mask_present = static_cast<int16_t>(read_bits(reader, 2));
        if (first->ms_mask_present == kMsPerBand) {
            for (int g = 0; g < first->num_window_groups; g++)
                for (int b = 0; b < first->max_sfb; b++)
                    first->ms_used[g * first->max_sfb + b] = static_cast<uint8_t>(
                        read_bits(reader, 1));
        }
        // The second channel shares the window, grouping and M/S flags. The
        // section list references are copied too: the first channel's lists
        // are used up by its own spectrum before the second channel is read.
        std::memcpy(&element->stream[1], first, sizeof *first);
    }
    int32_t status = individual_channel_stream(element, reader, first, 0, quantised0, sfIndex,
                                               objectType, tap);
    if (status > 0)
        return status;
    status = individual_channel_stream(element, reader, &element->stream[1], 0, quantised1, sfIndex,
                                       objectType, tap);
    return status < 0 ? 0 : status;
}
