#include "arguments.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace fxaac_cli {

namespace {

const char kHelp[] =
    "NAME\n"
    "    fxaac - decode MPEG-2/4 AAC (AAC-LC and HE-AAC) audio to WAV\n"
    "\n"
    "SYNOPSIS\n"
    "    fxaac decode IN [-o OUT] [--format s16|s24] [--raw --rate R --channels C]\n"
    "                 [--no-conceal] [--no-trim] [--downsampled] [--precise] [--quiet]\n"
    "    fxaac info IN [--raw --rate R --channels C] [--no-conceal] [--no-trim] [--quiet]\n"
    "    fxaac --help | --version\n"
    "\n"
    "DESCRIPTION\n"
    "    decode writes the audio of IN to the WAV file OUT. info decodes IN without\n"
    "    writing it and prints the input kind, object type, sampling rate, channels,\n"
    "    number of frames, duration and average bit rate.\n"
    "\n"
    "    The kind of input is recognised from its content: an ADTS stream (.aac, also\n"
    "    one cut anywhere: decoding starts at the first whole frame), a LATM/LOAS\n"
    "    stream (broadcast, Bluetooth), an ADIF stream, an MPEG-4\n"
    "    AudioSpecificConfig followed by raw data blocks (also\n"
    "    behind a \"HEAAC\" marker), or an MP4/M4A file, whose first AAC audio track is\n"
    "    decoded (other tracks are skipped). Headerless raw data blocks need --raw\n"
    "    with their rate and channel count. IN or OUT may be '-' for standard input\n"
    "    or output.\n"
    "\n"
    "    HE-AAC (AAC-LC with SBR, signalled in the configuration or only by the\n"
    "    SBR data of its frames) is decoded with its high band at twice the core's\n"
    "    rate, as other players do; --downsampled keeps the core's rate. HE-AAC v2\n"
    "    (a mono core with parametric stereo) is decoded to stereo.\n"
    "\n"
    "    MP4/M4A files are played gapless: the encoder priming and padding that the\n"
    "    edit list and the iTunSMPB tag mark are dropped, so the output spans the\n"
    "    same samples as ffmpeg's. --no-trim keeps every decoded sample.\n"
    "\n"
    "    Damaged frames of ADTS, LATM and MP4 files are counted and concealed: a\n"
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
    "    --downsampled      HE-AAC: output at the core's rate (half the usual)\n"
    "    --precise          the precise arithmetic: 32-bit coefficients and rounded\n"
    "                       products, within the full-accuracy limits of ISO/IEC\n"
    "                       14496-26 at 24 bits (the default arithmetic is the\n"
    "                       decoder's bit-exact reference)\n"
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

constexpr int kGood = -1;  // parse_arguments: the arguments are good so far

// The arguments one at a time. An option's value follows it, or stands after
// '=' in a long option ("--rate=44100"); "--" ends the options.
class Parser {
public:
    Parser(int argc, char **argv, Arguments *a) : argc_(argc), argv_(argv), a_(*a) {}

    int parse()
    {
        a_.command = argv_[1];
        for (i_ = 2; i_ < argc_; i_++) {
            const int status = argument(argv_[i_]);
            if (status != kGood || a_.help)
                return status;
        }
        return check();
    }

private:
    int argument(std::string arg)
    {
        inlineValue_ = false;
        if (!optionsEnded_ && arg.rfind("--", 0) == 0 && arg.find('=') != std::string::npos) {
            value_ = arg.substr(arg.find('=') + 1);
            arg = arg.substr(0, arg.find('='));
            inlineValue_ = true;
        }
        if (optionsEnded_ || arg == "-" || arg[0] != '-')
            return input(arg);
        if (arg == "--")
            optionsEnded_ = true;
        else if (arg == "-o" || arg == "--output")
            return output(arg);
        else if (arg == "--format")
            return format();
        else if (arg == "--rate" || arg == "--channels")
            return raw_parameter(arg);
        else if (!flag(arg))
            return usage_error("unknown option '" + std::string(argv_[i_]) + "'");
        return kGood;
    }

    // The options without a value; false for an unknown one.
    bool flag(const std::string &arg)
    {
        if (inlineValue_)
            return false;
        if (arg == "--raw")
            a_.options.raw = true;
        else if (arg == "--no-trim")
            a_.options.trim = false;
        else if (arg == "--downsampled")
            a_.options.downsampled = true;
        else if (arg == "--precise")
            a_.options.precise = true;
        else if (arg == "-q" || arg == "--quiet")
            a_.quiet = true;
        else if (arg == "--no-conceal")
            a_.options.conceal = false;
        else if (arg == "-h" || arg == "--help")
            a_.help = true;
        else
            return false;
        return true;
    }

    bool take_value(std::string *out)
    {
        if (inlineValue_) {
            *out = value_;
            return true;
        }
        if (i_ + 1 >= argc_)
            return false;
        *out = argv_[++i_];
        return true;
    }

    int input(const std::string &arg)
    {
        if (!a_.input.empty())
            return usage_error("more than one input given: '" + a_.input + "' and '" + arg + "'");
        a_.input = arg;
        return kGood;
    }

    int output(const std::string &arg)
    {
        if (a_.command != "decode")
            return usage_error(arg + " belongs to the decode command");
        if (!take_value(&a_.output) || a_.output.empty())
            return usage_error(arg + " needs a file name");
        a_.haveOutput = true;
        return kGood;
    }

    int format()
    {
        std::string f;
        if (a_.command != "decode")
            return usage_error("--format belongs to the decode command");
        if (!take_value(&f))
            return usage_error("--format needs s16 or s24");
        if (f != "s16" && f != "s24")
            return usage_error("unknown sample format '" + f + "': use s16 or s24");
        a_.options.pcm24 = f == "s24";
        return kGood;
    }

    int raw_parameter(const std::string &arg)
    {
        std::string v;
        if (arg == "--rate") {
            if (!take_value(&v) || !parse_number(v, 1, 384000, &a_.options.rate))
                return usage_error("--rate needs a sampling rate in Hz, 1 to 384000");
            haveRate_ = true;
        } else {
            if (!take_value(&v) || !parse_number(v, 1, 2, &a_.options.channels))
                return usage_error("--channels needs a channel count of 1 or 2");
            haveChannels_ = true;
        }
        return kGood;
    }

    int check() const
    {
        if (a_.input.empty())
            return usage_error("no input file given");
        if (a_.options.raw && (!haveRate_ || !haveChannels_))
            return usage_error("--raw needs --rate and --channels");
        if (!a_.options.raw && (haveRate_ || haveChannels_))
            return usage_error("--rate and --channels apply to --raw input only");
        return kGood;
    }

    const int argc_;
    char **const argv_;
    Arguments &a_;
    int i_ = 2;
    bool optionsEnded_ = false;
    bool inlineValue_ = false;
    std::string value_;
    bool haveRate_ = false;
    bool haveChannels_ = false;
};

}  // namespace

void error_line(const std::string &message)
{
    std::fprintf(stderr, "fxaac: error: %s\n", message.c_str());
}

int usage_error(const std::string &message)
{
    error_line(message + " (see fxaac --help)");
    return kExitFailure;
}

int print_help()
{
    std::fputs(kHelp, stdout);
    return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
}

int parse_arguments(int argc, char **argv, Arguments *arguments)
{
    return Parser(argc, argv, arguments).parse();
}

}  // namespace fxaac_cli
