#include "bitstream/bit_reader.h"

void aac_initbits(BitReader *reader, const uint8_t *buffer)
{
    reader->ptr = buffer;
    reader->bitPos = 0;
    reader->bitsConsumed = 0;
    reader->end = nullptr;
}

int32_t aac_get_processed_bits(const BitReader *reader)
{
    return reader->bitsConsumed;
}

int32_t aac_byte_align(BitReader *reader)
{
    int32_t n = 8 - (reader->bitsConsumed & 7);
    if (n == 8)
        return 0;
    reader->bitsConsumed += n;
    reader->bitPos = 0;
    reader->ptr += 1;
    return n;
}
