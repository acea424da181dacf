// Plain pixel-at-a-time references of the colour adjustments, written from
// their documented rules, and the images they are compared on.
#pragma once

#include <cstdint>
#include <vector>

namespace nadiro::test::ref {

struct Rgb {
  int r, g, b;
};
struct Hsi {
  int h, s, i;
};

// RGBtoHSI and HSItoRGB in the byte scale (hue byte 0..255 for 0..360 degrees).
Hsi rgbToHsi(Rgb c);
Rgb hsiToRgb(Hsi c);

// One table entry of brightness/contrast (settings already in -100..100).
int brightnessContrastEntry(int i, int brightness, int contrast);
int gamma(int v, unsigned g);

// The expected whole output block for a source block (24-bit images unless
// stated), each pixel visited by (x, y) with y counted from the top.
std::vector<uint8_t> brightnessContrast(const std::vector<uint8_t>& src, int brightness,
                                        int contrast);
std::vector<uint8_t> hueSaturation(const std::vector<uint8_t>& src, int hueBytes, int saturation,
                                   int intensity, unsigned startByte, unsigned endByte);
std::vector<uint8_t> cmykLevels(const std::vector<uint8_t>& src, double c, double m, double y,
                                double k);
std::vector<uint8_t> desaturate(const std::vector<uint8_t>& src);
std::vector<uint8_t> gammaCorrection(const std::vector<uint8_t>& src, unsigned r, unsigned g,
                                     unsigned b);
std::vector<uint8_t> replaceColor(const std::vector<uint8_t>& src, uint32_t colour,
                                  uint32_t tolerance, int hueBytes, int saturation, int intensity);

// A 24-bit image of noise whose first pixels are greys, primaries, ties and
// the extremes.
std::vector<uint8_t> testImage(int32_t width, int32_t height, uint32_t seed);

}  // namespace nadiro::test::ref
