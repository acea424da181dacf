// The six colour adjustments on a 4K 24-bit picture, through their exports
// (copy included), with no dialog and no progress. Items are pixels: the
// Mpixels counter is megapixels/s.
#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "nadiro/nadiro.h"

namespace nadiro::bench {
namespace {

template <typename F>
void run(benchmark::State& state, F adjust) {
  timeImageOperation(state, 24, adjust);
}

void BM_ColorBrightnessContrast(benchmark::State& state) {
  run(state, [](NadiroHandle h) { return ColorBrightnessContrast(h, 20, -10, 0); });
}
void BM_ColorHueSaturation(benchmark::State& state) {
  run(state, [](NadiroHandle h) { return ColorHueSaturation(h, 30, 10, 0, 0, 0, 0, nullptr); });
}
void BM_ColorHueSaturationRange(benchmark::State& state) {
  run(state, [](NadiroHandle h) { return ColorHueSaturation(h, 30, 10, 0, 300, 60, 0, nullptr); });
}
void BM_ColorCMYKLevels(benchmark::State& state) {
  run(state, [](NadiroHandle h) { return ColorCMYKLevels(h, 20, -30, 10, 50, 0, nullptr); });
}
void BM_Desaturate(benchmark::State& state) {
  run(state, [](NadiroHandle h) { return Desaturate(h, 0, nullptr); });
}
void BM_GammaCorrection(benchmark::State& state) {
  run(state, [](NadiroHandle h) { return GammaCorrection(h, 120, 100, 80, 0, nullptr); });
}
void BM_ReplaceColor(benchmark::State& state) {
  run(state, [](NadiroHandle h) {
    return ReplaceColor(h, 0x00806040, 0x00404040, 60, 20, 0, 0, nullptr);
  });
}
void BM_ReplaceColorEverything(benchmark::State& state) {
  run(state, [](NadiroHandle h) {
    return ReplaceColor(h, 0x00808080, 0x00FFFFFF, 60, 20, 0, 0, nullptr);
  });
}

BENCHMARK(BM_ColorBrightnessContrast)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ColorHueSaturation)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ColorHueSaturationRange)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ColorCMYKLevels)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Desaturate)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GammaCorrection)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReplaceColor)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReplaceColorEverything)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nadiro::bench
