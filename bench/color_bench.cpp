// Whole-image colour conversion of a 4K RGB picture (items/s = pixels/s).
#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "nadiro/nadiro.h"

namespace nadiro::bench {
namespace {

void BM_ConvertDIBColorSpace(benchmark::State& state) {
  const auto to = static_cast<int32_t>(state.range(0));
  timeImageOperation(state, 24, [&](NadiroHandle h) {
    return ConvertDIBColorSpace(h, NADIRO_MODEL_RGB, to, 0, nullptr);
  });
  state.SetLabel(to == NADIRO_MODEL_HSV ? "RGB->HSV" : to == NADIRO_MODEL_LAB ? "RGB->LAB" : "RGB->YUV");
}
BENCHMARK(BM_ConvertDIBColorSpace)
    ->Arg(NADIRO_MODEL_HSV)
    ->Arg(NADIRO_MODEL_LAB)
    ->Arg(NADIRO_MODEL_YUV)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nadiro::bench
