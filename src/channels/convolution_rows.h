// Row kernels of the convolution engine behind one table of function
// pointers, filled once for the instruction-set level in force (frame/cpu.h).
// The scalar kernels in convolution_rows.cpp state the rules; the vector
// ones give the same bytes, faster.
#pragma once

#include <cstdint>

#include "channels/convolution_engine.h"
#include "frame/dispatch.h"

namespace nadiro::channels {

inline constexpr int32_t kMaxTaps = kMaxKernelSize * kMaxKernelSize;

// One output row of the filter. The sums are 16-bit and wrap, so the order
// the taps are added in does not change them.
struct RowFilter {
  // The non-zero weights: tap t weighs scalar row row[t] at column
  // x + offset[t] of that row, whose c edge values are repeated on each side
  // (so offset 2c - b reads the pixel c - b columns to the right of x).
  int32_t taps = 0;
  int16_t weight[kMaxTaps] = {};
  uint8_t row[kMaxTaps] = {};
  uint8_t offset[kMaxTaps] = {};
  int32_t c = 1;
  int32_t divisor = 1;  // 1 leaves the sums as they are
  int32_t shift = 0;    // > 0: the divisor is 1 << shift
  // Taken off the sum at column width - 2, times the last scalar of row
  // slipRow (the caller's 5x5 kernels drop that one weight there).
  int16_t slipWeight = 0;
  int32_t slipRow = 0;
};

struct ConvolutionKernels {
  // The scalar of each of `width` stored blue, green, red pixels: the
  // weighted luminance (3 R + 15 G + 8 B) / 26, or the mean of the three.
  void (*lumaRow)(const uint8_t* px, int16_t* s, uint32_t width);
  void (*meanRow)(const uint8_t* px, int16_t* s, uint32_t width);
  // Filters one row: the sums of `f` over the padded scalar rows, divided
  // (shifts round toward minus infinity, divisions toward zero), less the
  // unfiltered scalar (row c), added to each byte of the pixels of src and
  // clamped into dst. src and dst may be the same row.
  void (*filterRow)(const RowFilter& f, const int16_t* const* rows, const uint8_t* src,
                    uint8_t* dst, uint32_t width);
};

// The tables of every level (frame/dispatch.h).
KernelLevels<ConvolutionKernels>& convolutionLevels();
// The kernels of the level in force.
inline const ConvolutionKernels& convolutionKernels() {
  return convolutionLevels().active();
}
// Makes the convolution use the kernels of `level` while it lives.
using ScopedConvolutionLevel = ScopedLevel<ConvolutionKernels, convolutionLevels>;

// The vector table, defined in its level's file (null off x86).
const ConvolutionKernels* avx2ConvolutionKernels();
// The scalar kernels the vector ones finish rows with.
void lumaRowScalar(const uint8_t* px, int16_t* s, uint32_t width);
void meanRowScalar(const uint8_t* px, int16_t* s, uint32_t width);
// filterRow for columns from..width - 1.
void filterColumnsScalar(const RowFilter& f, const int16_t* const* rows, const uint8_t* src,
                         uint8_t* dst, uint32_t from, uint32_t width);

}  // namespace nadiro::channels
