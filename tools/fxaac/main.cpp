// fxaac: the command-line front end of the decoder library.
//
//   fxaac decode IN [-o OUT] [--format s16|s24] [--raw --rate R --channels C] [--no-conceal]
//                [--no-trim] [--quiet]
//   fxaac info IN [--raw --rate R --channels C] [--no-conceal] [--no-trim]
//
// Built on the library's public C interface only.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "status_text.h"
#include "stream_decoder.h"
#include "wav_writer.h"

#ifndef FXAAC_VERSION_STRING
#define FXAAC_VERSION_STRING "unknown"
#endif

namespace {

using namespace fxaac_cli;

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitDamaged = 2;  // decoded to the end, with damaged frames skipped or concealed


const char kHelp[] =
    "NAME\n"
    "    fxaac - decode MPEG-2/4 AAC Low Complexity audio to WAV\n"
    "\n"
    "SYNOPSIS\n"
    "    fxaac decode IN [-o OUT] [--format s16|s24] [--raw --rate R --channels C]\n"
    "                 [--no-conceal] [--no-trim] [--quiet]\n"
    "    fxaac info IN [--raw --rate R --channels C] [--no-conceal] [--no-trim] [--quiet]\n"
    "    fxaac --help | --version\n"
    "\n"
    "DESCRIPTION\n"
    "    decode writes the audio of IN to the WAV file OUT. info decodes IN without\n"
    "    writing it and prints the input kind, object type, sampling rate, channels,\n"
    "    number of frames, duration and average bit rate.\n"
    "\n"
    "    The kind of input is recognised from its content: an ADTS stream (.aac, also\n"
    "    one cut anywhere: decoding starts at the first whole frame), an\n"
    "    ADIF stream, an MPEG-4 AudioSpecificConfig followed by raw data blocks (also\n"
    "    behind a \"HEAAC\" marker), or an MP4/M4A file, whose first AAC audio track is\n"
    "    decoded (other tracks are skipped). Headerless raw data blocks need --raw\n"
    "    with their rate and channel count. IN or OUT may be '-' for standard input\n"
    "    or output.\n"
    "\n"
    "    MP4/M4A files are played gapless: the encoder priming and padding that the\n"
    "    edit list and the iTunSMPB tag mark are dropped, so the output spans the\n"
    "    same samples as ffmpeg's. --no-trim keeps every decoded sample.\n"
    "\n"
    "    Damaged frames of ADTS streams and MP4 files are counted and concealed: a\n"
    "    frame that fades out what was playing takes the place of each damaged frame,\n"
    "    and of each frame lost where an ADTS stream loses its sync (estimated from\n"
    "    the bytes skipped), so that the audio after the damage keeps its place in\n"
    "    time. Streams of bare raw data blocks cannot be resynchronised: decoding\n"
    "    stops at the first damaged block. Tags at the end of an ADTS stream (ID3v1,\n"
    "    APEv2, Lyrics3) are metadata and skipped silently.\n"
    "\n"
    "OPTIONS\n"
    "    -o, --output OUT   output file; default: IN with its extension replaced by\n"
    "                       .wav, or standard output when IN is '-'\n"
    "    --format s16|s24   16-bit samples (default) or 24-bit samples\n"
    "    --raw              IN holds raw data blocks without any header\n"
    "    --rate R           sampling rate of raw input, in Hz\n"
    "    --channels C       channel count of raw input, 1 or 2\n"
    "    --no-conceal       leave damaged and missing frames out instead of\n"
    "                       concealing them (the audio after them comes early)\n"
    "    --no-trim          MP4: keep every decoded sample, priming and padding too\n"
    "    -q, --quiet        no progress bar, no warnings or notes (errors only)\n"
    "    -h, --help         show this text\n"
    "    -V, --version      show the version\n"
    "\n"
    "    A progress bar is shown on standard error when it is a terminal. WAV output\n"
    "    to a pipe keeps the largest sizes in its header, as the length is not known\n"
    "    in advance; a file gets the real sizes when decoding ends.\n"
    "\n"
    "EXIT STATUS\n"
    "    0  the whole input was decoded\n"
    "    1  failure: bad arguments, unreadable or unsupported input, write error,\n"
    "       decoding stopped early, or no frame could be decoded\n"
    "    2  the input was decoded to its end, but damaged frames were concealed or\n"
    "       skipped, or bytes without frames were skipped inside an ADTS stream\n"
    "    A stream that does not begin with a whole ADTS frame (a cut capture) and\n"
    "    tags at its end do not count as damage: a note tells of a cut start.\n"
    "\n"
    "EXAMPLES\n"
    "    fxaac decode song.m4a -o song.wav\n"
    "    fxaac decode --format s24 - < stream.aac > stream.wav\n"
    "    fxaac decode --raw --rate 44100 --channels 2 blocks.raw -o out.wav\n"
    "    fxaac info song.aac\n";

void error_line(const std::string &message)
{
    std::fprintf(stderr, "fxaac: error: %s\n", message.c_str());
}

int usage_error(const std::string &message)
{
    error_line(message + " (see fxaac --help)");
    return kExitFailure;
}

struct Arguments {
    std::string command;
    std::string input;
    std::string output;
    bool haveOutput = false;
    DecodeOptions options;
    bool quiet = false;
    bool haveRate = false;
    bool haveChannels = false;
    bool help = false;
};

bool parse_number(const std::string &text, long lo, long hi, int32_t *out)
{
    if (text.empty())
        return false;
    char *end = nullptr;
    errno = 0;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || v < lo || v > hi)
        return false;
    *out = static_cast<int32_t>(v);
    return true;
}

