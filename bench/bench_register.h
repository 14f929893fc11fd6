// Benchmarks registered at start-up, one per test vector.
#ifndef FXAAC_BENCH_REGISTER_H
#define FXAAC_BENCH_REGISTER_H

namespace fxaac_bench {
// Parsing and reconstruction stages on the channels of a few vectors.
void register_stage_benchmarks();
// Whole-stream decoding of every ADTS vector.
void register_decode_benchmarks();
}  // namespace fxaac_bench

#endif  // FXAAC_BENCH_REGISTER_H
