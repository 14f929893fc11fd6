// Channel streams written field by field with every codebook must parse back
// to exactly what was written, and malformed streams end with their status
// before any write out of bounds.
#include <gtest/gtest.h>

#include "bitstream/bit_reader.h"
#include "syntax/channel_element.h"
#include "support/ics_writer.h"

using namespace fxaac;
using namespace fxaac_test;

namespace {

constexpr int kLc = 1;  // object type as header decoding stores it for AAC LC

// Status of a stream parsed from w's bits into t; *bits receives the bits read.
int32_t parse_ics(const BitWriter &w, ParseTarget &t, int32_t *bits = nullptr,
                  int32_t objectType = kLc, int sfIndex = 4)
{
    const auto buf = w.data();
    BitCursor r;
    aac_initbits(&r, buf.data());
    const int32_t status = individual_channel_stream(t.element.get(), &r, &t.element->stream[0], 0,
                                                     t.buffers[0], sfIndex, objectType);
    if (bits)
        *bits = aac_get_processed_bits(&r);
    return status;
}

int32_t parse_ics(const BitWriter &w, int32_t *bits = nullptr, int32_t objectType = kLc,
                  int sfIndex = 4)
{
    ParseTarget t;
    return parse_ics(w, t, bits, objectType, sfIndex);
}

// global_gain and ics_info with max_sfb bands (short windows: one group).
BitWriter header(int maxSfb, int windowSequence = 0, int gain = 100)
{
    BitWriter w;
    w.put(static_cast<uint32_t>(gain), 8)
        .put(0, 1)
        .put(static_cast<uint32_t>(windowSequence), 2)
        .put(0, 1);
    if (windowSequence == 2)
        w.put(static_cast<uint32_t>(maxSfb), 4).put(0x7F, 7);
    else
        w.put(static_cast<uint32_t>(maxSfb), 6).put(0, 1);
    return w;
}

// A long window with one band of codebook cb and its scale factor difference.
BitWriter one_band(int cb, int diff, int gain = 100)
{
    BitWriter w = header(1, 0, gain);
    w.put(static_cast<uint32_t>(cb), 4).put(1, 5);
    put_scale_factor_difference(w, diff);
    return w;
}

// Long: every codebook, noise and both intensity books, escapes at their
// limits. Then a section length escape (31 bands), and short windows in
// groups of 2, 3 and 3, of 1 and of 8.
std::vector<IcsDescription> descriptions()
{
    IcsDescription books;
    books.groups.resize(1);
    for (int cb = 1; cb <= 11; cb++)
        books.groups[0].push_back({cb, 3});
    for (Section s : {Section{13, 4}, {14, 2}, {15, 2}, {0, 2}, {11, 6}})
        books.groups[0].push_back(s);
    books.forcedEscapes = {16, 31, 8191, 4096, 17, 100};
    IcsDescription sections;
    sections.groups = {{{4, 31}, {6, 18}}};
    IcsDescription grouped;
    grouped.windowSequence = 2;
    grouped.grouping = 0b1011011;
    grouped.groups = {
        {{1, 4}, {5, 3}, {0, 2}, {11, 3}, {13, 2}}, {{9, 10}, {15, 4}}, {{2, 7}, {7, 7}}};
    grouped.forcedEscapes = {8191, 16};
    std::vector<IcsDescription> all = {books, sections, grouped};
    for (int grouping : {0, 127}) {
        IcsDescription d = grouped;
        d.grouping = grouping;
        d.groups.assign(grouping ? 1 : 8, {{3, 6}, {10, 8}});
        all.push_back(d);
    }
    return all;
}

}  // namespace

TEST(IcsRoundTrip, EveryCodebookSectionAndGrouping)
{
    for (const IcsDescription &d : descriptions()) {
        for (unsigned seed = 1; seed <= 10; seed++) {
            SCOPED_TRACE(testing::Message()
                         << "window sequence " << d.windowSequence << ", seed " << seed);
            BitWriter w;
            const IcsExpectation e = write_ics(w, d, seed);
            ParseTarget t;
            int32_t bits;
            ASSERT_EQ(parse_ics(w, t, &bits, kLc, d.sfIndex), 0);
            ASSERT_EQ(static_cast<size_t>(bits), e.bits);
            const ChannelStream &s = t.element->stream[0];
            ASSERT_EQ(s.max_sfb, e.maxSfb);
            ASSERT_EQ(std::vector<int>(s.window_group_length,
                                       s.window_group_length + s.num_window_groups),
                      e.groupLength);
            for (size_t x = 0; x < e.sfbCb.size(); x++) {
                EXPECT_EQ(s.sfb_cb[x], e.sfbCb[x]) << "band " << x;
                EXPECT_EQ(s.scale_factors[x], e.scaleFactors[x]) << "band " << x;
            }
            ASSERT_EQ(t.quantised[0], e.quantised);
            // Each group's band offsets scale with its window count.
            for (size_t g = 0; g < e.groupLength.size(); g++)
                for (int b = 0; b <= s.num_swb; b++)
                    ASSERT_EQ(s.sect_sfb_offset[16 * g + size_t(b)],
                              s.swb_offset[b] * e.groupLength[g]);
        }
    }
}

