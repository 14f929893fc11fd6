// Parsing and reconstruction stages on the real channels of test vectors,
// each stage alone, one benchmark iteration covering every channel of every
// frame of the vector. Times per channel follow from the per_channel counter.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench_data.h"
#include "bench_register.h"
#include "syntax/section_data.h"
#include "syntax/spectral_data.h"
#include "tools/inverse_quantization.h"
#include "tools/tns.h"

namespace fxaac_bench {
namespace {

using namespace fxaac;
using Channels = std::vector<std::unique_ptr<ChannelCapture>>;

void count_channels(benchmark::State &state, size_t channels)
{
    const double n = static_cast<double>(channels);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(channels));
    state.counters["channels"] = n;
    state.counters["per_channel"] = benchmark::Counter(
        n, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Huffman-coded spectrum: spectral_data from the reader at each channel's
// spectral data.
void spectral(benchmark::State &state, const StreamCapture *s)
{
    int16_t quantised[FXAAC_FRAME_LENGTH];
    const auto objectType = static_cast<int16_t>(s->objectType);
    for (auto _ : state) {
        for (const auto &c : s->channels) {
            BitCursor r = c->spectrumReader;
            spectral_data(&c->atSpectrum, &r, quantised, objectType);
            benchmark::DoNotOptimize(quantised);
        }
        benchmark::ClobberMemory();
    }
    count_channels(state, s->channels.size());
}

// Sections and scale factors (Huffman-coded differences): section_data
// and scale_factor_data from the reader at each channel's section data. A
// rerun rewrites exactly what the previous run wrote.
void scale_factors(benchmark::State &state, StreamCapture *s)
{
    for (auto _ : state) {
        for (auto &c : s->channels) {
            BitCursor r = c->sectionReader;
            section_data(&c->atSections, &r);
            scale_factor_data(&c->atSections, &r);
        }
        benchmark::ClobberMemory();
    }
    count_channels(state, s->channels.size());
}

// Inverse quantisation alone: quantised values to |q|^(4/3).
void dequantise(benchmark::State &state, const StreamCapture *s)
{
    int32_t spectrum[FXAAC_FRAME_LENGTH];
    for (auto _ : state) {
        for (const auto &c : s->channels) {
            inverse_quantization(spectrum, c->quantised);
            benchmark::DoNotOptimize(spectrum);
        }
        benchmark::ClobberMemory();
    }
    count_channels(state, s->channels.size());
}

// Reconstruction as the frame call runs it: inverse quantisation, scale
// factors per band and, for eight short windows, the return to window order.
void reconstruct(benchmark::State &state, const StreamCapture *s)
{
    int32_t grouped[FXAAC_FRAME_LENGTH];
    int32_t spectrum[FXAAC_FRAME_LENGTH];
    for (auto _ : state) {
        for (const auto &c : s->channels) {
            const ChannelStream *cs = &c->atSpectrum;
            if (cs->window_sequence == 2) {
                inverse_quantization(grouped, c->quantised);
                apply_scalefactors(cs, grouped);
                dec_quant_to_spec(cs, spectrum, grouped);
            } else {
                inverse_quantization(spectrum, c->quantised);
                apply_scalefactors(cs, spectrum);
            }
            benchmark::DoNotOptimize(spectrum);
        }
        benchmark::ClobberMemory();
    }
    count_channels(state, s->channels.size());
}

// TNS filtering of the channels that carry TNS data, in place on a working
// copy of their spectra (the filters' cost does not depend on the values).
void tns(benchmark::State &state, StreamCapture *s)
{
    std::vector<ChannelCapture *> withTns;
    for (auto &c : s->channels)
        if (c->atSpectrum.tns_data_present)
            withTns.push_back(c.get());
    std::vector<int32_t> spectra(withTns.size() * FXAAC_FRAME_LENGTH);
    for (size_t k = 0; k < withTns.size(); k++)
        std::memcpy(&spectra[k * FXAAC_FRAME_LENGTH], withTns[k]->spectrum,
                    sizeof withTns[k]->spectrum);
    int32_t scratch[FXAAC_FRAME_LENGTH];
    for (auto _ : state) {
        for (size_t k = 0; k < withTns.size(); k++) {
            ChannelStream *cs = &withTns[k]->atSpectrum;
            tns_decode_frame(cs, &cs->tns, s->sfIndex, static_cast<int16_t>(s->objectType),
                             &spectra[k * FXAAC_FRAME_LENGTH], scratch);
        }
        benchmark::ClobberMemory();
    }
    count_channels(state, withTns.size());
}

// Vectors whose channels are captured: a range of rates, both window
// kinds, M/S, TNS, full-scale values with escapes.
constexpr const char *kStageVectors[] = {
    "mix_96k_s.aac",    "castanets_44k_s.aac", "chord_48k_s.aac",
    "square_48k_s.aac", "voice_16k_m.aac",
};

}  // namespace

void register_stage_benchmarks()
{
    static std::vector<std::unique_ptr<StreamCapture>> captures;
    for (const char *name : kStageVectors) {
        std::string error;
        auto s = capture_stream(name, &error);
        if (!s) {
            std::fprintf(stderr, "%s: not captured: %s\n", name, error.c_str());
            continue;
        }
        StreamCapture *p = s.get();
        captures.push_back(std::move(s));
        const std::string tag = "/" + p->name;
        benchmark::RegisterBenchmark(("BM_SpectralData" + tag).c_str(), spectral, p);
        benchmark::RegisterBenchmark(("BM_SectionScaleFactors" + tag).c_str(), scale_factors, p);
        benchmark::RegisterBenchmark(("BM_Dequantise" + tag).c_str(), dequantise, p);
        benchmark::RegisterBenchmark(("BM_Reconstruct" + tag).c_str(), reconstruct, p);
        bool anyTns = false;
        for (const auto &c : p->channels)
            anyTns = anyTns || c->atSpectrum.tns_data_present;
        if (anyTns)
            benchmark::RegisterBenchmark(("BM_Tns" + tag).c_str(), tns, p);
    }
}

}  // namespace fxaac_bench
