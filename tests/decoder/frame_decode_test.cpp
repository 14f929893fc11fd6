// The frame call on hand-built raw data blocks: element order rules, failure
// reporting, ADTS resynchronisation, the error-resilient layout.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/headers.h"
#include "support/ics_writer.h"
#include "support/instance.h"

using namespace fxaac_test;

namespace {

enum : uint32_t { kSce = 0, kCpe = 1, kCce = 2, kDse = 4, kPce = 5, kFil = 6, kEnd = 7 };

// An instance set up by a header (none: raw blocks at 44.1 kHz), and frame
// calls that keep what they printed.
struct Frames : Instance {
    std::vector<int16_t> pcm = std::vector<int16_t>(4096, 0x2A2A);
    FrameStatus status = {};
    std::string printed;

    explicit Frames(const std::vector<uint8_t> &hdr = {})
    {
        EXPECT_GE(hdr.empty() ? header(nullptr, 0, 44100, 2) : header(hdr.data()), 0);
    }
    int32_t frame(const std::vector<uint8_t> &input)
    {
        const int32_t sbr = 0;
        testing::internal::CaptureStdout();
        const int32_t r = AACPlusDecode(dec.get(), input.data(), pcm.data(), &status, &sbr);
        printed = testing::internal::GetCapturedStdout();
        return r;
    }
};

IcsDescription quiet_long()
{
    IcsDescription d;
    d.globalGain = 60;
    d.groups = {{{1, 2}, {0, 3}}};
    return d;
}

void put_sce(BitWriter &w, int tag, unsigned seed = 1)
{
    w.put(kSce, 3).put(static_cast<uint32_t>(tag), 4);
    write_ics(w, quiet_long(), seed);
}

void put_cpe(BitWriter &w)
{
    w.put(kCpe, 3).put(0, 4).put(0, 1);
    write_ics(w, quiet_long(), 2);
    write_ics(w, quiet_long(), 3);
}

template <typename Body>
std::vector<uint8_t> block(Body body)
{
    BitWriter w;
    body(w);
    w.put(kEnd, 3).align();
    return w.data(8);
}

}  // namespace

TEST(FrameDecode, ElementOrderAndFailureReports)
{
    Frames d;
    EXPECT_EQ(d.frame(block([](BitWriter &) {})), 1);  // an empty block: no samples
    EXPECT_TRUE(d.status.errorCode == 0 && d.status.outputSamples == 0 &&
                d.status.bytesConsumed == 1);
    const auto mono = block([](BitWriter &w) { put_sce(w, 3); });
    EXPECT_EQ(d.frame(mono), 1);
    EXPECT_EQ(d.status.outputSamples, 1024);
    EXPECT_EQ(d.status.bytesConsumed, static_cast<int32_t>(mono.size() - 8));
    EXPECT_EQ(d.pcm[1024], 0x2A2A);  // one channel: nothing written past its samples
    EXPECT_EQ(d->frameCount, 2);

    // More channels than two, or a pair beside a single element: refused,
    // reported and not counted; without a configuration the call returns 1.
    const struct {
        std::vector<uint8_t> input;
        const char *message;
    } misplaced[] = {
        {block([](BitWriter &w) {
             put_sce(w, 0);
             put_sce(w, 1);
             put_sce(w, 2);
         }),
         "Error in SCE\n"},
        {block([](BitWriter &w) {
             put_sce(w, 0);
             put_cpe(w);
         }),
         "Error in CPE\n"},
        {block([](BitWriter &w) {
             put_cpe(w);
             put_sce(w, 0);
         }),
         "Error in SCE\n"},
    };
    for (const auto &c : misplaced) {
        Frames m;
        EXPECT_EQ(m.frame(c.input), 1);
        EXPECT_TRUE(m.status.errorCode == FXAAC_ERR_CHANNELS && m.status.outputSamples == 0);
        EXPECT_EQ(m.printed, c.message);
        EXPECT_EQ(m->frameCount, 0);
    }

    Frames cce;  // refused after its 3 id bits
    cce.frame(block([](BitWriter &w) {
        w.put(kCce, 3);
        put_sce(w, 0);
    }));
    EXPECT_TRUE(cce.status.errorCode == FXAAC_ERR_COUPLING_ELEMENT &&
                cce.status.bytesConsumed == 0);

    // A program config element of an undecodable profile is reported, not
    // fatal; fill and data stream elements are skipped.
    Frames pce;
    EXPECT_EQ(pce.frame(block([](BitWriter &w) {
        put_sce(w, 0);
        w.put(kPce, 3);
        write_pce(w, {.objectType = 0, .front = {0}});
        w.put(kFil, 3).put(2, 4).put(0xABCD, 16);
        w.put(kDse, 3).put(0, 4).put(0, 1).put(1, 8).put(0x55, 8);
    })),
              1);
    EXPECT_TRUE(pce.status.errorCode == FXAAC_ERR_OBJECT_TYPE && pce.status.outputSamples == 1024);

    BitWriter asc;  // with a configuration a failure returns -1
    write_asc(asc, {.channelConfig = 1});
    Frames configured(asc.data());
    EXPECT_EQ(configured.frame(block([](BitWriter &w) { w.put(kCce, 3); })), -1);
    EXPECT_EQ(configured.status.errorCode, FXAAC_ERR_COUPLING_ELEMENT);
}

// A failing ADTS frame is consumed whole (its length, not the bits read),
// garbage before a header counts into it, and without any sync word the
// previous length stays.
TEST(FrameDecode, AdtsFailureSkipsTheFrameAndResynchronises)
{
    BitWriter w;
    write_adts(w, {.channelConfig = 1, .frameLength = 40});
    w.put(kCce, 3).align();
    while (w.bit_count() < 8 * 40)
        w.put(0, 8);
    const std::vector<uint8_t> bad = w.data(16);
    Frames d(bad);
    EXPECT_EQ(d.frame(bad), 1);
    EXPECT_TRUE(d.status.errorCode == FXAAC_ERR_COUPLING_ELEMENT && d.status.bytesConsumed == 40);
    EXPECT_EQ(d->rawBlocksLeft, 0);

    BitWriter g;
    g.put(0x1234, 16);
    write_adts(g, {.profile = 0, .channelConfig = 1, .frameLength = 40});  // refused at the header
    EXPECT_EQ(d.frame(g.data(64)), 1);
    EXPECT_TRUE(d.status.errorCode == FXAAC_ERR_OBJECT_TYPE && d.status.bytesConsumed == 2 + 40);

    EXPECT_EQ(d.frame(std::vector<uint8_t>(8192 + 16, 0)), 1);
    EXPECT_TRUE(d.status.errorCode == FXAAC_ERR_NO_SYNC && d.status.bytesConsumed == 42);
}

TEST(FrameDecode, ErrorResilientLayoutHasNoElementIds)
{
    BitWriter asc;
    write_asc(asc, {.objectType = 17, .channelConfig = 1});
    Frames d(asc.data());
    EXPECT_EQ(d->objectType, 17);
    BitWriter w;
    w.put(0, 4);  // element_instance_tag, then the channel stream and alignment
    write_ics(w, quiet_long(), 4);
    w.align();
    const auto blk = w.data(8);
    EXPECT_EQ(d.frame(blk), 1);
    EXPECT_TRUE(d.status.errorCode == 0 && d.status.outputSamples == 1024);
    EXPECT_EQ(d.status.bytesConsumed, static_cast<int32_t>(blk.size() - 8));
}
