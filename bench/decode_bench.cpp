// Whole streams: every vector of the manifest that starts with a header,
// decoded from memory with AACPlusDecodeBuffer into 16-bit PCM, frame after
// frame. One benchmark iteration decodes the whole file, header included;
// per_frame is the time per frame, realtime the seconds of audio decoded per
// second.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <fxaac/fxaac.h>

#include "bench_data.h"
#include "bench_register.h"

namespace fxaac_bench {
namespace {

struct Stream {
    VectorInfo info;
    std::vector<uint8_t> bytes;  // the file alone: the bounded call needs no padding
};

// Decodes the whole stream; returns the frames that produced samples.
int32_t decode_all(const Stream &s, AacDecoder *dec, DecoderWorkArea *work, int16_t *pcm)
{
    AACPlusDecoderInit(dec, work);
    DecoderConfig cfg = {};
    cfg.hdrPrsnt = s.info.hdrPrsnt;
    cfg.fs = s.info.hdrPrsnt ? 0 : s.info.fs;
    cfg.chn = s.info.hdrPrsnt ? 0 : s.info.chn;
    const int32_t header = AACPlusHeaderDecode(cfg, dec, s.bytes.data());
    const auto size = static_cast<int32_t>(s.bytes.size());
    int32_t pos = header > 0 ? header : 0;
    int32_t frames = 0;
    const int32_t sbr = 0;
    while (pos < size) {
        FrameStatus st;
        AACPlusDecodeBuffer(dec, s.bytes.data() + pos, size - pos, pcm, &st, &sbr);
        if (st.outputSamples > 0)
            frames++;
        if (st.bytesConsumed <= 0)
            break;  // the rest is an incomplete frame
        pos += st.bytesConsumed;
    }
    return frames;
}

void decode(benchmark::State &state, const Stream *s)
{
    auto dec = std::make_unique<AacDecoder>();
    auto work = std::make_unique<DecoderWorkArea>();
    std::vector<int16_t> pcm(2 * FXAAC_FRAME_LENGTH);
    int32_t frames = 0;
    for (auto _ : state) {
        frames = decode_all(*s, dec.get(), work.get(), pcm.data());
        benchmark::DoNotOptimize(pcm.data());
        benchmark::ClobberMemory();
    }
    const double n = frames;
    state.SetItemsProcessed(state.iterations() * frames);
    state.counters["frames"] = n;
    state.counters["per_frame"] = benchmark::Counter(
        n, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["realtime"] = benchmark::Counter(n * FXAAC_FRAME_LENGTH / s->info.fs,
                                                    benchmark::Counter::kIsIterationInvariantRate);
}

}  // namespace

void register_decode_benchmarks()
{
    static std::vector<std::unique_ptr<Stream>> streams;
    for (const VectorInfo &v : manifest()) {
        if (v.kind != "adts")
            continue;
        auto s = std::make_unique<Stream>();
        s->info = v;
        s->bytes = read_vector(v.name);
        s->bytes.resize(s->bytes.size() - 8);  // the bounded call reads nothing past the data
        if (s->bytes.empty()) {
            std::fprintf(stderr, "%s: cannot read\n", v.name.c_str());
            continue;
        }
        benchmark::RegisterBenchmark(("BM_Decode/" + v.name).c_str(), decode, s.get());
        streams.push_back(std::move(s));
    }
}

}  // namespace fxaac_bench
