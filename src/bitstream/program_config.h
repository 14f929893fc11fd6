// Program config element (ISO/IEC 14496-3 program_config_element, the same
// in ISO/IEC 13818-7) and the channel count derived from it.
#ifndef FXAAC_BITSTREAM_PROGRAM_CONFIG_H
#define FXAAC_BITSTREAM_PROGRAM_CONFIG_H

#include <cstdint>

#include "bitstream/bit_reader.h"

// One list entry per element; 16 entries, one more than a 4-bit count carries.
constexpr int kPceListCapacity = 16;

struct ProgramConfig {
    uint8_t element_instance_tag;
    uint32_t object_type;  // profile numbering: 1 is AAC LC
    uint8_t sampling_frequency_index;
    int8_t num_front_channel_elements;
    int8_t num_side_channel_elements;
    int8_t num_back_channel_elements;
    int8_t num_lfe_channel_elements;
    int8_t num_assoc_data_elements;
    int8_t num_valid_cc_elements;
    uint8_t mono_mixdown_present;
    uint8_t mono_mixdown_element_number;
    uint8_t stereo_mixdown_present;
    uint8_t stereo_mixdown_element_number;
    uint8_t matrix_mixdown_idx_present;
    uint8_t pseudo_surround_enable;
    uint8_t matrix_mixdown_idx;
    uint8_t front_element_is_cpe[kPceListCapacity];
    uint8_t front_element_tag_select[kPceListCapacity];
    uint8_t side_element_is_cpe[kPceListCapacity];
    uint8_t side_element_tag_select[kPceListCapacity];
    uint8_t back_element_is_cpe[kPceListCapacity];
    uint8_t back_element_tag_select[kPceListCapacity];
    uint8_t lfe_element_tag_select[kPceListCapacity];
    uint8_t assoc_data_element_tag_select[kPceListCapacity];
    uint8_t cc_element_is_ind_sw[kPceListCapacity];
    uint8_t valid_cc_element_tag_select[kPceListCapacity];
    uint32_t channel_count;  // output channels of the program (derived)
    uint8_t comment_field_bytes;
};

namespace fxaac {
// Parses one element, leaving the reader after its comment bytes. Returns 0,
// or -12 when object_type is not AAC LC (the element is parsed whole anyway).
int32_t program_config_element(ProgramConfig *pce, BitCursor *reader);
}  // namespace fxaac

#endif  // FXAAC_BITSTREAM_PROGRAM_CONFIG_H
