// Where the convolution's kernel comes from: the caller's flat array, a
// kernel file or a built-in filter, with the weight limits and the divisor
// rule of the caller's kernels.
#include "channels/convolution_kernel.h"

#include "channels/convolution_file.h"
#include "nadiro/nadiro.h"

namespace nadiro::channels {

CallerKernel loadCallerKernel(std::span<const int16_t> values, int32_t n) {
  CallerKernel k;
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = 0; j < n; ++j) k.m[j][i] = values[static_cast<size_t>(i * n + j)];
  k.divisor = values[static_cast<size_t>(n * n)];
  return k;
}

CallerKernel loadKernelFile(std::span<const uint8_t> bytes, int32_t n) {
  int16_t values[kMaxKernelSize * kMaxKernelSize + 1];
  const size_t count = static_cast<size_t>(n * n + 1);
  for (size_t v = 0; v < count; ++v)
    values[v] = static_cast<int16_t>(bytes[2 * v] | (bytes[2 * v + 1] << 8));
  return loadCallerKernel({values, count}, n);
}

bool withinLimits(const CallerKernel& k) {
  int32_t positive = 0, negative = 0;
  for (const auto& row : k.m) {
    for (const int16_t v : row) {
      if (v > kKernelLimit || v < -kKernelLimit) return false;
      if (v > 0) positive += v;
      if (v < 0) negative -= v;
      if (positive > kKernelLimit || negative > kKernelLimit) return false;
    }
  }
  return positive <= kKernelLimit && negative <= kKernelLimit;
}

Kernel prepareCallerKernel(const CallerKernel& k, int32_t n) {
  Kernel out;
  out.n = n;
  out.rightEdgeSlip = true;
  int32_t positive = 0, negative = 0;
  for (int32_t a = 0; a < kMaxKernelSize; ++a)
    for (int32_t b = 0; b < kMaxKernelSize; ++b) {
      out.m[a][b] = k.m[a][b];
      if (k.m[a][b] > 0) positive += k.m[a][b];
      if (k.m[a][b] < 0) negative -= k.m[a][b];
    }
  int32_t divisor = k.divisor != 0 ? k.divisor : static_cast<int16_t>(positive - negative);
  if (divisor == 0) divisor = 1;
  if (divisor < 0) {
    divisor = -divisor;
    for (auto& row : out.m)
      for (int16_t& v : row) v = static_cast<int16_t>(-v);
  }
  out.divisor = divisor;
  return out;
}

uint32_t chooseKernel(uint16_t source, int16_t n, const int16_t* array, const KernelFileName& file,
                      Kernel& kernel) {
  if ((source == kFromArray && !array) || (source == kFromFile && !file.wide) ||
      source < kFromArray || source > kSharpen8)
    return NADIRO_PIXEL_BAD_ARGUMENT;
  if (n < 3 || n > kMaxKernelSize) return NADIRO_PIXEL_BAD_ARGUMENT;
  if ((n == 6 || n == 7) && source != kFromArray && source != kMean)
    return NADIRO_PIXEL_BAD_ARGUMENT;
  // Sizes 4 and 6 have no filter core.
  if (n == 4 || n == 6) return NADIRO_PIXEL_BAD_ARGUMENT;

  if (source == kFromArray || source == kFromFile) {
    CallerKernel caller;
    if (source == kFromArray) {
      caller = loadCallerKernel({array, static_cast<size_t>(n * n + 1)}, n);
    } else {
      uint8_t bytes[(kMaxKernelSize * kMaxKernelSize + 1) * 2];
      const size_t want = kernelFileBytes(n);
      const auto got = readKernelFile(file, bytes, want);
      // A file too short for its weights and divisor is refused like one
      // that cannot be opened.
      if (!got || *got < want) return NADIRO_PIXEL_BAD_ARGUMENT;
      caller = loadKernelFile({bytes, want}, n);
    }
    if (!withinLimits(caller)) return NADIRO_PIXEL_BAD_ARGUMENT;
    kernel = prepareCallerKernel(caller, n);
    return NADIRO_PIXEL_OK;
  }
  return builtinKernel(static_cast<KernelSource>(source), n, kernel) ? NADIRO_PIXEL_OK
                                                                     : NADIRO_PIXEL_BAD_ARGUMENT;
}

}  // namespace nadiro::channels
