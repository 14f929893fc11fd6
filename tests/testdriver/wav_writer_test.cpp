#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "testdriver/wav_writer.h"

namespace {

// A temporary file that is read back whole.
struct TempFile {
    FILE *fp = std::tmpfile();
    ~TempFile() { std::fclose(fp); }
    std::vector<uint8_t> bytes()
    {
        std::fflush(fp);
        long end = std::ftell(fp);
        std::fseek(fp, 0, SEEK_END);
        std::vector<uint8_t> data(static_cast<size_t>(std::ftell(fp)));
        std::rewind(fp);
        if (!data.empty() && std::fread(data.data(), 1, data.size(), fp) != data.size())
            data.clear();
        std::fseek(fp, end, SEEK_SET);
        return data;
    }
};

uint32_t le(const std::vector<uint8_t> &b, size_t pos, int width)
{
    uint32_t v = 0;
    for (int i = width - 1; i >= 0; i--)
        v = v << 8 | b[pos + i];
    return v;
}

std::string text(const std::vector<uint8_t> &b, size_t pos, size_t n)
{
    return std::string(b.begin() + pos, b.begin() + pos + n);
}

struct Header {
    uint32_t riffSize, fmtSize, format, chn, rate, byteRate, blockAlign, bits, dataSize;
};

Header parse(const std::vector<uint8_t> &b)
{
    EXPECT_GE(b.size(), 44u);
    EXPECT_EQ(text(b, 0, 4), "RIFF");
    EXPECT_EQ(text(b, 8, 8), "WAVEfmt ");
    EXPECT_EQ(text(b, 36, 4), "data");
    return {le(b, 4, 4),  le(b, 16, 4), le(b, 20, 2), le(b, 22, 2), le(b, 24, 4),
            le(b, 28, 4), le(b, 32, 2), le(b, 34, 2), le(b, 40, 4)};
}

DecoderConfig config(int32_t fs, int32_t chn)
{
    DecoderConfig c = {};
    c.fs = fs;
    c.chn = chn;
    c.pcmWidth = 1;
    c.wavOut = 1;
    return c;
}

}  // namespace

TEST(WavWriter, FieldsAreLeastSignificantByteFirst)
{
    TempFile f;
    EXPECT_EQ(Write16BitsLowHigh(f.fp, 0x1234), 0x12);
    EXPECT_EQ(Write24BitsLowHigh(f.fp, 0x7abcdef), 0xab);  // bits above 23 are dropped
    // The high half of a negative value is taken with a logical shift.
    EXPECT_EQ(Write32BitsLowHigh(f.fp, static_cast<int32_t>(0x89abcdefu)), 0x89);
    const std::vector<uint8_t> expected = {0x34, 0x12, 0xef, 0xcd, 0xab,
                                           0xef, 0xcd, 0xab, 0x89};
    EXPECT_EQ(f.bytes(), expected);
}

TEST(WavWriter, PlaceholderThenFinalHeaderOverSamples)
{
    TempFile f;
    const DecoderConfig c = config(44100, 2);
    WriteWaveHeader(c, f.fp, 1);
    Header h = parse(f.bytes());
    EXPECT_EQ(h.dataSize, 2147483647u);
    EXPECT_EQ(h.riffSize, 2147483683u);
    EXPECT_EQ(h.rate, 44100u);

    const std::vector<uint8_t> samples(4000, 0x5a);  // 1000 stereo 16-bit frames
    std::fwrite(samples.data(), 1, samples.size(), f.fp);
    WriteWaveHeaderEnd(c, f.fp, 1000);
    const std::vector<uint8_t> b = f.bytes();
    ASSERT_EQ(b.size(), 44u + 4000u);  // written over the placeholder, samples kept
    EXPECT_EQ(b.back(), 0x5a);
    h = parse(b);
    EXPECT_EQ(h.riffSize, 4036u);
    EXPECT_EQ(h.fmtSize, 16u);
    EXPECT_EQ(h.format, 1u);
    EXPECT_EQ(h.chn, 2u);
    EXPECT_EQ(h.rate, 44100u);
    EXPECT_EQ(h.byteRate, 176400u);
    EXPECT_EQ(h.blockAlign, 4u);
    EXPECT_EQ(h.bits, 16u);
    EXPECT_EQ(h.dataSize, 4000u);
}

TEST(WavWriter, MonoAndChannelCountZero)
{
    TempFile mono;
    WriteWaveHeaderEnd(config(8000, 1), mono.fp, 10);
    Header h = parse(mono.bytes());
    EXPECT_EQ(h.byteRate, 16000u);
    EXPECT_EQ(h.blockAlign, 2u);
    EXPECT_EQ(h.dataSize, 20u);

    // A stream announcing 0 channels is written as one channel, so the header
    // stays playable and its data size matches the samples counted.
    TempFile none;
    WriteWaveHeaderEnd(config(8000, 0), none.fp, 10);
    h = parse(none.bytes());
    EXPECT_EQ(h.chn, 1u);
    EXPECT_EQ(h.blockAlign, 2u);
    EXPECT_EQ(h.dataSize, 20u);
}

TEST(WavWriter, NothingWithoutWavOutOrFirstFrame)
{
    TempFile f;
    DecoderConfig c = config(44100, 2);
    WriteWaveHeader(c, f.fp, 0);
    EXPECT_TRUE(f.bytes().empty());
    c.wavOut = 0;
    WriteWaveHeader(c, f.fp, 1);
    std::fputs("pcm", f.fp);
    WriteWaveHeaderEnd(c, f.fp, 1000);
    c.wavOut = 2;
    WriteWaveHeaderEnd(c, f.fp, 1000);
    const std::vector<uint8_t> b = f.bytes();
    EXPECT_EQ(std::string(b.begin(), b.end()), "pcm");
}

TEST(WavWriter, SbrRateRules)
{
    DecoderConfig c = config(24000, 2);
    c.sbrMode = 1;
    for (int32_t downsampled : {0, 1}) {
        c.sbrDownsampled = downsampled;
        TempFile first, last;
        WriteWaveHeader(c, first.fp, 1);
        WriteWaveHeaderEnd(c, last.fp, 1);
        EXPECT_EQ(parse(first.bytes()).rate, 48000u) << downsampled;
        EXPECT_EQ(parse(last.bytes()).rate, downsampled ? 24000u : 48000u);
    }
}
