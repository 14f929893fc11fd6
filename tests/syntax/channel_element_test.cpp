// Element routing, the common-window copy and every status a channel element
// can end with.
#include <gtest/gtest.h>

#include <memory>

#include "bitstream/bit_reader.h"
#include "syntax/channel_element.h"
#include "syntax/section_data.h"
#include "syntax/spectral_data.h"
#include "support/ics_writer.h"

using namespace fxaac_test;

namespace {

constexpr int kLc = 1;  // object type as header decoding stores it for AAC LC

struct Instance {
    std::unique_ptr<AacDecoder> dec = std::make_unique<AacDecoder>();
    std::unique_ptr<DecoderWorkArea> work = std::make_unique<DecoderWorkArea>();
    Instance() { AACPlusDecoderInit(dec.get(), work.get()); }
};

IcsDescription small_long()
{
    IcsDescription d;
    d.groups = {{{1, 2}, {11, 3}}};
    return d;
}

int32_t parse_sce(Instance &in, ParseTarget &t, int tag, const IcsDescription &d, unsigned seed,
                  IcsExpectation *e = nullptr)
{
    BitWriter w;
    w.put(static_cast<uint32_t>(tag), 4);
    IcsExpectation x = write_ics(w, d, seed);
    if (e)
        *e = x;
    auto buf = w.data();
    BitReader r;
    aac_initbits(&r, buf.data());
    return single_lfe_channel_element(in.dec.get(), t.element.get(), &r, t.buffers, d.sfIndex,
                                      kLc);
}

// Status of individual_channel_stream on a hand-built body.
int32_t parse_ics(const std::vector<uint8_t> &buf, int32_t objectType = kLc, int sfIndex = 4,
                  int32_t *bits = nullptr)
{
    ParseTarget t;
    BitReader r;
    aac_initbits(&r, buf.data());
    int32_t status = individual_channel_stream(t.element.get(), &r, &t.element->stream[0], 0,
                                               t.buffers[0], sfIndex, objectType);
    if (bits)
        *bits = aac_get_processed_bits(&r);
    return status;
}

// global_gain and a long-window ics_info.
BitWriter long_header(int maxSfb, int windowSequence = 0, int gain = 100)
{
    BitWriter w;
    w.put(static_cast<uint32_t>(gain), 8).put(0, 1).put(static_cast<uint32_t>(windowSequence), 2).put(0, 1);
    if (windowSequence == 2)
        w.put(static_cast<uint32_t>(maxSfb), 4).put(0x7F, 7);
    else
        w.put(static_cast<uint32_t>(maxSfb), 6).put(0, 1);
    return w;
}

}  // namespace

TEST(ChannelElement, SingleElementsRouteByTheFirstTagEverSeen)
{
    Instance in;
    ParseTarget t;
    IcsExpectation e0, e1;
    t.element->common_window = 1;  // a previous pair's flag must not leak
    ASSERT_EQ(parse_sce(in, t, 2, small_long(), 1, &e0), 0);
    EXPECT_EQ(t.element->common_window, 0u);
    EXPECT_EQ(in.dec->firstSceTag, 2);
    EXPECT_EQ(in.dec->sceTagSeen, 1);
    EXPECT_EQ(t.quantised[0], e0.quantised);

    ASSERT_EQ(parse_sce(in, t, 0, small_long(), 2, &e1), 0);  // another tag: second stream
    EXPECT_EQ(t.quantised[1], e1.quantised);
    EXPECT_EQ(t.element->element_instance_tag, 0);

    ParseTarget later;  // a later frame: tag 2 keeps the first stream
    ASSERT_EQ(parse_sce(in, later, 2, small_long(), 3, &e1), 0);
    EXPECT_EQ(later.quantised[0], e1.quantised);
    EXPECT_EQ(later.quantised[1][0], 0x5555);  // untouched
}

TEST(ChannelElement, PairWithCommonWindowSharesIcsInfoAndMsFlags)
{
    IcsDescription d;
    d.windowSequence = 2;
    d.grouping = 0b1111011;  // two groups: 5 and 3 windows
    d.groups = {{{3, 4}, {8, 6}}, {{0, 4}, {1, 6}}};
    BitWriter w;
    w.put(5, 4).put(1, 1);  // tag, common_window
    w.put(0, 1).put(2, 2).put(0, 1).put(10, 4).put(static_cast<uint32_t>(d.grouping), 7);
    w.put(1, 2);  // ms_mask_present 1: 2 groups x 10 bands of flags
    for (int i = 0; i < 20; i++)
        w.put(i % 3 == 0, 1);
    IcsExpectation e0 = write_ics(w, d, 11, false);
    IcsExpectation e1 = write_ics(w, d, 12, false);
    auto buf = w.data();

    ParseTarget t;
    BitReader r;
    aac_initbits(&r, buf.data());
    ASSERT_EQ(channel_pair_element(t.element.get(), &r, t.buffers[0], t.buffers[1], 4, kLc), 0);
    EXPECT_EQ(static_cast<size_t>(aac_get_processed_bits(&r)), e1.bits);
    const ChannelStream &a = t.element->stream[0], &b = t.element->stream[1];
    EXPECT_EQ(t.element->common_window, 1u);
    EXPECT_EQ(a.ms_mask_present, 1);
    EXPECT_EQ(b.ms_mask_present, 1);
    for (int i = 0; i < 20; i++)
        EXPECT_EQ(b.ms_used[i], i % 3 == 0) << i;
    EXPECT_EQ(b.num_window_groups, 2);
    EXPECT_EQ(b.window_group_length[0], 5);
    EXPECT_EQ(t.quantised[0], e0.quantised);
    EXPECT_EQ(t.quantised[1], e1.quantised);
    for (size_t x = 0; x < e1.scaleFactors.size(); x++)
        EXPECT_EQ(b.scale_factors[x], e1.scaleFactors[x]);
}

