// The report of a decoding run in words: the table of fxaac info, and the
// closing lines of a run on standard error.
#ifndef FXAAC_CLI_REPORT_TEXT_H
#define FXAAC_CLI_REPORT_TEXT_H

#include <cstdio>
#include <string>

#include "stream_decoder.h"

namespace fxaac_cli {

// "m:ss.mmm", or "h:mm:ss.mmm" from an hour on.
std::string format_duration(double seconds);

// The table of fxaac info. trim: the gapless trimming was on.
void print_info(FILE *out, const DecodeReport &report, bool trim);

// The warnings that close a run with damage: damaged frames, bytes without
// frames, frames concealed.
void print_damage_summary(const DecodeReport &report);

// The line that closes a decode: frames, duration, format, destination.
void print_decode_summary(const DecodeReport &report, int bits, const std::string &output);

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_REPORT_TEXT_H
