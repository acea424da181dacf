#include "color/convert_rows.h"

#include <array>
#include <cmath>

namespace nadiro::color {
namespace {

constexpr auto kByte = [] {
  std::array<double, 256> t{};
  for (int v = 0; v < 256; ++v) t[static_cast<size_t>(v)] = v;
  return t;
}();

// Seed i is the cube root of the middle of its bucket: octave
// kCbrtSeedLowExponent + i / 2^kCbrtSeedBits, mantissa 1 + (i mod
// 2^kCbrtSeedBits + 0.5) / 2^kCbrtSeedBits.
std::array<double, kCbrtSeeds> cbrtSeeds() {
  std::array<double, kCbrtSeeds> t{};
  constexpr int kPerOctave = 1 << kCbrtSeedBits;
  for (int i = 0; i < kCbrtSeeds; ++i) {
    const double mantissa = 1.0 + (i % kPerOctave + 0.5) / kPerOctave;
    t[static_cast<size_t>(i)] =
        std::cbrt(std::ldexp(mantissa, kCbrtSeedLowExponent + i / kPerOctave));
  }
  return t;
}

// The scalar level has no vector kernels.
constexpr LaneKernels kScalar{};

}  // namespace

const LaneTables& laneTables() {
  static const std::array<double, kCbrtSeeds> seeds = cbrtSeeds();
  static const LaneTables tables{kUnit.data(), kHue.data(), kByte.data(), seeds.data(),
                                 scalarRowKernel(NADIRO_MODEL_RGB, NADIRO_MODEL_LAB, Order::Model)};
  return tables;
}

RowKernel laneRowKernel(CpuLevel level, int32_t from, int32_t to, Order order) {
  static const KernelLevels<LaneKernels> levels(
      {[]() { return &kScalar; }, &sse2LaneKernels, &avx2LaneKernels, &avx512LaneKernels});
  if (from < 1 || from > kModelCount || to < 1 || to > kModelCount) return nullptr;
  const LaneKernels& k = levels.at(level);
  const auto f = static_cast<size_t>(from), t = static_cast<size_t>(to);
  return order == Order::Reversed ? k.image[f][t] : k.buffer[f][t];
}

}  // namespace nadiro::color