TEST(ChannelElement, PairWithoutCommonWindowReadsTwoIcsInfos)
{
    for (int mask : {2, 3}) {  // with a common window: no per-band flags
        BitWriter w;
        w.put(0, 4).put(1, 1).put(0, 1).put(0, 2).put(1, 1).put(5, 6).put(0, 1).put(static_cast<uint32_t>(mask), 2);
        IcsDescription d = small_long();
        write_ics(w, d, 1, false);
        IcsExpectation e = write_ics(w, d, 2, false);
        auto buf = w.data();
        ParseTarget t;
        BitReader r;
        aac_initbits(&r, buf.data());
        ASSERT_EQ(channel_pair_element(t.element.get(), &r, t.buffers[0], t.buffers[1], 4, kLc), 0);
        EXPECT_EQ(t.element->stream[1].ms_mask_present, mask);
        EXPECT_EQ(static_cast<size_t>(aac_get_processed_bits(&r)), e.bits);
    }
    BitWriter w;
    w.put(0, 4).put(0, 1);
    IcsDescription shortOne;
    shortOne.windowSequence = 2;
    shortOne.grouping = 127;
    shortOne.groups = {{{2, 12}}};
    write_ics(w, small_long(), 1);
    IcsExpectation e = write_ics(w, shortOne, 2);
    auto buf = w.data();
    ParseTarget t;
    t.element->stream[0].ms_mask_present = 3;
    BitReader r;
    aac_initbits(&r, buf.data());
    ASSERT_EQ(channel_pair_element(t.element.get(), &r, t.buffers[0], t.buffers[1], 4, kLc), 0);
    EXPECT_EQ(t.element->stream[0].ms_mask_present, 0);
    EXPECT_EQ(t.element->stream[0].window_sequence, 0);
    EXPECT_EQ(t.element->stream[1].window_sequence, 2);
    EXPECT_EQ(t.quantised[1], e.quantised);
}

TEST(ChannelElement, StatusCodesOfTheStandardCases)
{
    {   // reserved codebook 12 in a band
        BitWriter w = long_header(2);
        w.put(12, 4).put(2, 5);
        EXPECT_EQ(parse_ics(w.data()), FXAAC_ERR_BOOK_12);
    }
    {   // global gain 0 and a difference of -1
        BitWriter w = long_header(1, 0, 0);
        w.put(1, 4).put(1, 5);
        put_scale_factor_difference(w, -1);
        EXPECT_EQ(parse_ics(w.data()), FXAAC_ERR_SCALE_FACTOR);
    }
    {   // the same difference on an intensity band is accepted
        BitWriter w = long_header(1, 0, 0);
        w.put(14, 4).put(1, 5);
        put_scale_factor_difference(w, -1);
        w.put(0, 3);
        EXPECT_EQ(parse_ics(w.data()), 0);
    }
    {   // gain control: refused right after its flag
        BitWriter w = long_header(0);
        w.put(0, 1).put(0, 1).put(1, 1);
        int32_t bits;
        EXPECT_EQ(parse_ics(w.data(), kLc, 4, &bits), FXAAC_ERR_GAIN_CONTROL);
        EXPECT_EQ(static_cast<size_t>(bits), w.bit_count());
    }
    {   // pulses with short windows: the spectrum is read, then refused
        BitWriter w = long_header(0, 2);
        w.put(1, 1).put(0, 2).put(0, 6).put(1, 5).put(1, 4).put(0, 2);
        int32_t bits;
        EXPECT_EQ(parse_ics(w.data(), kLc, 4, &bits), FXAAC_ERR_PULSE_SHORT);
        EXPECT_EQ(static_cast<size_t>(bits), w.bit_count());
    }
    {   // low delay allows only one long window
        BitWriter w = long_header(0, 1);
        EXPECT_EQ(parse_ics(w.data(), 23), FXAAC_ERR_LD_WINDOW);
    }
    {   // a sampling frequency index an ADTS header may carry
        BitWriter w = long_header(0);
        EXPECT_EQ(parse_ics(w.data(), kLc, 12), FXAAC_ERR_GROUPING_RATE);
    }
}

