// Plain reference statements of the dithering exports, pixel at a time on
// std::vector buffers, written from the documented rules and sharing no
// code with the library. Each returns the whole expected output block.
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

const RefKernel& refFloydSteinberg();
const RefKernel& refJarvisJudiceNinke();
const RefKernel& refStucki();
const RefKernel& refBurkes();
const RefKernel& refSierra();
const RefKernel& refStevensonArce();

// Statistics a test can use to show that a case exercised a rule.
struct RefStats {
  long wraps = 0;  // entries whose exact value left the 16-bit range
};

// Error diffusion of a source block to `bits`; `overwriting` stores the 'o' taps.
std::vector<uint8_t> refDiffuse(const std::vector<uint8_t>& in, int bits, const RefKernel& kernel,
                                bool overwriting, RefStats* stats = nullptr);

// DitherSharp (sharp = true) or DitherSmooth of a source block to `bits`.
std::vector<uint8_t> refWindow(const std::vector<uint8_t>& in, int bits, bool sharp);

// The window core on one pair of rows (entries 0..width of each used).
std::vector<int> refWindowRow(std::vector<int>& a, std::vector<int>& b, int width, bool sharp);

}  // namespace nadiro::test
