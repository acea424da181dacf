// Desaturate: a grey copy of a 24-bit image. Each pixel goes to the HSI
// model's bytes, loses its saturation and comes back through HSItoRGB, so
// the grey level is the one HSItoRGB gives at the pixel's intensity byte.
// Failures go to the last-error code.
#include <array>

#include "adjust/adjust.h"
#include "adjust/adjust_copy.h"
#include "adjust/hsi.h"
#include "nadiro/nadiro.h"

namespace nadiro::adjust {
namespace {

// The pixel through HSI with saturation 0, as the definition reads.
void desaturatePixel(uint8_t* bgr) {
  uint8_t hsi[3];
  pixelToHsi(bgr, hsi);
  hsi[1] = 0;
  hsiToPixel(hsi, bgr);
}

// The intensity byte depends on the largest and smallest of R, G, B alone,
// and with saturation 0 HSItoRGB gives the same grey whatever the hue. So
// the result of a pixel is a function of (largest, smallest), written out
// once, by the very conversions, for all 65536 pairs.
using GreyTable = std::array<uint8_t, 256 * 256>;

GreyTable buildGreyTable() {
  GreyTable t{};
  for (uint32_t hi = 0; hi < 256; ++hi) {
    for (uint32_t lo = 0; lo <= hi; ++lo) {
      uint8_t px[3] = {static_cast<uint8_t>(lo), static_cast<uint8_t>(lo),
                       static_cast<uint8_t>(hi)};
      desaturatePixel(px);
      t[hi * 256 + lo] = px[0];
    }
  }
  return t;
}

const GreyTable& greyTable() {
  static const GreyTable table = buildGreyTable();
  return table;
}

uint8_t largest(uint8_t a, uint8_t b, uint8_t c) {
  const uint8_t m = a > b ? a : b;
  return m > c ? m : c;
}
uint8_t smallest(uint8_t a, uint8_t b, uint8_t c) {
  const uint8_t m = a < b ? a : b;
  return m < c ? m : c;
}

}  // namespace

void desaturateRow(uint8_t* bgr, size_t count) {
  const GreyTable& grey = greyTable();
  for (size_t i = 0; i < count; ++i) {
    uint8_t* px = bgr + 3 * i;
    const uint8_t g = grey[largest(px[0], px[1], px[2]) * 256u + smallest(px[0], px[1], px[2])];
    px[0] = g;
    px[1] = g;
    px[2] = g;
  }
}

}  // namespace nadiro::adjust

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL Desaturate(NadiroHandle image, int32_t mode,
                                                          NadiroWindow owner) {
  beginCall();
  if (!image) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return nullptr;
  }
  return adjust::adjustCopy(
      image, mode, owner, adjust::ProgressUnits::WidthPlusOne,
      [image] { return showCompanionDialog(companion::kDesaturateUi, image); },
      [] { return adjust::desaturateRow; });
}
