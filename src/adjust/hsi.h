// Stored 24-bit pixels (B, G, R) through the byte conversions RGBtoHSI and
// HSItoRGB, for the adjustments that work on hue, saturation and intensity.
#pragma once

#include <cstddef>
#include <cstdint>

#include "color/models.h"
#include "color/pixel_walk.h"

namespace nadiro::adjust {

// The pixel's H, S, I bytes.
inline void pixelToHsi(const uint8_t* bgr, uint8_t* hsi) {
  const uint8_t rgb[3] = {bgr[2], bgr[1], bgr[0]};
  color::Doubles<color::model::RGB, color::model::HSI>::apply(rgb, hsi);
}

// H, S, I bytes back into the stored pixel.
inline void hsiToPixel(const uint8_t* hsi, uint8_t* bgr) {
  uint8_t rgb[3];
  color::Doubles<color::model::HSI, color::model::RGB>::apply(hsi, rgb);
  bgr[0] = rgb[2];
  bgr[1] = rgb[1];
  bgr[2] = rgb[0];
}

// A byte plus a signed shift, clamped to 0..255.
inline uint8_t addClamped(uint8_t byte, int32_t shift) {
  const int64_t v = int64_t{byte} + shift;
  return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// The H, S, I bytes of a pixel with hue byte `hue` and its saturation and
// intensity moved by the shifts (clamped).
inline void moveHsi(const uint8_t* hsi, uint8_t hue, int32_t saturation, int32_t intensity,
                    uint8_t* moved) {
  moved[0] = hue;
  moved[1] = addClamped(hsi[1], saturation);
  moved[2] = addClamped(hsi[2], intensity);
}

// Moves pixels of a row in HSI as pixelToHsi and hsiToPixel would, pixel by
// pixel, but through the conversions' row kernels in batches: the pixels
// `chosen(bgr)` accepts go to HSI together; `move(hsi, moved)` returns false
// to leave a pixel as it is or writes its new H, S, I bytes; the moved
// pixels come back to RGB together.
template <typename Chosen, typename Move>
void moveRowInHsi(uint8_t* bgr, size_t count, Chosen&& chosen, Move&& move) {
  constexpr size_t kBatch = 256;
  const color::RowKernel toHsi =
      color::rowKernelFor(NADIRO_MODEL_RGB, NADIRO_MODEL_HSI, color::Order::Model);
  const color::RowKernel toRgb =
      color::rowKernelFor(NADIRO_MODEL_HSI, NADIRO_MODEL_RGB, color::Order::Model);
  uint8_t rgb[3 * kBatch], hsi[3 * kBatch];
  size_t where[kBatch];
  for (size_t start = 0; start < count; start += kBatch) {
    const size_t end = count - start < kBatch ? count : start + kBatch;
    size_t n = 0;
    for (size_t i = start; i < end; ++i) {
      const uint8_t* px = bgr + 3 * i;
      if (!chosen(px)) continue;
      rgb[3 * n] = px[2];
      rgb[3 * n + 1] = px[1];
      rgb[3 * n + 2] = px[0];
      where[n++] = i;
    }
    if (n == 0) continue;
    toHsi(rgb, hsi, n);
    size_t m = 0;
    for (size_t j = 0; j < n; ++j)
      if (move(hsi + 3 * j, rgb + 3 * m)) where[m++] = where[j];
    if (m == 0) continue;
    toRgb(rgb, hsi, m);
    for (size_t j = 0; j < m; ++j) {
      uint8_t* px = bgr + 3 * where[j];
      px[0] = hsi[3 * j + 2];
      px[1] = hsi[3 * j + 1];
      px[2] = hsi[3 * j];
    }
  }
}

}  // namespace nadiro::adjust
