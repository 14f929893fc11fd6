// In-process decoding speed of fxaac next to other AAC decoders linked as
// libraries: every decoder decodes the same ADTS bytes from memory, one frame
// per call. Only the loop of decode calls is timed (set-up and tear-down of
// the decoder are not); the passes interleave the decoders (pass 1: each
// decoder once, pass 2: each once again, ...) and the best pass counts.
//
//   fxaac_peer_bench [--passes N] [--frames N] [--only NAME,...] STREAM.aac
//
// --frames N decodes only the first N frames; with --only and --passes 1 a
// run decodes with one decoder once, which is what an instruction count of a
// long run minus a short one needs (scripts/bench-peers-inprocess).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "peer_decoder.h"

namespace fxaac_peers {
namespace {

constexpr size_t kPadding = 64;  // zero bytes after the stream

struct Options {
    int passes = 7;
    size_t frames = 0;  // 0: all
    std::vector<std::string> only;
    std::string path;
};

// Per decoder: the pass times and what the first pass gave.
struct Result {
    std::vector<double> seconds;  // per pass
    FrameOutput last;             // the last frame's output of the first pass
    size_t frames_with_samples = 0;
    size_t errors = 0;
    bool failed = false;
    std::string error;
};

[[noreturn]] void usage(const char *why)
{
    std::fprintf(stderr,
                 "%s\nusage: fxaac_peer_bench [--passes N] [--frames N] [--only NAME,...] "
                 "STREAM.aac\n",
                 why);
    std::exit(2);
}

Options parse_options(int argc, char **argv)
{
    Options o;
    for (int i = 1; i < argc; i++) {
        const std::string a = argv[i];
        const bool has_value = i + 1 < argc;
        if (a == "--passes" && has_value) {
            o.passes = std::atoi(argv[++i]);
        } else if (a == "--frames" && has_value) {
            o.frames = static_cast<size_t>(std::atol(argv[++i]));
        } else if (a == "--only" && has_value) {
            std::string list = argv[++i];
            for (size_t pos = 0; pos <= list.size();) {
                const size_t comma = std::min(list.find(',', pos), list.size());
                o.only.push_back(list.substr(pos, comma - pos));
                pos = comma + 1;
            }
        } else if (!a.empty() && a[0] != '-' && o.path.empty()) {
            o.path = a;
        } else {
            usage(("unknown argument: " + a).c_str());
        }
    }
    if (o.path.empty() || o.passes < 1)
        usage("a stream and at least one pass are needed");
    return o;
}

// Reads an ADTS file and finds its frames by their headers' frame_length.
bool read_adts(const std::string &path, Stream *s, std::string *error)
{
    std::ifstream f(path, std::ios::binary);
    if (!f) {
        *error = "cannot read " + path;
        return false;
    }
    s->bytes.assign(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
    const size_t size = s->bytes.size();
    size_t pos = 0;
    while (pos + 7 <= size) {
        const uint8_t *h = s->bytes.data() + pos;
        const size_t length = (static_cast<size_t>(h[3] & 3) << 11) | (h[4] << 3) | (h[5] >> 5);
        if (h[0] != 0xFF || (h[1] & 0xF6) != 0xF0 || length < 7 || pos + length > size) {
            *error = "not an ADTS frame at byte " + std::to_string(pos);
            return false;
        }
        s->offsets.push_back(static_cast<uint32_t>(pos));
        pos += length;
    }
    s->offsets.push_back(static_cast<uint32_t>(pos));
    if (s->frames() < 2) {
        *error = path + ": fewer than two ADTS frames";
        return false;
    }
    s->bytes.resize(size + kPadding, 0);
    return true;
}

// One pass of one decoder over frames [0, frames): only the decode calls are
// inside the clock.
void run_pass(PeerDecoder &d, const Stream &s, size_t frames, bool first, Result *r)
{
    if (!d.open(s, &r->error)) {
        r->failed = true;
        return;
    }
    std::vector<FrameOutput> outputs;
    if (first)
        outputs.resize(frames);
    const auto start = std::chrono::steady_clock::now();
    if (first) {
        for (size_t i = 0; i < frames; i++)
            outputs[i] = d.decode(s, i);
    } else {
        for (size_t i = 0; i < frames; i++)
            d.decode(s, i);
    }
    const auto stop = std::chrono::steady_clock::now();
    d.close();
    r->seconds.push_back(std::chrono::duration<double>(stop - start).count());
    for (const FrameOutput &o : outputs) {
        r->frames_with_samples += o.samples > 0;
        r->errors += o.error;
        if (o.samples > 0)
            r->last = o;
    }
}

double best(const Result &r) { return *std::min_element(r.seconds.begin(), r.seconds.end()); }

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

void print_table(const std::vector<std::unique_ptr<PeerDecoder>> &decoders,
                 const std::vector<Result> &results, size_t frames)
{
    std::printf("%-10s %-34s %6s %3s %9s %6s %12s %12s %11s\n", "decoder", "call, output", "rate",
                "ch", "smp/frame", "errors", "best us/frm", "median us", "fxaac/this");
    const bool has_ours = decoders[0]->name() == "fxaac" && !results[0].failed;
    const double ours = has_ours ? best(results[0]) : 0;
    for (size_t k = 0; k < decoders.size(); k++) {
        const Result &r = results[k];
        if (r.failed) {
            std::printf("%-10s failed: %s\n", decoders[k]->name().c_str(), r.error.c_str());
            continue;
        }
        const double us = best(r) / static_cast<double>(frames) * 1e6;
        const double med = median(r.seconds) / static_cast<double>(frames) * 1e6;
        char ratio[32] = "-";
        if (k > 0 && ours > 0)
            std::snprintf(ratio, sizeof ratio, "%.2f", ours / best(r));
        std::printf("%-10s %-34s %6d %3d %9d %6zu %12.2f %12.2f %11s\n",
                    decoders[k]->name().c_str(), decoders[k]->entry().c_str(), r.last.rate,
                    r.last.channels, r.last.samples, r.errors, us, med, ratio);
    }
}

bool wanted(const Options &o, const std::string &name)
{
    return o.only.empty() || std::find(o.only.begin(), o.only.end(), name) != o.only.end();
}

int run(int argc, char **argv)
{
    const Options o = parse_options(argc, argv);
    Stream s;
    std::string error;
    if (!read_adts(o.path, &s, &error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    const size_t frames = o.frames ? std::min(o.frames, s.frames()) : s.frames();
    std::vector<std::unique_ptr<PeerDecoder>> decoders;
    for (auto &d : make_decoders())
        if (wanted(o, d->name()))
            decoders.push_back(std::move(d));
    if (decoders.empty())
        usage("no decoder of that name in this program");
    const size_t stream_bytes = s.offsets.back();
    std::printf("stream: %s: %zu ADTS frames, %zu bytes; decoding frames 0 to %zu, best of %d "
                "interleaved passes\n",
                o.path.c_str(), s.frames(), stream_bytes, frames - 1, o.passes);
    std::vector<Result> results(decoders.size());
    for (int pass = 0; pass < o.passes; pass++)
        for (size_t k = 0; k < decoders.size(); k++)
            if (!results[k].failed)
                run_pass(*decoders[k], s, frames, pass == 0, &results[k]);
    print_table(decoders, results, frames);
    std::printf("time per frame: the decode calls of a pass divided by the %zu frames; "
                "fxaac/this below 1: fxaac takes less\n",
                frames);
    for (const Result &r : results)
        if (r.failed)
            return 1;
    return 0;
}

}  // namespace
}  // namespace fxaac_peers

int main(int argc, char **argv) { return fxaac_peers::run(argc, argv); }
