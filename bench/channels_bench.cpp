// Channel split and merge and the convolution filter on a 3840x2160 24-bit
// picture, in megapixels/s.
#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "nadiro/nadiro.h"

namespace nadiro::bench {
namespace {

void reportMegapixels(benchmark::State& state) {
  state.counters["MP/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * static_cast<double>(k4KPixels) / 1e6,
      benchmark::Counter::kIsRate);
}

void freeChannels(NadiroHandle* channels, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) memFree(channels[i]);
}

// range(0): the colour model.
void BM_SplitColorChannels(benchmark::State& state) {
  const BenchHandle image(make4KImage(24));
  const auto model = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) {
    NadiroHandle channels[4] = {};
    const uint32_t count = SplitColorChannels(image.get(), channels, model);
    benchmark::DoNotOptimize(count);
    freeChannels(channels, count);
  }
  reportMegapixels(state);
}
BENCHMARK(BM_SplitColorChannels)->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond);

void BM_MergeColorChannels(benchmark::State& state) {
  const BenchHandle image(make4KImage(24));
  const auto model = static_cast<uint32_t>(state.range(0));
  NadiroHandle channels[4] = {};
  const uint32_t count = SplitColorChannels(image.get(), channels, model);
  const BenchHandle dest(make4KImage(24));
  for (auto _ : state) {
    const uint32_t ok =
        MergeColorChannels(channels[0], channels[1], channels[2], channels[3], dest.get(), model);
    benchmark::DoNotOptimize(ok);
  }
  freeChannels(channels, count);
  reportMegapixels(state);
}
BENCHMARK(BM_MergeColorChannels)->Arg(1)->Arg(2)->Arg(6)->Unit(benchmark::kMillisecond);

// range(0): kernel size; range(1): divisor of the caller's kernel (a blur
// whose weights sum to 2 n - 1; divisor 0 uses that sum, 16 a shift).
void BM_ColorConvolution(benchmark::State& state) {
  const BenchHandle image(make4KImage(24));
  const auto n = static_cast<int32_t>(state.range(0));
  int16_t kernel[50] = {};
  for (int32_t i = 0; i < n; ++i) {
    kernel[i * n + n / 2] = 1;
    kernel[(n / 2) * n + i] = 1;
  }
  kernel[n * n] = static_cast<int16_t>(state.range(1));
  for (auto _ : state) {
    uint32_t error = 0;
    NadiroHandle out =
        ColorConvolutionW(image.get(), 1, 1, 1, n, nullptr, kernel, &error, 0, nullptr);
    benchmark::DoNotOptimize(out);
    memFree(out);
  }
  reportMegapixels(state);
}
BENCHMARK(BM_ColorConvolution)
    ->Args({3, 0})
    ->Args({3, 16})
    ->Args({5, 0})
    ->Args({7, 0})
    ->Unit(benchmark::kMillisecond);

// The built-in filters (kernelSource 3..6) by source and size.
void BM_BuiltinFilter(benchmark::State& state) {
  const BenchHandle image(make4KImage(24));
  const auto source = static_cast<uint32_t>(state.range(0));
  const auto n = static_cast<int32_t>(state.range(1));
  for (auto _ : state) {
    uint32_t error = 0;
    NadiroHandle out =
        ColorConvolutionW(image.get(), 1, 0, source, n, nullptr, nullptr, &error, 0, nullptr);
    benchmark::DoNotOptimize(out);
    memFree(out);
  }
  reportMegapixels(state);
}
BENCHMARK(BM_BuiltinFilter)
    ->Args({3, 3})
    ->Args({3, 7})
    ->Args({4, 3})
    ->Args({4, 5})
    ->Args({6, 3})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nadiro::bench
