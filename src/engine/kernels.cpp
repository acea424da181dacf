// Checks of caller kernels; the built-in ones are in kernels.h.
#include "engine/kernels.h"

#include <cstdlib>

namespace nadiro::engine {
namespace {

constexpr int32_t kMaxWeight = 65535;
constexpr int32_t kMaxDivisor = 1 << 20;

}  // namespace

bool kernelIsValid(const Kernel& k) {
  if (k.columns < 1 || k.columns > kKernelColumns || k.rows < 1 || k.rows > kKernelRows ||
      k.origin >= k.columns || k.divisor < 1 || k.divisor > kMaxDivisor)
    return false;
  for (uint32_t r = 0; r < k.rows; ++r)
    for (uint32_t c = 0; c < k.columns; ++c) {
      const int32_t w = k.weights[r * kKernelColumns + c];
      if (w < -kMaxWeight || w > kMaxWeight) return false;
      if (r == 0 && c <= k.origin && w != 0) return false;
    }
  return true;
}

}  // namespace nadiro::engine
