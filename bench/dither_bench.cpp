// Error-diffusion and window dithering of a 4K 24-bit picture to every
// target depth each method supports. Items are pixels: items_per_second is
// pixels/s, and the Mpixels counter megapixels/s.
#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "nadiro/nadiro.h"

namespace nadiro::bench {
namespace {

template <typename F>
void run(benchmark::State& state, F dither) {
  const auto bits = static_cast<int32_t>(state.range(0));
  timeImageOperation(state, 24, [&](NadiroHandle h) { return dither(h, bits); });
}

void BM_DitherFS4(benchmark::State& state) { run(state, DitherFS4); }
void BM_DitherFS4Ex(benchmark::State& state) {
  run(state, [](NadiroHandle h, int32_t b) { return DitherFS4Ex(h, b, 1); });
}
void BM_DitherJJN(benchmark::State& state) { run(state, DitherJJN); }
void BM_DitherJJNEx(benchmark::State& state) {
  run(state, [](NadiroHandle h, int32_t b) { return DitherJJNEx(h, b, 1); });
}
void BM_DitherStucki(benchmark::State& state) { run(state, DitherStucki); }
void BM_DitherBurkes(benchmark::State& state) { run(state, DitherBurkes); }
void BM_DitherSierra(benchmark::State& state) { run(state, DitherSierra); }
void BM_DitherSA(benchmark::State& state) { run(state, DitherSA); }
void BM_DitherSharp(benchmark::State& state) { run(state, DitherSharp); }
void BM_DitherSmooth(benchmark::State& state) { run(state, DitherSmooth); }

void toOneFourEight(benchmark::internal::Benchmark* b) {
  b->ArgName("bits")->Arg(1)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond);
}
void toOneFour(benchmark::internal::Benchmark* b) {
  b->ArgName("bits")->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);
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
