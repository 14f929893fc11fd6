// Synthesis kernels on seeded data: the two FFT sizes, the inverse MDCT and
// its twiddle stages, the filterbank (transform, windowing and overlap-add,
// PCM hand-over) for each window sequence, and the PCM conversions. Their
// running time does not depend on the sample values.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include <fxaac/fxaac.h>

#include "filterbank/fft.h"
#include "filterbank/filter_bank.h"
#include "filterbank/imdct.h"
#include "filterbank/pcm_output.h"

using namespace fxaac;

namespace {

constexpr int N = FXAAC_FRAME_LENGTH;

std::vector<int32_t> seeded(size_t n, int32_t magnitude, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int32_t> d(-magnitude, magnitude);
    std::vector<int32_t> v(n);
    for (auto &x : v)
        x = d(rng);
    return v;
}

// A decoder instance with its work area, as the frame call leaves it for
// synthesis: scratchA at the work area's start, scratchB at the element
// record.
struct Instance {
    std::unique_ptr<AacDecoder> dec = std::make_unique<AacDecoder>();
    std::unique_ptr<DecoderWorkArea> work = std::make_unique<DecoderWorkArea>();

    Instance() { AACPlusDecoderInit(dec.get(), work.get()); }
    void reset_scratch()
    {
        dec->scratchA = dec->workBase;
        dec->scratchB = reinterpret_cast<int32_t *>(dec->elementRecord);
    }
};

// my_FFT destroys its input: each run starts from a fresh copy (a 4 KiB
// copy for 512 points, included in the time). Input below 2^21 leaves the
// headroom the transform needs.
void BM_FFT(benchmark::State &state)
{
    const int32_t points = static_cast<int32_t>(state.range(0));
    const std::vector<int32_t> input = seeded(2 * static_cast<size_t>(points), 1 << 20, 1);
    std::vector<int32_t> in(input.size()), out(input.size());
    for (auto _ : state) {
        std::memcpy(in.data(), input.data(), input.size() * sizeof(int32_t));
        my_FFT(in.data(), out.data(), points);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FFT)->Arg(512)->Arg(64);

// Inverse MDCT of 2048 (long) or 256 (short) samples from N/2 coefficients.
void BM_IMDCT(benchmark::State &state)
{
    const int32_t size = static_cast<int32_t>(state.range(0));
    Instance inst;
    std::vector<int32_t> in = seeded(static_cast<size_t>(size) / 2, 1 << 16, 2);
    std::vector<int32_t> out(static_cast<size_t>(size));
    for (auto _ : state) {
        inst.reset_scratch();
        IMDCT(inst.dec.get(), in.data(), out.data(), size);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_IMDCT)->Arg(2048)->Arg(256);

void BM_PreTwiddle(benchmark::State &state)
{
    const int32_t size = static_cast<int32_t>(state.range(0));
    Instance inst;
    std::vector<int32_t> in = seeded(static_cast<size_t>(size) / 2, 1 << 20, 3);
    for (auto _ : state) {
        inst.reset_scratch();
        ipreTwiddle(inst.dec.get(), in.data(), size);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PreTwiddle)->Arg(2048)->Arg(256);

// Post-twiddle from the FFT output in scratchB, with a right shift of 2
// (the block exponent's usual direction).
void BM_PostTwiddle(benchmark::State &state)
{
    const int32_t size = static_cast<int32_t>(state.range(0));
    Instance inst;
    inst.reset_scratch();
    const std::vector<int32_t> fft = seeded(static_cast<size_t>(size) / 2, 1 << 24, 4);
    std::memcpy(inst.dec->scratchB, fft.data(), fft.size() * sizeof(int32_t));
    std::vector<int32_t> out(static_cast<size_t>(size));
    for (auto _ : state) {
        ipostTwiddle(inst.dec.get(), out.data(), size, 2);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PostTwiddle)->Arg(2048)->Arg(256);

// One channel's synthesis as the frame call runs it (channel 0 of two,
// 16-bit output): inverse transform, windowing, overlap-add with the
// channel's overlap buffer, PCM hand-over. The spectrum is refreshed from a
// saved copy before each run (a 4 KiB copy, included in the time).
void BM_FilterBank(benchmark::State &state)
{
    const int32_t sequence = static_cast<int32_t>(state.range(0));
    Instance inst;
    const std::vector<int32_t> saved = seeded(N, 1 << 14, 5);
    std::vector<int32_t> spectrum(N);
    std::vector<int32_t> sbr(N);
    std::vector<int16_t> pcm(2 * N);
    for (auto _ : state) {
        std::memcpy(spectrum.data(), saved.data(), N * sizeof(int32_t));
        inst.reset_scratch();
        ifilter_bank(inst.dec.get(), sequence, 1, 1, spectrum.data(), inst.dec->overlap[0],
                     sbr.data(), inst.dec->workBase, pcm.data(), 0, 2, 0, 0, 0);
        benchmark::DoNotOptimize(pcm.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FilterBank)
    ->ArgName("window_sequence")
    ->Arg(0)   // only long
    ->Arg(1)   // long start
    ->Arg(2)   // eight short
    ->Arg(3);  // long stop

// 1024 synthesis samples of one channel into interleaved stereo PCM:
// format 1 is 16-bit, 2 is 24-bit in 32-bit words.
void BM_PCM(benchmark::State &state)
{
    const int16_t format = static_cast<int16_t>(state.range(0));
    const std::vector<int32_t> samples = seeded(N, 1 << 25, 6);
    std::vector<int32_t> out(2 * N);
    for (auto _ : state) {
        myOutputToPCM(samples.data(), out.data(), 2, format, 0, N, 0);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * N);
}
BENCHMARK(BM_PCM)->ArgName("format")->Arg(1)->Arg(2);

}  // namespace
