#include "color/convert_rows.h"

#include <array>

namespace nadiro::color {
namespace {

constexpr LaneTables kLaneTables{kUnit.data(), kHue.data()};

using LevelTables = std::array<LaneKernels, 4>;

// Only the levels the processor runs are filled.
LevelTables buildLevels() {
  LevelTables levels{};
  const auto best = static_cast<int>(cpuBestLevel());
  if (best >= static_cast<int>(CpuLevel::Sse2)) fillSse2Kernels(levels[1]);
  if (best >= static_cast<int>(CpuLevel::Avx2)) fillAvx2Kernels(levels[2]);
  if (best >= static_cast<int>(CpuLevel::Avx512)) fillAvx512Kernels(levels[3]);
  return levels;
}

}  // namespace

const LaneTables& laneTables() {
  return kLaneTables;
}

RowKernel laneRowKernel(CpuLevel level, int32_t from, int32_t to, Order order) {
  static const LevelTables levels = buildLevels();
  if (from < 1 || from > kModelCount || to < 1 || to > kModelCount) return nullptr;
  const LaneKernels& k = levels[static_cast<size_t>(level)];
  const auto f = static_cast<size_t>(from), t = static_cast<size_t>(to);
  return order == Order::Reversed ? k.image[f][t] : k.buffer[f][t];
}

}  // namespace nadiro::color
