#include "syntax/spectral_data.h"

#include <cstring>

#include "fixedpoint/basic_ops.h"
#include "syntax/huffman_tables.h"
#include "syntax/ics_info.h"
#include "syntax/local_bits.h"
#include "syntax/section_data.h"

using namespace fxaac;

namespace {

constexpr int kEscapeValue = 16;
constexpr int kMaxEscapePrefix = 8;  // ones before the 0: 2^(8+4) + 12 bits = 8191 at most

// Most bits one codeword can take, sign bits and escape sequences included:
// 16 + 4 sign bits for codebooks 1 to 10; 16 + 2 sign bits + two escapes of
// 8 ones, a zero and 12 bits for codebook 11. Every step of a decode (a
// codeword with its sign bits, or one escape sequence) takes at most 21
// bits, so each is one window of LocalBits or ReaderBits.
constexpr int kMaxCodewordBits = 20;
constexpr int kMaxEscapeCodewordBits = 16 + 2 + 2 * (kMaxEscapePrefix + 1 + 4 + kMaxEscapePrefix);

// The direct lookup: ten bits on x86-64, seven where the library's size
// counts (huffman_tables.h).
#if defined(__x86_64__)
constexpr int kLookupBits = kDirectBitsWide;
constexpr const uint16_t (*kLookup)[1 << kLookupBits] = spectral_direct_wide;
#else
constexpr int kLookupBits = kDirectBits;
constexpr const uint16_t (*kLookup)[1 << kLookupBits] = spectral_direct;
#endif

// The index rows of one codebook.
struct BookRows {
    const uint16_t *direct;
    const CodeBookStart *start;
    const uint16_t *limit;
    const int16_t *first;

