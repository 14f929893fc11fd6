// Where decoded samples go: the interface the decoding run writes to, and a
// sink that drops them (fxaac info).
#ifndef FXAAC_CLI_PCM_SINK_H
#define FXAAC_CLI_PCM_SINK_H

#include <cstdint>
#include <string>

namespace fxaac_cli {

class PcmSink {
public:
    virtual ~PcmSink() = default;
    // Called once, before the first samples (or at the end when there are none).
    virtual bool begin(int32_t rate, int32_t channels) = 0;
    virtual bool write(const void *samples, int32_t count) = 0;
    virtual std::string error() const = 0;
};

class NullSink final : public PcmSink {
public:
    bool begin(int32_t, int32_t) override { return true; }
    bool write(const void *, int32_t) override { return true; }
    std::string error() const override { return {}; }
};

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_PCM_SINK_H