// Returns -1 when the arguments are good, else the exit status.
int parse_arguments(int argc, char **argv, Arguments *a)
{
    a->command = argv[1];
    bool optionsEnded = false;
    for (int i = 2; i < argc; i++) {
        std::string arg = argv[i];
        std::string value;
        bool inlineValue = false;
        if (!optionsEnded && arg.rfind("--", 0) == 0 && arg.find('=') != std::string::npos) {
            value = arg.substr(arg.find('=') + 1);
            arg = arg.substr(0, arg.find('='));
            inlineValue = true;
        }
        auto take_value = [&](std::string *out) {
            if (inlineValue) {
                *out = value;
                return true;
            }
            if (i + 1 >= argc)
                return false;
            *out = argv[++i];
            return true;
        };
        if (optionsEnded || arg == "-" || arg[0] != '-') {
            if (!a->input.empty())
                return usage_error("more than one input given: '" + a->input + "' and '" + arg + "'");
            a->input = arg;
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "-o" || arg == "--output") {
            if (a->command != "decode")
                return usage_error(arg + " belongs to the decode command");
            if (!take_value(&a->output) || a->output.empty())
                return usage_error(arg + " needs a file name");
            a->haveOutput = true;
        } else if (arg == "--format") {
            std::string f;
            if (a->command != "decode")
                return usage_error("--format belongs to the decode command");
            if (!take_value(&f))
                return usage_error("--format needs s16 or s24");
            if (f == "s16")
                a->options.pcm24 = false;
            else if (f == "s24")
                a->options.pcm24 = true;
            else
                return usage_error("unknown sample format '" + f + "': use s16 or s24");
        } else if (arg == "--raw" && !inlineValue) {
            a->options.raw = true;
        } else if (arg == "--rate") {
            std::string v;
            if (!take_value(&v) || !parse_number(v, 1, 384000, &a->options.rate))
                return usage_error("--rate needs a sampling rate in Hz, 1 to 384000");
            a->haveRate = true;
        } else if (arg == "--channels") {
            std::string v;
            if (!take_value(&v) || !parse_number(v, 1, 2, &a->options.channels))
                return usage_error("--channels needs a channel count of 1 or 2");
            a->haveChannels = true;
        } else if (arg == "--no-trim" && !inlineValue) {
            a->options.trim = false;
        } else if ((arg == "-q" || arg == "--quiet") && !inlineValue) {
            a->quiet = true;
        } else if (arg == "--no-conceal" && !inlineValue) {
            a->options.conceal = false;
        } else if ((arg == "-h" || arg == "--help") && !inlineValue) {
            a->help = true;
            return -1;
        } else {
            return usage_error("unknown option '" + std::string(argv[i]) + "'");
        }
    }
    if (a->input.empty())
        return usage_error("no input file given");
    if (a->options.raw && (!a->haveRate || !a->haveChannels))
        return usage_error("--raw needs --rate and --channels");
    if (!a->options.raw && (a->haveRate || a->haveChannels))
        return usage_error("--rate and --channels apply to --raw input only");
    return -1;
}

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

std::string format_duration(double seconds)
{
    const uint64_t ms = static_cast<uint64_t>(seconds * 1000.0 + 0.5);
    char text[64];
    const uint64_t h = ms / 3600000, m = ms / 60000 % 60, s = ms / 1000 % 60, f = ms % 1000;
    if (h > 0)
        std::snprintf(text, sizeof text, "%" PRIu64 ":%02" PRIu64 ":%02" PRIu64 ".%03" PRIu64, h, m,
                      s, f);
    else
        std::snprintf(text, sizeof text, "%" PRIu64 ":%02" PRIu64 ".%03" PRIu64, m, s, f);
    return text;
}

