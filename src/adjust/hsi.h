// Stored 24-bit pixels (B, G, R) through the byte conversions RGBtoHSI and
// HSItoRGB, for the adjustments that work on hue, saturation and intensity.
#pragma once

#include <cstdint>

#include "color/models.h"

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

// The pixel with hue byte `hue` and its saturation and intensity moved by
// the shifts (clamped), back through HSItoRGB.
inline void writeMovedHsi(uint8_t* bgr, const uint8_t* hsi, uint8_t hue, int32_t saturation,
                          int32_t intensity) {
  const uint8_t moved[3] = {hue, addClamped(hsi[1], saturation), addClamped(hsi[2], intensity)};
  hsiToPixel(moved, bgr);
}

}  // namespace nadiro::adjust
