// fxaac: the command-line front end of the decoder library.
//
//   fxaac decode IN [-o OUT] [--format s16|s24] [--raw --rate R --channels C] [--no-conceal]
//                [--no-trim] [--quiet]
//   fxaac info IN [--raw --rate R --channels C] [--no-conceal] [--no-trim]
//
// Built on the library's public C interface only. This file wires the parts
// together: the arguments, the input file, the decoding run, the sink (a WAV
// file, or nothing for info) and the report.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "arguments.h"
#include "report_text.h"
#include "stream_decoder.h"
#include "wav_writer.h"

#ifndef FXAAC_VERSION_STRING
#define FXAAC_VERSION_STRING "unknown"
#endif

namespace {

using namespace fxaac_cli;

bool same_file(const std::string &a, const std::string &b)
{
    struct stat sa, sb;
    return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
           sa.st_ino == sb.st_ino;
}

std::string default_output(const std::string &input)
{
    if (input == "-")
        return "-";
    // A dot that begins the file name (".hidden") starts no extension.
    const size_t slash = input.rfind('/');
    const size_t name = slash == std::string::npos ? 0 : slash + 1;
    const size_t dot = input.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot > name;
    return (hasExtension ? input.substr(0, dot) : input) + ".wav";
}

// One decoding run of the input that the arguments name.
struct Run {
    bool opened = false;  // false: the input could not be opened (a line told why)
    bool ok = false;
    DecodeReport report;
    std::string error;
};

Run decode_input(const Arguments &a, PcmSink &sink)
{
    Run run;
    FILE *in = a.input == "-" ? stdin : std::fopen(a.input.c_str(), "rb");
    if (in == nullptr) {
        error_line("cannot open '" + a.input + "': " + std::strerror(errno));
        return run;
    }
    run.opened = true;
    DecodeOptions options = a.options;
    options.warnings = !a.quiet;
    options.progress = !a.quiet && isatty(STDERR_FILENO);
    run.ok = decode_stream(in, options, sink, &run.report, &run.error);
    if (in != stdin)
        std::fclose(in);
    return run;
}

// Exit status and closing lines after a decoding run; quiet: errors only.
int conclude(bool ok, const std::string &error, const DecodeReport &r, bool quiet)
{
    if (!ok) {
        error_line(error);
        return kExitFailure;
    }
    if (r.frames == 0) {
        error_line("no frame could be decoded");
        return kExitFailure;
    }
    const bool damaged = r.damagedFrames > 0 || r.unsyncedBytes > 0;
    if (!quiet)
        print_damage_summary(r);
    return damaged ? kExitDamaged : kExitOk;
}

int run_decode(const Arguments &a)
{
    const std::string output = a.haveOutput ? a.output : default_output(a.input);
    if (output != "-" && a.input != "-" && same_file(a.input, output))
        return usage_error("the output '" + output + "' would overwrite the input; give -o");
    if (output == "-" && isatty(fileno(stdout)))
        return usage_error("refusing to write WAV data to a terminal; give -o FILE or use a pipe");
    const int bits = a.options.pcm24 ? 24 : 16;
    WavSink sink(output, bits);
    Run run = decode_input(a, sink);
    if (!run.opened)
        return kExitFailure;
    if (!sink.finish() && run.ok) {
        run.ok = false;
        run.error = sink.error();
    }
    const int status = conclude(run.ok, run.error, run.report, a.quiet);
    if (status != kExitFailure && !a.quiet)
        print_decode_summary(run.report, bits, output);
    return status;
}

int run_info(const Arguments &a)
{
    NullSink sink;
    const Run run = decode_input(a, sink);
    if (!run.opened)
        return kExitFailure;
    if (!run.ok && run.report.stopReason.empty()) {
        error_line(run.error);
        return kExitFailure;
    }
    FILE *out = stdout;
    if (out == nullptr) {
        error_line("standard output is closed");
        return kExitFailure;
    }
    print_info(out, run.report, a.options.trim);
    if (std::fflush(out) != 0) {
        error_line(std::string("cannot write to standard output: ") + std::strerror(errno));
        return kExitFailure;
    }
    return conclude(run.ok, run.error, run.report, a.quiet);
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return usage_error("no command given: use 'fxaac decode IN' or 'fxaac info IN'");
    const std::string first = argv[1];
    if (first == "-h" || first == "--help" || first == "help")
        return print_help();
    if (first == "-V" || first == "--version") {
        std::fprintf(stdout, "fxaac %s\n", FXAAC_VERSION_STRING);
        return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
    }
    if (first != "decode" && first != "info")
        return usage_error("unknown command '" + first + "'");
    Arguments a;
    const int status = parse_arguments(argc, argv, &a);
    if (status >= 0)
        return status;
    if (a.help)
        return print_help();
    return a.command == "decode" ? run_decode(a) : run_info(a);
}