// WAV sink that creates its file only when the first samples are due, so a
// refused input leaves no output behind.
class WavSink final : public PcmSink {
public:
    WavSink(std::string path, int bits) : path_(std::move(path)), bits_(bits) {}
    ~WavSink() override
    {
        if (file_ != nullptr && file_ != stdout)
            std::fclose(file_);
    }

    bool begin(int32_t rate, int32_t channels) override
    {
        if (path_ == "-") {
            file_ = stdout;
        } else {
            file_ = std::fopen(path_.c_str(), "wb");
            if (file_ == nullptr) {
                error_ = "cannot create '" + path_ + "': " + std::strerror(errno);
                return false;
            }
        }
        if (file_ == nullptr) {
            error_ = "standard output is closed";
            return false;
        }
        writer_.reset(new WavWriter(file_, bits_));
        return check(writer_->begin(rate, channels));
    }

    bool write(const void *samples, int32_t count) override
    {
        return check(writer_->write(samples, count));
    }

    bool finish()
    {
        if (!writer_)
            return true;
        bool ok = check(writer_->finish());
        if (file_ != stdout) {
            if (std::fclose(file_) != 0 && ok) {
                error_ = "cannot close '" + path_ + "': " + std::strerror(errno);
                ok = false;
            }
            file_ = nullptr;
        }
        return ok;
    }

    std::string error() const override { return error_; }

private:
    bool check(bool ok)
    {
        if (!ok)
            error_ = (path_ == "-" ? "standard output" : "'" + path_ + "'") + ": " +
                     writer_->error();
        return ok;
    }
    std::string path_;
    int bits_;
    FILE *file_ = nullptr;
    std::unique_ptr<WavWriter> writer_;
    std::string error_;
};

class NullSink final : public PcmSink {
public:
    bool begin(int32_t, int32_t) override { return true; }
    bool write(const void *, int32_t) override { return true; }
    std::string error() const override { return {}; }
};

FILE *open_input(const std::string &path)
{
    if (path == "-")
        return stdin;
    FILE *f = std::fopen(path.c_str(), "rb");
    if (f == nullptr)
        error_line("cannot open '" + path + "': " + std::strerror(errno));
    return f;
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
    if (quiet)
        return damaged ? kExitDamaged : kExitOk;
    if (r.damagedFrames > 0)
        std::fprintf(stderr, "fxaac: warning: %" PRIu64 " damaged frame%s skipped, %" PRIu64
                     " decoded\n", r.damagedFrames, r.damagedFrames == 1 ? "" : "s", r.frames);
    if (r.unsyncedBytes > 0)
        std::fprintf(stderr, "fxaac: warning: %" PRIu64 " byte%s without %s skipped\n",
                     r.unsyncedBytes, r.unsyncedBytes == 1 ? "" : "s",
                     r.kind == InputKind::Latm ? "LATM elements" : "ADTS frames");
    if (r.concealedFrames > 0)
        std::fprintf(stderr, "fxaac: warning: %" PRIu64 " frame%s concealed\n", r.concealedFrames,
                     r.concealedFrames == 1 ? "" : "s");
    return damaged ? kExitDamaged : kExitOk;
}

int run_decode(const Arguments &a)
{
    const std::string output = a.haveOutput ? a.output : default_output(a.input);
    if (output != "-" && a.input != "-" && same_file(a.input, output))
        return usage_error("the output '" + output + "' would overwrite the input; give -o");
    if (output == "-" && isatty(fileno(stdout)))
        return usage_error("refusing to write WAV data to a terminal; give -o FILE or use a pipe");
    FILE *in = open_input(a.input);
    if (in == nullptr)
        return kExitFailure;
    DecodeOptions options = a.options;
    options.warnings = !a.quiet;
    options.progress = !a.quiet && isatty(STDERR_FILENO);
    WavSink sink(output, options.pcm24 ? 24 : 16);
    DecodeReport report;
    std::string error;
    bool ok = decode_stream(in, options, sink, &report, &error);
    if (in != stdin)
        std::fclose(in);
    if (!sink.finish() && ok) {
        ok = false;
        error = sink.error();
    }
    const int status = conclude(ok, error, report, a.quiet);
    if (status != kExitFailure && !a.quiet) {
        const char *where = output == "-" ? "standard output" : output.c_str();
        std::fprintf(stderr, "fxaac: %" PRIu64 " frames, %s of %d Hz audio in %d channel%s, "
                     "%d-bit, written to %s\n",
                     report.frames,
                     format_duration(static_cast<double>(report.samplesPerChannel) /
                                     report.sampleRate).c_str(),
                     report.sampleRate, report.channels, report.channels == 1 ? "" : "s",
                     options.pcm24 ? 24 : 16, where);
    }
    return status;
}

