#include "bitstream/data_stream.h"

#include <fxaac/fxaac.h>

using namespace fxaac;

namespace {
constexpr uint32_t kCountEscape = 255;
constexpr int kChannelsPerGroup = 7;
}  // namespace

int32_t fxaac::data_stream_element(BitCursor *reader)
{
    skip_bits(reader, 4);  // element_instance_tag
    uint32_t align = read_bits(reader, 1);
    uint32_t count = read_bits(reader, 8);
    if (count == kCountEscape)
        count += read_bits(reader, 8);
    if (align)
        aac_byte_align(reader);  // relative to the start of the frame
    skip_bytes(reader, count);
    return static_cast<int32_t>(count);
}

int32_t fxaac::excluded_channels(BitCursor *reader, DrcInfo *drc)
{
    int32_t groups = 0;
    uint32_t more;
    do {
        const bool stored = groups < kDrcExcludeGroups;
        for (int i = 0; i < kChannelsPerGroup; i++) {
            int32_t bit = static_cast<int32_t>(read_bits(reader, 1));
            if (stored)
                drc->exclude_mask[kChannelsPerGroup * groups + i] = bit;
        }
        more = read_bits(reader, 1);
        if (stored)
            drc->additional_excluded_chns[groups] = static_cast<int32_t>(more);
        else
            drc->status = FXAAC_ERR_DRC_EXCLUDE;
        groups++;
    } while (more);
    return groups;
}

int32_t fxaac::dynamic_range_info(BitCursor *reader, DrcInfo *drc)
{
    drc->drc_num_bands = 1;
    int32_t n = 1;
    if (read_bits(reader, 1)) {  // pce_tag_present
        drc->pce_instance_tag = static_cast<int32_t>(read_bits(reader, 4));
        skip_bits(reader, 4);  // drc_tag_reserved_bits
        n += 1;
    }
    drc->excluded_chns_present = static_cast<int32_t>(read_bits(reader, 1));
    if (drc->excluded_chns_present)
        n += excluded_channels(reader, drc);
    if (read_bits(reader, 1)) {  // drc_bands_present
        drc->drc_num_bands += static_cast<int32_t>(read_bits(reader, 4));
        skip_bits(reader, 4);  // drc_interpolation_scheme
        n += 1;
        for (int i = 0; i < drc->drc_num_bands; i++) {
            drc->drc_band_top[i] = static_cast<int32_t>(read_bits(reader, 8));
            n += 1;
        }
    }
    if (read_bits(reader, 1)) {  // prog_ref_level_present
        drc->prog_ref_level = static_cast<int32_t>(read_bits(reader, 7));
        skip_bits(reader, 1);  // prog_ref_level_reserved_bits
        n += 1;
    }
    for (int i = 0; i < drc->drc_num_bands; i++) {
        drc->dyn_rng_sgn[i] = static_cast<int32_t>(read_bits(reader, 1));
        drc->dyn_rng_ctl[i] = static_cast<int32_t>(read_bits(reader, 7));
        n += 1;
    }
    return n;
}