    explicit BookRows(int cb)
        : direct(kLookup[cb]), start(code_book_start[cb]), limit(book_length[cb]),
          first(book_length_start[cb])
    {}
};

// Finds the codeword at the top of the window: its entry in the value table
// and its length. The leading ones of the 16-bit look-ahead (the stop bit
// caps the count at 16) give the first length worth trying.
inline int find_codeword(const BookRows &book, uint32_t window, uint32_t *length)
{
    const uint32_t x = window >> 16;
    const int ones = __builtin_clz(~window | 0x8000u);
    const CodeBookStart s = book.start[ones];
    uint32_t len = static_cast<uint32_t>(s.length);
    uint32_t limit = s.limit;
    uint32_t v = x >> (16 - len);
    while (limit < v) {
        len++;
        limit = book.limit[len];
        v = x >> (16 - len);
    }
    *length = len;
    return book.first[len] + static_cast<int>(limit - v);
}

// The codeword at the top of the window: its length and its payload, the
// value-table byte (codebooks 1 to 10) or the book11 entry (codebook 11).
// Codewords of up to kLookupBits bits come from one lookup; longer ones,
// rare, from the search.
template <bool Book11>
inline uint32_t find_payload(const BookRows &book, const uint8_t *values, uint32_t window,
                             uint32_t *length)
{
    const uint32_t hit = book.direct[window >> (32 - kLookupBits)];
    if (hit != 0) [[likely]] {
        *length = hit >> kDirectLengthShift;
        return hit & kDirectPayloadMask;
    }
    const int entry = find_codeword(book, window, length);
    return Book11 ? static_cast<uint32_t>(entry) : values[entry];
}

// Give magnitude m the sign bit at the top of *bits and move past that bit
// when m is not zero; a zero stays zero whatever the bit, and takes none.
// Two forms with the same results: without a branch for the quadruple
// codebooks, whose magnitudes (0 to 2) are often zero, so that a branch
// would often be mispredicted; with one for the pair codebooks, whose
// magnitudes are mostly non-zero, where the branch is well predicted and
// keeps the next codeword's position off the value table lookup.
inline int16_t sign_without_branch(int m, uint32_t *bits, uint32_t *used)
{
    const int neg = static_cast<int32_t>(*bits) >> 31;  // 0 or -1
    const uint32_t nonzero = m != 0;
    *bits <<= nonzero;
    *used += nonzero;
    return static_cast<int16_t>((m ^ neg) - neg);
}

inline int16_t sign_with_branch(int m, uint32_t *bits, uint32_t *used)
{
    if (m == 0)
        return 0;
    const int neg = static_cast<int32_t>(*bits) >> 31;
    *bits <<= 1;
    *used += 1;
    return static_cast<int16_t>((m ^ neg) - neg);
}

// The value kinds of the codebooks.
enum class Kind { SignedQuad, UnsignedQuad, SignedPair, UnsignedPair, Escape };

constexpr Kind kind_of(int cb)
{
    return cb <= 2    ? Kind::SignedQuad
           : cb <= 4  ? Kind::UnsignedQuad
           : cb <= 6  ? Kind::SignedPair
           : cb <= 10 ? Kind::UnsignedPair
                      : Kind::Escape;
}

// Escape sequence at the top of w: N ones, a zero, then an (N + 4)-bit word;
// magnitude 2^(N + 4) + word, 2N + 5 bits. Returns -1, taking no bit, for N
// above 8, outside the standard's range.
template <class Bits>
inline int read_escape(Bits &bits)
{
    const uint32_t w = bits.window();
    // Leading ones; the stop bit after nine of them caps the count at 9.
    const int n = __builtin_clz(~w | (1u << (31 - (kMaxEscapePrefix + 1))));
    if (n > kMaxEscapePrefix)
        return -1;
    const uint32_t word = (w << (n + 1)) >> (32 - (n + 4));
    bits.skip(static_cast<uint32_t>(2 * n + 5));
    return (1 << (n + 4)) + static_cast<int>(word);
}

// Decodes one codeword into out[0 .. 3] or out[0 .. 1]: one window for the
// codeword and its sign bits, one more per escape. Returns 0, or -1 for an
// escape beyond 8191 (the bits before that escape are consumed, and a first
// value already resolved is written).
template <Kind K, class Bits>
inline int decode_one(Bits &bits, const BookRows &book, const uint8_t *values, int16_t *out)
{
    const uint32_t w = bits.window();
    uint32_t len;
    const uint32_t payload = find_payload<K == Kind::Escape>(book, values, w, &len);
    uint32_t signs = w << len;
    uint32_t used = len;
    if constexpr (K == Kind::Escape) {
        const Book11Entry e = book11[payload];
        const int16_t first = sign_with_branch(e.first, &signs, &used);
        const int16_t second = sign_with_branch(e.second, &signs, &used);
        bits.skip(used);
        int16_t v[2] = {first, second};
        for (int i = 0; i < 2; i++) {
            if (v[i] == kEscapeValue || v[i] == -kEscapeValue) {
                const int m = read_escape(bits);
                if (m < 0)
                    return -1;
                v[i] = static_cast<int16_t>(v[i] < 0 ? -m : m);
            }
            out[i] = v[i];
        }
        return 0;
    } else {
        const uint32_t e = payload;
        if constexpr (K == Kind::SignedQuad) {
            // Four 2-bit fields, first value in bits 7..6: value 2 - field.
            for (int k = 0; k < 4; k++)
                out[k] = static_cast<int16_t>(2 - ((e >> (6 - 2 * k)) & 3));
        } else if constexpr (K == Kind::UnsignedQuad) {
            for (int k = 0; k < 4; k++)
                out[k] = sign_without_branch(2 - static_cast<int>((e >> (6 - 2 * k)) & 3), &signs,
                                             &used);
        } else if constexpr (K == Kind::SignedPair) {
            // Two 4-bit two's-complement nibbles.
            out[0] = static_cast<int16_t>(static_cast<int8_t>(e) >> 4);
            out[1] = static_cast<int16_t>(static_cast<int8_t>(e << 4) >> 4);
        } else {
            out[0] = sign_with_branch(static_cast<int>(e >> 4), &signs, &used);
            out[1] = sign_with_branch(static_cast<int>(e & 0xF), &signs, &used);
        }
        bits.skip(used);
        return 0;
    }
}

constexpr int values_per_codeword(Kind k)
{
    return k == Kind::SignedQuad || k == Kind::UnsignedQuad ? 4 : 2;
}

// Decodes `codewords` codewords of one codebook to out. Runs that fit the
// data go through local bits, one reader update per run; codewords near the
// end of a bounded reader's data go through the reader.
template <Kind K>
int decode_codewords(BitCursor *r, int cb, int16_t *out, int32_t codewords)
{
    constexpr int kDim = values_per_codeword(K);
    constexpr int kMaxBits = K == Kind::Escape ? kMaxEscapeCodewordBits : kMaxCodewordBits;
    const BookRows book(cb);
    const uint8_t *values = book_table_optimized[cb < kEscHcb ? cb : 0];
    while (codewords > 0) {
        const int32_t run = local_steps(r, codewords, kMaxBits);
        if (run == 0) {
            ReaderBits bits{r};
            if (decode_one<K>(bits, book, values, out) < 0)
                return -1;
            out += kDim;
            codewords--;
            continue;
        }
        LocalBits bits(r);
        int status = 0;
        for (int32_t i = 0; i < run; i++, out += kDim) {
            if ((status = decode_one<K>(bits, book, values, out)) < 0)
                break;
        }
        local_commit(r, bits);
        if (status < 0)
            return -1;
        codewords -= run;
    }
    return 0;
}

// The codewords covering `width` values (rounded up to whole codewords).
int decode_section(BitCursor *r, int cb, int16_t *out, int width)
{
    switch (kind_of(cb)) {
    case Kind::SignedQuad: return decode_codewords<Kind::SignedQuad>(r, cb, out, (width + 3) >> 2);
    case Kind::UnsignedQuad:
        return decode_codewords<Kind::UnsignedQuad>(r, cb, out, (width + 3) >> 2);
    case Kind::SignedPair: return decode_codewords<Kind::SignedPair>(r, cb, out, (width + 1) >> 1);
    case Kind::UnsignedPair:
        return decode_codewords<Kind::UnsignedPair>(r, cb, out, (width + 1) >> 1);
    default: return decode_codewords<Kind::Escape>(r, cb, out, (width + 1) >> 1);
    }
}

}  // namespace

