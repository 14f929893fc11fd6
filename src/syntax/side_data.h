// Optional side data of an individual_channel_stream (ISO/IEC 14496-3
// 4.4.2.7): pulse_data, tns_data and ltp_data, stored as raw field values.
#ifndef FXAAC_SYNTAX_SIDE_DATA_H
#define FXAAC_SYNTAX_SIDE_DATA_H

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"

// ltp_data fields: [0] bands read, [3] ltp_lag, [4] ltp_coef, [5..12]
// ltp_short_used, [13..20] ltp_short_lag_present, [21..28] ltp_short_lag,
// [29..68] ltp_long_used. Long-term prediction is parsed, never applied.
struct LtpInfo {
    uint16_t field[69];
};

namespace fxaac {
constexpr int kLtpMaxBands = 40;
}

namespace fxaac {
void pulse_data(PulseInfo *pulse, BitCursor *reader);
// Reads the TNS filters of every window: 0, or 25 when a filter's order
// exceeds its 12 coefficient slots (the largest order AAC LC allows).
int32_t tns_data(const ChannelStream *stream, TnsInfo *tns, BitCursor *reader);
void ltp_data(const ChannelStream *stream, LtpInfo *ltp, BitCursor *reader);
}  // namespace fxaac

#endif  // FXAAC_SYNTAX_SIDE_DATA_H
