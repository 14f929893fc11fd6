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
Found find_spectral(int cb, uint32_t x) {
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

std::vector<int> unpack(int cb, int entry) {
  if (cb == 11) return {book11[entry].first, book11[entry].second};
  const int b = book_table_optimized[cb][entry];
  if (cb <= 4) return {2 - (b >> 6), 2 - (b >> 4 & 3), 2 - (b >> 2 & 3), 2 - (b & 3)};
  if (cb <= 6) return {static_cast<int8_t>(b) >> 4, static_cast<int8_t>(b << 4) >> 4};
  return {b >> 4, b & 15};
}

// Scalefactor codeword lookup in a 20-bit window w.
Found find_scalefactor(uint32_t w) {
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
// must give that codeword's length and values.
TEST(SpectralCodebooks, EveryCodewordDecodesThroughPackedTables) {
  for (int cb = 1; cb <= 11; ++cb) {
    const auto& words = standard().books.at("cb" + std::to_string(cb)).words;
    ASSERT_FALSE(words.empty());
    for (const Codeword& w : words) {
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
    }
  }
}

TEST(ScalefactorCodebook, EveryCodewordDecodesThroughPackedTables) {
  const auto& words = standard().books.at("sf").words;
  ASSERT_EQ(words.size(), 121u);
  for (const Codeword& w : words) {
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

TEST(SpectralCodebooks, TellingRowsOfCodebooks1And11) {
  const int start_len[17] = {1, 5, 7, 7, 9, 9, 10, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11};
  const int start_limit[17] = {0,    23,   119,  119,  503,  503,  1015, 2047, 2047,
                               2047, 2047, 2047, 2047, 2047, 2047, 2047, 2047};
  for (int n = 0; n < 17; ++n) {
    EXPECT_EQ(code_book_start[1][n].length, start_len[n]) << n;
    EXPECT_EQ(code_book_start[1][n].limit, start_limit[n]) << n;
    EXPECT_EQ(code_book_start[0][n].length, 0);
    EXPECT_EQ(book_length[0][n], 0);
    EXPECT_EQ(book_length_start[0][n], 0);
  }
  const int limits[] = {23, 23, 119, 119, 503, 1015, 2047};  // lengths 5 to 11
  for (int L = 5; L <= 11; ++L) EXPECT_EQ(book_length[1][L], limits[L - 5]) << L;
  const std::map<int, int> starts = {{1, 0}, {5, 1}, {7, 9}, {9, 33}, {10, 57}, {11, 65}};
  for (auto [L, start] : starts) EXPECT_EQ(book_length_start[1][L], start) << L;
  EXPECT_EQ(book1[0], 0xAA);

  EXPECT_EQ(code_book_start[11][0].length, 4);
  EXPECT_EQ(code_book_start[11][0].limit, 1);
  EXPECT_EQ(unpack(11, 0), (std::vector<int>{1, 1}));  // 0001
  EXPECT_EQ(unpack(11, 1), (std::vector<int>{0, 0}));  // 0000

  EXPECT_EQ(book_table_optimized[0], nullptr);
  EXPECT_EQ(book_table_optimized[10], book10);
}

TEST(ScalefactorCodebook, TellingEntriesAndWords) {
  const uint32_t words[21] = {0x801,  0x1811, 0x2023, 0x3074, 0x38B3, 0x40E5, 0x4934,
                              0x5176, 0x59D6, 0x6236, 0x6A95, 0x72E8, 0x83A7, 0x8C13,
                              0x9CB0, 0x9CB0, 0x9CB0, 0x9CB0, 0x9CB0, 0x9CB0, 0x9CB0};
  for (int n = 0; n < 21; ++n) EXPECT_EQ(scale_book_int[n], words[n]) << n;
  const std::map<int, std::pair<uint32_t, int>> entries = {
      {0, {0, 60}}, {1, {0b100, 59}}, {68, {0x3FFE8, 0}}, {75, {0x7FFFF, 13}}};
  for (auto [entry, expected] : entries) {
    EXPECT_EQ(bookscl[entry].codeword, expected.first) << entry;
    EXPECT_EQ(bookscl[entry].index, expected.second) << entry;
  }
  // Twenty one bits: the 19-bit all-ones codeword, difference -47.
  const Found all_ones = find_scalefactor(0xFFFFF);
  EXPECT_EQ(all_ones.length, 19);
  EXPECT_EQ(bookscl[all_ones.entry].index - 60, -47);
}

TEST(BandTables, OffsetsAreTheStandardsAndCoverTheWindow) {
  for (int sfi = 0; sfi < kNumSampleRates; ++sfi) {
    SCOPED_TRACE("sampling frequency index " + std::to_string(sfi));
    struct Kind {
      int num_swb, max_swb, lines;
      const int16_t* table;
      const std::vector<int>& expected;
    };
    const Kind kinds[] = {
        {num_swb_long_window[sfi], kMaxNumSwbLong, 1024, swb_offset_long_window[sfi],
         standard().swbLong.at(sfi)},
        {num_swb_short_window[sfi], kMaxNumSwbShort, 128, swb_offset_short_window[sfi],
         standard().swbShort.at(sfi)},
    };
    for (const Kind& k : kinds) {
      ASSERT_EQ(k.num_swb + 1, static_cast<int>(k.expected.size()));
      EXPECT_LE(k.num_swb, k.max_swb);
      EXPECT_EQ(k.table[0], 0);
      EXPECT_EQ(k.table[k.num_swb], k.lines);
      for (int b = 0; b < k.num_swb; ++b) EXPECT_LT(k.table[b], k.table[b + 1]) << b;
      for (int b = 0; b <= k.num_swb; ++b) EXPECT_EQ(k.table[b], k.expected[b]) << b;
    }
  }
}

}  // namespace
