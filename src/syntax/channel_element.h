// Channel elements of a raw data block (ISO/IEC 14496-3 4.4.2.1):
// single_channel_element, lfe_channel_element, channel_pair_element and the
// individual_channel_stream of each channel.
#ifndef FXAAC_SYNTAX_CHANNEL_ELEMENT_H
#define FXAAC_SYNTAX_CHANNEL_ELEMENT_H

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"

namespace fxaac {
// An observer of channel parsing, for tools outside the decoding path (the
// benchmarks time each parser on the channel states it sees): called where
// section data begins, where spectral data begins, and with the quantised
// values once the channel is parsed (pulses added). Null in the decoder.
enum class TapPoint { kSections, kSpectrum, kParsed };
struct ChannelTap {
    void *context;
    void (*at)(void *context, TapPoint point, const ChannelStream *stream, const BitCursor *reader,
               const int16_t *quantised);
};

// SCE or LFE: the element goes to the first stream (and quantised[0]) when
// its tag is the stream's first single-element tag, else to the second
// stream (and quantised[1]). Returns 0 or a positive status.
int32_t single_lfe_channel_element(AacDecoder *instance, ChannelElement *element, BitCursor *reader,
                                   int16_t *const *quantised, int32_t sfIndex, int32_t objectType,
                                   const ChannelTap *tap = nullptr);
// CPE: both streams, with ics_info and M/S flags shared under a common window.
int32_t channel_pair_element(ChannelElement *element, BitCursor *reader, int16_t *quantised0,
                             int16_t *quantised1, int32_t sfIndex, int32_t objectType,
                             const ChannelTap *tap = nullptr);
// One channel's global gain, side data and spectrum. A non-zero scaleFlag
// leaves out ics_info and the pulse, TNS and gain control flags.
int32_t individual_channel_stream(ChannelElement *element, BitCursor *reader, ChannelStream *stream,
                                  int32_t scaleFlag, int16_t *quantised, int32_t sfIndex,
                                  int32_t objectType, const ChannelTap *tap = nullptr);
}  // namespace fxaac

#endif  // FXAAC_SYNTAX_CHANNEL_ELEMENT_H
