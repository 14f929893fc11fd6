// RIFF/WAVE output: a 44-byte PCM header, then little-endian samples of 16 or
// 24 bits. The sizes in the header are only known at the end: a seekable
// output gets them written over the header then; a pipe keeps the largest
// values, which readers take as "up to the end of the stream". WavSink puts
// the writer behind the decoding run's sink interface.
#ifndef FXAAC_CLI_WAV_WRITER_H
#define FXAAC_CLI_WAV_WRITER_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "pcm_sink.h"

namespace fxaac_cli {

class WavWriter {
public:
    static constexpr uint32_t kHeaderBytes = 44;
    static constexpr uint32_t kUnknownSize = 0xffffffffu;

    // bits: 16 (samples given as int16_t) or 24 (int32_t words holding
    // 24-bit values). The FILE stays owned by the caller.
    WavWriter(FILE *file, int bits);

    // Writes the header with placeholder sizes.
    bool begin(int32_t rate, int32_t channels);
    // Appends count interleaved samples.
    bool write(const void *samples, int32_t count);
    // Pads the data chunk to an even length, writes the real sizes over the
    // header when the output is seekable and small enough, and flushes.
    bool finish();

    uint64_t data_bytes() const { return dataBytes_; }
    bool sizes_written() const { return sizesWritten_; }
    const std::string &error() const { return error_; }

    // The 44 header bytes for a data chunk of dataBytes (kUnknownSize: a
    // stream of unknown length).
    static void header(uint8_t *out, int32_t rate, int32_t channels, int bits, uint32_t dataBytes);

private:
    bool put(const uint8_t *bytes, size_t n);
    FILE *file_;
    int bits_;
    int32_t rate_ = 0;
    int32_t channels_ = 0;
    bool seekable_;
    bool sizesWritten_ = false;
    uint64_t dataBytes_ = 0;
    std::vector<uint8_t> bytes_;
    std::string error_;
};

// A WAV file (or standard output, path "-") as the sink of a decoding run.
// The file is created only when the first samples are due, so a refused
// input leaves no output behind.
class WavSink final : public PcmSink {
public:
    // bits: 16 or 24, as for WavWriter.
    WavSink(std::string path, int bits) : path_(std::move(path)), bits_(bits) {}
    ~WavSink() override;

    bool begin(int32_t rate, int32_t channels) override;
    bool write(const void *samples, int32_t count) override;
    // Completes the file (see WavWriter::finish) and closes it.
    bool finish();
    std::string error() const override { return error_; }

private:
    bool check(bool ok);
    std::string path_;
    int bits_;
    FILE *file_ = nullptr;
    std::unique_ptr<WavWriter> writer_;
    std::string error_;
};

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_WAV_WRITER_H
