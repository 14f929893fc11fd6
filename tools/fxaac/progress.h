// A one-line progress bar on standard error, redrawn at most ten times a
// second. Disabled unless standard error is a terminal.
#ifndef FXAAC_CLI_PROGRESS_H
#define FXAAC_CLI_PROGRESS_H

#include <cstdint>

namespace fxaac_cli {

class Progress {
public:
    explicit Progress(bool enabled) : enabled_(enabled) {}
    ~Progress() { clear(); }
    // done of total units (total 0: unknown), and the audio decoded so far.
    void update(uint64_t done, uint64_t total, double audioSeconds);
    // Erases the bar, so that a message can take its line.
    void clear();

private:
    bool enabled_;
    bool shown_ = false;
    double last_ = -1.0;
    double start_ = -1.0;
};

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_PROGRESS_H
