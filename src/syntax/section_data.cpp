#include "syntax/section_data.h"

#include "fixedpoint/basic_ops.h"
#include "syntax/huffman_tables.h"
#include "syntax/ics_info.h"
#include "syntax/local_bits.h"

using namespace fxaac;

namespace fxaac {

namespace {
constexpr uint32_t kLargest18BitCodeword = 0x3FFE8;
constexpr int kEighteenBitCodewords = 7;
constexpr int kScaleWindowBits = 20;
constexpr int kDifferenceOffset = 60;
// The first noise band carries its energy as a 9-bit value offset by 256.
constexpr int kNoiseStartBits = 9;
constexpr int32_t kNoiseStartOffset = 256;
// Noise energies count from global_gain - 90 (ISO/IEC 14496-3 4.6.2.3.3).
constexpr int32_t kNoiseGainOffset = 90;

// Decodes one scalefactor codeword at the top of the window (at most 19
// bits): the difference, -60 to +60.
template <class Bits>
inline int32_t scale_difference(Bits &bits)
{
    const uint32_t window = bits.window() >> (32 - kScaleWindowBits);
    // Leading ones of the window select the shortest length worth trying.
    int n = static_cast<int>(clz32(window ^ 0xFFFFFu)) - (32 - kScaleWindowBits);
    uint32_t w = scale_book_int[n];
    uint32_t len = w >> 11;
    uint32_t p = (w >> 4) & 0x7F;
    uint32_t skip = w & 0xF;
    uint32_t v = window >> (kScaleWindowBits - len);
    if (v > bookscl[p].codeword) {
        len += 1;
        p += skip;
        v = window >> (kScaleWindowBits - len);
        // Only for 13 leading ones do 17-, 18- and 19-bit codewords share a prefix.
        if (v > kLargest18BitCodeword) {
            len += 1;
            p += kEighteenBitCodewords;
            v = window >> (kScaleWindowBits - len);
        }
    }
    bits.skip(len);
    return bookscl[p + (bookscl[p].codeword - v)].index - kDifferenceOffset;
}

// Most bits of one band: a 19-bit codeword (the first noise band's raw value
// has 9).
constexpr int32_t kMaxBandBits = 19;

template <class Bits>
int32_t read_scale_factors(ChannelStream *stream, Bits &bits)
{
    int32_t sf = static_cast<int16_t>(stream->global_gain);
    int32_t noise = sf - kNoiseGainOffset;
    int32_t is = 0;
    bool firstNoise = true;
    const int maxSfb = stream->max_sfb;
    const int bands = stream->num_window_groups * maxSfb;

    for (int x = 0; x < bands; x++) {  // group by group, band by band
        switch (stream->sfb_cb[x]) {
        case kZeroHcb: stream->scale_factors[x] = 0; break;
        case kReservedHcb: return FXAAC_ERR_BOOK_12;
        case kNoiseHcb:
            if (firstNoise) {
                noise += static_cast<int32_t>(bits.window() >> (32 - kNoiseStartBits)) -
                         kNoiseStartOffset;
                bits.skip(kNoiseStartBits);
                firstNoise = false;
            } else {
                noise += scale_difference(bits);
            }
            stream->scale_factors[x] = static_cast<int16_t>(noise);
            break;
        case kIntensityHcb2:
        case kIntensityHcb:
            is += scale_difference(bits);
            stream->scale_factors[x] = static_cast<int16_t>(is);
            break;
        default:
            sf += scale_difference(bits);
            if (sf < 0)
                return FXAAC_ERR_SCALE_FACTOR;
            stream->scale_factors[x] = static_cast<int16_t>(sf);
            break;
        }
    }
    return FXAAC_OK;
}

}  // namespace

int32_t decode_scale_factor_difference(BitCursor *reader)
{
    ReaderBits bits{reader};
    return scale_difference(bits);
}

}  // namespace fxaac

int32_t fxaac::section_data(ChannelStream *stream, BitCursor *reader)
{
    const bool isShort = stream->window_sequence == kEightShort;
    const uint32_t lenBits = isShort ? 3 : 5;
    const uint32_t escape = (1u << lenBits) - 1;
    const int maxSfb = stream->max_sfb;

    for (int g = 0; g < stream->num_window_groups; g++) {
        int k = 0;
        int i = 0;
        const int base = g * maxSfb;
        while (k < maxSfb) {
            // A group has at most max_sfb sections unless some are empty;
            // more would run past the section arrays.
            if (i >= maxSfb)
                return FXAAC_ERR_SECTION;
            uint8_t cb = static_cast<uint8_t>(read_bits(reader, 4));
            int len = 0;
            uint32_t inc;
            while ((inc = read_bits(reader, lenBits)) == escape) {
                len += static_cast<int>(escape);
                if (k + len > maxSfb)
                    return FXAAC_ERR_SECTION;
            }
            len += static_cast<int>(inc);
            int end = k + len;
            if (end > maxSfb)
                return FXAAC_ERR_SECTION;
            stream->sect_cb[base + i] = cb;
            stream->sect_start[base + i] = static_cast<uint8_t>(k);
            stream->sect_end[base + i] = static_cast<uint8_t>(end);
            for (int b = k; b < end; b++)
                stream->sfb_cb[base + b] = static_cast<int8_t>(cb);
            i++;
            k = end;
        }
        stream->num_sec[g] = static_cast<uint16_t>(i);
    }
    return FXAAC_OK;
}

int32_t fxaac::scale_factor_data(ChannelStream *stream, BitCursor *reader)
{
    // All bands from local bits when the data surely holds them, else
    // through the reader.
    const int32_t bands = stream->num_window_groups * stream->max_sfb;
    if (local_steps(reader, bands, kMaxBandBits) == bands) {
        LocalBits bits(reader);
        const int32_t status = read_scale_factors(stream, bits);
        local_commit(reader, bits);
        return status;
    }
    ReaderBits bits{reader};
    return read_scale_factors(stream, bits);
}
