// Row kernels of the vector levels. The scalar kernels (pixel_walk.cpp) are
// the reference; for the members listed in convert_lanes.h each level
// sse2/avx2/avx512 has kernels that compute the same doubles on 2/4/8 pixels
// at once. The tables are filled once per process; rowKernelFor hands out the
// kernel of the level in force (frame/cpu.h).
#pragma once

#include <cstdint>

#include "color/models.h"
#include "color/pixel_walk.h"
#include "frame/cpu.h"

namespace nadiro::color {

// A level's kernels by source and target model id; null where the level has
// none (the scalar kernel serves).
struct LaneKernels {
  RowKernel image[kModelCount + 1][kModelCount + 1] = {};
  RowKernel buffer[kModelCount + 1][kModelCount + 1] = {};
};

// The byte scalings the vector kernels read (formulas.h's kUnit and kHue).
struct LaneTables {
  const double* unit;
  const double* hue;
};
const LaneTables& laneTables();

// Each instruction-set file fills its level's table.
void fillSse2Kernels(LaneKernels& kernels);
void fillAvx2Kernels(LaneKernels& kernels);
void fillAvx512Kernels(LaneKernels& kernels);

// The vector kernel of `level` for the pair (ids 1..10), or null when the
// level is scalar, the processor lacks it, or the pair has none.
RowKernel laneRowKernel(CpuLevel level, int32_t from, int32_t to, Order order);

// The scalar reference kernel of the pair (what rowKernelFor gives at the
// scalar level).
RowKernel scalarRowKernel(int32_t from, int32_t to, Order order);

}  // namespace nadiro::color
