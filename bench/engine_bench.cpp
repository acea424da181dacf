// The dithering engine on the 4K 24-bit picture: Floyd-Steinberg to a
// 16-colour caller palette beside the fixed 8-colour DitherFS4 path
// (BM_DitherFS4/bits:4), and the other methods for scale.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench_support.h"
#include "nadiro/dither_engine.h"

namespace nadiro::bench {
namespace {

// The classic 16-colour display palette.
constexpr uint8_t k16Colours[16 * 3] = {0,   0,  0,  0,   0,  170, 0,   170, 0,  0,   170, 170,
                                        170, 0,  0,  170, 0,  170, 170, 85,  0,  170, 170, 170,
                                        85,  85, 85, 85,  85, 255, 85,  255, 85, 85,  255, 255,
                                        255, 85, 85, 255, 85, 255, 255, 255, 85, 255, 255, 255};

void runEngine(benchmark::State& state, uint32_t method, uint32_t which, uint32_t palette) {
  const std::vector<uint8_t> dib = make4KImage(24);
  const NadiroDitherSource source{dib.data() + 40, k4KWidth, k4KHeight, k4KWidth * 3,
                                  NADIRO_PIXELS_BGR24};
  NadiroDitherOptions o;
  NadiroDitherOptionsInit(&o);
  o.method = method;
  o.kernel = which;
  o.matrix = which;
  o.palette = palette;
  o.paletteCount = 16;
  o.paletteColors = k16Colours;
  for (auto _ : state) {
    std::vector<uint8_t> out(size_t{k4KWidth} *
                             k4KHeight);  // the caller's buffer, as made per call
    NadiroDitherTarget target{out.data(), k4KWidth, NADIRO_PIXELS_INDEX8, 0, {}};
    if (NadiroDither(&source, &target, &o) != NADIRO_DITHER_OK) {
      state.SkipWithError("the engine refused the picture");
      break;
    }
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * k4KPixels);
}

void BM_EngineKernel16(benchmark::State& state) {
  runEngine(state, NADIRO_METHOD_DIFFUSION, static_cast<uint32_t>(state.range(0)),
            NADIRO_PALETTE_CUSTOM);
}
void BM_EngineMatrix16(benchmark::State& state) {
  runEngine(state, NADIRO_METHOD_ORDERED, static_cast<uint32_t>(state.range(0)),
            NADIRO_PALETTE_CUSTOM);
}
void BM_EngineKernelRgb332(benchmark::State& state) {
  runEngine(state, NADIRO_METHOD_DIFFUSION, NADIRO_KERNEL_FLOYD_STEINBERG, NADIRO_PALETTE_RGB332);
}
void BM_EngineMedianCut16(benchmark::State& state) {
  runEngine(state, NADIRO_METHOD_DIFFUSION, NADIRO_KERNEL_FLOYD_STEINBERG,
            NADIRO_PALETTE_MEDIAN_CUT);
}

BENCHMARK(BM_EngineKernel16)->ArgName("kernel")->DenseRange(0, 8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EngineMatrix16)->ArgName("matrix")->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EngineKernelRgb332)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EngineMedianCut16)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nadiro::bench
