#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "nadiro/nadiro.h"

namespace nadiro::bench {
namespace {

void BM_DitherOrdered(benchmark::State& state) {
  const auto type = static_cast<uint32_t>(state.range(0));
  timeImageOperation(state, 8, [&](NadiroHandle h) { return DitherOrdered(h, type); });
  state.SetLabel("items/s = pixels/s");
}
BENCHMARK(BM_DitherOrdered)->DenseRange(0, 6)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nadiro::bench
