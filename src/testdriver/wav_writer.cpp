#include "testdriver/wav_writer.h"

namespace {

using fxaac_driver::output_channels;

// The placeholder announces the largest signed 32-bit size, so that a reader
// of an unfinished file takes everything after the header as samples.
constexpr uint32_t kPlaceholderDataBytes = 2147483647u;
constexpr uint32_t kRiffHeaderRest = 36;  // header bytes after the RIFF size field
constexpr uint32_t kFmtChunkBytes = 16;
constexpr int32_t kFormatPcm = 1;
constexpr uint32_t kBytesPerSampleWritten = 2;  // the driver writes 16-bit samples

int put_tag(FILE *fp, const char *tag, int n)
{
    int last = 0;
    for (int i = 0; i < n; i++)
        last = std::fputc(tag[i], fp);
    return last;
}

int32_t bits_per_sample(const DecoderConfig &config) { return (config.pcmWidth + 1) * 8; }

// Rates are computed unsigned so that absurd command-line rates wrap instead
// of overflowing.
int32_t scaled_rate(int32_t fs, int32_t factor)
{
    return static_cast<int32_t>(static_cast<uint32_t>(fs) * static_cast<uint32_t>(factor));
}

}  // namespace

int Write16BitsLowHigh(FILE *fp, int32_t value)
{
    std::fputc(value & 0xff, fp);
    return std::fputc((value >> 8) & 0xff, fp);
}

int Write24BitsLowHigh(FILE *fp, int32_t value)
{
    std::fputc(value & 0xff, fp);
    std::fputc((value >> 8) & 0xff, fp);
    return std::fputc((value >> 16) & 0xff, fp);
}

int Write32BitsLowHigh(FILE *fp, int32_t value)
{
    const uint32_t u = static_cast<uint32_t>(value);
    Write16BitsLowHigh(fp, static_cast<int32_t>(u & 0xffff));
    return Write16BitsLowHigh(fp, static_cast<int32_t>(u >> 16));
}

int32_t WriteWaveHeader_AAC_DEC(FILE *fp, int32_t dataBytes, int32_t rate, int32_t chn,
                                int32_t bits)
{
    const int32_t bytesPerSample = (bits + 7) / 8;
    const uint32_t byteRate = static_cast<uint32_t>(bytesPerSample) * static_cast<uint32_t>(rate) *
                              static_cast<uint32_t>(chn);

    put_tag(fp, "RIFF", 4);
    Write32BitsLowHigh(fp,
                       static_cast<int32_t>(static_cast<uint32_t>(dataBytes) + kRiffHeaderRest));
    put_tag(fp, "WAVEfmt ", 8);
    Write32BitsLowHigh(fp, kFmtChunkBytes);
    Write16BitsLowHigh(fp, kFormatPcm);
    Write16BitsLowHigh(fp, chn);
    Write32BitsLowHigh(fp, rate);
    Write32BitsLowHigh(fp, static_cast<int32_t>(byteRate));
    Write16BitsLowHigh(fp, chn * bytesPerSample);
    Write16BitsLowHigh(fp, bits);
    put_tag(fp, "data", 4);
    Write32BitsLowHigh(fp, dataBytes);
    return std::ferror(fp) ? -1 : 0;
}

void WriteWaveHeader(DecoderConfig config, FILE *fp, int32_t first)
{
    if (config.wavOut != 1 || first != 1)
        return;
    // The frame call has not run yet; in SBR mode the output rate is taken
    // to be doubled until the final header knows better.
    const int32_t rate = config.sbrMode ? scaled_rate(config.fs, 2) : config.fs;
    WriteWaveHeader_AAC_DEC(fp, static_cast<int32_t>(kPlaceholderDataBytes), rate,
                            output_channels(config.chn), bits_per_sample(config));
}

void WriteWaveHeaderEnd(DecoderConfig config, FILE *fp, int32_t totalFrames)
{
    if (config.wavOut != 1)
        return;
    const int32_t chn = output_channels(config.chn);
    const int32_t rate = config.sbrMode ? scaled_rate(config.fs, 2 - config.sbrDownsampled)
                                        : config.fs;
    // Samples are always written as 16 bits, whatever pcmWidth says.
    const uint32_t dataBytes = static_cast<uint32_t>(totalFrames) * static_cast<uint32_t>(chn) *
                               kBytesPerSampleWritten;
    std::fseek(fp, 0, SEEK_SET);
    WriteWaveHeader_AAC_DEC(fp, static_cast<int32_t>(dataBytes), rate, chn,
                            bits_per_sample(config));
}
