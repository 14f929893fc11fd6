// Side data, data stream, fill and dynamic range elements: what each reads
// and how far it moves the reader.
#include <gtest/gtest.h>

#include "bitstream/data_stream.h"
#include "decoder/fill_element.h"
#include "support/bit_writer.h"
#include "syntax/side_data.h"

using fxaac_test::BitWriter;

namespace {

// Bits that parse() moves a reader that starts `lead` bits into w's data
// (those bits are the writer's first ones).
template <typename Parse>
int32_t bits_read(const BitWriter &w, Parse parse, int lead = 0)
{
    auto buf = w.data(600);
    BitReader r;
    aac_initbits(&r, buf.data());
    fxaac::skip_bits(&r, static_cast<uint32_t>(lead));
    parse(&r);
    return aac_get_processed_bits(&r) - lead;
}

}  // namespace

TEST(SideData, PulseAndTnsFieldWidths)
{
    BitWriter one;
    one.put(0, 2).put(12, 6).put(17, 5).put(9, 4);
    PulseInfo p = {};
    EXPECT_EQ(bits_read(one, [&](BitReader *r) { pulse_data(&p, r); }), 17);
    EXPECT_EQ(p.pulse_start_sfb, 12);
    EXPECT_EQ(p.pulse_offset[0], 17);
    EXPECT_EQ(p.pulse_amp[0], 9);

    BitWriter four;
    four.put(3, 2).put(1, 6);
    for (int i = 0; i < 4; i++)
        four.put(static_cast<uint32_t>(i), 5).put(static_cast<uint32_t>(15 - i), 4);
    EXPECT_EQ(bits_read(four, [&](BitReader *r) { pulse_data(&p, r); }), 44);
    EXPECT_EQ(p.pulse_amp[3], 12);

    // Short windows: window 0 has one filter of order 7 with 3-bit
    // coefficients (4 - compression), the other seven windows none.
    ChannelStream s = {};
    s.window_sequence = 2;
    s.num_windows = 8;
    BitWriter t;
    t.put(1, 1).put(1, 1).put(9, 4).put(7, 3).put(1, 1).put(1, 1);
    for (int i = 0; i < 7; i++)
        t.put(static_cast<uint32_t>(i), 3);
    t.put(0, 7);
    TnsInfo tns = {};
    EXPECT_EQ(bits_read(t, [&](BitReader *r) { EXPECT_EQ(tns_data(&s, &tns, r), 0); }), 32 + 7);
    EXPECT_EQ(tns.length[0][0], 9);
    EXPECT_EQ(tns.coef[0][6], 6);

    // Long window, three filters; an order-0 filter reads only length and order.
    ChannelStream l = {};
    l.num_windows = 1;
    BitWriter t3;
    t3.put(3, 2).put(0, 1);
    t3.put(10, 6).put(0, 5);
    t3.put(20, 6).put(12, 5).put(0, 1).put(0, 1);
    for (int i = 0; i < 12; i++)
        t3.put(7, 3);
    t3.put(5, 6).put(1, 5).put(1, 1).put(1, 1).put(1, 2);
    TnsInfo tl = {};
    EXPECT_EQ(bits_read(t3, [&](BitReader *r) { EXPECT_EQ(tns_data(&l, &tl, r), 0); }),
              3 + 11 + 13 + 36 + 13 + 2);
    EXPECT_EQ(tl.direction[0][0], 0);
    EXPECT_EQ(tl.coef[0][12 + 11], 7);
    EXPECT_EQ(tl.coef[0][24], 1);
}

TEST(SideData, LongTermPredictionIsParsedToItsEnd)
{
    ChannelStream s = {};
    s.max_sfb = 49;
    s.num_windows = 1;
    BitWriter w;
    w.put(2047, 11).put(5, 3);
    for (int i = 0; i < 40; i++)
        w.put(i & 1, 1);
    LtpInfo ltp = {};
    EXPECT_EQ(bits_read(w, [&](BitReader *r) { ltp_data(&s, &ltp, r); }), 54);
    EXPECT_EQ(ltp.field[0], 40);
    EXPECT_EQ(ltp.field[3], 2047);
    EXPECT_EQ(ltp.field[29 + 39], 1);
}

