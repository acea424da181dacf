// Plain reference statements of the dithering exports, pixel at a time on
// std::vector buffers, written from the documented rules and sharing no
// code with the library (each returns the whole expected output block), and
// the checks the dithering tests share.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "frame/memory.h"

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

// Runs `call` on every awkward source of the given depth (widths 1-17, 31,
// 33, 64; heights 1, 2, 3, 7; flat, gradient and noise fills) and expects
// the whole output block to equal `reference`, the status 0, and the
// caller's image unchanged and unlocked. Stops at the first mismatch.
void expectMatchOnAwkwardImages(
    uint16_t depth, uint32_t seed, const std::function<MemHandle(MemHandle)>& call,
    const std::function<std::vector<uint8_t>(const std::vector<uint8_t>&)>& reference);

// Expects `call(image, bits)` to give null with pixel status `code`.
void expectRefused(const std::function<MemHandle(MemHandle, int32_t)>& call, MemHandle image,
                   int32_t bits, uint32_t code, const char* what);

// Expects every malformed variant of `good` (short rows, cut header or
// table, absurd or negative sizes) to be refused with code 8 for a 1-bit
// target, its block unchanged and not left locked.
void expectMalformedBlocksRefused(const std::function<MemHandle(MemHandle, int32_t)>& call,
                                  const std::vector<uint8_t>& good);

}  // namespace nadiro::test
