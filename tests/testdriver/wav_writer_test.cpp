#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "testdriver/wav_writer.h"

namespace {

// A temporary file, read back whole.
struct TempFile {
    FILE *fp = std::tmpfile();
    ~TempFile() { std::fclose(fp); }
    std::vector<uint8_t> bytes()
    {
        std::fflush(fp);
        const long end = std::ftell(fp);
        std::fseek(fp, 0, SEEK_END);
        std::vector<uint8_t> data(static_cast<size_t>(std::ftell(fp)));
        std::rewind(fp);
        if (!data.empty() && std::fread(data.data(), 1, data.size(), fp) != data.size())
            data.clear();
        std::fseek(fp, end, SEEK_SET);
        return data;
    }
};

// The numeric header fields, least significant byte first: RIFF size, fmt
// size, format, channels, rate, byte rate, block align, bits, data size.
std::vector<uint32_t> fields(const std::vector<uint8_t> &b)
{
    EXPECT_GE(b.size(), 44u);
    if (b.size() < 44)
        return {};
    EXPECT_EQ(std::string(b.begin(), b.begin() + 4), "RIFF");
    EXPECT_EQ(std::string(b.begin() + 8, b.begin() + 16), "WAVEfmt ");
    EXPECT_EQ(std::string(b.begin() + 36, b.begin() + 40), "data");
    std::vector<uint32_t> f;
    for (auto [pos, width] : {std::pair{4, 4}, {16, 4}, {20, 2}, {22, 2}, {24, 4}, {28, 4},
                              {32, 2}, {34, 2}, {40, 4}}) {
        uint32_t v = 0;
        for (int i = width - 1; i >= 0; i--)
            v = v << 8 | b[static_cast<size_t>(pos + i)];
        f.push_back(v);
    }
    return f;
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

TEST(WavWriter, PlaceholderThenFinalHeaderOverSamples)
{
    TempFile f;
    const DecoderConfig c = config(44100, 2);
    WriteWaveHeader(c, f.fp, 1);
    EXPECT_EQ(fields(f.bytes()),
              (std::vector<uint32_t>{2147483683u, 16, 1, 2, 44100, 176400, 4, 16, 2147483647u}));
    const std::vector<uint8_t> samples(4000, 0x5a);  // 1000 stereo 16-bit frames
    std::fwrite(samples.data(), 1, samples.size(), f.fp);
    WriteWaveHeaderEnd(c, f.fp, 1000);
    const std::vector<uint8_t> b = f.bytes();
    ASSERT_EQ(b.size(), 44u + 4000u);  // written over the placeholder, samples kept
    EXPECT_EQ(b.back(), 0x5a);
    EXPECT_EQ(fields(b), (std::vector<uint32_t>{4036, 16, 1, 2, 44100, 176400, 4, 16, 4000}));

    // A stream announcing 0 channels is written as one channel, so the header
    // stays playable and its data size matches the samples counted.
    for (int32_t chn : {1, 0}) {
        TempFile mono;
        WriteWaveHeaderEnd(config(8000, chn), mono.fp, 10);
        EXPECT_EQ(fields(mono.bytes()), (std::vector<uint32_t>{56, 16, 1, 1, 8000, 16000, 2, 16, 20}));
    }
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
        EXPECT_EQ(fields(first.bytes())[4], 48000u) << downsampled;
        EXPECT_EQ(fields(last.bytes())[4], downsampled ? 24000u : 48000u);
    }
}
