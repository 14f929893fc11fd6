#include "messages.h"

#include <cstdio>

namespace fxaac_cli {

void Messages::note(const std::string &message)
{
    if (!enabled_)
        return;
    flush_repeats();
    progress_.clear();
    std::fprintf(stderr, "fxaac: note: %s\n", message.c_str());
}

void Messages::warn(const std::string &location, const std::string &what)
{
    if (!enabled_)
        return;
    if (what == lastWhat_) {
        repeats_++;
        lastLocation_ = location;
        return;
    }
    flush_repeats();
    lastWhat_ = what;
    print_warning(location + ": " + what);
}

void Messages::finish()
{
    flush_repeats();
    progress_.clear();
    if (listed_ > kMaxListedWarnings && enabled_)
        std::fprintf(stderr, "fxaac: warning: %d more problems not listed\n",
                     listed_ - kMaxListedWarnings);
}

void Messages::flush_repeats()
{
    if (repeats_ > 0)
        print_warning("the same " + std::to_string(repeats_) +
                      (repeats_ == 1 ? " more time" : " more times") + ", the last at " +
                      lastLocation_ + ": " + lastWhat_);
    repeats_ = 0;
    lastWhat_.clear();
}

void Messages::print_warning(const std::string &line)
{
    if (++listed_ > kMaxListedWarnings)
        return;
    progress_.clear();
    std::fprintf(stderr, "fxaac: warning: %s\n", line.c_str());
}

}  // namespace fxaac_cli
