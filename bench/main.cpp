// fxaac_bench: Google Benchmark runner. The fixed kernels register
// themselves; the benchmarks over test vectors are registered here, after
// their inputs are loaded (FXAAC_VECTORS overrides the vector folder).
#include <benchmark/benchmark.h>

#include "bench_register.h"

int main(int argc, char **argv)
{
    fxaac_bench::register_stage_benchmarks();
    fxaac_bench::register_decode_benchmarks();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
