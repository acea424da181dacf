// Row kernels of the vector levels. The scalar kernels (pixel_walk.cpp) are
// the reference; for the members listed in convert_lanes.h each level
// sse2/avx2/avx512 has kernels that compute the same doubles on 2/4/8 pixels
// at once. The tables are filled once per process; rowKernelFor hands out the
// kernel of the level in force (frame/cpu.h).
#pragma once

#include <cstdint>

#include "color/models.h"
#include "color/pixel_walk.h"
#include "frame/dispatch.h"

namespace nadiro::color {

// A level's kernels by source and target model id; null where the level has
// none (the scalar kernel serves).
struct LaneKernels {
  RowKernel image[kModelCount + 1][kModelCount + 1] = {};
  RowKernel buffer[kModelCount + 1][kModelCount + 1] = {};
};

// What the vector kernels read besides their input: the byte scalings
// (formulas.h's kUnit and kHue, and every byte as a double), the seeds of the
// LAB kernel's cube roots, and the scalar RGB-to-LAB kernel (model order) for
// the pixels its fast path leaves to the formula.
struct LaneTables {
  const double* unit;
  const double* hue;
  const double* byte;
  const double* cbrtSeed;  // kCbrtSeeds entries, see cbrtSeedIndex in convert_lanes.h
  RowKernel exactLab;
};

// The cube-root seeds cover [2^kCbrtSeedLowExponent, 2) in buckets of
// 2^-kCbrtSeedBits of each octave.
inline constexpr int kCbrtSeedBits = 8;
inline constexpr int kCbrtSeedLowExponent = -7;
inline constexpr int kCbrtSeeds =
    -kCbrtSeedLowExponent * (1 << kCbrtSeedBits) + (1 << kCbrtSeedBits);
const LaneTables& laneTables();

// Each instruction-set file's table, asked only of levels the processor
// runs (frame/dispatch.h).
const LaneKernels* sse2LaneKernels();
const LaneKernels* avx2LaneKernels();
const LaneKernels* avx512LaneKernels();

// The vector kernel of `level` for the pair (ids 1..10), or null when the
// level is scalar or the pair has none (a level the processor lacks gives
// its best).
RowKernel laneRowKernel(CpuLevel level, int32_t from, int32_t to, Order order);

// The scalar reference kernel of the pair (what rowKernelFor gives at the
// scalar level).
RowKernel scalarRowKernel(int32_t from, int32_t to, Order order);

}  // namespace nadiro::color
