// DitherSharp and DitherSmooth: 1 or 4-bit output from a two-by-two window
// that ranks its four entries and gives the largest ones whole levels.
#include "dither/sharp_smooth.h"

#include <cstring>

#include "dither/kernels.h"
#include "nadiro/nadiro.h"

namespace nadiro::dither {
namespace {

// The window a[x], a[x+1], b[x], b[x+1] takes sum = entries + carries, split
// into k = s / 255 whole levels and rem = s mod 255. Entries are ranked by
// value, largest first; on a tie the earlier entry in that order ranks
// higher. Rank r < k becomes 255, r = k becomes rem, r > k becomes 0. The
// pixel is white when the new a[x] is 255; otherwise a[x] is carried on as
// the residual (halved for DitherSharp).
// The right-hand pair a[x+1], b[x+1] that a window rewrites is the next
// window's left-hand pair, so it is carried in registers.
template <bool Halve>
void windowRowT(int16_t* a, int16_t* b, uint32_t width, uint8_t* out) {
  int negCarry = 0, residual = 0;
  unsigned bits = 0;
  int w0 = a[0], w2 = b[0];
  for (uint32_t x = 0; x < width; ++x) {
    const int w1 = a[x + 1], w3 = b[x + 1];
    const int sum = w0 + w1 + w2 + w3 + negCarry + residual;
    // Masks rather than branches: the window's outcome is data, and a
    // wrong guess costs more than the arithmetic.
    const int negative = -int{sum < 0};
    negCarry = sum & negative;
    const auto s = static_cast<unsigned>(sum & ~negative);
    const auto k = static_cast<int>(s / 255u);
    const auto rem = static_cast<int>(s % 255u);  // below 255: only whole levels are 255
    // Rank r_i counts the entries above w_i and the earlier ones equal to
    // it; each pair is compared once (w_j > w_i, i < j, and its complement).
    const int g01 = w1 > w0, g02 = w2 > w0, g03 = w3 > w0;
    const int g12 = w2 > w1, g13 = w3 > w1, g23 = w3 > w2;
    const int r0 = g01 + g02 + g03;
    const int r1 = (1 - g01) + g12 + g13;
    const int r2 = (1 - g02) + (1 - g12) + g23;
    const int r3 = 3 - g03 - g13 - g23;
    auto level = [&](int r) { return (-int{r < k} & 255) | (-int{r == k} & rem); };
    const int first = level(r0);
    a[x] = static_cast<int16_t>(first);
    b[x] = static_cast<int16_t>(level(r2));
    w0 = level(r1);
    w2 = level(r3);
    const bool white = r0 < k;
    residual = -int{r0 == k} & rem;  // first unless white
    if constexpr (Halve) residual >>= 1;
    bits = bits << 1 | unsigned{white};
    if ((x & 7) == 7) {
      out[x >> 3] = static_cast<uint8_t>(bits);
      bits = 0;
    }
  }
  a[width] = static_cast<int16_t>(w0);
  b[width] = static_cast<int16_t>(w2);
  if (const uint32_t rest = width & 7) out[width >> 3] = static_cast<uint8_t>(bits << (8 - rest));
}

// Source row y is loaded into row k of each channel in use by assignment
// (each entry set to the channel byte or grey value), over the width; entry
// `width`, which the last window also covers, keeps what the window core
// left there.
void loadRow(const SourceRows& source, uint32_t y, uint32_t bits, const DitherBuffers& buffers,
             const WorkRows& work, uint32_t k) {
  const uint32_t width = source.width;
  if (bits == 1 && source.depth == 24) {
    ditherKernels().setGrey24(source.row(y), width, work.row(0, k));
    return;
  }
  expandRowToChannels(source, y, buffers.channels);
  if (bits == 1) greyRow(buffers.channels, width);
  const uint32_t channels = bits == 1 ? 1 : 3;
  for (uint32_t c = 0; c < channels; ++c) {
    int16_t* row = work.row(c, k);
    const uint8_t* values = buffers.channels.channel(c);
    for (uint32_t x = 0; x < width; ++x) row[x] = values[x];
  }
}

void windowCore(const SourceRows& source, uint32_t bits, const DitherBuffers& buffers,
                const void* context) {
  windowImage(*static_cast<const bool*>(context), source, bits, buffers);
}

// The shell of both exports; its checks and codes differ from the error-
// diffusion exports' on purpose: a null handle is 17, a failed lock 1.
MemHandle windowExport(MemHandle image, int32_t bits, bool sharp) {
  // A refused source depth has always left the caller's image locked.
  constexpr DitherChecks kChecks{false, NADIRO_PIXEL_CANNOT_LOCK, NADIRO_PIXEL_NO_MEMORY, true};
  LockedBlock block;
  SourceRows source;
  if (!openDitherSource(image, bits, kChecks, block, source)) return nullptr;
  const auto target = static_cast<uint32_t>(bits);
  const uint32_t rows = sharp ? kSharpRowsPerChannel : kSmoothRowsPerChannel;
  const uint64_t workBytes =
      errorBlockBytes(target, rows, channelRowLength(source.depth, source.width));
  return runDitherFrame(block, source, target, workBytes, &windowCore, &sharp);
}

}  // namespace

void windowRow(int16_t* a, int16_t* b, uint32_t width, uint8_t* out, bool halve) {
  if (halve)
    windowRowT<true>(a, b, width, out);
  else
    windowRowT<false>(a, b, width, out);
}

// For each source row: the next source row is loaded into the row below, the
// window core runs per channel in use (the grey row for 1-bit targets), and
// the row below as the core left it becomes the current row. The last row
// runs against the row below as the previous row left it. DitherSharp's
// third row per channel is laid out but unused: the window needs only two.
void windowImage(bool sharp, const SourceRows& source, uint32_t bits,
                 const DitherBuffers& buffers) {
  const uint32_t width = source.width, height = source.height;
  const uint32_t channels = bits == 1 ? 1 : 3;
  const WorkRows work(buffers.work, buffers.rowLength,
                      sharp ? kSharpRowsPerChannel : kSmoothRowsPerChannel);
  const size_t stride = planeStride(bits, width);
  const size_t planeBytes = stride * height;
  const size_t rowBytes = size_t{buffers.rowLength} * sizeof(int16_t);

  loadRow(source, 0, bits, buffers, work, 0);
  for (uint32_t y = 0; y < height; ++y) {
    if (y + 1 < height) loadRow(source, y + 1, bits, buffers, work, 1);
    for (uint32_t c = 0; c < channels; ++c)
      windowRow(work.row(c, 0), work.row(c, 1), width, buffers.planes + c * planeBytes + y * stride,
                sharp);
    for (uint32_t c = 0; c < channels; ++c) std::memcpy(work.row(c, 0), work.row(c, 1), rowBytes);
  }
}

}  // namespace nadiro::dither

extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherSharp(NadiroHandle image, int32_t bits) {
  return nadiro::dither::windowExport(image, bits, true);
}
extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherSmooth(NadiroHandle image, int32_t bits) {
  return nadiro::dither::windowExport(image, bits, false);
}
