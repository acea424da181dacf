// Ordered dithering of 8-bit images to 1 bit, and the threshold packing it
// ends with. Cores work on plain rows; the export lives in ordered.cpp.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "frame/memory.h"

namespace nadiro::dither {

struct ThresholdMatrix {
  uint32_t n;        // the matrix is n x n
  uint32_t largest;  // M, its largest entry
  std::array<uint8_t, 256> cells;  // row i, column j at i * n + j, as stored
};

inline constexpr uint32_t kOrderedMatrixCount = 7;
const ThresholdMatrix& orderedMatrix(uint32_t type);

// The largest value among the first `width` bytes of every row.
uint8_t largestPixel(std::span<const uint8_t> rows, size_t stride, uint32_t width, uint32_t height);

// Replaces each of the first `width` bytes of every stored row by 0 or 255:
// 255 when (v * M) / P, in single precision, is not less than the matrix
// entry T[x mod n][y mod n], with y counted from the top of the picture
// (the last stored row). The column picks the matrix row: a transposed use
// that existing output depends on.
void orderedDitherRows(std::span<uint8_t> rows, size_t stride, uint32_t width, uint32_t height,
                       const ThresholdMatrix& matrix, uint8_t largest);

// Packs 8-bit rows into 1-bit rows, most significant bit first: a bit is set
// when its byte is >= threshold. dst rows are ((width + 31) / 32) * 4 bytes.
void packThresholdRows(std::span<const uint8_t> src, size_t srcStride, std::span<uint8_t> dst,
                       size_t dstStride, uint32_t width, uint32_t height, uint8_t threshold);

// A new 1-bit image from an 8-bit one (bit count x planes must be 8), or null.
MemHandle thresholdToMonochrome(MemHandle image, uint8_t threshold);

}  // namespace nadiro::dither
