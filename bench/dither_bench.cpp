// Error-diffusion and window dithering of a 4K 24-bit picture to every
// target depth each method supports, with the scalar kernels and with the
// best the processor has (the level argument, frame/cpu.h). Items are
// pixels: items_per_second is pixels/s, and the Mpixels counter megapixels/s.
//
// CPU time per picture on the development machine (AVX-512, loaded), scalar
// level / best level: FS4 to 1 bit 27.8 / 23.5 ms, to 4 bits 58.0 / 54.0,
// to 8 bits 64.6 / 61.0; JJN 1 bit 34.9 / 31.3; Stucki 34.3 / 30.7; Burkes
// 25.3 / 21.7; Sierra 25.1 / 21.2; SA 40.0 / 36.2; Sharp 54.2 / 48.7;
// Smooth 53.3 / 49.0. The levels differ in the grey and channel passes
// only; the diffusion rows are scalar at every level.
#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "dither/kernels.h"
#include "nadiro/nadiro.h"

namespace nadiro::bench {
namespace {

template <typename F>
void run(benchmark::State& state, F dither) {
  const auto bits = static_cast<int32_t>(state.range(0));
  const dither::ScopedDitherLevel level(static_cast<CpuLevel>(state.range(1)));
  timeImageOperation(state, 24, [&](NadiroHandle h) { return dither(h, bits); });
}

void BM_DitherFS4(benchmark::State& state) {
  run(state, DitherFS4);
}
void BM_DitherFS4Ex(benchmark::State& state) {
  run(state, [](NadiroHandle h, int32_t b) { return DitherFS4Ex(h, b, 1); });
}
void BM_DitherJJN(benchmark::State& state) {
  run(state, DitherJJN);
}
void BM_DitherJJNEx(benchmark::State& state) {
  run(state, [](NadiroHandle h, int32_t b) { return DitherJJNEx(h, b, 1); });
}
void BM_DitherStucki(benchmark::State& state) {
  run(state, DitherStucki);
}
void BM_DitherBurkes(benchmark::State& state) {
  run(state, DitherBurkes);
}
void BM_DitherSierra(benchmark::State& state) {
  run(state, DitherSierra);
}
void BM_DitherSA(benchmark::State& state) {
  run(state, DitherSA);
}
void BM_DitherSharp(benchmark::State& state) {
  run(state, DitherSharp);
}
void BM_DitherSmooth(benchmark::State& state) {
  run(state, DitherSmooth);
}

// The scalar level and the best one.
void atLevels(benchmark::internal::Benchmark* b, std::initializer_list<int64_t> targets) {
  b->ArgNames({"bits", "level"})->Unit(benchmark::kMillisecond);
  for (const int64_t bits : targets)
    for (const CpuLevel level : {CpuLevel::Scalar, cpuBestLevel()})
      b->Args({bits, static_cast<int64_t>(level)});
}
void toOneFourEight(benchmark::internal::Benchmark* b) {
  atLevels(b, {1, 4, 8});
}
void toOneFour(benchmark::internal::Benchmark* b) {
  atLevels(b, {1, 4});
}

BENCHMARK(BM_DitherFS4)->Apply(toOneFourEight);
BENCHMARK(BM_DitherFS4Ex)->Apply(toOneFourEight);
BENCHMARK(BM_DitherJJN)->Apply(toOneFourEight);
BENCHMARK(BM_DitherJJNEx)->Apply(toOneFourEight);
BENCHMARK(BM_DitherStucki)->Apply(toOneFourEight);
BENCHMARK(BM_DitherBurkes)->Apply(toOneFourEight);
BENCHMARK(BM_DitherSierra)->Apply(toOneFourEight);
BENCHMARK(BM_DitherSA)->Apply(toOneFourEight);
BENCHMARK(BM_DitherSharp)->Apply(toOneFour);
BENCHMARK(BM_DitherSmooth)->Apply(toOneFour);

}  // namespace
}  // namespace nadiro::bench
