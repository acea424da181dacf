#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "nadiro/nadiro.h"

namespace nadiro::bench {
namespace {

void BM_DitherOrdered(benchmark::State& state) {
  const BenchHandle& image = shared4KImage(8);  // made once, outside the timing
  const auto type = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) {
    NadiroHandle out = DitherOrdered(image.get(), type);
    benchmark::DoNotOptimize(out);
    memFree(out);
  }
  state.SetItemsProcessed(state.iterations() * k4KPixels);
  state.SetLabel("items/s = pixels/s");
}
BENCHMARK(BM_DitherOrdered)->DenseRange(0, 6)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nadiro::bench