namespace fxaac {

int decode_spectral_codeword(BitCursor *r, int cb, int16_t *out)
{
    const BookRows book(cb);
    const uint8_t *values = book_table_optimized[cb < kEscHcb ? cb : 0];
    ReaderBits bits{r};
    int status;
    switch (kind_of(cb)) {
    case Kind::SignedQuad: status = decode_one<Kind::SignedQuad>(bits, book, values, out); break;
    case Kind::UnsignedQuad:
        status = decode_one<Kind::UnsignedQuad>(bits, book, values, out);
        break;
    case Kind::SignedPair: status = decode_one<Kind::SignedPair>(bits, book, values, out); break;
    case Kind::UnsignedPair:
        status = decode_one<Kind::UnsignedPair>(bits, book, values, out);
        break;
    default: status = decode_one<Kind::Escape>(bits, book, values, out); break;
    }
    if (status < 0)
        return -1;
    return cb <= 4 ? 4 : 2;
}

}  // namespace fxaac

int32_t fxaac::spectral_data(const ChannelStream *stream, BitCursor *reader, int16_t *quantised,
                             int16_t objectType)
{
    const int lines = objectType == kObjectTypeLd ? FXAAC_FRAME_LENGTH / 2 : FXAAC_FRAME_LENGTH;
    std::memset(quantised, 0, sizeof(int16_t) * static_cast<size_t>(lines));

    int windowsBefore = 0;
    for (int g = 0; g < stream->num_window_groups; g++) {
        int pos = kShortWindowLines * windowsBefore;
        const int16_t *offsets = &stream->sect_sfb_offset[16 * g];
        for (int i = 0; i < stream->num_sec[g]; i++) {
            const int x = g * stream->max_sfb + i;
            const int cb = stream->sect_cb[x];
            const int width = offsets[stream->sect_end[x]] - offsets[stream->sect_start[x]];
            if (cb == kZeroHcb || cb >= kNoiseHcb || cb == kReservedHcb) {
                pos += width;  // left at 0: noise and intensity bands are filled later
                continue;
            }
            if (width <= 0)
                continue;
            if (decode_section(reader, cb, &quantised[pos], width) < 0)
                return FXAAC_ERR_ESCAPE;
            pos += width;
        }
        windowsBefore += stream->window_group_length[g];
    }
    return FXAAC_OK;
}
