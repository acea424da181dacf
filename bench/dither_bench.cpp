// Dithering throughput: every error-diffusion and window method on a
// 3840x2160 24-bit image, to each target depth it supports. Items are
// pixels, so items_per_second is pixels/s; the Mpixels counter is megapixels/s.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "frame/dib.h"
#include "frame/memory.h"
#include "nadiro/nadiro.h"

namespace {

constexpr int32_t kWidth = 3840;
constexpr int32_t kHeight = 2160;

// A photo-like 24-bit image: smooth gradients with mild noise.
nadiro::MemHandle makeSource() {
  const uint32_t stride = (kWidth * 3 + 3) / 4 * 4;
  const size_t bytes = 40 + size_t{stride} * kHeight;
  nadiro::MemHandle h = nadiro::memAlloc(nadiro::kMemMoveableZero, bytes);
  auto* p = static_cast<uint8_t*>(nadiro::memLock(h));
  nadiro::dib::Header header;
  header.width = kWidth;
  header.height = kHeight;
  header.bitCount = 24;
  header.sizeImage = stride * kHeight;
  nadiro::dib::writeHeader(p, header);
  std::mt19937 rng(7);
  for (int32_t y = 0; y < kHeight; ++y) {
    uint8_t* row = p + 40 + size_t{stride} * static_cast<size_t>(y);
    for (int32_t x = 0; x < kWidth; ++x) {
      const int noise = static_cast<int>(rng() % 17) - 8;
      row[3 * x + 0] = static_cast<uint8_t>(std::clamp(x * 255 / kWidth + noise, 0, 255));
      row[3 * x + 1] = static_cast<uint8_t>(std::clamp(y * 255 / kHeight + noise, 0, 255));
      row[3 * x + 2] = static_cast<uint8_t>(std::clamp((x + y) * 255 / (kWidth + kHeight) + noise, 0, 255));
    }
  }
  nadiro::memUnlock(h);
  return h;
}

nadiro::MemHandle source() {
  static nadiro::MemHandle h = makeSource();
  return h;
}

template <typename F>
void run(benchmark::State& state, F dither) {
  const auto bits = static_cast<int32_t>(state.range(0));
  for (auto _ : state) {
    NadiroHandle out = dither(source(), bits);
    if (!out) {
      state.SkipWithError("dithering failed");
      break;
    }
    nadiro::memFree(out);
  }
  const int64_t pixels = int64_t{kWidth} * kHeight;
  state.SetItemsProcessed(state.iterations() * pixels);
  state.counters["Mpixels"] = benchmark::Counter(static_cast<double>(pixels) / 1e6,
                                              benchmark::Counter::kIsIterationInvariantRate);
}

#define DIFFUSION_BENCH(name, call)                                              \
  void name(benchmark::State& state) { run(state, call); }                       \
  BENCHMARK(name)->ArgName("bits")->Arg(1)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond)

DIFFUSION_BENCH(BM_DitherFS4, DitherFS4);
DIFFUSION_BENCH(BM_DitherFS4Ex, [](NadiroHandle h, int32_t b) { return DitherFS4Ex(h, b, 1); });
DIFFUSION_BENCH(BM_DitherJJN, DitherJJN);
DIFFUSION_BENCH(BM_DitherJJNEx, [](NadiroHandle h, int32_t b) { return DitherJJNEx(h, b, 1); });
DIFFUSION_BENCH(BM_DitherStucki, DitherStucki);
DIFFUSION_BENCH(BM_DitherBurkes, DitherBurkes);
DIFFUSION_BENCH(BM_DitherSierra, DitherSierra);
DIFFUSION_BENCH(BM_DitherSA, DitherSA);

void BM_DitherSharp(benchmark::State& state) { run(state, DitherSharp); }
BENCHMARK(BM_DitherSharp)->ArgName("bits")->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);
void BM_DitherSmooth(benchmark::State& state) { run(state, DitherSmooth); }
BENCHMARK(BM_DitherSmooth)->ArgName("bits")->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);

}  // namespace
