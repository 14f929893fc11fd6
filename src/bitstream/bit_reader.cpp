#include "bitstream/bit_reader.h"

// The exported reader functions work on the three-field record; the parsers'
// cursor has inline twins of them in bit_reader.h.

void aac_initbits(BitReader *reader, const uint8_t *buffer) { *reader = {buffer, 0, 0}; }

int32_t aac_get_processed_bits(const BitReader *reader) { return reader->bitsConsumed; }

int32_t aac_byte_align(BitReader *reader)
{
    BitCursor c = fxaac::cursor_of(reader);
    int32_t n = fxaac::aac_byte_align(&c);
    fxaac::store_cursor(reader, c);
    return n;
}

uint32_t fxaac::load_window_near_end(const BitCursor *r)
{
    uint32_t w = 0;
    for (int i = 0; i < 4; i++) {
        uint32_t byte = (r->ptr + i < r->end) ? r->ptr[i] : 0;
        w |= byte << (24 - 8 * i);
    }
    return w;
}

void fxaac::note_overrun(BitCursor *r)
{
    if (r->ptr > r->end || (r->ptr == r->end && r->bitPos != 0))
        r->overrun = true;
}
