// The frame call on hand-built raw data blocks: element order rules, failure
// reporting, ADTS frames with several blocks, the error-resilient layout.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <fxaac/fxaac.h>

#include "support/headers.h"
#include "support/ics_writer.h"

using namespace fxaac_test;

namespace {

enum : uint32_t { kSce = 0, kCpe = 1, kCce = 2, kDse = 4, kPce = 5, kFil = 6, kEnd = 7 };

struct Decoder {
    std::unique_ptr<AacDecoder> dec = std::make_unique<AacDecoder>();
    std::unique_ptr<DecoderWorkArea> work = std::make_unique<DecoderWorkArea>();
    std::vector<int16_t> pcm = std::vector<int16_t>(4096, 0x2A2A);
    FrameStatus status = {};
    std::string printed;

    explicit Decoder(const std::vector<uint8_t> &header, int32_t hdrPrsnt = 1, int32_t fs = 44100,
                     int32_t chn = 2)
    {
        AACPlusDecoderInit(dec.get(), work.get());
        DecoderConfig cfg = {};
        cfg.hdrPrsnt = hdrPrsnt;
        cfg.fs = fs;
        cfg.chn = chn;
        EXPECT_GE(AACPlusHeaderDecode(cfg, dec.get(), header.data()), 0);
    }
    int32_t frame(const uint8_t *input)
    {
        const int32_t sbr = 0;
        testing::internal::CaptureStdout();
        int32_t r = AACPlusDecode(dec.get(), input, pcm.data(), &status, &sbr);
        printed = testing::internal::GetCapturedStdout();
        return r;
    }
    int32_t frame(const std::vector<uint8_t> &input) { return frame(input.data()); }
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

std::vector<uint8_t> block(void (*body)(BitWriter &))
{
    BitWriter w;
    body(w);
    w.put(kEnd, 3).align();
    return w.data(8);
}

const std::vector<uint8_t> kHeaderless = {0, 0, 0, 0};

}  // namespace

TEST(FrameDecode, EndOnlyAndSingleElements)
{
    Decoder d(kHeaderless, 0);
    EXPECT_EQ(d.frame(block([](BitWriter &) {})), 1);
    EXPECT_EQ(d.status.errorCode, 0);
    EXPECT_EQ(d.status.outputSamples, 0);
    EXPECT_EQ(d.status.bytesConsumed, 1);
    EXPECT_EQ(d.dec->frameCount, 1);

    auto mono = block([](BitWriter &w) { put_sce(w, 3); });
    EXPECT_EQ(d.frame(mono), 1);
    EXPECT_EQ(d.status.errorCode, 0);
    EXPECT_EQ(d.status.outputSamples, 1024);
    EXPECT_EQ(d.status.bytesConsumed, static_cast<int32_t>(mono.size() - 8));
    EXPECT_EQ(d.dec->firstSceTag, 3);
    EXPECT_EQ(d.pcm[1024], 0x2A2A);  // one channel: 1024 samples written, no more

    // Two single elements of different tags: one channel each, in order.
    EXPECT_EQ(d.frame(block([](BitWriter &w) { put_sce(w, 3); put_sce(w, 5, 7); })), 1);
    EXPECT_EQ(d.status.outputSamples, 2048);
    EXPECT_EQ(d.dec->frameCount, 3);
}

TEST(FrameDecode, ElementOrderRules)
{
    struct Case {
        void (*body)(BitWriter &);
        const char *message;
    };
    const Case cases[] = {
        {[](BitWriter &w) { put_sce(w, 0); put_sce(w, 1); put_sce(w, 2); }, "Error in SCE\n"},
        {[](BitWriter &w) { put_sce(w, 0); put_cpe(w); }, "Error in CPE\n"},
        {[](BitWriter &w) { put_cpe(w); put_sce(w, 0); }, "Error in SCE\n"},
    };
    for (const Case &c : cases) {
        Decoder d(kHeaderless, 0);
        EXPECT_EQ(d.frame(block(c.body)), 1);  // no configuration: failures return 1
        EXPECT_EQ(d.status.errorCode, FXAAC_ERR_CHANNELS);
        EXPECT_EQ(d.status.outputSamples, 0);
        EXPECT_EQ(d.printed, c.message);
        EXPECT_EQ(d.dec->frameCount, 0);
    }

    Decoder cce(kHeaderless, 0);
    cce.frame(block([](BitWriter &w) { w.put(kCce, 3); put_sce(w, 0); }));
    EXPECT_EQ(cce.status.errorCode, FXAAC_ERR_COUPLING_ELEMENT);
    EXPECT_EQ(cce.status.bytesConsumed, 0);  // 3 bits read

    // A program config element of an undecodable profile is reported, not fatal.
    Decoder pce(kHeaderless, 0);
    EXPECT_EQ(pce.frame(block([](BitWriter &w) {
                  put_sce(w, 0);
                  w.put(kPce, 3);
                  PceFields f;
                  f.objectType = 0;
                  f.front = {0};
                  write_pce(w, f);
                  w.put(kFil, 3).put(2, 4).put(0xABCD, 16);
                  w.put(kDse, 3).put(0, 4).put(0, 1).put(1, 8).put(0x55, 8);
              })),
              1);
    EXPECT_EQ(pce.status.errorCode, FXAAC_ERR_OBJECT_TYPE);
    EXPECT_EQ(pce.status.outputSamples, 1024);
}

TEST(FrameDecode, ConfigStreamsReturnMinusOneOnFailure)
{
    BitWriter asc;
    AscFields f;
    f.channelConfig = 1;
    write_asc(asc, f);
    Decoder d(asc.data());
    EXPECT_EQ(d.frame(block([](BitWriter &w) { w.put(kCce, 3); })), -1);
    EXPECT_EQ(d.status.errorCode, FXAAC_ERR_COUPLING_ELEMENT);
}

TEST(FrameDecode, AdtsFrameWithSeveralBlocksAndCrcWords)
{
    // Four raw data blocks behind one header with CRC: each block is followed
    // by its 16-bit CRC word.
    BitWriter w;
    AdtsFields f;
    f.channelConfig = 1;
    f.rawBlocks = 3;
    f.protectionAbsent = 0;
    write_adts(w, f);
    std::vector<size_t> ends;
    for (int i = 0; i < 4; i++) {
        put_sce(w, 0, static_cast<unsigned>(i + 1));
        w.put(kEnd, 3).put(0xBEEF, 16).align();
        ends.push_back(w.bit_count() / 8);
    }
    std::vector<uint8_t> stream = w.data(8);
    const size_t frameBytes = ends.back();
    stream[3] = static_cast<uint8_t>((stream[3] & 0xFC) | (frameBytes >> 11));
    stream[4] = static_cast<uint8_t>(frameBytes >> 3);
    stream[5] = static_cast<uint8_t>((stream[5] & 0x1F) | ((frameBytes & 7) << 5));

    Decoder d(stream);
    size_t pos = 0;
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(d.frame(stream.data() + pos), 1) << i;
        EXPECT_EQ(d.status.errorCode, 0) << i;
        EXPECT_EQ(d.status.outputSamples, 1024);
        pos += static_cast<size_t>(d.status.bytesConsumed);
        EXPECT_EQ(pos, ends[static_cast<size_t>(i)]) << i;
        EXPECT_EQ(d.dec->rawBlocksLeft, 3 - i);
    }
}

