// Ordered dithering of 8-bit images straight to 1-bit rows. Cores work on plain rows; the export
// lives in ordered.cpp.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace nadiro::dither {

struct ThresholdMatrix {
  uint32_t n;                      // the matrix is n x n
  uint32_t largest;                // M, its largest entry
  std::array<uint8_t, 256> cells;  // row i, column j at i * n + j, as stored
};

inline constexpr uint32_t kOrderedMatrixCount = 7;
const ThresholdMatrix& orderedMatrix(uint32_t type);

// The largest value among the first `width` bytes of every row.
uint8_t largestPixel(std::span<const uint8_t> rows, size_t stride, uint32_t width, uint32_t height);

// Dithers the first `width` bytes of every stored row into 1-bit rows of
// `outStride` bytes, most significant bit first: a bit is set when (v * M)
// / P, in single precision with P the largest pixel, is not less than the
// matrix entry T[x mod n][y mod n], with y counted from the top of the
// picture (the last stored row). The column picks the matrix row: a
// transposed use that existing output depends on. Writes (width + 7) / 8
// bytes of each output row.
void orderedDitherToBits(std::span<const uint8_t> rows, size_t stride, std::span<uint8_t> out,
                         size_t outStride, uint32_t width, uint32_t height,
                         const ThresholdMatrix& matrix, uint8_t largest);

}  // namespace nadiro::dither