TEST(ChannelElement, StatusOfEveryMalformedCase)
{
    BitWriter pulseShort = header(0, 2), gainControl = header(0), sections = header(3),
              tns = header(0), erTns = header(0);
    pulseShort.put(1, 1).put(0, 2).put(0, 6).put(1, 5).put(1, 4).put(
        0, 2);                                  // spectrum read, then refused
    gainControl.put(0, 1).put(0, 1).put(1, 1);  // refused right after its flag
    for (int i = 0; i < 200; i++)               // an endless run of empty sections
        sections.put(1, 4).put(0, 5);
    tns.put(0, 1).put(1, 1).put(1, 2).put(0, 1).put(20, 6).put(13, 5);  // order 13 > 12 slots
    erTns.put(0, 1).put(1, 1).put(0, 1);  // error resilient: TNS after the gain control flag
    erTns.put(1, 2).put(1, 1).put(8, 6).put(2, 5).put(1, 1).put(0, 1).put(0xA, 4).put(0x5, 4);
    const struct {
        const char *what;
        BitWriter w;
        int32_t status, objectType = kLc, sfIndex = 4;
        bool readsAll = false;
    } cases[] = {
        {"reserved codebook 12", header(2).put(12, 4).put(2, 5), FXAAC_ERR_BOOK_12},
        {"scale factor below 0", one_band(1, -1, 0), FXAAC_ERR_SCALE_FACTOR},
        {"intensity position below 0", one_band(14, -1, 0).put(0, 3), 0},
        {"gain control", gainControl, FXAAC_ERR_GAIN_CONTROL, kLc, 4, true},
        {"pulses with short windows", pulseShort, FXAAC_ERR_PULSE_SHORT, kLc, 4, true},
        {"low delay takes one long window only", header(0, 1), FXAAC_ERR_LD_WINDOW, 23},
        {"sampling frequency index 12", header(0), FXAAC_ERR_GROUPING_RATE, kLc, 12},
        {"max_sfb 50 of 49 long bands", header(50), FXAAC_ERR_MAX_SFB},
        {"max_sfb 15 of 14 short bands", header(15, 2), FXAAC_ERR_MAX_SFB},
        {"a section past max_sfb", header(10).put(1, 4).put(11, 5), FXAAC_ERR_SECTION},
        {"endless empty sections", sections, FXAAC_ERR_SECTION},
        {"TNS order", tns, FXAAC_ERR_TNS_ORDER},
        {"error resilient TNS", erTns, 0, 17, 4, true},
    };
    for (const auto &c : cases) {
        int32_t bits;
        EXPECT_EQ(parse_ics(c.w, &bits, c.objectType, c.sfIndex), c.status) << c.what;
        if (c.readsAll) {
            EXPECT_EQ(static_cast<size_t>(bits), c.w.bit_count()) << c.what;
        }
    }

    for (int start : {49, 48}) {  // pulses past the last band, then past the last line
        BitWriter w = header(0);
        w.put(1, 1).put(3, 2).put(static_cast<uint32_t>(start), 6);
        for (int p = 0; p < 4; p++)
            w.put(31, 5).put(1, 4);
        EXPECT_EQ(parse_ics(w.put(0, 2)), FXAAC_ERR_PULSE_POSITION) << start;
    }

    // An escape beyond 8191 (nine leading ones) stops the reader where it is
    // found: after the codeword, its sign bits and any escape before it. The
    // frame call reports that position as the bytes consumed.
    const int failing[2][2] = {{-9000, 0}, {20, 9000}};
    const int valid[2][2] = {{-16, 0}, {20, 16}};  // the same bits up to the failing escape
    for (int c = 0; c < 2; c++) {
        BitWriter w = one_band(11, 0).put(0, 3), ok = w;
        put_spectral(w, 11, failing[c]);
        put_spectral(ok, 11, valid[c]);
        int32_t bits;
        EXPECT_EQ(parse_ics(w, &bits), FXAAC_ERR_ESCAPE) << c;
        EXPECT_EQ(static_cast<size_t>(bits), ok.bit_count() - 5) << c;  // escape 16: 0 0000
    }
}

TEST(ChannelElement, PulsesAreAddedAwayFromZero)
{
    BitWriter w = one_band(7, 0);     // codebook 7, lines 0 to 3
    w.put(1, 1).put(2, 2).put(0, 6);  // three pulses from band 0
    w.put(0, 5).put(3, 4).put(1, 5).put(2, 4).put(5, 5).put(7, 4);
    w.put(0, 2);
    const int v1[2] = {5, -5}, v2[2] = {0, 0};
    put_spectral(w, 7, v1);
    put_spectral(w, 7, v2);
    ParseTarget t;
    ASSERT_EQ(parse_ics(w, t), 0);
    EXPECT_EQ(t.quantised[0][0], 8);   // 5 + 3
    EXPECT_EQ(t.quantised[0][1], -7);  // -5 - 2
    EXPECT_EQ(t.quantised[0][6], -7);  // 0 - 7: zero becomes negative
}