TEST(FrameDecode, AdtsFailureSkipsTheFrameAndResynchronises)
{
    BitWriter w;
    AdtsFields f;
    f.channelConfig = 1;
    f.frameLength = 40;
    write_adts(w, f);
    w.put(kCce, 3).align();
    while (w.bit_count() < 8 * 40)
        w.put(0, 8);
    std::vector<uint8_t> bad = w.data(16);
    Decoder d(bad);
    EXPECT_EQ(d.frame(bad), 1);
    EXPECT_EQ(d.status.errorCode, FXAAC_ERR_COUPLING_ELEMENT);
    EXPECT_EQ(d.status.bytesConsumed, 40);  // the frame length, not the bits read
    EXPECT_EQ(d.dec->rawBlocksLeft, 0);

    // Garbage before the next header counts into the reported length too.
    BitWriter g;
    g.put(0x12, 8).put(0x34, 8);
    f.profile = 0;  // an undecodable profile fails at the header
    write_adts(g, f);
    std::vector<uint8_t> main = g.data(64);
    EXPECT_EQ(d.frame(main), 1);
    EXPECT_EQ(d.status.errorCode, FXAAC_ERR_OBJECT_TYPE);
    EXPECT_EQ(d.status.bytesConsumed, 2 + 40);

    // No sync word at all: the previous length stays.
    std::vector<uint8_t> zeros(8192 + 16, 0);
    EXPECT_EQ(d.frame(zeros), 1);
    EXPECT_EQ(d.status.errorCode, FXAAC_ERR_NO_SYNC);
    EXPECT_EQ(d.status.bytesConsumed, 42);
}

TEST(FrameDecode, ErrorResilientLayoutHasNoElementIds)
{
    BitWriter asc;
    AscFields f;
    f.objectType = 17;
    f.channelConfig = 1;
    write_asc(asc, f);
    Decoder d(asc.data());
    EXPECT_EQ(d.dec->objectType, 17);
    BitWriter w;
    w.put(0, 4);  // element_instance_tag, then the channel stream and alignment
    write_ics(w, quiet_long(), 4);
    w.align();
    auto blk = w.data(8);
    EXPECT_EQ(d.frame(blk), 1);
    EXPECT_EQ(d.status.errorCode, 0);
    EXPECT_EQ(d.status.outputSamples, 1024);
    EXPECT_EQ(d.status.bytesConsumed, static_cast<int32_t>(blk.size() - 8));
}
