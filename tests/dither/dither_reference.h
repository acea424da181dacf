// The error-diffusion engine stated plainly, pixel at a time on
// std::vector buffers with every working entry bounds-checked, written from
// the documented rules and sharing no code with the library (it returns the
// whole expected output block), and the checks the dithering tests share.
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

// Error diffusion of a source block to `bits`; `overwriting` stores the 'o' taps.
std::vector<uint8_t> refDiffuse(const std::vector<uint8_t>& in, int bits, const RefKernel& kernel,
                                bool overwriting);

// Runs `call` on every awkward source of the given depth (widths 1, 2, 3, 5,
// 7, 8, 9, 15, 17, 33; heights 1, 2, 3, 7; flat, gradient and noise fills) and expects
// the whole output block to equal `reference`, the status 0, and the
// caller's image unchanged and unlocked. Stops at the first mismatch.
void expectMatchOnAwkwardImages(
    uint16_t depth, uint32_t seed, const std::function<MemHandle(MemHandle)>& call,
    const std::function<std::vector<uint8_t>(const std::vector<uint8_t>&)>& reference);

// Expects `call(image, bits)` to give null with pixel status `code`.
void expectRefused(const std::function<MemHandle(MemHandle, int32_t)>& call, MemHandle image,
                   int32_t bits, uint32_t code, const char* what);

}  // namespace nadiro::test
