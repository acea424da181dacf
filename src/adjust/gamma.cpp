// GammaCorrection: a copy of a 24-bit image with a power curve on each of
// its R, G and B bytes. The curve of gamma g is v ^ (ln g / ln 100) on the
// byte value itself (not scaled to 0..1), so it passes through (1, 1) and
// (100, g). Failures go to the last-error code.
#include <cmath>

#include "adjust/adjust.h"
#include "adjust/adjust_copy.h"
#include "color/formulas.h"
#include "nadiro/nadiro.h"

namespace nadiro::adjust {
namespace {

bool gammaInRange(uint32_t g) {
  return g >= 10 && g <= 500;
}

// The curve depends on the byte alone, so each channel's curve is written
// out once per call, 256 entries, by the same expression.
ByteTable curveTable(uint32_t gamma) {
  ByteTable t{};
  for (uint32_t v = 0; v < 256; ++v) t[v] = gammaCurve(v, gamma);
  return t;
}

}  // namespace

uint8_t gammaCurve(uint32_t value, uint32_t gamma) {
  const double exponent = std::log(static_cast<double>(gamma)) / std::log(100.0);
  return color::toByte(std::pow(static_cast<double>(value), exponent));
}

GammaCurves gammaCurves(uint32_t red, uint32_t green, uint32_t blue) {
  return {curveTable(red), curveTable(green), curveTable(blue)};
}

void gammaRow(uint8_t* bgr, size_t count, const GammaCurves& curves) {
  for (size_t i = 0; i < count; ++i) {
    uint8_t* px = bgr + 3 * i;
    px[0] = curves.blue[px[0]];
    px[1] = curves.green[px[1]];
    px[2] = curves.red[px[2]];
  }
}

}  // namespace nadiro::adjust

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL GammaCorrection(NadiroHandle image, uint32_t red,
                                                               uint32_t green, uint32_t blue,
                                                               int32_t flags, NadiroWindow owner) {
  beginCall();
  if (!image || !adjust::gammaInRange(red) || !adjust::gammaInRange(green) ||
      !adjust::gammaInRange(blue)) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return nullptr;
  }
  adjust::GammaCurves curves;
  return adjust::adjustCopy(
      image, flags, owner, adjust::ProgressUnits::WholeSteps,
      [&] {
        return showCompanionDialog(companion::kGammaCorrectionUi, image, &red, &green, &blue);
      },
      [&] {
        curves = adjust::gammaCurves(red, green, blue);  // the dialog's values, unchecked
        return [&curves](uint8_t* px, size_t n) { adjust::gammaRow(px, n, curves); };
      });
}
