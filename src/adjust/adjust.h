// The colour adjustments: pure cores on 24-bit rows (and on palettes for
// brightness and contrast). Each returns nothing and cannot fail; the
// exports around them check, copy, ask and report.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace nadiro::adjust {

// 24-bit rows of a picture: B, G, R per pixel, rows `stride` bytes apart.
struct Picture {
  uint8_t* rows = nullptr;
  uint32_t stride = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  uint8_t* row(uint32_t r) const { return rows + size_t{r} * stride; }
};

// A per-byte function written out for every byte.
using ByteTable = std::array<uint8_t, 256>;

// Runs kernel(pixels, count) over columns [x0, x1) of every row.
template <class Kernel>
void applyColumns(const Picture& p, uint32_t x0, uint32_t x1, const Kernel& kernel) {
  if (x1 <= x0) return;
  for (uint32_t r = 0; r < p.height; ++r) kernel(p.row(r) + size_t{x0} * 3, size_t{x1 - x0});
}

// ---- brightness and contrast ----------------------------------------------

// The low 16 bits of setting + 100: what the range check and the table read.
inline uint16_t offsetSetting(int32_t setting) {
  return static_cast<uint16_t>(static_cast<uint32_t>(setting) + 100u);
}
// Both settings pass when their 16-bit offset values are at most 200.
inline bool contrastSettingsInRange(int32_t brightness, int32_t contrast) {
  return offsetSetting(brightness) <= 200 && offsetSetting(contrast) <= 200;
}
// The lookup table of a brightness and a contrast (read through their 16-bit
// offset values, so 65536 acts as 0).
ByteTable brightnessContrastTable(int32_t brightness, int32_t contrast);
// Blue, green and red of `entries` 4-byte colour-table entries through the
// table; the fourth byte stays.
void mapPalette(uint8_t* table, uint64_t entries, const ByteTable& map);
// The first rowBytes bytes of each of `height` rows from src through the
// table into dst.
void mapRows(const uint8_t* src, uint8_t* dst, uint32_t stride, uint64_t rowBytes, uint32_t height,
             const ByteTable& map);

// ---- hue and saturation -----------------------------------------------------

// degrees / 360 * 255, truncated: hue shifts and hue-range ends in hue bytes.
int32_t hueShiftToBytes(int32_t degrees);
uint32_t hueDegreesToBytes(uint32_t degrees);

// Whether a hue byte lies in the range start..end (all comparisons
// unsigned; a start above the end is a range through 0).
bool inHueRange(uint32_t hue, uint32_t start, uint32_t end);
// The shifted hue with the wrap of the hue/saturation adjustment: one step
// further than a plain modulo on either side (10 - 20 gives 245, 250 + 20
// gives 15).
uint8_t wrapHueStepPast(int64_t hue);
// The shifted hue with the wrap of colour replacement: below 0 adds 255,
// above 255 takes 255 away (5 - 10 gives 250; 255 stays 255).
uint8_t wrapHueAt255(int64_t hue);

// Settings in the units the pixels see: hue shift and range in hue bytes.
struct HueSaturation {
  int32_t hueShift = 0;
  int32_t saturation = 0;
  int32_t intensity = 0;
  uint32_t rangeStart = 0;
  uint32_t rangeEnd = 255;
};
void hueSaturationRow(uint8_t* bgr, size_t count, const HueSaturation& s);

// ---- CMYK levels ------------------------------------------------------------

// A setting -100..100 as a multiplier: (s + 100) / 100 below 0, s / 100 + 1
// from 0 (so -100, 0 and 100 give 0, 1 and 2).
double cmykFactor(int32_t setting);
// Each ink byte times its factor, truncated and clamped, for every byte.
struct CmykLevels {
  ByteTable cyan{}, magenta{}, yellow{}, black{};
};
CmykLevels cmykLevelTables(double cyan, double magenta, double yellow, double black);
void cmykLevelsRow(uint8_t* bgr, size_t count, const CmykLevels& levels);

// ---- desaturate -------------------------------------------------------------

void desaturateRow(uint8_t* bgr, size_t count);

// ---- gamma correction -------------------------------------------------------

// v ^ (ln g / ln 100) on the byte value itself, truncated and clamped.
uint8_t gammaCurve(uint32_t value, uint32_t gamma);
struct GammaCurves {
  ByteTable red{}, green{}, blue{};
};
GammaCurves gammaCurves(uint32_t red, uint32_t green, uint32_t blue);
void gammaRow(uint8_t* bgr, size_t count, const GammaCurves& curves);

// ---- replace colour ---------------------------------------------------------

// The box of the match test, inclusive, on the stored bytes.
struct ColorBox {
  int32_t blueLo, blueHi, greenLo, greenHi, redLo, redHi;
};
// The colour's bytes 0, 1, 2 are compared with blue, green, red; the
// tolerance's bytes 0, 1, 2 widen red, green, blue.
ColorBox replaceBox(uint32_t colour, uint32_t tolerance);
struct Replacement {
  ColorBox box{};
  int32_t hueShift = 0;  // in hue bytes
  int32_t saturation = 0;
  int32_t intensity = 0;
};
void replaceColorRow(uint8_t* bgr, size_t count, const Replacement& r);

}  // namespace nadiro::adjust
