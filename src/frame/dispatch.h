// One family of row kernels behind one table of function pointers per
// instruction-set level (cpu.h). A family states its table type and, per
// level, a function that hands out that level's table (null where the level
// has none of its own, or off x86); KernelLevels picks the table of the
// level in force once and lets tests and benchmarks swap it for a while.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>

#include "frame/cpu.h"

namespace nadiro {

template <class Table>
class KernelLevels {
 public:
  using Source = const Table* (*)();

  // sources[level]: the table of each level, Scalar, Sse2, Avx2, Avx512; the
  // scalar one is required. Only the levels the processor runs are asked
  // (their code may use instructions the processor lacks).
  explicit KernelLevels(const std::array<Source, 4>& sources) {
    for (size_t k = 0; k <= static_cast<size_t>(cpuBestLevel()); ++k)
      if (sources[k]) tables_[k] = sources[k]();
    active_.store(&at(cpuLevel()));
  }
  KernelLevels(const KernelLevels&) = delete;
  KernelLevels& operator=(const KernelLevels&) = delete;

  // The table of the level in force.
  const Table& active() const { return *active_.load(std::memory_order_relaxed); }

  // The table of `level`: a level the processor lacks gives its best one, a
  // level without a table of its own the next lower one.
  const Table& at(CpuLevel level) const {
    for (auto k = static_cast<size_t>(std::min(level, cpuBestLevel())); k > 0; --k)
      if (tables_[k]) return *tables_[k];
    return *tables_[0];
  }

  // Makes `level` the one in force while it lives, so that tests and
  // benchmarks can set the levels side by side in one process.
  class Scoped {
   public:
    Scoped(KernelLevels& levels, CpuLevel level)
        : levels_(levels), previous_(levels.active_.exchange(&levels.at(level))) {}
    ~Scoped() { levels_.active_.store(previous_); }
    Scoped(const Scoped&) = delete;
    Scoped& operator=(const Scoped&) = delete;

   private:
    KernelLevels& levels_;
    const Table* previous_;
  };

 private:
  std::array<const Table*, 4> tables_{};
  std::atomic<const Table*> active_{nullptr};
};

// KernelLevels::Scoped for the family whose levels `Levels` returns.
template <class Table, KernelLevels<Table>& (*Levels)()>
class ScopedLevel : public KernelLevels<Table>::Scoped {
 public:
  explicit ScopedLevel(CpuLevel level) : KernelLevels<Table>::Scoped(Levels(), level) {}
};

}  // namespace nadiro
