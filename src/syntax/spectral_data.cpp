#include "syntax/spectral_data.h"

#include <cstring>

#include "fixedpoint/basic_ops.h"
#include "syntax/huffman_tables.h"
#include "syntax/ics_info.h"
#include "syntax/section_data.h"

using namespace fxaac;

namespace {

constexpr int kWindowBits = 16;
constexpr int kEscapeValue = 16;
constexpr int kEscapePrefixBits = 9;
constexpr int kMaxEscapePrefix = 8;  // ones before the 0: 2^(8+4) + 12 bits = 8191 at most

// Finds the codeword at the reader in codebook cb: its length and its entry in
// the codebook's value table. window is the 16-bit look-ahead.
inline int find_codeword(int cb, uint32_t window, uint32_t *length)
{
    int ones = clz32(window ^ 0xFFFFu) - (32 - kWindowBits);
    CodeBookStart start = code_book_start[cb][ones];
    uint32_t len = static_cast<uint32_t>(start.length);
    uint32_t limit = start.limit;
    uint32_t v = window >> (kWindowBits - len);
    while (limit < v) {
        len++;
        limit = book_length[cb][len];
        v = window >> (kWindowBits - len);
    }
    *length = len;
    return book_length_start[cb][len] + static_cast<int>(limit - v);
}

// Sign bits follow the codeword, one per non-zero value, first value first.
inline void apply_signs(BitReader *r, int16_t *v, int n)
{
    for (int i = 0; i < n; i++)
        if (v[i] != 0 && read_bits(r, 1))
            v[i] = static_cast<int16_t>(-v[i]);
}

// Escape sequence: N ones, a zero, then an (N + 4)-bit word w; magnitude
// 2^(N + 4) + w. Returns -1 for N above 8, outside the standard's range.
inline int read_escape(BitReader *r)
{
    uint32_t prefix = peek_bits(r, kEscapePrefixBits);
    int n = clz32(prefix ^ 0x1FFu) - (32 - kEscapePrefixBits);
    if (n > kMaxEscapePrefix)
        return -1;
    skip_bits(r, static_cast<uint32_t>(n + 1));
    return (1 << (n + 4)) + static_cast<int>(read_bits(r, static_cast<uint32_t>(n + 4)));
}

int decode_escape_pair(BitReader *r, uint32_t window, int16_t *out)
{
    uint32_t len;
    Book11Entry e = book11[find_codeword(kEscHcb, window, &len)];
    int mag[2] = {e.first, e.second};
    // The sign bits come from the window already in hand.
    uint32_t used = len;
    bool negative[2] = {false, false};
    for (int i = 0; i < 2; i++) {
        if (mag[i] != 0) {
            negative[i] = (window >> (kWindowBits - 1 - used)) & 1;
            used++;
        }
    }
    skip_bits(r, used);
    for (int i = 0; i < 2; i++) {
        if (mag[i] == kEscapeValue && (mag[i] = read_escape(r)) < 0)
            return -1;
        out[i] = static_cast<int16_t>(negative[i] ? -mag[i] : mag[i]);
    }
    return 2;
}

}  // namespace

namespace fxaac {

int decode_spectral_codeword(BitReader *r, int cb, int16_t *out)
{
    uint32_t window = peek_bits(r, kWindowBits);
    if (cb == kEscHcb)
        return decode_escape_pair(r, window, out);

    uint32_t len;
    uint8_t e = book_table_optimized[cb][find_codeword(cb, window, &len)];
    skip_bits(r, len);
    switch (cb) {
    case 1:
    case 2:
    case 3:
    case 4:
        // Four 2-bit fields, first value in bits 7..6: value (or magnitude) 2 - field.
        for (int k = 0; k < 4; k++)
            out[k] = static_cast<int16_t>(2 - ((e >> (6 - 2 * k)) & 3));
        if (cb >= 3)
            apply_signs(r, out, 4);
        return 4;
    case 5:
    case 6:
        // Two 4-bit two's-complement nibbles.
        out[0] = static_cast<int16_t>(static_cast<int8_t>(e) >> 4);
        out[1] = static_cast<int16_t>(static_cast<int8_t>(e << 4) >> 4);
        return 2;
    default:  // 7 to 10: two magnitudes, then their signs
        out[0] = static_cast<int16_t>(e >> 4);
        out[1] = static_cast<int16_t>(e & 0xF);
        apply_signs(r, out, 2);
        return 2;
    }
}

}  // namespace fxaac

int32_t spectral_data(const ChannelStream *stream, BitReader *reader, int16_t *quantised,
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
            for (int done = 0; done < width;) {
                int n = decode_spectral_codeword(reader, cb, &quantised[pos + done]);
                if (n < 0)
                    return FXAAC_ERR_ESCAPE;
                done += n;
            }
            if (width > 0)
                pos += width;
        }
        windowsBefore += stream->window_group_length[g];
    }
    return FXAAC_OK;
}
