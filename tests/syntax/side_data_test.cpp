// Side data, data stream, fill and dynamic range elements: how far each
// moves the reader, and what it keeps.
#include <gtest/gtest.h>

#include "bitstream/data_stream.h"
#include "decoder/fill_element.h"
#include "support/bit_writer.h"
#include "syntax/side_data.h"

using fxaac_test::BitWriter;
using namespace fxaac;

namespace {

// Bits that parse() moves a reader that starts `lead` bits into w's data.
template <typename Parse>
int32_t bits_read(const BitWriter &w, Parse parse, int lead = 0)
{
    auto buf = w.data(600);
    BitCursor r;
    aac_initbits(&r, buf.data());
    fxaac::skip_bits(&r, static_cast<uint32_t>(lead));
    parse(&r);
    return aac_get_processed_bits(&r) - lead;
}

}  // namespace

TEST(SideData, FieldWidthsAndStorageLimits)
{
    // Short windows: window 0 has one filter of order 7 with 3-bit
    // coefficients (4 - compression), the other seven windows none.
    ChannelStream s = {};
    s.window_sequence = 2;
    s.num_windows = 8;
    BitWriter t;
    t.put(1, 1).put(1, 1).put(9, 4).put(7, 3).put(1, 1).put(1, 1);
    for (int i = 0; i < 7; i++)
        t.put(static_cast<uint32_t>(i), 3);
    TnsInfo tns = {};
    EXPECT_EQ(bits_read(t.put(0, 7), [&](BitCursor *r) { EXPECT_EQ(tns_data(&s, &tns, r), 0); }),
              32 + 7);
    EXPECT_TRUE(tns.length[0][0] == 9 && tns.coef[0][6] == 6);

    ChannelStream l = {};
    l.num_windows = 1;
    l.max_sfb = 49;  // prediction flags for at most 40 bands
    BitWriter ltp;
    ltp.put(2047, 11).put(5, 3).put(0x55555, 20).put(0xAAAAA, 20);
    LtpInfo info = {};
    EXPECT_EQ(bits_read(ltp, [&](BitCursor *r) { ltp_data(&l, &info, r); }), 54);

    // Far more groups than the record keeps: all bits read, storage bounded,
    // the shortfall reported.
    BitWriter many;
    for (int g = 0; g < 30; g++)
        many.put(0x7F, 7).put(g < 29, 1);
    DrcInfo m = {};
    int32_t n = 0;
    EXPECT_EQ(bits_read(many, [&](BitCursor *r) { n = excluded_channels(r, &m); }), 240);
    EXPECT_EQ(n, 30);
    EXPECT_EQ(m.status, FXAAC_ERR_DRC_EXCLUDE);
}

// The data stream's alignment counts from the start of the frame: 3 + 13
// bits end on a byte boundary, 6 + 13 bits 5 bits before one.
TEST(DataStreamAndFill, PayloadsAreSkippedUnread)
{
    BitWriter esc;
    esc.put(3, 4).put(0, 1).put(255, 8).put(10, 8);
    int32_t count = 0;
    EXPECT_EQ(bits_read(esc, [&](BitCursor *r) { count = data_stream_element(r); }), 21 + 8 * 265);
    EXPECT_EQ(count, 265);
    for (int lead : {3, 6}) {
        BitWriter w;
        w.put(0, lead).put(0, 4).put(1, 1).put(2, 8);
        EXPECT_EQ(bits_read(
                      w, [](BitCursor *r) { data_stream_element(r); }, lead),
                  13 + (lead == 6 ? 5 : 0) + 16);
    }

    const struct {
        int count, esc, bits;
    } fills[] = {
        {0, -1, 4}, {1, -1, 12}, {14, -1, 4 + 8 * 14}, {15, 0, 12 + 112}, {15, 255, 12 + 2152},
    };
    for (auto c : fills) {
        BitWriter w;
        w.put(0, 2).put(static_cast<uint32_t>(c.count), 4);
        if (c.esc >= 0)
            w.put(static_cast<uint32_t>(c.esc), 8);
        w.put(0xD, 4);  // an SBR extension type is skipped like fill bytes
        EXPECT_EQ(bits_read(
                      w, [](BitCursor *r) { VorNexAACPlus_GetSbrBitStream(r); }, 2),
                  c.bits)
            << c.count << " " << c.esc;
    }
}
