// Streams written field by field with the standard's codebooks must parse
// back to exactly what was written.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "bitstream/bit_reader.h"
#include "syntax/channel_element.h"
#include "support/ics_writer.h"

using namespace fxaac_test;

namespace {

void expect_parsed(const ChannelStream &s, const IcsExpectation &e, const int16_t *quantised)
{
    ASSERT_EQ(s.max_sfb, e.maxSfb);
    ASSERT_EQ(static_cast<size_t>(s.num_window_groups), e.groupLength.size());
    for (size_t g = 0; g < e.groupLength.size(); g++)
        EXPECT_EQ(s.window_group_length[g], e.groupLength[g]) << "group " << g;
    for (size_t x = 0; x < e.sfbCb.size(); x++) {
        EXPECT_EQ(s.sfb_cb[x], e.sfbCb[x]) << "band " << x;
        EXPECT_EQ(s.scale_factors[x], e.scaleFactors[x]) << "band " << x;
    }
    for (int k = 0; k < FXAAC_FRAME_LENGTH; k++)
        ASSERT_EQ(quantised[k], e.quantised[static_cast<size_t>(k)]) << "line " << k;
}

IcsExpectation parse_single(const IcsDescription &d, unsigned seed, ParseTarget &t)
{
    BitWriter w;
    IcsExpectation e = write_ics(w, d, seed);
    auto buf = w.data();
    BitReader r;
    aac_initbits(&r, buf.data());
    int32_t status = individual_channel_stream(t.element.get(), &r, &t.element->stream[0], 0,
                                               t.buffers[0], d.sfIndex, 1);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(static_cast<size_t>(aac_get_processed_bits(&r)), e.bits);
    return e;
}

}  // namespace

TEST(IcsRoundTrip, LongWindowEveryCodebookWithEscapes)
{
    IcsDescription d;  // 44.1 kHz: 49 bands
    d.groups.resize(1);
    for (int cb = 1; cb <= 11; cb++)
        d.groups[0].push_back({cb, 3});
    d.groups[0].push_back({13, 4});  // noise: one raw energy, then differences
    d.groups[0].push_back({14, 2});  // intensity, both codebooks
    d.groups[0].push_back({15, 2});
    d.groups[0].push_back({0, 2});
    d.groups[0].push_back({11, 6});
    d.forcedEscapes = {16, 31, 8191, 4096, 17, 100};
    for (unsigned seed = 1; seed <= 20; seed++) {
        ParseTarget t;
        IcsExpectation e = parse_single(d, seed, t);
        expect_parsed(t.element->stream[0], e, t.buffers[0]);
        EXPECT_EQ(t.element->stream[0].num_sec[0], 16);
        EXPECT_EQ(t.sections[0][0][15], 11);
        EXPECT_EQ(t.sections[0][1][15], 43);
        EXPECT_EQ(t.sections[0][2][15], 49);
    }
}

TEST(IcsRoundTrip, ShortWindowsGroupedAndInterleaved)
{
    IcsDescription d;
    d.windowSequence = 2;
    d.grouping = 91;  // 1011011: groups of 2, 3 and 3 windows
    d.groups = {
        {{1, 4}, {5, 3}, {0, 2}, {11, 3}, {13, 2}},
        {{9, 10}, {15, 4}},
        {{2, 7}, {7, 7}},
    };
    d.forcedEscapes = {8191, 16};
    for (unsigned seed = 1; seed <= 20; seed++) {
        ParseTarget t;
        IcsExpectation e = parse_single(d, seed, t);
        const ChannelStream &s = t.element->stream[0];
        expect_parsed(s, e, t.buffers[0]);
        // Group blocks start where their windows start, band rows scale with
        // the group length.
        EXPECT_EQ(s.sect_sfb_offset[16 * 1 + 14], 3 * 128);
        EXPECT_EQ(s.sect_sfb_offset[16 * 2 + 1], 3 * 4);
        EXPECT_EQ(s.num_sec[1], 2);
    }
}

