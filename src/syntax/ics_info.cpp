#include "syntax/ics_info.h"

#include <cstring>

#include "syntax/band_tables.h"
#include "tools/noise_band_tables.h"

using namespace fxaac;

namespace {

constexpr int kGroupingBits = 7;

void copy_offsets(int16_t *dst, const int16_t *src, int numSwb)
{
    std::memcpy(dst, src, sizeof(int16_t) * static_cast<size_t>(numSwb + 1));
}

// Splits the eight short windows into groups from the 7 grouping bits, most
// significant first: a 1 joins the next window to the current group.
void group_short_windows(ChannelStream *s)
{
    s->num_window_groups = 1;
    s->window_group_length[0] = 1;
    for (int i = 0; i < kGroupingBits; i++) {
        if ((s->scale_factor_grouping >> (kGroupingBits - 1 - i)) & 1) {
            s->window_group_length[s->num_window_groups - 1] += 1;
        } else {
            s->num_window_groups += 1;
            s->window_group_length[s->num_window_groups - 1] = 1;
        }
    }
}

// Row g of sect_sfb_offset (16 entries) gives where each band starts inside
// group g's block, in which the group's windows are interleaved band by band.
void grouped_offsets(ChannelStream *s)
{
    for (int g = 0; g < s->num_window_groups; g++) {
        int16_t *row = &s->sect_sfb_offset[16 * g];
        int offset = 0;
        for (int b = 0; b < s->num_swb; b++) {
            row[b] = static_cast<int16_t>(offset);
            offset += s->window_group_length[g] * (s->swb_offset[b + 1] - s->swb_offset[b]);
        }
        row[s->num_swb] = static_cast<int16_t>(offset);
    }
}

}  // namespace

int32_t fxaac::window_grouping_info(ChannelStream *stream, int32_t sfIndex)
{
    if (sfIndex < 0 || sfIndex >= kNumSampleRates)
        return FXAAC_ERR_GROUPING_RATE;
    if (stream->window_sequence != kEightShort) {
        stream->num_windows = 1;
        stream->num_window_groups = 1;
        stream->window_group_length[0] = 1;
        stream->num_swb = static_cast<int8_t>(num_swb_long_window[sfIndex]);
        stream->noise_band_table = pns_swb_offset_long_window[sfIndex];
        copy_offsets(stream->swb_offset, swb_offset_long_window[sfIndex], stream->num_swb);
        copy_offsets(stream->sect_sfb_offset, swb_offset_long_window[sfIndex], stream->num_swb);
        return FXAAC_OK;
    }
    stream->num_windows = 8;
    stream->num_swb = static_cast<int8_t>(num_swb_short_window[sfIndex]);
    stream->noise_band_table = pns_swb_offset_short_window[sfIndex];
    copy_offsets(stream->swb_offset, swb_offset_short_window[sfIndex], stream->num_swb);
    group_short_windows(stream);
    grouped_offsets(stream);
    return FXAAC_OK;
}

int32_t fxaac::ics_info(ChannelStream *stream, BitCursor *reader, int32_t /*commonWindow*/,
                        int32_t sfIndex, int32_t objectType)
{
    skip_bits(reader, 1);  // ics_reserved_bit
    stream->window_sequence = static_cast<int8_t>(read_bits(reader, 2));
    stream->window_shape = static_cast<uint8_t>(read_bits(reader, 1));

    if (objectType == kObjectTypeLd) {
        if (stream->window_sequence != kOnlyLong)
            return FXAAC_ERR_LD_WINDOW;
    } else if (stream->window_sequence == kEightShort) {
        stream->max_sfb = static_cast<int8_t>(read_bits(reader, 4));
        stream->scale_factor_grouping = static_cast<int8_t>(read_bits(reader, 7));
        int32_t result = window_grouping_info(stream, sfIndex);
        if (result == FXAAC_OK && stream->max_sfb > stream->num_swb)
            result = FXAAC_ERR_MAX_SFB;
        return result;
    }

    stream->max_sfb = static_cast<int8_t>(read_bits(reader, 6));
    stream->predictor_data_present = static_cast<uint8_t>(read_bits(reader, 1));
    int32_t result = window_grouping_info(stream, sfIndex);
    if (result == FXAAC_OK && stream->max_sfb > stream->num_swb)
        result = FXAAC_ERR_MAX_SFB;
    return result;
}
