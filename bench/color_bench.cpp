// Whole-image colour conversion of a 3840x2160 RGB image, in megapixels/s.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>

#include "frame/memory.h"
#include "nadiro/nadiro.h"

namespace {

constexpr int32_t kWidth = 3840;
constexpr int32_t kHeight = 2160;

// A 24-bit RGB image of seeded noise.
nadiro::MemHandle makeImage() {
  const uint32_t stride = (kWidth * 3 + 3) / 4 * 4;
  const uint32_t pixels = stride * kHeight;
  nadiro::MemHandle h = nadiro::memAlloc(nadiro::kMemMoveableZero, 40 + size_t{pixels});
  auto* p = static_cast<uint8_t*>(nadiro::memLock(h));
  const uint32_t header[10] = {40, kWidth, kHeight, 1u | (24u << 16), 0, pixels, 2835, 2835, 0, 0};
  std::memcpy(p, header, sizeof header);
  std::mt19937 rng(7);
  for (uint32_t i = 0; i < pixels; ++i) p[40 + i] = static_cast<uint8_t>(rng());
  nadiro::memUnlock(h);
  return h;
}

void convertImage(benchmark::State& state, int32_t to) {
  nadiro::MemHandle image = makeImage();
  for (auto _ : state) {
    nadiro::MemHandle out = ConvertDIBColorSpace(image, NADIRO_MODEL_RGB, to, 0, nullptr);
    benchmark::DoNotOptimize(out);
    nadiro::memFree(out);
  }
  state.counters["MP/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kWidth * kHeight / 1e6, benchmark::Counter::kIsRate);
  nadiro::memFree(image);
}

void BM_ConvertRgbToHsv(benchmark::State& state) { convertImage(state, NADIRO_MODEL_HSV); }
void BM_ConvertRgbToLab(benchmark::State& state) { convertImage(state, NADIRO_MODEL_LAB); }
void BM_ConvertRgbToYuv(benchmark::State& state) { convertImage(state, NADIRO_MODEL_YUV); }

BENCHMARK(BM_ConvertRgbToHsv)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ConvertRgbToLab)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ConvertRgbToYuv)->Unit(benchmark::kMillisecond);

}  // namespace
