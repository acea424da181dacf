// The convolution engine: filters a 24-bit image row by row with a prepared
// kernel. It convolves one scalar per pixel (a luminance or the channel mean)
// and adds the change of that scalar to all three bytes of the pixel, so the
// colour differences inside a pixel survive the filter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace nadiro::channels {

inline constexpr int32_t kMaxKernelSize = 7;

// Where the kernel of a call comes from (the convolution's kernelSource).
enum KernelSource : uint16_t {
  kFromArray = 1,
  kFromFile = 2,
  kMean = 3,
  kGaussian = 4,
  kSharpen4 = 5,
  kSharpen8 = 6,
};

// A kernel ready for the engine. m[a][b]: matrix row a is added into the
// output row a - c rows before the current source row (c = n / 2), column b
// weighs the source pixel c - b columns to the right. divisor >= 1.
struct Kernel {
  int16_t m[kMaxKernelSize][kMaxKernelSize] = {};
  int32_t n = 3;
  int32_t divisor = 1;
  // The caller's kernels (array and file) go through the core that drops the
  // weight m[4][1] of the last pixel at column width - 2 in 5x5 kernels.
  bool rightEdgeSlip = false;
};

// The built-in filters (mean, Gaussian, four- and eight-neighbour sharpen)
// as kernels of size n: mean for 3, 5 and 7, the others for 3 and 5. Returns
// false for a size the filter does not have. The divisor is the weight sum
// (1 for the sharpen filters).
bool builtinKernel(KernelSource source, int32_t n, Kernel& out);

// Scalar that is filtered: 1 weighted luminance, anything else the mean.
inline constexpr int32_t kLumaMode = 1;

// The pixel rows of one call. src and dst may be the same rows (in place).
struct ConvolutionRows {
  const uint8_t* src = nullptr;
  uint8_t* dst = nullptr;
  size_t stride = 0;  // bytes per row, both images
  uint32_t width = 0;
  uint32_t height = 0;
};

// Work buffer in 16-bit values: n scalar rows of width + n - 1.
inline size_t workValues(int32_t n, uint32_t width) {
  return static_cast<size_t>(n) * (width + static_cast<size_t>(n) - 1);
}

// Called before each source step r (from -c to height + c - 1); returning
// false stops the filter at once.
struct StepHook {
  bool (*fn)(void* context, int32_t r) = nullptr;
  void* context = nullptr;
};

// Filters all rows. n must be 3, 5 or 7 and the work buffer hold
// workValues(n, width) values. Returns false when the hook stopped it.
bool convolve(const Kernel& kernel, bool luma, const ConvolutionRows& rows, std::span<int16_t> work,
              StepHook hook = {});

}  // namespace nadiro::channels
