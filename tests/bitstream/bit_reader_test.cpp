#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "bitstream/bit_reader.h"

using namespace fxaac;

namespace {

// Bit i of the buffer, counted from the first byte's most significant bit.
uint32_t bit_at(const std::vector<uint8_t> &buf, size_t i)
{
    return (buf[i / 8] >> (7 - i % 8)) & 1;
}

std::vector<uint8_t> random_bytes(size_t n, unsigned seed)
{
    std::mt19937 rng(seed);
    std::vector<uint8_t> buf(n);
    for (auto &b : buf)
        b = static_cast<uint8_t>(rng());
    return buf;
}

}  // namespace

TEST(BitReader, EveryWidthAtEveryPositionMatchesBitByBitRead)
{
    auto buf = random_bytes(64, 7);
    for (uint32_t start = 0; start < 8 * 8; start++) {
        for (uint32_t n = 1; n <= 25; n++) {
            BitReader r;
            aac_initbits(&r, buf.data());
            skip_bits(&r, start);
            uint32_t expect = 0;
            for (uint32_t i = 0; i < n; i++)
                expect = (expect << 1) | bit_at(buf, start + i);
            ASSERT_EQ(peek_bits(&r, n), expect) << "start " << start << " n " << n;
            ASSERT_EQ(read_bits(&r, n), expect);
            uint32_t after = start + n;
            EXPECT_EQ(r.ptr, buf.data() + after / 8);
            EXPECT_EQ(r.bitPos, after % 8);
            EXPECT_EQ(aac_get_processed_bits(&r), static_cast<int32_t>(after));
        }
    }
}

TEST(BitReader, PositionBookkeeping)
{
    const uint8_t buf[8] = {0xA5, 0x0F, 0xF0, 0x3C, 0x81, 0x7E, 0, 0};
    BitReader r;
    aac_initbits(&r, buf);
    EXPECT_EQ(aac_byte_align(&r), 0);  // aligned already: no change
    EXPECT_EQ(r.ptr, buf);
    EXPECT_EQ(aac_get_processed_bits(&r), 0);

    read_bits(&r, 3);
    EXPECT_EQ(aac_byte_align(&r), 5);
    EXPECT_EQ(r.ptr, buf + 1);
    EXPECT_EQ(r.bitPos, 0u);
    EXPECT_EQ(aac_get_processed_bits(&r), 8);

    skip_bits(&r, 7);
    EXPECT_EQ(read_bits(&r, 1), 1u);  // last bit of 0x0F
    EXPECT_EQ(r.ptr, buf + 2);
    EXPECT_EQ(r.bitPos, 0u);

    skip_bits(&r, 5);  // position 5 of 0xF0
    EXPECT_EQ(read_bits(&r, 13), 0x0F2u);  // 000 00111100 10: a 3-byte window
    EXPECT_EQ(r.ptr, buf + 4);
    EXPECT_EQ(r.bitPos, 2u);

    // Byte skips leave the bit position alone.
    skip_bytes(&r, 1);
    EXPECT_EQ(r.ptr, buf + 5);
    EXPECT_EQ(r.bitPos, 2u);
    EXPECT_EQ(aac_get_processed_bits(&r), 8 * 5 + 2);

    BitReader c;
    aac_initbits(&c, buf);
    read_bits(&c, 3);
    read_bits(&c, 13);
    read_bits(&c, 8);
    EXPECT_EQ(aac_get_processed_bits(&c), 24);
}

TEST(BitReader, WidestFieldAtLastBitPosition)
{
    const uint8_t buf[6] = {0x01, 0xFF, 0x00, 0xFF, 0x80, 0x00};
    BitReader r;
    aac_initbits(&r, buf);
    skip_bits(&r, 7);
    // bits 7..29: 1 11111111 00000000 111111 = 23 bits
    EXPECT_EQ(read_bits(&r, 23), (1u << 22) | (0xFFu << 14) | 0x3Fu);
    EXPECT_EQ(r.ptr, buf + 3);
    EXPECT_EQ(r.bitPos, 6u);
}

TEST(BitReader, BoundedReaderNeverLoadsPastItsEnd)
{
    // The data sit at the end of a vector so that AddressSanitizer would see
    // any load past them.
    auto buf = random_bytes(5, 3);
    std::vector<uint8_t> exact(buf.begin(), buf.end());
    for (uint32_t start = 0; start < 40; start++) {
        for (uint32_t n = 1; n <= 25 && start + n <= 40; n++) {
            BitReader r;
            init_bounded(&r, exact.data(), static_cast<int32_t>(exact.size()));
            skip_bits(&r, start);
            uint32_t expect = 0;
            for (uint32_t i = 0; i < n; i++)
                expect = (expect << 1) | bit_at(exact, start + i);
            ASSERT_EQ(read_bits(&r, n), expect) << start << " " << n;
            EXPECT_EQ(bits_available(&r, exact.data()), 40 - static_cast<int64_t>(start + n));
        }
    }
    // Past the end the reader yields zeros and reports the overrun.
    BitReader r;
    init_bounded(&r, exact.data(), 5);
    skip_bits(&r, 36);
    EXPECT_EQ(read_bits(&r, 12), (buf[4] & 0x0Fu) << 8);
    EXPECT_LT(bits_available(&r, exact.data()), 0);
}