TEST(ChannelElement, MalformedStreamsAreRefusedBeforeAnyWriteOutOfBounds)
{
    {   // max_sfb above the 49 long bands at 44.1 kHz, and 15 > 14 short bands
        EXPECT_EQ(parse_ics(long_header(50).data()), FXAAC_ERR_MAX_SFB);
        EXPECT_EQ(parse_ics(long_header(15, 2).data()), FXAAC_ERR_MAX_SFB);
    }
    {   // a section that ends past max_sfb
        BitWriter w = long_header(10);
        w.put(1, 4).put(11, 5);
        EXPECT_EQ(parse_ics(w.data()), FXAAC_ERR_SECTION);
    }
    {   // an endless run of empty sections
        BitWriter w = long_header(3);
        for (int i = 0; i < 200; i++)
            w.put(1, 4).put(0, 5);
        EXPECT_EQ(parse_ics(w.data()), FXAAC_ERR_SECTION);
    }
    {   // an escape with nine leading ones: beyond 8191
        BitWriter w = long_header(1);
        w.put(11, 4).put(1, 5);
        put_scale_factor_difference(w, 0);
        w.put(0, 3);
        int v[2] = {9000, 0};
        put_spectral(w, 11, v);
        EXPECT_EQ(parse_ics(w.data()), FXAAC_ERR_ESCAPE);
    }
    {   // pulses past the last band, then past the last line
        for (int start : {49, 48}) {
            BitWriter w = long_header(0);
            w.put(1, 1).put(3, 2).put(static_cast<uint32_t>(start), 6);
            for (int p = 0; p < 4; p++)
                w.put(31, 5).put(1, 4);
            w.put(0, 2);
            EXPECT_EQ(parse_ics(w.data()), FXAAC_ERR_PULSE_POSITION) << start;
        }
    }
    {   // a TNS order above the 12 coefficient slots of a filter
        BitWriter w = long_header(0);
        w.put(0, 1).put(1, 1).put(1, 2).put(0, 1).put(20, 6).put(13, 5);
        EXPECT_EQ(parse_ics(w.data()), FXAAC_ERR_TNS_ORDER);
    }
}

// A failing escape leaves the reader where the failure was found: after
// the codeword and its sign bits, and after a first escape already read.
// The frame call reports that position as the bytes consumed.
TEST(ChannelElement, EscapeBeyondRangeStopsBeforeIt)
{
    const int failing[2][2] = {{-9000, 0}, {20, 9000}};
    const int valid[2][2] = {{-16, 0}, {20, 16}};  // the same bits up to the failing escape
    for (int c = 0; c < 2; c++) {
        BitWriter w = long_header(1), ok = long_header(1);
        for (BitWriter *x : {&w, &ok}) {
            x->put(11, 4).put(1, 5);
            put_scale_factor_difference(*x, 0);
            x->put(0, 3);
        }
        put_spectral(w, 11, failing[c]);
        put_spectral(ok, 11, valid[c]);
        int32_t bits;
        EXPECT_EQ(parse_ics(w.data(), kLc, 4, &bits), FXAAC_ERR_ESCAPE) << c;
        EXPECT_EQ(static_cast<size_t>(bits), ok.bit_count() - 5) << c;  // escape 16: 0 0000
    }
}

TEST(ChannelElement, PulsesAreAddedAwayFromZero)
{
    BitWriter w = long_header(1);
    w.put(7, 4).put(1, 5);  // one band of codebook 7 (lines 0 to 3)
    put_scale_factor_difference(w, 0);
    w.put(1, 1).put(2, 2).put(0, 6);  // three pulses from band 0
    w.put(0, 5).put(3, 4).put(1, 5).put(2, 4).put(5, 5).put(7, 4);
    w.put(0, 2);
    int v1[2] = {5, -5}, v2[2] = {0, 0};
    put_spectral(w, 7, v1);
    put_spectral(w, 7, v2);
    auto buf = w.data();
    ParseTarget t;
    BitReader r;
    aac_initbits(&r, buf.data());
    ASSERT_EQ(individual_channel_stream(t.element.get(), &r, &t.element->stream[0], 0,
                                        t.buffers[0], 4, kLc),
              0);
    EXPECT_EQ(t.quantised[0][0], 8);   // 5 + 3
    EXPECT_EQ(t.quantised[0][1], -7);  // -5 - 2
    EXPECT_EQ(t.quantised[0][6], -7);  // 0 - 7: zero becomes negative
}

TEST(ChannelElement, ErrorResilientTnsComesAfterTheGainControlFlag)
{
    BitWriter w = long_header(0);
    w.put(0, 1).put(1, 1).put(0, 1);           // pulse 0, TNS 1, gain control 0
    w.put(1, 2).put(1, 1).put(8, 6).put(2, 5).put(1, 1).put(0, 1).put(0xA, 4).put(0x5, 4);
    int32_t bits;
    EXPECT_EQ(parse_ics(w.data(), 17, 4, &bits), 0);
    EXPECT_EQ(static_cast<size_t>(bits), w.bit_count());
}
