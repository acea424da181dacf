// Benchmark inputs: 4K pictures as library handles.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "frame/memory.h"

namespace nadiro::bench {

inline constexpr int32_t k4KWidth = 3840;
inline constexpr int32_t k4KHeight = 2160;
inline constexpr int64_t k4KPixels = int64_t{k4KWidth} * k4KHeight;

// A 4K picture with smooth gradients and noise: bits 8 (grey table) or 24.
std::vector<uint8_t> make4KImage(uint16_t bits);

class BenchHandle;

// One 4K picture per depth, made on first use and kept for the whole run,
// so that benchmarks time only the operation.
const BenchHandle& shared4KImage(uint16_t bits);

class BenchHandle {
 public:
  explicit BenchHandle(const std::vector<uint8_t>& bytes);
  ~BenchHandle();
  BenchHandle(const BenchHandle&) = delete;
  BenchHandle& operator=(const BenchHandle&) = delete;
  MemHandle get() const { return h_; }

 private:
  MemHandle h_;
};

// Times `operation`, which makes a new image from the shared 4K picture of
// `bits` bits per pixel (freed at once), and reports pixels/s as items and
// megapixels/s as the Mpixels counter.
template <typename F>
void timeImageOperation(benchmark::State& state, uint16_t bits, F operation) {
  void* const source = shared4KImage(bits).get();  // made once, outside the timing
  for (auto _ : state) {
    void* out = operation(source);
    if (!out) {
      state.SkipWithError("the operation refused the picture");
      break;
    }
    benchmark::DoNotOptimize(out);
    memFree(out);
  }
  state.SetItemsProcessed(state.iterations() * k4KPixels);
  state.counters["Mpixels"] = benchmark::Counter(static_cast<double>(k4KPixels) / 1e6,
                                                 benchmark::Counter::kIsIterationInvariantRate);
}

}  // namespace nadiro::bench
