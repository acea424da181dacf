// The convolution engine. A ring of n scalar rows walks down the image: each
// source step adds the scalars of one row, and once the source is c rows past
// an output row, that row is filtered from the n rows around it. Neighbours
// outside the picture repeat the edge pixels. All sums are 16-bit; the
// kernel limits of the callers keep them in range.
#include "channels/convolution_engine.h"

#include <algorithm>

#include "channels/convolution_rows.h"

namespace nadiro::channels {
namespace {

// ---------------------------------------------------------------------------
// Built-in filters. The 3x3 ones are the classic kernels; the 5x5 ones widen
// them: a Gaussian with weights summing to 44, sharpening crosses and boxes
// whose weights sum to 1.
// ---------------------------------------------------------------------------

constexpr int16_t kGaussian3[9] = {1, 2, 1,  //
                                   2, 4, 2,  //
                                   1, 2, 1};
constexpr int16_t kGaussian5[25] = {0, 1, 1, 1, 0,  //
                                    1, 2, 4, 2, 1,  //
                                    1, 4, 8, 4, 1,  //
                                    1, 2, 4, 2, 1,  //
                                    0, 1, 1, 1, 0};
constexpr int16_t kSharpen4_3[9] = {0,  -1, 0,   //
                                    -1, 5,  -1,  //
                                    0,  -1, 0};
constexpr int16_t kSharpen4_5[25] = {0,  0,  -1, 0,  0,   //
                                     0,  0,  -1, 0,  0,   //
                                     -1, -1, 9,  -1, -1,  //
                                     0,  0,  -1, 0,  0,   //
                                     0,  0,  -1, 0,  0};
constexpr int16_t kSharpen8_3[9] = {-1, -1, -1,  //
                                    -1, 9,  -1,  //
                                    -1, -1, -1};
constexpr int16_t kSharpen8_5[25] = {-1, -1, -1, -1, -1,  //
                                     -1, -1, -1, -1, -1,  //
                                     -1, -1, 25, -1, -1,  //
                                     -1, -1, -1, -1, -1,  //
                                     -1, -1, -1, -1, -1};

void fillFrom(const int16_t* weights, int32_t n, Kernel& k) {
  int32_t sum = 0;
  for (int32_t a = 0; a < n; ++a)
    for (int32_t b = 0; b < n; ++b) {
      k.m[a][b] = weights[a * n + b];
      sum += weights[a * n + b];
    }
  k.divisor = sum;
}

// The filter of one output row from the kernel: row a of the matrix weighs
// the scalars c - a rows below, column b those c - b columns to the right.
RowFilter rowFilter(const Kernel& k) {
  RowFilter f;
  f.c = k.n / 2;
  for (int32_t a = 0; a < k.n; ++a)
    for (int32_t b = 0; b < k.n; ++b) {
      if (k.m[a][b] == 0) continue;
      f.weight[f.taps] = k.m[a][b];
      f.row[f.taps] = static_cast<uint8_t>(a);
      f.offset[f.taps] = static_cast<uint8_t>(2 * f.c - b);
      ++f.taps;
    }
  f.divisor = k.divisor;
  // Divisors 2, 4, ..., 64 become shifts.
  for (int32_t s = 1; s <= 6; ++s)
    if (k.divisor == (1 << s)) f.shift = s;
  if (k.rightEdgeSlip && k.n == 5) {
    f.slipWeight = k.m[4][1];
    f.slipRow = 4;
  }
  return f;
}

}  // namespace

bool builtinKernel(KernelSource source, int32_t n, Kernel& out) {
  out = Kernel{};
  out.n = n;
  switch (source) {
    case kMean:
      if (n != 3 && n != 5 && n != 7) return false;
      for (int32_t a = 0; a < n; ++a)
        for (int32_t b = 0; b < n; ++b) out.m[a][b] = 1;
      out.divisor = n * n;
      return true;
    case kGaussian:
      if (n != 3 && n != 5) return false;
      fillFrom(n == 3 ? kGaussian3 : kGaussian5, n, out);
      return true;
    case kSharpen4:
      if (n != 3 && n != 5) return false;
      fillFrom(n == 3 ? kSharpen4_3 : kSharpen4_5, n, out);
      return true;
    case kSharpen8:
      if (n != 3 && n != 5) return false;
      fillFrom(n == 3 ? kSharpen8_3 : kSharpen8_5, n, out);
      return true;
    default:
      return false;
  }
}

bool convolve(const Kernel& kernel, bool luma, const ConvolutionRows& rows, std::span<int16_t> work,
              StepHook hook) {
  const int32_t n = kernel.n;
  const int32_t c = n / 2;
  const uint32_t width = rows.width;
  const auto height = static_cast<int32_t>(rows.height);
  if ((n != 3 && n != 5 && n != 7) || work.size() < workValues(n, width) || height <= 0 ||
      width == 0 || kernel.divisor < 1)
    return false;

  const ConvolutionKernels& kernels = convolutionKernels();
  const auto scalarRow = luma ? kernels.lumaRow : kernels.meanRow;
  const RowFilter filter = rowFilter(kernel);
  const size_t padded = width + 2 * size_t(c);

  // ring[k] holds the scalars of step r - (n - 1) + k, c repeated edge
  // values on each side.
  int16_t* ring[kMaxKernelSize];
  for (int32_t a = 0; a < n; ++a) ring[a] = work.data() + size_t(a) * padded;
  const int16_t* rowsOf[kMaxKernelSize];

  for (int32_t r = -c; r < height + c; ++r) {
    if (hook.fn && !hook.fn(hook.context, r)) return false;
    int16_t* const fresh = ring[0];
    for (int32_t a = 0; a + 1 < n; ++a) ring[a] = ring[a + 1];
    ring[n - 1] = fresh;
    const int32_t t = std::clamp(r, 0, height - 1);
    int16_t* s = fresh + c;
    scalarRow(rows.src + size_t(t) * rows.stride, s, width);
    std::fill(fresh, s, s[0]);
    std::fill(s + width, s + width + c, s[width - 1]);
    if (r >= c) {
      // Output row r - c: kernel row a over the scalars of step r - a.
      for (int32_t a = 0; a < n; ++a) rowsOf[a] = ring[n - 1 - a];
      const size_t y = static_cast<size_t>(r - c);
      kernels.filterRow(filter, rowsOf, rows.src + y * rows.stride, rows.dst + y * rows.stride,
                        width);
    }
  }
  return true;
}

}  // namespace nadiro::channels
