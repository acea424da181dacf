// DitherSharp and DitherSmooth: a two-by-two window slides along the current
// row and the row below, hands out whole output levels (255) inside the
// window by rank and carries the remainder on to the next window.
#pragma once

#include <cstdint>

#include "dither/buffers.h"

namespace nadiro::dither {

// Rows kept per channel: DitherSharp keeps three, DitherSmooth two.
inline constexpr uint32_t kSharpRowsPerChannel = 3;
inline constexpr uint32_t kSmoothRowsPerChannel = 2;

// One row of the window core over current row a and row below b (entries
// 0 .. width, rewritten in place); writes (width + 7) / 8 bytes of bits,
// most significant first. `halve` (DitherSharp) halves the residual carried
// from one window to the next.
void windowRow(int16_t* a, int16_t* b, uint32_t width, uint8_t* out, bool halve);

// Runs every source row through the window core into the output planes.
void windowImage(bool sharp, const SourceRows& source, uint32_t bits, const DitherBuffers& buffers);

}  // namespace nadiro::dither
