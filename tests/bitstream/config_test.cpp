// Program config elements and AudioSpecificConfig: how far each is read,
// the channels it announces, and what it refuses.
#include <gtest/gtest.h>

#include <vector>

#include <fxaac/fxaac.h>

#include "bitstream/audio_config.h"
#include "bitstream/program_config.h"
#include "support/headers.h"

using namespace fxaac;
using namespace fxaac_test;

namespace {

// A PCE written after `lead` bits: the reader must end after its comment.
ProgramConfig parse_pce(const PceFields &f, int lead, int32_t *code)
{
    BitWriter w;
    w.put(0, lead);
    write_pce(w, f);
    auto buf = w.data();
    BitCursor r;
    aac_initbits(&r, buf.data());
    skip_bits(&r, static_cast<uint32_t>(lead));
    ProgramConfig pce = {};
    *code = program_config_element(&pce, &r);
    EXPECT_EQ(static_cast<size_t>(aac_get_processed_bits(&r)), w.bit_count()) << lead;
    return pce;
}

}  // namespace

// Two channels per CPE and per coupling entry, one per SCE and LFE; the
// alignment before the comment counts from where the reader started, not
// from the element; a refused profile is still read to the end.
TEST(ProgramConfig, ChannelCountAndLength)
{
    PceFields busy;
    busy.front = {1, 1, 0};
    busy.side = {1};
    busy.back = {1, 0};
    busy.lfe = 3;
    busy.assocData = 7;
    busy.cc = 2;
    busy.mixdowns = true;
    busy.commentBytes = 200;
    PceFields small;
    small.front = {1};  // 39 bits before the alignment
    int32_t code;
    for (int lead : {0, 1, 3}) {
        const ProgramConfig b = parse_pce(busy, lead, &code);
        EXPECT_EQ(b.channel_count, 5u + 2 + 3 + 3 + 4);
        EXPECT_EQ(b.num_valid_cc_elements, 2);
        EXPECT_EQ(code, 0);
        EXPECT_EQ(parse_pce(small, lead, &code).channel_count, 2u);
    }
    small.objectType = 0;  // Main profile
    parse_pce(small, 0, &code);
    EXPECT_EQ(code, FXAAC_ERR_OBJECT_TYPE);
}

// Result (bytes read, or the refusal) and the fields, which are kept after a
// refusal; a program config replaces the channel configuration before its
// coupling channels are refused.
TEST(AudioSpecificConfig, LengthFieldsAndRefusals)
{
    PceFields pce;
    pce.front = {1};
    pce.commentBytes = 4;  // 16 + 39 bits, aligned to 56, then 8 + 32
    PceFields coupled = pce;
    coupled.cc = 1;
    const struct {
        AscFields f;
        int32_t result;
        uint32_t channels, rate;
    } cases[] = {
        {{}, 2, 2, 44100},
        {{.dependsOnCoreCoder = 1}, 4, 2, 44100},
        {{.extensionFlag = 1}, 2, 2, 44100},  // nothing further without an ER type
        {{.objectType = 17, .channelConfig = 1, .extensionFlag = 1, .resilience = 0b101},
         3,
         1,
         44100},
        {{.objectType = 17, .epConfig = 1}, FXAAC_ERR_EP_CONFIG, 2, 44100},
        {{.objectType = 1}, FXAAC_ERR_OBJECT_TYPE, 2, 44100},
        {{.objectType = 5}, FXAAC_ERR_OBJECT_TYPE, 2, 44100},
        {{.objectType = 31}, FXAAC_ERR_OBJECT_TYPE, 2, 44100},
        {{.sfIndex = 15}, FXAAC_ERR_SAMPLE_RATE_INDEX, 2, 0},
        {{.channelConfig = 3}, FXAAC_ERR_CHANNELS, 3, 44100},
        {{.channelConfig = 0, .pce = &pce}, 12, 2, 44100},
        {{.channelConfig = 0, .pce = &coupled}, FXAAC_ERR_CONFIG_COUPLING, 4, 44100},
    };
    for (const auto &c : cases) {
        BitWriter w;
        write_asc(w, c.f);
        const std::vector<uint8_t> buf = w.data();
        AudioConfig a = {};
        const int32_t result = AudioSpecificConfig_AAC(
            buf.data(), &a.sampleRate, &a.channelConfig, &a.sfIndex, &a.objectType,
            &a.sectionResilience, &a.scalefactorResilience, &a.spectralResilience,
            &a.frameLengthFlag);
        SCOPED_TRACE(testing::Message()
                     << "object type " << c.f.objectType << " result " << c.result);
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(a.channelConfig, c.channels);
        EXPECT_EQ(a.sampleRate, c.rate);
        EXPECT_EQ(a.objectType, static_cast<uint32_t>(c.f.objectType));
        EXPECT_EQ(a.sfIndex, static_cast<uint32_t>(c.f.sfIndex));
        const int flags = c.f.objectType == 17 && c.f.extensionFlag ? c.f.resilience : 0;
        EXPECT_EQ(a.sectionResilience, flags >> 2);
        EXPECT_EQ(a.scalefactorResilience, flags >> 1 & 1);
        EXPECT_EQ(a.spectralResilience, flags & 1);
    }
}
