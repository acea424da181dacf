// A plain statement of the convolution filter for the tests: every output
// pixel computed on its own from the closed form, no ring, no row cores.
#pragma once

#include <cstdint>
#include <vector>

namespace nadiro::test {

// Weights in the caller's flat order: value i * n + j weighs the scalar at
// horizontal offset (c - i) and stored-row offset (c - j), c = n / 2.
struct RefKernel {
  int n = 3;
  std::vector<int> flat;   // n * n weights
  int divisor = 0;         // as given: 0 means the weight sum
  bool callerKernel = true;  // caller kernels carry the 5x5 right-edge slip
};

// Filters the 24-bit rows of `pixels` (stride bytes apart, width x height)
// and returns the filtered rows; padding bytes are copied unchanged.
std::vector<uint8_t> referenceConvolve(const std::vector<uint8_t>& pixels, int width, int height,
                                       int stride, const RefKernel& kernel, bool luma);

// The divisor rule on a caller kernel: returns the divisor used and negates
// the weights when the divisor is negative.
int referenceDivisor(RefKernel& kernel);

}  // namespace nadiro::test
