#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "bitstream/bit_reader.h"
#include "bitstream/data_stream.h"

using namespace fxaac;

// Every width at every position of 8 random bytes against a bit-by-bit
// read, through an unbounded reader (zeros after the data) and a bounded
// one over a heap copy of exactly the 8 bytes, so that AddressSanitizer
// sees any load past them: beyond its end it must read zeros.
TEST(BitCursor, EveryWidthAtEveryPositionMatchesBitByBitRead)
{
    std::mt19937 rng(7);
    std::vector<uint8_t> buf(16, 0);
    std::generate_n(buf.begin(), 8, [&] { return static_cast<uint8_t>(rng()); });
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[8]);
    std::copy_n(buf.begin(), 8, exact.get());
    for (uint32_t start = 0; start < 64; start++) {
        for (uint32_t n = 1; n <= 25; n++) {
            uint32_t expect = 0;
            for (uint32_t i = start; i < start + n; i++)
                expect = expect << 1 | ((buf[i / 8] >> (7 - i % 8)) & 1);
            BitCursor r, b;
            aac_initbits(&r, buf.data());
            init_bounded(&b, exact.get(), 8);
            skip_bits(&r, start);
            skip_bits(&b, start);
            ASSERT_EQ(peek_bits(&r, n), expect) << "start " << start << " n " << n;
            ASSERT_EQ(read_bits(&r, n), expect) << "start " << start << " n " << n;
            ASSERT_EQ(read_bits(&b, n), expect) << "start " << start << " n " << n;
            const uint32_t after = start + n;
            ASSERT_TRUE(r.ptr == buf.data() + after / 8 && r.bitPos == after % 8);
            ASSERT_EQ(aac_get_processed_bits(&r), static_cast<int32_t>(after));
            ASSERT_EQ(bits_available(&b, exact.get()), 64 - int64_t{after});
        }
    }
}

TEST(BitCursor, AlignmentAndByteSkips)
{
    const uint8_t buf[8] = {};
    BitCursor r;
    aac_initbits(&r, buf);
    EXPECT_EQ(aac_byte_align(&r), 0);  // aligned already: no change
    EXPECT_EQ(r.ptr, buf);
    read_bits(&r, 3);
    EXPECT_EQ(aac_byte_align(&r), 5);
    EXPECT_TRUE(r.ptr == buf + 1 && r.bitPos == 0);
    skip_bits(&r, 2);
    skip_bytes(&r, 1);  // byte skips leave the bit position alone
    EXPECT_TRUE(r.ptr == buf + 2 && r.bitPos == 2);
    EXPECT_EQ(aac_get_processed_bits(&r), 8 * 2 + 2);
}

// Callers of the exported functions allocate the three-field record and no
// more: the exported reader functions and parsers must stay inside it (an
// exact heap allocation lets AddressSanitizer see a write past it), and a
// parser run through its exported name moves it like the cursor it wraps.
extern "C" int32_t data_stream_element(BitReader *reader);

TEST(BitReader, ExportedRecordIsThreeFieldsAndExportedCallsStayInIt)
{
    static_assert(sizeof(BitReader) == 2 * sizeof(void *) + (sizeof(void *) == 4 ? 4 : 0),
                  "pointer, bit position and bit count");
    // A data stream element: tag, no alignment, two data bytes.
    const uint8_t buf[16] = {0x10, 0x10, 0xab, 0xcd, 0xef};
    const std::unique_ptr<BitReader> reader(new BitReader);
    aac_initbits(reader.get(), buf);
    EXPECT_EQ(aac_byte_align(reader.get()), 0);
    data_stream_element(reader.get());
    BitCursor c;
    aac_initbits(&c, buf);
    fxaac::data_stream_element(&c);
    EXPECT_TRUE(reader->ptr == c.ptr && reader->bitPos == c.bitPos);
    EXPECT_EQ(aac_get_processed_bits(reader.get()), aac_get_processed_bits(&c));
    EXPECT_EQ(c.bitsConsumed, 13 + 2 * 8);
}
