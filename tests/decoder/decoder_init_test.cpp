#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include <fxaac/fxaac.h>

#include "filterbank/window_tables.h"

namespace {

bool all_zero(const int32_t *p, size_t n)
{
    for (size_t i = 0; i < n; i++)
        if (p[i] != 0)
            return false;
    return true;
}

void expect_initial_state(const AacDecoder &d, DecoderWorkArea &work)
{
    EXPECT_EQ(d.sampleRate, 22050);
    EXPECT_EQ(d.channels, 2);
    EXPECT_EQ(d.frameLength, 1024);
    EXPECT_EQ(d.pcmFormat, 1);
    EXPECT_EQ(d.pnsSeed, 1);
    EXPECT_EQ(d.objectType, 0);
    EXPECT_EQ(d.isAdts, 0);
    EXPECT_EQ(d.hasConfig, 0);
    EXPECT_EQ(d.frameCount, 0);
    EXPECT_EQ(d.sceTagSeen, 0);
    EXPECT_EQ(d.firstSceTag, 0);
    EXPECT_EQ(d.rawBlocksLeft, 0);
    EXPECT_EQ(d.prevWindowShape[0], 0);
    EXPECT_EQ(d.prevWindowShape[1], 0);
    EXPECT_TRUE(all_zero(&d.overlap[0][0], 2 * FXAAC_FRAME_LENGTH));
    EXPECT_EQ(d.workBase, work.spectra[0]);
    EXPECT_EQ(d.scratchA, work.spectra[0]);
    EXPECT_EQ(reinterpret_cast<uint8_t *>(d.scratchB), reinterpret_cast<uint8_t *>(&work) + 4096);
    EXPECT_EQ(reinterpret_cast<uint8_t *>(d.elementRecord),
              reinterpret_cast<uint8_t *>(&work) + FXAAC_ELEMENT_OFFSET);
    EXPECT_EQ(d.longWindow[0], fxaac::dec_sin_long_fixed);
    EXPECT_EQ(d.longWindow[1], fxaac::kbd_long_fixed);
    EXPECT_EQ(d.shortWindow[0], fxaac::dec_sin_short_fixed);
    EXPECT_EQ(d.shortWindow[1], fxaac::kbd_short_fixed);
}

}  // namespace

TEST(DecoderInit, DefaultsAndReinitialisation)
{
    auto dec = std::make_unique<AacDecoder>();
    auto work = std::make_unique<DecoderWorkArea>();
    std::memset(dec.get(), 0xA5, sizeof *dec);  // init must not rely on cleared memory
    AACPlusDecoderInit(dec.get(), work.get());
    expect_initial_state(*dec, *work);

    // A used instance returns to the same state.
    dec->frameCount = 12;
    dec->firstSceTag = 5;
    dec->sceTagSeen = 1;
    dec->isAdts = 1;
    dec->pnsSeed = 991;
    dec->overlap[1][1023] = -7;
    dec->prevWindowShape[1] = 1;
    AACPlusDecoderInit(dec.get(), work.get());
    expect_initial_state(*dec, *work);
}
