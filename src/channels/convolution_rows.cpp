// The scalar row kernels of the convolution and the table of the level in
// force.
#include "channels/convolution_rows.h"

#include <algorithm>

namespace nadiro::channels {

// Weighted luminance of stored bytes B, G, R: the larger weight sits on the
// first byte, the smaller on the third.
void lumaRowScalar(const uint8_t* px, int16_t* s, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, px += 3)
    s[x] = static_cast<int16_t>((3u * px[2] + 15u * px[1] + 8u * px[0]) / 26u);
}

void meanRowScalar(const uint8_t* px, int16_t* s, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, px += 3)
    s[x] = static_cast<int16_t>((unsigned{px[0]} + px[1] + px[2]) / 3u);
}

void filterColumnsScalar(const RowFilter& f, const int16_t* const* rows, const uint8_t* src,
                         uint8_t* dst, uint32_t from, uint32_t width) {
  const int16_t* unfiltered = rows[f.c] + f.c;
  for (uint32_t x = from; x < width; ++x) {
    int32_t sum = 0;
    for (int32_t t = 0; t < f.taps; ++t) sum += f.weight[t] * rows[f.row[t]][x + f.offset[t]];
    if (f.slipWeight && x + 2 == width) sum -= f.slipWeight * (rows[f.slipRow] + f.c)[x + 1];
    int32_t v = static_cast<int16_t>(sum);
    if (f.shift)
      v >>= f.shift;
    else
      v /= f.divisor;
    const int32_t d = static_cast<int16_t>(v - unfiltered[x]);
    const uint8_t* p = src + 3 * size_t{x};
    uint8_t* q = dst + 3 * size_t{x};
    for (int k = 0; k < 3; ++k) q[k] = static_cast<uint8_t>(std::clamp(p[k] + d, 0, 255));
  }
}

namespace {

void filterRowScalar(const RowFilter& f, const int16_t* const* rows, const uint8_t* src,
                     uint8_t* dst, uint32_t width) {
  filterColumnsScalar(f, rows, src, dst, 0, width);
}

}  // namespace

// The AVX2 kernels serve the AVX-512 level too.
KernelLevels<ConvolutionKernels>& convolutionLevels() {
  static constexpr ConvolutionKernels kScalar{&lumaRowScalar, &meanRowScalar, &filterRowScalar};
  static KernelLevels<ConvolutionKernels> levels(
      {[]() { return &kScalar; }, nullptr, &avx2ConvolutionKernels, nullptr});
  return levels;
}

}  // namespace nadiro::channels
