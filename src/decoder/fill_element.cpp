#include "decoder/fill_element.h"

using namespace fxaac;

namespace {
constexpr uint32_t kCountEscape = 15;
}

void fxaac::VorNexAACPlus_GetSbrBitStream(BitCursor *reader)
{
    uint32_t count = read_bits(reader, 4);
    if (count == kCountEscape)
        count += read_bits(reader, 8) - 1;  // esc_count: 15 + esc_count - 1 bytes
    if (count == 0)
        return;
    skip_bits(reader, 8);  // extension_type and the next 4 bits: the first payload byte
    skip_bytes(reader, count - 1);
}
