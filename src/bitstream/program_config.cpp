#include "bitstream/program_config.h"

#include "bitstream/adts.h"

namespace {

// Reads `count` (is_cpe, tag_select) pairs; returns the channels they carry.
uint32_t read_channel_elements(BitCursor *r, int count, uint8_t *isCpe, uint8_t *tagSelect)
{
    uint32_t channels = 0;
    for (int i = 0; i < count; i++) {
        isCpe[i] = static_cast<uint8_t>(fxaac::read_bits(r, 1));
        tagSelect[i] = static_cast<uint8_t>(fxaac::read_bits(r, 4));
        channels += isCpe[i] ? 2 : 1;
    }
    return channels;
}

void read_tags(BitCursor *r, int count, uint8_t *tagSelect)
{
    for (int i = 0; i < count; i++)
        tagSelect[i] = static_cast<uint8_t>(fxaac::read_bits(r, 4));
}

}  // namespace

using fxaac::read_bits;

int32_t fxaac::program_config_element(ProgramConfig *pce, BitCursor *reader)
{
    pce->channel_count = 0;
    pce->element_instance_tag = static_cast<uint8_t>(read_bits(reader, 4));
    pce->object_type = read_bits(reader, 2);
    int32_t result = can_decode_objType(static_cast<int32_t>(pce->object_type) + 1);

    pce->sampling_frequency_index = static_cast<uint8_t>(read_bits(reader, 4));
    pce->num_front_channel_elements = static_cast<int8_t>(read_bits(reader, 4));
    pce->num_side_channel_elements = static_cast<int8_t>(read_bits(reader, 4));
    pce->num_back_channel_elements = static_cast<int8_t>(read_bits(reader, 4));
    pce->num_lfe_channel_elements = static_cast<int8_t>(read_bits(reader, 2));
    pce->num_assoc_data_elements = static_cast<int8_t>(read_bits(reader, 3));
    pce->num_valid_cc_elements = static_cast<int8_t>(read_bits(reader, 4));

    if ((pce->mono_mixdown_present = static_cast<uint8_t>(read_bits(reader, 1))))
        pce->mono_mixdown_element_number = static_cast<uint8_t>(read_bits(reader, 4));
    if ((pce->stereo_mixdown_present = static_cast<uint8_t>(read_bits(reader, 1))))
        pce->stereo_mixdown_element_number = static_cast<uint8_t>(read_bits(reader, 4));
    if ((pce->matrix_mixdown_idx_present = static_cast<uint8_t>(read_bits(reader, 1)))) {
        pce->matrix_mixdown_idx = static_cast<uint8_t>(read_bits(reader, 2));
        pce->pseudo_surround_enable = static_cast<uint8_t>(read_bits(reader, 1));
    }

    pce->channel_count += read_channel_elements(reader, pce->num_front_channel_elements,
                                                pce->front_element_is_cpe,
                                                pce->front_element_tag_select);
    pce->channel_count += read_channel_elements(reader, pce->num_side_channel_elements,
                                                pce->side_element_is_cpe,
                                                pce->side_element_tag_select);
    pce->channel_count += read_channel_elements(reader, pce->num_back_channel_elements,
                                                pce->back_element_is_cpe,
                                                pce->back_element_tag_select);
    read_tags(reader, pce->num_lfe_channel_elements, pce->lfe_element_tag_select);
    pce->channel_count += static_cast<uint32_t>(pce->num_lfe_channel_elements);
    read_tags(reader, pce->num_assoc_data_elements, pce->assoc_data_element_tag_select);
    // Each coupling entry counts like a channel pair, whatever its switching
    // bit says: the count bounds what a program may ask of the output.
    read_channel_elements(reader, pce->num_valid_cc_elements, pce->cc_element_is_ind_sw,
                          pce->valid_cc_element_tag_select);
    pce->channel_count += 2 * static_cast<uint32_t>(pce->num_valid_cc_elements);

    aac_byte_align(reader);
    pce->comment_field_bytes = static_cast<uint8_t>(read_bits(reader, 8));
    fxaac::skip_bytes(reader, pce->comment_field_bytes);
    return result;
}
