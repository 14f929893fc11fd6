// The packed codebook and band tables against the codebooks and band offsets
// of ISO/IEC 14496-3 as listed in data/aac_tables.txt.
#include "syntax/band_tables.h"
#include "syntax/huffman_tables.h"
#include "support/standard_tables.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace fxaac;

using fxaac_test::Codeword;
using fxaac_test::standard;

struct Found {
    int length;
    int entry;
};

// Spectral codeword lookup in a 16-bit window x: the leading ones give the
// first candidate length, then one limit per further length.
Found find_spectral(int cb, uint32_t x)
{
    int n = std::countl_zero(x ^ 0xFFFFu) - 16;
    int length = code_book_start[cb][n].length;
    uint32_t limit = code_book_start[cb][n].limit;
    uint32_t v = x >> (16 - length);
    while (limit < v && length < 16) {
        ++length;
        limit = book_length[cb][length];
        v = x >> (16 - length);
    }
    return {length, book_length_start[cb][length] + static_cast<int>(limit - v)};
}

std::vector<int> unpack(int cb, int entry)
{
    if (cb == 11)
        return {book11[entry].first, book11[entry].second};
    const int b = book_table_optimized[cb][entry];
    if (cb <= 4)
        return {2 - (b >> 6), 2 - (b >> 4 & 3), 2 - (b >> 2 & 3), 2 - (b & 3)};
    if (cb <= 6)
        return {static_cast<int8_t>(b) >> 4, static_cast<int8_t>(b << 4) >> 4};
    return {b >> 4, b & 15};
}

// Scalefactor codeword lookup in a 20-bit window w.
Found find_scalefactor(uint32_t w)
{
    constexpr uint32_t kLargest18BitCodeword = 0x3FFE8;
    constexpr int kNum18BitCodewords = 7;
    const int n = std::countl_zero(w ^ 0xFFFFFu) - 12;
    const uint32_t word = scale_book_int[n];
    int length = static_cast<int>(word >> 11);
    int p = static_cast<int>(word >> 4 & 0x7F);
    uint32_t v = w >> (20 - length);
    if (v > bookscl[p].codeword) {
        ++length;
        p += static_cast<int>(word & 0xF);
        v = w >> (20 - length);
        if (v > kLargest18BitCodeword) {
            ++length;
            p += kNum18BitCodewords;
            v = w >> (20 - length);
        }
    }
    return {length, p + static_cast<int>(bookscl[p].codeword - v)};
}

// Every look-ahead window that begins with a codeword, whatever bits follow,
// must give that codeword's length and values, through the search tables and,
// for codewords of at most kDirectBits (kDirectBitsWide) bits, through
// spectral_direct (spectral_direct_wide).
TEST(SpectralCodebooks, EveryCodewordDecodesThroughPackedTables)
{
    for (int cb = 1; cb <= 11; ++cb) {
        const auto &words = standard().books.at("cb" + std::to_string(cb)).words;
        ASSERT_FALSE(words.empty());
        for (const Codeword &w : words) {
            SCOPED_TRACE("codebook " + std::to_string(cb) + " codeword " + std::to_string(w.index));
            const uint32_t first = w.code << (16 - w.length);
            const Found found = find_spectral(cb, first);
            ASSERT_EQ(found.length, w.length);
            ASSERT_GE(found.entry, 0);
            ASSERT_LT(found.entry, static_cast<int>(words.size()));
            EXPECT_EQ(unpack(cb, found.entry), w.values);
            for (uint32_t x = first + 1; x < first + (1u << (16 - w.length)); ++x) {
                const Found again = find_spectral(cb, x);
                ASSERT_EQ(again.length, found.length) << "window " << x;
                ASSERT_EQ(again.entry, found.entry) << "window " << x;
            }
            const uint32_t payload = cb == 11 ? static_cast<uint32_t>(found.entry)
                                              : book_table_optimized[cb][found.entry];
            const auto check_direct = [&](const uint16_t *table, int bits) {
                const uint32_t direct = w.length <= bits ? static_cast<uint32_t>(w.length)
                                                                   << kDirectLengthShift |
                                                               payload
                                                         : 0;
                const uint32_t top = first >> (16 - bits);
                const uint32_t span = w.length < bits ? 1u << (bits - w.length) : 1;
                for (uint32_t t = top; t < top + span; ++t)
                    ASSERT_EQ(table[t], direct) << bits << "-bit direct index " << t;
            };
            check_direct(spectral_direct[cb], kDirectBits);
            check_direct(spectral_direct_wide[cb], kDirectBitsWide);
        }
    }
}

TEST(ScalefactorCodebook, EveryCodewordDecodesThroughPackedTables)
{
    const auto &words = standard().books.at("sf").words;
    ASSERT_EQ(words.size(), 121u);
    for (const Codeword &w : words) {
        SCOPED_TRACE("scalefactor codeword " + std::to_string(w.index));
        const uint32_t first = w.code << (20 - w.length);
        for (uint32_t x = first; x < first + (1u << (20 - w.length)); ++x) {
            const Found found = find_scalefactor(x);
            ASSERT_EQ(found.length, w.length) << "window " << x;
            ASSERT_GE(found.entry, 0);
            ASSERT_LT(found.entry, 121);
            ASSERT_EQ(bookscl[found.entry].index, w.index) << "window " << x;
        }
    }
}

TEST(BandTables, OffsetsAreTheStandardsAndCoverTheWindow)
{
    for (int sfi = 0; sfi < kNumSampleRates; ++sfi) {
        SCOPED_TRACE("sampling frequency index " + std::to_string(sfi));
        struct Kind {
            int num_swb, max_swb, lines;
            const int16_t *table;
            const std::vector<int> &expected;
        };
        const Kind kinds[] = {
            {num_swb_long_window[sfi], kMaxNumSwbLong, 1024, swb_offset_long_window[sfi],
             standard().swbLong.at(sfi)},
            {num_swb_short_window[sfi], kMaxNumSwbShort, 128, swb_offset_short_window[sfi],
             standard().swbShort.at(sfi)},
        };
        for (const Kind &k : kinds) {
            ASSERT_EQ(k.num_swb + 1, static_cast<int>(k.expected.size()));
            EXPECT_LE(k.num_swb, k.max_swb);
            EXPECT_EQ(k.table[0], 0);
            EXPECT_EQ(k.table[k.num_swb], k.lines);
            for (int b = 0; b < k.num_swb; ++b)
                EXPECT_LT(k.table[b], k.table[b + 1]) << b;
            for (int b = 0; b <= k.num_swb; ++b)
                EXPECT_EQ(k.table[b], k.expected[b]) << b;
        }
    }
}

}  // namespace
