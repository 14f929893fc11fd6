#include "progress.h"

#include <time.h>

#include <cstdio>

namespace fxaac_cli {

namespace {

double now_seconds()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

constexpr int kBarWidth = 30;
constexpr double kRedrawSeconds = 0.1;

}  // namespace

void Progress::update(uint64_t done, uint64_t total, double audioSeconds)
{
    if (!enabled_)
        return;
    const double now = now_seconds();
    if (start_ < 0)
        start_ = now;
    if (last_ >= 0 && now - last_ < kRedrawSeconds)
        return;
    last_ = now;
    const int minutes = static_cast<int>(audioSeconds / 60);
    const double seconds = audioSeconds - 60.0 * minutes;
    const double elapsed = now - start_;
    char speed[32] = "";
    if (elapsed > 0.05)
        std::snprintf(speed, sizeof speed, ", %.0fx real time", audioSeconds / elapsed);
    if (total > 0) {
        const double fraction = done >= total ? 1.0 : static_cast<double>(done) / total;
        char bar[kBarWidth + 1];
        const int filled = static_cast<int>(fraction * kBarWidth);
        for (int i = 0; i < kBarWidth; i++)
            bar[i] = i < filled ? '#' : '.';
        bar[kBarWidth] = '\0';
        std::fprintf(stderr, "\r%3d%% [%s] %d:%04.1f%s\033[K", static_cast<int>(fraction * 100),
                     bar, minutes, seconds, speed);
    } else {
        std::fprintf(stderr, "\r%.1f MiB read, %d:%04.1f of audio%s\033[K",
                     static_cast<double>(done) / (1 << 20), minutes, seconds, speed);
    }
    std::fflush(stderr);
    shown_ = true;
}

void Progress::clear()
{
    if (!shown_)
        return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    shown_ = false;
    last_ = -1.0;
}

}  // namespace fxaac_cli
