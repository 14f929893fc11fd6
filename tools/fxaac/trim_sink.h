// A sink in front of another that keeps one span of the decoded samples:
// what gapless MP4 files mark as encoder priming and padding is dropped.
// Until a span is set it passes everything on.
#ifndef FXAAC_CLI_TRIM_SINK_H
#define FXAAC_CLI_TRIM_SINK_H

#include <cstdint>

#include "pcm_sink.h"

namespace fxaac_cli {

class TrimSink final : public PcmSink {
public:
    // bytesPerSample: 2 for 16-bit samples, 4 for 24-bit ones in 32-bit words.
    TrimSink(PcmSink &out, int bytesPerSample) : out_(out), bytes_(bytesPerSample) {}

    // Keeps the samples (per channel, counted from the first one written)
    // in [skip, end).
    void keep(uint64_t skip, uint64_t end);

    bool begin(int32_t rate, int32_t channels) override;
    bool write(const void *samples, int32_t count) override;
    std::string error() const override { return out_.error(); }

    uint64_t dropped_start() const { return droppedStart_; }
    uint64_t dropped_end() const { return droppedEnd_; }

private:
    PcmSink &out_;
    int bytes_;
    int32_t channels_ = 1;
    bool active_ = false;
    uint64_t skip_ = 0;
    uint64_t end_ = UINT64_MAX;
    uint64_t position_ = 0;  // samples per channel written to this sink
    uint64_t droppedStart_ = 0;
    uint64_t droppedEnd_ = 0;
};

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_TRIM_SINK_H
