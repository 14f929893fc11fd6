// Header decoding: what each input kind leaves in the instance, and what is
// refused.
#include <gtest/gtest.h>

#include <vector>

#include "bitstream/audio_config.h"
#include "support/headers.h"
#include "support/instance.h"

using namespace fxaac_test;

namespace {

std::vector<uint8_t> asc(const AscFields &f, const char *marker = nullptr)
{
    BitWriter w;
    if (marker)
        w.bytes(marker).put(3, 8);  // the marker's length byte
    write_asc(w, f);
    return w.data();
}

std::vector<uint8_t> adts(int profile, int channelConfig)
{
    BitWriter w;
    write_adts(w, {.profile = profile, .sfIndex = 8, .channelConfig = channelConfig});
    return w.data();
}

// An ADIF header with a copyright id, a constant rate (buffer fullness before
// each PCE) and three PCEs, the second of the given profile.
std::vector<uint8_t> adif(int secondProfile, size_t *bytes = nullptr)
{
    BitWriter w;
    w.bytes("ADIF").put(1, 1).bytes("ABCDEFGHI").put(0, 2).put(0, 1).put(128000, 23).put(2, 4);
    for (int i = 0; i < 3; i++) {
        w.put(0x54321, 20);
        PceFields f;
        f.objectType = i == 1 ? secondProfile : 1;
        f.sfIndex = 3 + i;
        f.front = std::vector<int>(static_cast<size_t>(i + 1), 0);
        write_pce(w, f);
    }
    if (bytes)
        *bytes = w.bit_count() / 8;
    return w.data();
}

}  // namespace

TEST(SampleRateIndex, NominalRateClasses)
{
    const int32_t rates[] = {96000, 88200, 64000, 48000, 44100, 32000,
                             24000, 22050, 16000, 12000, 11025, 8000};
    for (int i = 0; i < 12; i++)
        EXPECT_EQ(sample_rate_index(rates[i]), i) << rates[i];
    const struct {
        int32_t rate, index;
    } edges[] = {
        {9390, 11}, {9391, 10},   {11501, 10},     {11502, 9},    {46008, 4},
        {46009, 3}, {92016, 1},   {92017, 0},      {16428319, 0}, {16428320, 11},
        {0, 11},    {-44100, 11}, {INT32_MAX, 11},
    };
    for (auto e : edges)
        EXPECT_EQ(sample_rate_index(e.rate), e.index) << e.rate;
}

// Object types up to 4 are stored in profile numbering (LC: 1), others as
// they stand; a refused configuration leaves hasConfig 0 but its parsed
// fields in place. Behind the "HEAAC" marker the result is the marker's 5
// bytes plus the length its next byte gives, whatever the config's length.
TEST(HeaderDecode, EveryInputKind)
{
    size_t adifBytes = 0;
    const std::vector<uint8_t> goodAdif = adif(1, &adifBytes);
    const struct {
        const char *what;
        std::vector<uint8_t> input;
        int32_t result, objectType, sfIndex, channels, isAdts, hasConfig;  // sfIndex: when accepted
    } cases[] = {
        {"ADTS", adts(1, 1), 0, 1, 8, 1, 1, 0},
        {"ADTS channel configuration 7", adts(1, 7), 0, 1, 8, 2, 1, 0},
        {"ADTS Main profile", adts(0, 2), FXAAC_ERR_OBJECT_TYPE, 0, 8, 2, 1, 0},
        {"config", asc({}), 2, 1, 4, 2, 0, 1},
        {"marked config", asc({}, "HEAAC"), 8, 1, 4, 2, 0, 1},
        {"no marker: 'H' is type 9", asc({}, "HEAAX"), FXAAC_ERR_OBJECT_TYPE, 9, 0, 8, 0, 0},
        {"ER config", asc({.objectType = 17, .channelConfig = 1}), 3, 17, 4, 1, 0, 1},
        {"960 lines", asc({.frameLengthFlag = 1}), FXAAC_ERR_FRAME_960, 2, 4, 2, 0, 0},
        {"resilience", asc({.objectType = 17, .extensionFlag = 1, .resilience = 2}),
         FXAAC_ERR_RESILIENCE_TOOL, 17, 4, 2, 0, 0},
        {"five channels", asc({.channelConfig = 5}), FXAAC_ERR_CHANNELS, 2, 4, 5, 0, 0},
        {"ADIF", goodAdif, static_cast<int32_t>(adifBytes), 1, 5, 3, 0, 1},
        {"ADIF, second PCE Main", adif(0), FXAAC_ERR_OBJECT_TYPE, 0, 8, 2, 0, 1},
        {"'ADIX' read as a config of type 8",
         {'A', 'D', 'I', 'X', 0, 0, 0, 0},
         FXAAC_ERR_OBJECT_TYPE,
         8,
         2,
         8,
         0,
         0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Instance d;
        EXPECT_EQ(d.header(c.input.data()), c.result);
        EXPECT_EQ(d->objectType, c.objectType);
        EXPECT_EQ(d->channels, c.channels);
        EXPECT_EQ(d->isAdts, c.isAdts);
        EXPECT_EQ(d->hasConfig, c.hasConfig);
        if (c.result >= 0) {
            EXPECT_EQ(d->sfIndex, c.sfIndex);
            EXPECT_EQ(d->sampleRate, static_cast<int32_t>(fxaac::sample_rates[c.sfIndex]));
        }
    }

    Instance raw;  // no header: the input is not read
    EXPECT_EQ(raw.header(nullptr, 0, 44100, 1), 0);
    EXPECT_TRUE(raw->sfIndex == 4 && raw->objectType == 2 && raw->channels == 1 &&
                raw->sampleRate == 44100);
    EXPECT_TRUE(raw->isAdts == 0 && raw->hasConfig == 0);
}
