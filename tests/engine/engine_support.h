// Pictures and calls for the dithering engine's tests.
#pragma once

#include <cstdint>
#include <vector>

#include "nadiro/dither_engine.h"

namespace nadiro::test {

// A packed picture of `channels` bytes a pixel (1 grey, 3 RGB).
struct Pixels {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t channels = 3;
  std::vector<uint8_t> bytes;
  NadiroDitherSource source() const {
    return {bytes.data(), width, height, width * channels,
            channels == 1 ? uint32_t{NADIRO_PIXELS_GREY8} : uint32_t{NADIRO_PIXELS_RGB24}};
  }
};

// Indices of `picture` under `options`; fails the test on a non-zero code.
struct Dithered {
  int32_t status = -1;
  std::vector<uint8_t> indices;
  std::vector<uint8_t> palette;  // R, G, B triples as returned
};
Dithered ditherToIndices(const Pixels& picture, const NadiroDitherOptions& options);

NadiroDitherOptions optionsWith(uint32_t palette, uint32_t method = NADIRO_METHOD_DIFFUSION);

}  // namespace nadiro::test
