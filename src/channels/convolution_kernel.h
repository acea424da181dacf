// Where the convolution's kernel comes from: the caller's flat array, a
// kernel file, or a built-in filter; the limits a caller's kernel must keep
// and the divisor rule.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "channels/convolution_engine.h"
#include "channels/convolution_file.h"

namespace nadiro::channels {

// Largest magnitude of one weight, and of the sum of the positive weights
// and of the negative ones: 127 * 255 stays inside a 16-bit sum.
inline constexpr int32_t kKernelLimit = 127;

// Bytes of a kernel file for size n: n * n weights and the divisor.
inline size_t kernelFileBytes(int32_t n) {
  const auto u = static_cast<size_t>(n);
  return (u * u + 1) * 2;
}

// A caller's flat run: value i * n + j goes to matrix row j, column i; the
// divisor follows the n * n values. The rest of the 7x7 matrix is 0.
struct CallerKernel {
  int16_t m[kMaxKernelSize][kMaxKernelSize] = {};
  int16_t divisor = 0;
};
CallerKernel loadCallerKernel(std::span<const int16_t> values, int32_t n);
// The same from the little-endian bytes of a kernel file.
CallerKernel loadKernelFile(std::span<const uint8_t> bytes, int32_t n);

// Checks the weight limits over the whole matrix.
bool withinLimits(const CallerKernel& k);

// The divisor rule: the given divisor, or the weight sum when it is 0, or 1
// when that is 0; a negative divisor flips the sign of every weight.
Kernel prepareCallerKernel(const CallerKernel& k, int32_t n);

// The kernel of a call from its kernel source and size (the low 16 bits of
// each argument): NADIRO_PIXEL_OK with `kernel` filled, or
// NADIRO_PIXEL_BAD_ARGUMENT for a source, size, file or kernel refused.
uint32_t chooseKernel(uint16_t source, int16_t n, const int16_t* array, const KernelFileName& file,
                      Kernel& kernel);

}  // namespace nadiro::channels
