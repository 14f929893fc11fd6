#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "testdriver/wav_writer.h"

namespace {

using Fields = std::vector<uint32_t>;

// What write leaves in a temporary file.
std::vector<uint8_t> written(const std::function<void(FILE *)> &write)
{
    FILE *fp = std::tmpfile();
    write(fp);
    std::fseek(fp, 0, SEEK_END);
    std::vector<uint8_t> b(static_cast<size_t>(std::ftell(fp)));
    std::rewind(fp);
    if (std::fread(b.data(), 1, b.size(), fp) != b.size())
        b.clear();
    std::fclose(fp);
    return b;
}

// The numeric header fields, least significant byte first: RIFF size, fmt
// size, format, channels, rate, byte rate, block align, bits, data size.
Fields fields(const std::vector<uint8_t> &b)
{
    if (b.size() < 44 || std::string(b.begin(), b.begin() + 4) != "RIFF" ||
        std::string(b.begin() + 8, b.begin() + 16) != "WAVEfmt " ||
        std::string(b.begin() + 36, b.begin() + 40) != "data")
        return {};
    Fields f;
    for (auto [pos, width] : {std::pair{4, 4},
                              {16, 4},
                              {20, 2},
                              {22, 2},
                              {24, 4},
                              {28, 4},
                              {32, 2},
                              {34, 2},
                              {40, 4}}) {
        uint32_t v = 0;
        for (int i = width - 1; i >= 0; i--)
            v = v << 8 | b[static_cast<size_t>(pos + i)];
        f.push_back(v);
    }
    return f;
}

}  // namespace

// The placeholder header; the final one, over the placeholder with the
// samples kept; 0 channels written as one; the SBR rate (doubled until the
// final header knows whether the output is downsampled); 24-bit sizes.
TEST(WavWriter, HeaderFields)
{
    const struct {
        int32_t fs, chn, sbr, downsampled;
        bool placeholder;
        int32_t frames;  // of stereo 16-bit samples written, then the final header; < 0: none
        Fields want;
    } rows[] = {
        {44100, 2, 0, 0, true, -1, {2147483683u, 16, 1, 2, 44100, 176400, 4, 16, 2147483647u}},
        {44100, 2, 0, 0, true, 1000, {4036, 16, 1, 2, 44100, 176400, 4, 16, 4000}},
        {8000, 1, 0, 0, false, 10, {56, 16, 1, 1, 8000, 16000, 2, 16, 20}},
        {8000, 0, 0, 0, false, 10, {56, 16, 1, 1, 8000, 16000, 2, 16, 20}},
        {24000, 2, 1, 1, true, -1, {2147483683u, 16, 1, 2, 48000, 192000, 4, 16, 2147483647u}},
        {24000, 2, 1, 0, false, 1, {40, 16, 1, 2, 48000, 192000, 4, 16, 4}},
        {24000, 2, 1, 1, false, 1, {40, 16, 1, 2, 24000, 96000, 4, 16, 4}},
    };
    for (const auto &r : rows) {
        DecoderConfig c = {};
        c.fs = r.fs, c.chn = r.chn, c.pcmWidth = 1, c.wavOut = 1;
        c.sbrMode = r.sbr, c.sbrDownsampled = r.downsampled;
        const std::vector<uint8_t> b = written([&](FILE *fp) {
            if (r.placeholder)
                WriteWaveHeader(c, fp, 1);
            if (r.frames < 0)
                return;
            const std::vector<uint8_t> samples(r.placeholder ? 4 * r.frames : 0, 0x5a);
            if (!samples.empty())
                std::fwrite(samples.data(), 1, samples.size(), fp);
            WriteWaveHeaderEnd(c, fp, r.frames);
        });
        EXPECT_EQ(fields(b), r.want) << r.fs << " " << r.chn << " " << r.frames;
        if (r.placeholder && r.frames > 0) {  // written over the placeholder, samples kept
            EXPECT_TRUE(b.size() == 44u + 4u * r.frames && b.back() == 0x5a);
        }
    }
    EXPECT_EQ(fields(written([](FILE *fp) { WriteWaveHeader_AAC_DEC(fp, 600, 48000, 2, 24); })),
              (Fields{636, 16, 1, 2, 48000, 288000, 6, 24, 600}));
}

// No header without wavOut == 1, nor a placeholder after the first frame.
TEST(WavWriter, NothingWithoutWavOutOrFirstFrame)
{
    const std::vector<uint8_t> b = written([](FILE *fp) {
        DecoderConfig c = {};
        c.fs = 44100, c.chn = 2, c.pcmWidth = 1, c.wavOut = 1;
        WriteWaveHeader(c, fp, 0);
        std::fputs("pcm", fp);
        for (int32_t wav_out : {0, 2}) {
            c.wavOut = wav_out;
            WriteWaveHeader(c, fp, 1);
            WriteWaveHeaderEnd(c, fp, 1000);
        }
    });
    EXPECT_EQ(std::string(b.begin(), b.end()), "pcm");
}
