#include "progress.h"

#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace fxaac_cli {

namespace {

double now_seconds()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

constexpr int kMaxBarWidth = 30;
constexpr int kDefaultColumns = 80;
constexpr double kRedrawSeconds = 0.1;

// Columns of the terminal on standard error (80 when it does not say).
int terminal_columns()
{
    winsize ws;
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &ws) == 0 && ws.ws_col > 0)
        return ws.ws_col;
    return kDefaultColumns;
}

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
    // The line stays below the terminal width, so that it never wraps and
    // \r always returns to its start: the bar takes what the text leaves.
    const int columns = terminal_columns();
    char text[160];
    if (total > 0) {
        const double fraction = done >= total ? 1.0 : static_cast<double>(done) / total;
        char tail[64];
        std::snprintf(tail, sizeof tail, "] %d:%04.1f%s", minutes, seconds, speed);
        int width = columns - 1 - 6 - static_cast<int>(std::strlen(tail));
        if (width < 10 && speed[0] != '\0') {
            std::snprintf(tail, sizeof tail, "] %d:%04.1f", minutes, seconds);
            width = columns - 1 - 6 - static_cast<int>(std::strlen(tail));
        }
        width = std::max(0, std::min(width, kMaxBarWidth));
        char bar[kMaxBarWidth + 1];
        const int filled = static_cast<int>(fraction * width);
        for (int i = 0; i < width; i++)
            bar[i] = i < filled ? '#' : '.';
        bar[width] = '\0';
        std::snprintf(text, sizeof text, "%3d%% [%s%s", static_cast<int>(fraction * 100), bar,
                      tail);
    } else {
        std::snprintf(text, sizeof text, "%.1f MiB read, %d:%04.1f of audio%s",
                      static_cast<double>(done) / (1 << 20), minutes, seconds, speed);
    }
    const int room = std::max(1, columns - 1);
    std::fprintf(stderr, "\r%.*s\033[K", room, text);
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
