#include "trim_sink.h"

#include <algorithm>

namespace fxaac_cli {

void TrimSink::keep(uint64_t skip, uint64_t end)
{
    active_ = true;
    skip_ = skip;
    end_ = std::max(skip, end);
}

bool TrimSink::begin(int32_t rate, int32_t channels)
{
    channels_ = channels > 0 ? channels : 1;
    return out_.begin(rate, channels);
}

bool TrimSink::write(const void *samples, int32_t count)
{
    if (!active_)
        return out_.write(samples, count);
    const uint64_t frames = static_cast<uint64_t>(count / channels_);
    const uint64_t from = std::clamp(skip_, position_, position_ + frames);
    const uint64_t to = std::clamp(end_, from, position_ + frames);
    droppedStart_ += from - position_;
    droppedEnd_ += position_ + frames - to;
    const size_t offset = static_cast<size_t>(from - position_) * channels_ * bytes_;
    position_ += frames;
    if (to == from)
        return true;
    return out_.write(static_cast<const uint8_t *>(samples) + offset,
                      static_cast<int32_t>(to - from) * channels_);
}

}  // namespace fxaac_cli