int run_info(const Arguments &a)
{
    FILE *in = open_input(a.input);
    if (in == nullptr)
        return kExitFailure;
    DecodeOptions options = a.options;
    options.warnings = !a.quiet;
    options.progress = !a.quiet && isatty(STDERR_FILENO);
    NullSink sink;
    DecodeReport r;
    std::string error;
    const bool ok = decode_stream(in, options, sink, &r, &error);
    if (in != stdin)
        std::fclose(in);
    if (!ok && r.stopReason.empty()) {
        error_line(error);
        return kExitFailure;
    }
    FILE *out = stdout;
    if (out == nullptr) {
        error_line("standard output is closed");
        return kExitFailure;
    }
    const double seconds =
        r.sampleRate > 0 ? static_cast<double>(r.samplesPerChannel) / r.sampleRate : 0.0;
    const char *typeName = fxaac_object_type_name(r.audioObjectType);
    std::fprintf(out, "%-15s%s\n", "input", input_kind_name(r.kind));
    if (!r.track.empty())
        std::fprintf(out, "%-15s%s\n", "track", r.track.c_str());
    std::fprintf(out, "%-15s%s (audio object type %d)%s\n", "object type",
                 typeName ? typeName : "unknown", r.audioObjectType,
                 r.kind == InputKind::Raw ? ", assumed for raw input" : "");
    std::fprintf(out, "%-15s%d Hz\n", "sampling rate", r.sampleRate);
    std::fprintf(out, "%-15s%d\n", "channels", r.channels);
    std::fprintf(out, "%-15s%" PRIu64 "\n", "frames", r.frames);
    if (!r.editList.empty())
        std::fprintf(out, "%-15s%s\n", "edit list", r.editList.c_str());
    if (!r.itunSmpb.empty())
        std::fprintf(out, "%-15s%s\n", "iTunSMPB", r.itunSmpb.c_str());
    if (r.kind == InputKind::Mp4)
        std::fprintf(out, "%-15s%" PRIu64 " samples at the start, %" PRIu64 " at the end%s\n",
                     "trimmed", r.trimmedStart, r.trimmedEnd, a.options.trim ? "" : " (--no-trim)");
    std::fprintf(out, "%-15s%s (%" PRIu64 " samples per channel)\n", "duration",
                 format_duration(seconds).c_str(), r.samplesPerChannel);
    if (seconds > 0)
        std::fprintf(out, "%-15s%.1f kbit/s average\n", "bit rate",
                     static_cast<double>(r.payloadBytes) * 8.0 / seconds / 1000.0);
    else
        std::fprintf(out, "%-15s-\n", "bit rate");
    if (r.damagedFrames > 0)
        std::fprintf(out, "%-15s%" PRIu64 "\n", "damaged frames", r.damagedFrames);
    if (r.concealedFrames > 0)
        std::fprintf(out, "%-15s%" PRIu64 " (included in the duration)\n", "concealed",
                     r.concealedFrames);
    if (r.leadingBytes > 0)
        std::fprintf(out, "%-15s%" PRIu64 " bytes before the first frame\n", "cut start",
                     r.leadingBytes);
    if (r.tagBytes > 0)
        std::fprintf(out, "%-15s%" PRIu64 " bytes of tags at the end\n", "metadata", r.tagBytes);
    if (r.sbrData)
        std::fprintf(out, "%-15sSBR data present, not decoded (HE-AAC at %d Hz)\n", "note",
                     2 * r.sampleRate);
    for (const std::string &s : r.skippedTracks)
        std::fprintf(out, "%-15s%s\n", "skipped", s.c_str());
    if (std::fflush(out) != 0) {
        error_line(std::string("cannot write to standard output: ") + std::strerror(errno));
        return kExitFailure;
    }
    return conclude(ok, error, r, a.quiet);
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return usage_error("no command given: use 'fxaac decode IN' or 'fxaac info IN'");
    const std::string first = argv[1];
    if (first == "-h" || first == "--help" || first == "help") {
        std::fputs(kHelp, stdout);
        return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
    }
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
    if (a.help) {
        std::fputs(kHelp, stdout);
        return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
    }
    return a.command == "decode" ? run_decode(a) : run_info(a);
}