TEST(DataStream, SkipsItsBytesWithOptionalAlignment)
{
    BitWriter esc;
    esc.put(3, 4).put(0, 1).put(255, 8).put(10, 8);
    int32_t count = 0;
    EXPECT_EQ(bits_read(esc, [&](BitReader *r) { count = data_stream_element(r); }), 21 + 8 * 265);
    EXPECT_EQ(count, 265);

    // Alignment counts from the start of the frame: 3 + 13 bits end 0 bits
    // into a byte here, 5 bits into one after a 3-bit lead.
    BitWriter aligned;
    aligned.put(0, 3).put(0, 4).put(1, 1).put(0, 8);
    EXPECT_EQ(bits_read(aligned, [](BitReader *r) { data_stream_element(r); }, 3), 13);
    aligned = BitWriter();
    aligned.put(0, 6).put(0, 4).put(1, 1).put(2, 8);
    EXPECT_EQ(bits_read(aligned, [](BitReader *r) { data_stream_element(r); }, 6), 13 + 5 + 16);
}

TEST(FillElement, PayloadIsSkippedUnread)
{
    const struct { int count, esc, bits; } cases[] = {
        {0, -1, 4}, {1, -1, 12}, {14, -1, 4 + 8 * 14}, {15, 0, 12 + 112}, {15, 255, 12 + 2152},
    };
    for (auto c : cases) {
        BitWriter w;
        w.put(0, 2).put(static_cast<uint32_t>(c.count), 4);
        if (c.esc >= 0)
            w.put(static_cast<uint32_t>(c.esc), 8);
        w.put(0xD, 4);  // an SBR extension type is skipped like fill bytes
        EXPECT_EQ(bits_read(w, [](BitReader *r) { VorNexAACPlus_GetSbrBitStream(r); }, 2), c.bits)
            << c.count << " " << c.esc;
    }
}

TEST(DynamicRange, CountsAndStorageLimits)
{
    DrcInfo drc = {};
    BitWriter plain;
    plain.put(0, 4).put(1, 1).put(100, 7);
    int32_t n = 0;
    EXPECT_EQ(bits_read(plain, [&](BitReader *r) { n = dynamic_range_info(r, &drc); }), 12);
    EXPECT_EQ(n, 2);
    EXPECT_EQ(drc.dyn_rng_ctl[0], 100);

    BitWriter bands;
    bands.put(0, 1).put(0, 1).put(1, 1).put(2, 4).put(0, 4);
    for (int i = 0; i < 3; i++)
        bands.put(static_cast<uint32_t>(40 * (i + 1)), 8);
    bands.put(0, 1);
    for (int i = 0; i < 3; i++)
        bands.put(1, 1).put(static_cast<uint32_t>(i), 7);
    DrcInfo b = {};
    EXPECT_EQ(bits_read(bands, [&](BitReader *r) { n = dynamic_range_info(r, &b); }),
              4 + 8 + 24 + 24);
    EXPECT_EQ(n, 1 + 1 + 3 + 3);
    EXPECT_EQ(b.drc_num_bands, 3);
    EXPECT_EQ(b.drc_band_top[2], 120);

    BitWriter two;
    two.put(0x55, 7).put(1, 1).put(0x2A, 7).put(0, 1);
    DrcInfo e = {};
    EXPECT_EQ(bits_read(two, [&](BitReader *r) { n = excluded_channels(r, &e); }), 16);
    EXPECT_EQ(n, 2);
    EXPECT_EQ(e.status, 0);

    // Far more groups than the record keeps: all bits read, storage bounded,
    // the shortfall reported.
    BitWriter many;
    for (int g = 0; g < 30; g++)
        many.put(0x7F, 7).put(g < 29, 1);
    DrcInfo m = {};
    EXPECT_EQ(bits_read(many, [&](BitReader *r) { n = excluded_channels(r, &m); }), 240);
    EXPECT_EQ(n, 30);
    EXPECT_EQ(m.status, FXAAC_ERR_DRC_EXCLUDE);
}
