// Whole-image colour conversion of a 4K RGB picture into every other model
// (items/s = pixels/s). The vector level is the best the processor has
// unless NADIRO_CPU forces one.
#include <benchmark/benchmark.h>

#include <string>

#include "bench_support.h"
#include "nadiro/nadiro.h"

namespace nadiro::bench {
namespace {

constexpr const char* kModelNames[] = {"",    "RGB", "YUV", "CMY", "CMYK",    "YIQ",
                                       "HSV", "HSI", "XYZ", "LAB", "CMYK_UCR"};

void BM_ConvertDIBColorSpace(benchmark::State& state) {
  const auto to = static_cast<int32_t>(state.range(0));
  timeImageOperation(state, 24, [&](NadiroHandle h) {
    return ConvertDIBColorSpace(h, NADIRO_MODEL_RGB, to, 0, nullptr);
  });
  state.SetLabel(std::string("RGB->") + kModelNames[to]);
}
BENCHMARK(BM_ConvertDIBColorSpace)
    ->DenseRange(NADIRO_MODEL_YUV, NADIRO_MODEL_CMYK_UCR)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nadiro::bench
