// Error diffusion: the kernels of DitherFS4(Ex), DitherJJN(Ex), DitherStucki,
// DitherBurkes, DitherSierra and DitherSA and the image core that runs them
// through the shared dithering buffers.
#pragma once

#include <cstdint>

#include "dither/buffers.h"

namespace nadiro::dither {

enum class Diffusion : uint32_t {
  FloydSteinberg,
  JarvisJudiceNinke,
  Stucki,
  Burkes,
  Sierra,
  StevensonArce,
};
inline constexpr uint32_t kDiffusionCount = 6;

// Working rows per channel: the current row and the rows below it that the
// kernel reaches.
uint32_t diffusionRowsPerChannel(Diffusion method);

// Diffuses every source row into the output planes of `buffers` (whose
// working-row block is laid out with diffusionRowsPerChannel rows per
// channel in use). `overwriting` picks the overwriting form of the methods
// that have one and is ignored by the others.
void diffuseImage(Diffusion method, bool overwriting, const SourceRows& source, uint32_t bits,
                  const DitherBuffers& buffers);

}  // namespace nadiro::dither
