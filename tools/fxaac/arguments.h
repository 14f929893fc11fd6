// The command line of fxaac: the help text, the options of the decode and
// info commands, the exit statuses, and the error lines on standard error.
#ifndef FXAAC_CLI_ARGUMENTS_H
#define FXAAC_CLI_ARGUMENTS_H

#include <string>

#include "stream_decoder.h"

namespace fxaac_cli {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitDamaged = 2;  // decoded to the end, with damaged frames skipped or concealed

struct Arguments {
    std::string command;  // "decode" or "info"
    std::string input;
    std::string output;
    bool haveOutput = false;
    DecodeOptions options;
    bool quiet = false;
    bool help = false;  // --help after the command
};

// "fxaac: error: message" on standard error.
void error_line(const std::string &message);

// An error line that points to --help; returns kExitFailure.
int usage_error(const std::string &message);

// The help text on standard output; returns the exit status.
int print_help();

// The arguments after the command word argv[1] (which is decode or info).
// Returns -1 when they are good, else the exit status (a line has told why).
int parse_arguments(int argc, char **argv, Arguments *arguments);

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_ARGUMENTS_H
