// ColorCMYKLevels: a copy of a 24-bit image whose pixels went RGB to CMYK,
// had each ink multiplied by its own factor, and came back to RGB, through
// the byte conversions RGBtoCMYK and CMYKtoRGB (whose sums wrap modulo 256:
// a scaled ink plus black above 255 comes back dark). Failures go to the
// last-error code.
#include "adjust/adjust.h"
#include "adjust/adjust_copy.h"
#include "color/models.h"
#include "nadiro/nadiro.h"

namespace nadiro::adjust {
namespace {

bool settingInRange(int32_t s) {
  return s >= -100 && s <= 100;
}

// byte * factor in double precision, truncated toward zero; below 0 gives 0,
// 256 and above 255. The product depends on the byte alone, so each ink is
// written out once per call as a 256-entry table.
ByteTable scaleTable(double factor) {
  ByteTable t{};
  for (uint32_t v = 0; v < 256; ++v) t[v] = color::toByte(v * factor);
  return t;
}

}  // namespace

double cmykFactor(int32_t setting) {
  return setting < 0 ? (setting + 100) / 100.0 : setting / 100.0 + 1.0;
}

CmykLevels cmykLevelTables(double cyan, double magenta, double yellow, double black) {
  return {scaleTable(cyan), scaleTable(magenta), scaleTable(yellow), scaleTable(black)};
}

void cmykLevelsRow(uint8_t* bgr, size_t count, const CmykLevels& levels) {
  using ToCmyk = color::Integer<color::model::RGB, color::model::CMYK>;
  using ToRgb = color::Integer<color::model::CMYK, color::model::RGB>;
  for (size_t i = 0; i < count; ++i) {
    uint8_t* px = bgr + 3 * i;
    const uint8_t rgb[3] = {px[2], px[1], px[0]};
    uint8_t cmyk[4];
    ToCmyk::apply(rgb, cmyk);
    const uint8_t scaled[4] = {levels.cyan[cmyk[0]], levels.magenta[cmyk[1]],
                               levels.yellow[cmyk[2]], levels.black[cmyk[3]]};
    uint8_t out[3];
    ToRgb::apply(scaled, out);
    px[0] = out[2];
    px[1] = out[1];
    px[2] = out[0];
  }
}

}  // namespace nadiro::adjust

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL ColorCMYKLevels(NadiroHandle image, int32_t cyan,
                                                               int32_t magenta, int32_t yellow,
                                                               int32_t black, int32_t mode,
                                                               NadiroWindow owner) {
  beginCall();
  if (!image || !adjust::settingInRange(cyan) || !adjust::settingInRange(magenta) ||
      !adjust::settingInRange(yellow) || !adjust::settingInRange(black)) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return nullptr;
  }
  double factors[4] = {adjust::cmykFactor(cyan), adjust::cmykFactor(magenta),
                       adjust::cmykFactor(yellow), adjust::cmykFactor(black)};
  adjust::CmykLevels levels;
  return adjust::adjustCopy(
      image, mode, owner, adjust::ProgressUnits::WidthPlusOne,
      [&] {
        return showCompanionDialog(companion::kCmykLevelsUi, image, &factors[0], &factors[1],
                                   &factors[2], &factors[3]);
      },
      [&] {
        levels = adjust::cmykLevelTables(factors[0], factors[1], factors[2], factors[3]);
        return [&levels](uint8_t* px, size_t n) { adjust::cmykLevelsRow(px, n, levels); };
      });
}
