// Lines on standard error about the input: notes, and warnings. Consecutive
// warnings with the same text after their location are counted and reported
// once, with the count, when the text changes or at the end; past the first
// kMaxListedWarnings lines the rest are only counted.
#ifndef FXAAC_CLI_MESSAGES_H
#define FXAAC_CLI_MESSAGES_H

#include <string>

#include "progress.h"

namespace fxaac_cli {

class Messages {
public:
    static constexpr int kMaxListedWarnings = 20;

    // enabled: false prints nothing; the progress bar is cleared for each line.
    Messages(bool enabled, Progress &progress) : enabled_(enabled), progress_(progress) {}

    // A line that is neither a warning nor an error.
    void note(const std::string &message);
    // A problem at location (where in the input it lies).
    void warn(const std::string &location, const std::string &what);
    // The repeats still held, and how many lines were not listed.
    void finish();

private:
    void flush_repeats();
    void print_warning(const std::string &line);

    bool enabled_;
    Progress &progress_;
    int listed_ = 0;
    int repeats_ = 0;
    std::string lastWhat_;
    std::string lastLocation_;
};

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_MESSAGES_H
