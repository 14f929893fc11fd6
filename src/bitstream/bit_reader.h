// Bit reader: a cursor over a byte buffer that reads fields most significant
// bit first (bslbf/uimsbf of ISO/IEC 14496-3 and ISO/IEC 13818-7).
//
// Invariant: bitsConsumed % 8 == bitPos. Every reader starts on a byte
// boundary and every read, skip and alignment updates the three fields
// together; byte alignment is computed from the count.
//
// Two records share these fields. BitReader is the exported three-field
// record that callers of the exported parsers allocate; it is unbounded: its
// caller supplies 3 readable bytes past the last byte a parse can reach (a
// field read looks at a 4-byte window). BitCursor, which every parser inside
// the library uses, adds an end bound: a bounded cursor never loads a byte at
// or past `end` (bytes beyond it read as zero), and its sticky `overrun` flag
// is set by the first read or skip that moves it past `end`; the frame stages
// check it at syntax boundaries. The exported parser names take a BitReader
// and forward to the parsers (api/exported_names.cpp).
#ifndef FXAAC_BITSTREAM_BIT_READER_H
#define FXAAC_BITSTREAM_BIT_READER_H

#include <cstdint>
#include <cstring>

#include <fxaac/fxaac_export.h>

struct BitReader {
    const uint8_t *ptr;    // byte holding the next unread bit
    uint32_t bitPos;       // bits of *ptr already consumed, 0 to 7
    int32_t bitsConsumed;  // bits read or skipped since aac_initbits
};

struct BitCursor {
    const uint8_t *ptr;  // as in BitReader
    uint32_t bitPos;
    int32_t bitsConsumed;
    const uint8_t *end;  // one past the caller's data; nullptr: unbounded
    bool overrun;        // sticky: a read or skip went past end
};

FXAAC_EXTERN_C_BEGIN
// Starts a reader at buffer.
FXAAC_API void aac_initbits(BitReader *reader, const uint8_t *buffer);
// Bits consumed since the start.
FXAAC_API int32_t aac_get_processed_bits(const BitReader *reader);
// Skips to the next byte boundary; returns the bits skipped (0 to 7).
FXAAC_API int32_t aac_byte_align(BitReader *reader);
FXAAC_EXTERN_C_END

namespace fxaac {

// The two rare paths of a bounded cursor, out of line so that every field
// read stays a few instructions: the window of the last bytes (bytes at or
// past the end read as zero), and setting the sticky flag once the cursor
// stands past its end (at the end itself, with no bit of the last byte
// taken, it is still inside).
uint32_t load_window_near_end(const BitCursor *r);
void note_overrun(BitCursor *r);

// True when a bounded cursor has its last byte or less left, or is past the
// end: only then can it stand past the end.
inline bool near_end(const BitCursor *r) { return r->end != nullptr && r->end - r->ptr <= 1; }

// Starts an unbounded cursor at buffer.
inline void aac_initbits(BitCursor *r, const uint8_t *buffer)
{
    *r = {buffer, 0, 0, nullptr, false};
}

// Starts a cursor that never loads bytes at or past buffer + size.
inline void init_bounded(BitCursor *r, const uint8_t *buffer, int32_t size)
{
    *r = {buffer, 0, 0, buffer + (size > 0 ? size : 0), false};
}

inline int32_t aac_get_processed_bits(const BitCursor *r) { return r->bitsConsumed; }

// Skips to the next byte boundary; returns the bits skipped (0 to 7).
inline int32_t aac_byte_align(BitCursor *r)
{
    int32_t n = 8 - (r->bitsConsumed & 7);
    if (n == 8)
        return 0;
    r->bitsConsumed += n;
    r->bitPos = 0;
    r->ptr += 1;
    if (near_end(r))
        note_overrun(r);
    return n;
}

// The unbounded cursor at an exported reader's position, and back.
inline BitCursor cursor_of(const BitReader *r)
{
    return {r->ptr, r->bitPos, r->bitsConsumed, nullptr, false};
}

inline void store_cursor(BitReader *r, const BitCursor &c)
{
    *r = {c.ptr, c.bitPos, c.bitsConsumed};
}

// The four bytes at the reader's pointer, big-endian, p[0] in bits 31..24.
// A bounded reader substitutes zero for bytes outside its data.
inline uint32_t load_window(const BitCursor *r)
{
    const uint8_t *p = r->ptr;
    if (r->end != nullptr && !(r->end > p && r->end - p >= 4))
        return load_window_near_end(r);
    uint32_t w;
    std::memcpy(&w, p, 4);
    return __builtin_bswap32(w);
}

// Advances by n bits (any n >= 0); the pointer moves by whole bytes.
inline void skip_bits(BitCursor *r, uint32_t n)
{
    uint32_t pos = r->bitPos + n;
    r->ptr += pos >> 3;
    r->bitPos = pos & 7;
    r->bitsConsumed += static_cast<int32_t>(n);
    if (near_end(r))
        note_overrun(r);
}

// Skips whole bytes: the bit position is unchanged.
inline void skip_bytes(BitCursor *r, uint32_t bytes)
{
    r->ptr += bytes;
    r->bitsConsumed += static_cast<int32_t>(8 * bytes);
    if (near_end(r))
        note_overrun(r);
}

// The next n bits (1 to 25) as an unsigned value, without advancing.
inline uint32_t peek_bits(const BitCursor *r, uint32_t n)
{
    return (load_window(r) << r->bitPos) >> (32 - n);
}

// Reads n bits (1 to 25) and advances.
inline uint32_t read_bits(BitCursor *r, uint32_t n)
{
    uint32_t v = peek_bits(r, n);
    skip_bits(r, n);
    return v;
}

inline uint32_t read_bit(BitCursor *r) { return read_bits(r, 1); }

// Bits left before the end of a bounded cursor's data; negative after an
// overrun. Meaningless for unbounded cursors.
inline int64_t bits_available(const BitCursor *r, const uint8_t *start)
{
    return 8 * static_cast<int64_t>(r->end - start) - r->bitsConsumed;
}

}  // namespace fxaac

#endif  // FXAAC_BITSTREAM_BIT_READER_H
