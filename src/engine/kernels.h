// The error-diffusion kernels, one table in the order of NadiroDitherKernel.
#pragma once

#include "engine/engine.h"

namespace nadiro::engine {

// Weights row-major over kKernelColumns columns; the pixel is at `origin`.
// clang-format off
inline constexpr Kernel kKernels[kBuiltInKernels] = {
    // Floyd-Steinberg
    {3, 2, 1, 16, {0, 0, 7, 0, 0, 0, 0, 0, 0,
                   3, 5, 1}},
    // Jarvis, Judice and Ninke
    {5, 3, 2, 48, {0, 0, 0, 7, 5, 0, 0, 0, 0,
                   3, 5, 7, 5, 3, 0, 0, 0, 0,
                   1, 3, 5, 3, 1}},
    // Stucki
    {5, 3, 2, 42, {0, 0, 0, 8, 4, 0, 0, 0, 0,
                   2, 4, 8, 4, 2, 0, 0, 0, 0,
                   1, 2, 4, 2, 1}},
    // Burkes
    {5, 2, 2, 32, {0, 0, 0, 8, 4, 0, 0, 0, 0,
                   2, 4, 8, 4, 2}},
    // Sierra (three rows)
    {5, 3, 2, 32, {0, 0, 0, 5, 3, 0, 0, 0, 0,
                   2, 4, 5, 4, 2, 0, 0, 0, 0,
                   0, 2, 3, 2, 0}},
    // Two-row Sierra
    {5, 2, 2, 16, {0, 0, 0, 4, 3, 0, 0, 0, 0,
                   1, 2, 3, 2, 1}},
    // Sierra Lite
    {3, 2, 1, 4, {0, 0, 2, 0, 0, 0, 0, 0, 0,
                  1, 1, 0}},
    // Atkinson: three quarters of the error travel, the rest is dropped.
    {4, 3, 1, 8, {0, 0, 1, 1, 0, 0, 0, 0, 0,
                  1, 1, 1, 0, 0, 0, 0, 0, 0,
                  0, 1, 0, 0}},
    // Stevenson and Arce
    {7, 4, 3, 200, {0, 0, 0, 0, 0, 32, 0, 0, 0,
                    12, 0, 26, 0, 30, 0, 16, 0, 0,
                    0, 12, 0, 26, 0, 12, 0, 0, 0,
                    5, 0, 12, 0, 12, 0, 5}},
};
// clang-format on

inline const Kernel& builtInKernel(uint32_t which) {
  return kKernels[which];
}

}  // namespace nadiro::engine
