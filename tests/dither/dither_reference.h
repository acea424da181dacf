// The error-diffusion engine stated plainly, pixel at a time on
// std::vector buffers with every working entry bounds-checked, written from
// the documented rules and sharing no code with the library (it returns the
// whole expected output block).
#pragma once

#include <cstdint>
#include <vector>

namespace nadiro::test {

// One entry of a diffusion kernel: row 0 is the current row; take 'a' adds
// the share, 's' stores it, 'o' stores it in the overwriting form only.
struct RefTap {
  int row, dx, weight;
  char take;
};

struct RefKernel {
  int divisor;
  int rowsPerChannel;
  std::vector<RefTap> taps;
};

extern const RefKernel kRefFloydSteinberg, kRefJarvisJudiceNinke, kRefStucki, kRefBurkes,
    kRefSierra, kRefStevensonArce;

// Error diffusion of a source block to `bits`; `overwriting` stores the 'o' taps.
std::vector<uint8_t> refDiffuse(const std::vector<uint8_t>& in, int bits, const RefKernel& kernel,
                                bool overwriting);

}  // namespace nadiro::test
