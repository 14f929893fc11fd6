#include "bitstream/adts.h"

namespace fxaac {
namespace {

// Audio object types this decoder handles: AAC LC (2) and ER AAC LC (17).
constexpr bool decodable(int32_t aot) { return aot == 2 || aot == 17; }

constexpr auto make_object_type_gate()
{
    struct Gate {
        uint8_t flag[32];
    } gate{};
    for (int aot = 0; aot < 32; aot++)
        gate.flag[aot] = decodable(aot) ? 1 : 0;
    return gate;
}
constexpr auto kObjectTypeGate = make_object_type_gate();

// True when a bounded reader has fewer bytes left than a 12-bit peek needs.
bool sync_peek_past_end(const BitCursor *r)
{
    if (r->end == nullptr)
        return false;
    uint32_t needed = (r->bitPos + 12 + 7) >> 3;
    return r->ptr >= r->end || static_cast<uint32_t>(r->end - r->ptr) < needed;
}

}  // namespace
}  // namespace fxaac

using namespace fxaac;

int32_t fxaac::can_decode_objType(int32_t objectType)
{
    if (objectType < 0 || objectType > 31)
        return FXAAC_ERR_OBJECT_TYPE;
    return kObjectTypeGate.flag[objectType] ? FXAAC_OK : FXAAC_ERR_OBJECT_TYPE;
}

int32_t fxaac::find_sync_word(AdtsHeader *header, BitCursor *reader)
{
    if (sync_peek_past_end(reader))
        return FXAAC_ERR_NO_SYNC;
    uint32_t value = peek_bits(reader, 12);
    header->syncword = static_cast<uint16_t>(value);
    int skipped = 0;
    while (value != kAdtsSyncWord) {
        skip_bytes(reader, 1);
        if (++skipped == kSyncSearchPositions || sync_peek_past_end(reader))
            return FXAAC_ERR_NO_SYNC;
        value = peek_bits(reader, 12);
        header->syncword = static_cast<uint16_t>(value);
    }
    header->frame_length = static_cast<uint16_t>(skipped);
    skip_bits(reader, 12);
    return FXAAC_OK;
}

int32_t fxaac::find_sync_word_once(AdtsHeader *header, BitCursor *reader)
{
    header->syncword = static_cast<uint16_t>(read_bits(reader, 12));
    return header->syncword == kAdtsSyncWord ? FXAAC_OK : FXAAC_ERR_NO_SYNC;
}

int32_t fxaac::adts_fixed_header(AdtsHeader *header, BitCursor *reader)
{
    header->id = static_cast<uint8_t>(read_bits(reader, 1));
    header->layer = static_cast<uint8_t>(read_bits(reader, 2));
    header->protection_absent = static_cast<int8_t>(read_bits(reader, 1));
    header->object_type = static_cast<int8_t>(read_bits(reader, 2) + 1);
    header->sampling_frequency_index = static_cast<uint8_t>(read_bits(reader, 4));
    header->private_bit = static_cast<uint8_t>(read_bits(reader, 1));
    header->channel_configuration = static_cast<uint8_t>(read_bits(reader, 3));
    header->original_copy = static_cast<uint8_t>(read_bits(reader, 1));
    header->home = static_cast<uint8_t>(read_bits(reader, 1));
    return FXAAC_OK;
}

void fxaac::adts_variable_header(AdtsHeader *header, BitCursor *reader)
{
    header->copyright_identification_bit = static_cast<uint8_t>(read_bits(reader, 1));
    header->copyright_identification_start = static_cast<uint8_t>(read_bits(reader, 1));
    uint32_t aacFrameLength = read_bits(reader, 13);
    // The field already holds the bytes the sync search skipped; the sum
    // tells a failing caller how far to advance, so it must never be 0.
    uint16_t total = static_cast<uint16_t>(header->frame_length + aacFrameLength);
    header->frame_length = total == 0 ? 1 : total;
    header->adts_buffer_fullness = static_cast<uint16_t>(read_bits(reader, 11));
    header->number_of_raw_data_blocks_in_frame = static_cast<int8_t>(read_bits(reader, 2));
}

void fxaac::adts_error_check(AdtsHeader *header, BitCursor *reader)
{
    if (header->protection_absent == 0)
        header->crc_check = read_bits(reader, 16);
}

void fxaac::adts_header_error_check(AdtsHeader *header, BitCursor *reader)
{
    if (header->protection_absent != 0)
        return;
    for (int i = 1; i <= header->number_of_raw_data_blocks_in_frame; i++)
        skip_bits(reader, 16);  // raw_data_block_position: blocks are decoded in order
    header->crc_check = read_bits(reader, 16);
}

int32_t fxaac::adts_frame(AdtsHeader *header, BitCursor *reader)
{
    adts_fixed_header(header, reader);
    adts_variable_header(header, reader);
    if (header->number_of_raw_data_blocks_in_frame != 0)
        adts_header_error_check(header, reader);
    else
        adts_error_check(header, reader);
    aac_byte_align(reader);
    return can_decode_objType(header->object_type);
}
