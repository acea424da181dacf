#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "dither/kernels.h"
#include "nadiro/nadiro.h"

namespace nadiro::bench {
namespace {

void BM_DitherOrdered(benchmark::State& state) {
  const auto type = static_cast<uint32_t>(state.range(0));
  const dither::ScopedDitherLevel level(static_cast<CpuLevel>(state.range(1)));
  timeImageOperation(state, 8, [&](NadiroHandle h) { return DitherOrdered(h, type); });
  state.SetLabel("items/s = pixels/s");
}
// Every matrix type with the scalar kernels and with the best level (frame/cpu.h).
// CPU time per 4K picture on the development machine: 3.9 ms scalar, 0.5 ms
// AVX-512, for every type.
void typesAtLevels(benchmark::internal::Benchmark* b) {
  b->ArgNames({"type", "level"})->Unit(benchmark::kMillisecond);
  for (int64_t type = 0; type < 7; ++type)
    for (const CpuLevel level : {CpuLevel::Scalar, cpuBestLevel()})
      b->Args({type, static_cast<int64_t>(level)});
}
BENCHMARK(BM_DitherOrdered)->Apply(typesAtLevels);

}  // namespace
}  // namespace nadiro::bench
