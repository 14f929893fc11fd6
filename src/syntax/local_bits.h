// Two ways for the Huffman decoders to take bits, with one interface:
// window() gives the next bits left-aligned in a word (at least 25 valid),
// skip(n) consumes n of them. A decoder written against the interface reads
// the same bits through either.
//
// LocalBits keeps the position in a register, counted in bits from a fixed
// byte, and loads four bytes at a time without a bound: its user makes sure
// that every load stays inside the data (local_steps) and brings the reader
// up to date once per run of codewords (local_commit).
//
// ReaderBits goes through the reader itself, whose loads respect a bounded
// reader's end (bytes past it read as zero).
#ifndef FXAAC_SYNTAX_LOCAL_BITS_H
#define FXAAC_SYNTAX_LOCAL_BITS_H

#include <cstdint>
#include <cstring>

#include "bitstream/bit_reader.h"

namespace fxaac {

struct LocalBits {
    const uint8_t *base;
    uint32_t pos;  // bits from base

    explicit LocalBits(const BitCursor *r) : base(r->ptr), pos(r->bitPos) {}

    uint32_t window() const
    {
        uint32_t w;
        std::memcpy(&w, base + (pos >> 3), 4);
        return __builtin_bswap32(w) << (pos & 7);
    }
    void skip(uint32_t n) { pos += n; }
};

struct ReaderBits {
    BitCursor *r;

    uint32_t window() const { return load_window(r) << r->bitPos; }
    void skip(uint32_t n) { skip_bits(r, n); }
};

// How many of `wanted` steps of at most maxBits bits each LocalBits can take
// from the reader's position with every load inside the data: all of them
// for an unbounded reader, else as many as the bytes left allow.
inline int32_t local_steps(const BitCursor *r, int32_t wanted, int32_t maxBits)
{
    if (r->end == nullptr || wanted <= 0)
        return wanted;
    // A step's loads start before the end of its bits and read 4 bytes.
    const int64_t bits = 8 * (static_cast<int64_t>(r->end - r->ptr) - 4) -
                         static_cast<int64_t>(r->bitPos);
    if (bits >= int64_t{wanted} * maxBits)
        return wanted;
    return bits < maxBits ? 0 : static_cast<int32_t>(bits / maxBits);
}

// Moves the reader past the bits that local has consumed since it was made
// from it.
inline void local_commit(BitCursor *r, const LocalBits &local)
{
    skip_bits(r, local.pos - r->bitPos);
}

}  // namespace fxaac

#endif  // FXAAC_SYNTAX_LOCAL_BITS_H
