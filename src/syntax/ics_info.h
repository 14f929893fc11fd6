// ics_info and window grouping (ISO/IEC 14496-3 4.4.2.1, 4.5.2.3.4): window
// sequence and shape, bands transmitted, and the band offsets of every window
// group within the group-interleaved spectrum.
#ifndef FXAAC_SYNTAX_ICS_INFO_H
#define FXAAC_SYNTAX_ICS_INFO_H

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"

namespace fxaac {
enum WindowSequence : int8_t {
    kOnlyLong = 0,
    kLongStart = 1,
    kEightShort = 2,
    kLongStop = 3,
};
constexpr int kShortWindowLines = 128;
// ER AAC LD: only long windows of 512 lines.
constexpr int32_t kObjectTypeLd = 23;
// Object types above this one use the error-resilient syntax order.
constexpr int32_t kLastNonResilientType = 16;
}  // namespace fxaac

namespace fxaac {
// Derives windows, groups and band offsets from window_sequence and
// scale_factor_grouping: 0 or 10.
int32_t window_grouping_info(ChannelStream *stream, int32_t sfIndex);
}  // namespace fxaac

namespace fxaac {
// Parses ics_info into the stream: 0, 7 (low delay with short windows), 10
// (sampling frequency index above 11) or 20 (max_sfb above num_swb).
int32_t ics_info(ChannelStream *stream, BitCursor *reader, int32_t commonWindow, int32_t sfIndex,
                 int32_t objectType);
}  // namespace fxaac

#endif  // FXAAC_SYNTAX_ICS_INFO_H