TEST(IcsRoundTrip, GroupingExtremes)
{
    for (int grouping : {0, 127}) {
        IcsDescription d;
        d.windowSequence = 2;
        d.grouping = grouping;
        size_t groups = grouping == 0 ? 8 : 1;
        d.groups.assign(groups, {{3, 6}, {10, 8}});
        ParseTarget t;
        IcsExpectation e = parse_single(d, 5, t);
        const ChannelStream &s = t.element->stream[0];
        expect_parsed(s, e, t.buffers[0]);
        for (size_t g = 0; g < groups; g++)
            for (int b = 0; b <= s.num_swb; b++)
                EXPECT_EQ(s.sect_sfb_offset[16 * g + static_cast<size_t>(b)],
                          s.swb_offset[b] * s.window_group_length[g]);
        EXPECT_EQ(s.sect_sfb_offset[16 * (groups - 1) + 14], grouping == 0 ? 128 : 1024);
    }
}

TEST(IcsRoundTrip, LongSectionLengthEscape)
{
    IcsDescription d;  // 31 bands coded 11111 00000, then 18 more
    d.groups = {{{4, 31}, {6, 18}}};
    ParseTarget t;
    IcsExpectation e = parse_single(d, 9, t);
    expect_parsed(t.element->stream[0], e, t.buffers[0]);
    EXPECT_EQ(t.sections[0][2][0], 31);
    EXPECT_EQ(t.sections[0][1][1], 31);
}

// A bounded reader reads zeros past its end. Cut at any byte, a parse must
// go exactly as over the same bytes followed by zeros (same status, bits,
// values) and load nothing beyond the cut: the buffer is exactly that long.
TEST(IcsRoundTrip, BoundedReaderCutAnywhereReadsAsZeroPadding)
{
    IcsDescription longOne;
    longOne.groups.resize(1);
    for (int cb : {11, 1, 3, 5, 7, 9, 13, 11, 2, 4, 6, 8, 10, 11})
        longOne.groups[0].push_back({cb, 3});
    longOne.forcedEscapes = {8191, 16, 300, 4097, 31};
    IcsDescription shortOne;
    shortOne.windowSequence = 2;
    shortOne.grouping = 0x25;
    shortOne.groups = {{{11, 5}, {3, 7}}, {{8, 12}}, {{11, 12}}, {{1, 6}, {10, 6}}, {{9, 12}}};
    for (const IcsDescription &d : {longOne, shortOne}) {
        BitWriter w;
        write_ics(w, d, 7);
        const std::vector<uint8_t> bytes = w.data();
        for (size_t cut = 0; cut <= bytes.size(); cut++) {
            // new[] gives a distinct pointer even for 0 bytes (a null one
            // would make the reader unbounded).
            const std::unique_ptr<uint8_t[]> exact(new uint8_t[cut]);
            std::memcpy(exact.get(), bytes.data(), cut);
            std::vector<uint8_t> padded(bytes.begin(), bytes.begin() + static_cast<long>(cut));
            padded.resize(cut + 4096, 0);  // zeros parse on a while
            ParseTarget a, b;
            BitReader ra, rb;
            fxaac::init_bounded(&ra, exact.get(), static_cast<int32_t>(cut));
            aac_initbits(&rb, padded.data());
            const int32_t sa = individual_channel_stream(a.element.get(), &ra, &a.element->stream[0],
                                                         0, a.buffers[0], d.sfIndex, 1);
            const int32_t sb = individual_channel_stream(b.element.get(), &rb, &b.element->stream[0],
                                                         0, b.buffers[0], d.sfIndex, 1);
            ASSERT_EQ(sa, sb) << "cut " << cut;
            ASSERT_EQ(aac_get_processed_bits(&ra), aac_get_processed_bits(&rb)) << "cut " << cut;
            ASSERT_EQ(a.quantised[0], b.quantised[0]) << "cut " << cut;
            ASSERT_EQ(0, std::memcmp(a.element->stream[0].scale_factors,
                                     b.element->stream[0].scale_factors,
                                     sizeof a.element->stream[0].scale_factors)) << "cut " << cut;
        }
    }
}
