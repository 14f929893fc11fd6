// Elements that carry no audio for this decoder (ISO/IEC 14496-3 4.4.2.1,
// 4.4.2.7): data stream elements are stepped over, and dynamic range control
// information can be parsed by a caller (it is never applied).
#ifndef FXAAC_BITSTREAM_DATA_STREAM_H
#define FXAAC_BITSTREAM_DATA_STREAM_H

#include <cstdint>

#include "bitstream/bit_reader.h"

namespace fxaac {
constexpr int kDrcMaxBands = 17;      // 1 + a 4-bit drc_band_incr
constexpr int kDrcExcludeGroups = 8;  // groups of 7 channels kept: 56 channels
}  // namespace fxaac

// dynamic_range_info; every field is a 32-bit word.
struct DrcInfo {
    int32_t drc_num_bands;
    int32_t pce_instance_tag;
    int32_t excluded_chns_present;
    int32_t drc_band_top[fxaac::kDrcMaxBands];
    int32_t prog_ref_level;
    int32_t dyn_rng_sgn[fxaac::kDrcMaxBands];
    int32_t dyn_rng_ctl[fxaac::kDrcMaxBands];
    int32_t exclude_mask[7 * fxaac::kDrcExcludeGroups];
    int32_t additional_excluded_chns[fxaac::kDrcExcludeGroups];
    // 0, or 24 when the exclude list went past its storage: the bits were
    // read and the reader is in step, but the list is incomplete.
    int32_t status;
};

namespace fxaac {
// Skips a data stream element; returns the data bytes skipped (0 to 510).
int32_t data_stream_element(BitCursor *reader);
// Parses dynamic range control information; returns the bytes it occupies as
// counted for the enclosing fill element.
int32_t dynamic_range_info(BitCursor *reader, DrcInfo *drc);
// Parses excluded_channels; returns 1 plus the number of additional groups.
int32_t excluded_channels(BitCursor *reader, DrcInfo *drc);
}  // namespace fxaac

#endif  // FXAAC_BITSTREAM_DATA_STREAM_H
