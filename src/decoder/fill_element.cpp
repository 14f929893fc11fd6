#include "decoder/fill_element.h"

using namespace fxaac;

namespace {
constexpr uint32_t kCountEscape = 15;
}

uint32_t fxaac::VorNexAACPlus_GetSbrBitStream(BitCursor *reader)
{
    uint32_t count = read_bits(reader, 4);
    if (count == kCountEscape)
        count += read_bits(reader, 8) - 1;  // esc_count: 15 + esc_count - 1 bytes
    if (count == 0)
        return 0;
    const uint32_t extensionType = read_bits(reader, 4);
    skip_bits(reader, 4);  // the rest of the first payload byte
    skip_bytes(reader, count - 1);
    return 1u << extensionType;
}
