// The convolution engine. A ring of n accumulator rows walks down the image:
// each source row adds its contribution to the n output rows it touches
// (kernel row a into ring[a]), the last kernel row starts a fresh output row,
// and the row in ring[0] is complete once the source has moved c rows past
// it. Neighbours outside the picture repeat the edge pixels. All sums are
// 16-bit; the kernel limits of the callers keep them in range.
#include "channels/convolution_engine.h"

#include <algorithm>

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

// ---------------------------------------------------------------------------
// Scalars
// ---------------------------------------------------------------------------

// Weighted luminance of stored bytes B, G, R: the larger weight sits on the
// first byte, the smaller on the third.
void lumaRow(const uint8_t* px, int16_t* s, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, px += 3)
    s[x] = static_cast<int16_t>((3u * px[2] + 15u * px[1] + 8u * px[0]) / 26u);
}

void meanRow(const uint8_t* px, int16_t* s, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, px += 3)
    s[x] = static_cast<int16_t>((unsigned{px[0]} + px[1] + px[2]) / 3u);
}

using ScalarRow = void (*)(const uint8_t*, int16_t*, uint32_t);

// ---------------------------------------------------------------------------
// Row core: kernel row a of one source row into ring[a]
// ---------------------------------------------------------------------------

inline int16_t wrap16(int32_t v) { return static_cast<int16_t>(v); }

// Sum of row `weights` over the scalars around column x, the neighbours'
// columns clamped into the row.
template <int N>
inline int32_t edgeTap(const int16_t* weights, const int16_t* s, int32_t x, int32_t width) {
  constexpr int32_t c = N / 2;
  int32_t acc = 0;
  for (int32_t b = 0; b < N; ++b) {
    const int32_t at = std::clamp(x + c - b, 0, width - 1);
    acc += weights[b] * s[at];
  }
  return acc;
}

// Adds (or, for the last kernel row, assigns) one kernel row's weighted sums
// to an accumulator row. The columns whose neighbourhood leaves the row are
// done outside the unrolled loop.
template <int N, bool kAssign>
void kernelRow(const int16_t* weightsIn, const int16_t* s, int16_t* acc, uint32_t width) {
  constexpr int32_t c = N / 2;
  int16_t wt[static_cast<size_t>(N)];
  for (int b = 0; b < N; ++b) wt[b] = weightsIn[b];
  const auto w = static_cast<int32_t>(width);
  const int32_t innerBegin = std::min(c, w);
  const int32_t innerEnd = std::max(innerBegin, w - c);
  auto put = [acc](int32_t x, int32_t v) {
    acc[x] = kAssign ? wrap16(v) : wrap16(acc[x] + v);
  };
  for (int32_t x = 0; x < innerBegin; ++x) put(x, edgeTap<N>(wt, s, x, w));
  for (int32_t x = innerBegin; x < innerEnd; ++x) {
    const int16_t* at = s + x + c;  // the pixel weighed by column 0
    int32_t v = 0;
    for (int b = 0; b < N; ++b) v += wt[b] * at[-b];
    put(x, v);
  }
  for (int32_t x = innerEnd; x < w; ++x) put(x, edgeTap<N>(wt, s, x, w));
}

template <int N>
void accumulateRows(const Kernel& k, int16_t* const* ring, const int16_t* s, uint32_t width) {
  for (int a = 0; a < N - 1; ++a) kernelRow<N, false>(k.m[a], s, ring[a], width);
  kernelRow<N, true>(k.m[N - 1], s, ring[N - 1], width);
  if constexpr (N == 5) {
    // The caller's 5x5 kernels weigh the last pixel at column width - 2 in
    // kernel row 4 with m[4][0] alone: its m[4][1] share is not added.
    if (k.rightEdgeSlip && width >= 2) {
      int16_t& v = ring[4][width - 2];
      v = wrap16(v - k.m[4][1] * s[width - 1]);
    }
  }
}

using AccumulateRows = void (*)(const Kernel&, int16_t* const*, const int16_t*, uint32_t);

// ---------------------------------------------------------------------------
// Normalisation and composition of a finished row
// ---------------------------------------------------------------------------

enum class Norm { None, Shift, Divide };

inline uint8_t clampByte(int32_t v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

// The change of the scalar, added to each byte of the unfiltered pixel.
// Shifts round toward minus infinity, divisions toward zero.
template <Norm kNorm>
void composeRow(const int16_t* sums, const int16_t* scalars, const uint8_t* src, uint8_t* dst,
                uint32_t width, int32_t divisor, int32_t shift) {
  for (uint32_t x = 0; x < width; ++x) {
    int32_t v = sums[x];
    if constexpr (kNorm == Norm::Shift) v >>= shift;
    if constexpr (kNorm == Norm::Divide) v /= divisor;
    const int32_t d = wrap16(v - scalars[x]);
    const uint8_t* p = src + 3 * size_t{x};
    uint8_t* q = dst + 3 * size_t{x};
    q[0] = clampByte(p[0] + d);
    q[1] = clampByte(p[1] + d);
    q[2] = clampByte(p[2] + d);
  }
}

using ComposeRow = void (*)(const int16_t*, const int16_t*, const uint8_t*, uint8_t*, uint32_t,
                            int32_t, int32_t);

// Divisors 2, 4, ..., 64 become shifts; 1 leaves the sums as they are.
int32_t shiftFor(int32_t divisor) {
  for (int32_t k = 1; k <= 6; ++k)
    if (divisor == (1 << k)) return k;
  return 0;
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

bool convolve(const Kernel& kernel, bool luma, const ConvolutionRows& rows,
              std::span<int16_t> work, StepHook hook) {
  const int32_t n = kernel.n;
  const int32_t c = n / 2;
  const uint32_t width = rows.width;
  const auto height = static_cast<int32_t>(rows.height);
  if ((n != 3 && n != 5 && n != 7) || work.size() < workValues(n, width) || height <= 0 ||
      width == 0 || kernel.divisor < 1)
    return false;

  const AccumulateRows accumulate =
      n == 3 ? &accumulateRows<3> : (n == 5 ? &accumulateRows<5> : &accumulateRows<7>);
  const ScalarRow scalarRow = luma ? &lumaRow : &meanRow;
  const int32_t shift = shiftFor(kernel.divisor);
  const ComposeRow compose = kernel.divisor == 1 ? &composeRow<Norm::None>
                             : shift            ? &composeRow<Norm::Shift>
                                                : &composeRow<Norm::Divide>;

  int16_t* ring[kMaxKernelSize];
  for (int32_t a = 0; a < n; ++a) ring[a] = work.data() + size_t(a) * 2 * width;

  for (int32_t r = -c; r < height + c; ++r) {
    if (hook.fn && !hook.fn(hook.context, r)) return false;
    const int32_t t = std::clamp(r, 0, height - 1);
    int16_t* scalars = ring[c] + width;
    scalarRow(rows.src + size_t(t) * rows.stride, scalars, width);
    accumulate(kernel, ring, scalars, width);
    if (r >= c) {
      const size_t y = static_cast<size_t>(r - c);
      compose(ring[0], ring[0] + width, rows.src + y * rows.stride, rows.dst + y * rows.stride,
              width, kernel.divisor, shift);
    }
    int16_t* const done = ring[0];
    for (int32_t a = 0; a + 1 < n; ++a) ring[a] = ring[a + 1];
    ring[n - 1] = done;
  }
  return true;
}

}  // namespace nadiro::channels
