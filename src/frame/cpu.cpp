#include "frame/cpu.h"

#include <cstdlib>
#include <cstring>

namespace nadiro {
namespace {

constexpr const char* kLevelNames[] = {"scalar", "sse2", "avx2", "avx512"};

CpuLevel detectBest() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq"))
    return CpuLevel::Avx512;
  if (__builtin_cpu_supports("avx2")) return CpuLevel::Avx2;
  if (__builtin_cpu_supports("sse2")) return CpuLevel::Sse2;
#endif
  return CpuLevel::Scalar;
}

CpuLevel detectInForce() {
  const CpuLevel best = cpuBestLevel();
  const char* forced = std::getenv("NADIRO_CPU");
  if (forced == nullptr) return best;
  for (int level = 0; level <= static_cast<int>(best); ++level)
    if (std::strcmp(forced, kLevelNames[level]) == 0) return static_cast<CpuLevel>(level);
  // An unknown name or a level the processor lacks: the best one available.
  return best;
}

}  // namespace

CpuLevel cpuBestLevel() {
  static const CpuLevel best = detectBest();
  return best;
}

CpuLevel cpuLevel() {
  static const CpuLevel level = detectInForce();
  return level;
}

const char* cpuLevelName(CpuLevel level) {
  return kLevelNames[static_cast<int>(level)];
}

}  // namespace nadiro
