// ColorHueSaturation: a copy of a 24-bit image in which every pixel whose
// hue lies in a hue range has its hue shifted and its saturation and
// intensity moved, in the HSI model's byte scale. Failures go to the
// last-error code.
#include "adjust/adjust.h"
#include "adjust/adjust_copy.h"
#include "adjust/hsi.h"
#include "nadiro/nadiro.h"

namespace nadiro::adjust {
namespace {

// -180..180 degrees; saturation and intensity -255..255; the sums taken as
// unsigned, so values below the range wrap above it.
bool settingsInRange(int32_t hue, int32_t saturation, int32_t intensity) {
  return static_cast<uint32_t>(hue) + 180u <= 360u &&
         static_cast<uint32_t>(saturation) + 255u <= 510u &&
         static_cast<uint32_t>(intensity) + 255u <= 510u;
}

// Start and end both 0 select every hue; otherwise each must be at most 360
// (a start of 0 is not looked at) and they must differ.
bool hueRangeValid(uint32_t start, uint32_t end) {
  if (start == 0 && end == 0) return true;
  return (start == 0 || start <= 360) && end <= 360 && end != start;
}

}  // namespace

bool inHueRange(uint32_t hue, uint32_t start, uint32_t end) {
  return start <= end ? start <= hue && hue <= end : hue <= end || hue >= start;
}

int32_t hueShiftToBytes(int32_t degrees) {
  return static_cast<int32_t>(degrees / 360.0 * 255.0);
}

uint32_t hueDegreesToBytes(uint32_t degrees) {
  return static_cast<uint32_t>(degrees / 360.0 * 255.0);
}

uint8_t wrapHueStepPast(int64_t hue) {
  if (hue < 0) return static_cast<uint8_t>(hue - 1);
  if (hue > 255) return static_cast<uint8_t>(hue + 1);
  return static_cast<uint8_t>(hue);
}

void hueSaturationRow(uint8_t* bgr, size_t count, const HueSaturation& s) {
  moveRowInHsi(
      bgr, count, [](const uint8_t*) { return true; },
      [&s](const uint8_t* hsi, uint8_t* moved) {
        if (!inHueRange(hsi[0], s.rangeStart, s.rangeEnd)) return false;
        moveHsi(hsi, wrapHueStepPast(int64_t{hsi[0]} + s.hueShift), s.saturation, s.intensity,
                moved);
        return true;
      });
}

}  // namespace nadiro::adjust

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL
ColorHueSaturation(NadiroHandle image, int32_t hue, int32_t saturation, int32_t intensity,
                   uint32_t rangeStart, uint32_t rangeEnd, int32_t mode, NadiroWindow owner) {
  adjust::HueSaturation s;
  s.hueShift = adjust::hueShiftToBytes(hue);
  s.saturation = saturation;
  s.intensity = intensity;
  beginCall();
  if (!image || !adjust::settingsInRange(hue, saturation, intensity) ||
      !adjust::hueRangeValid(rangeStart, rangeEnd)) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return nullptr;
  }
  if (rangeStart != 0 || rangeEnd != 0) {
    s.rangeStart = adjust::hueDegreesToBytes(rangeStart);
    s.rangeEnd = adjust::hueDegreesToBytes(rangeEnd);
  }
  return adjust::adjustCopy(
      image, mode, owner, adjust::ProgressUnits::WidthPlusOne,
      [&] {
        return showCompanionDialog(companion::kHueSaturationUi, image, &s.hueShift, &s.saturation,
                                   &s.intensity, &s.rangeStart, &s.rangeEnd);
      },
      [&s] { return [&s](uint8_t* px, size_t n) { adjust::hueSaturationRow(px, n, s); }; });
}
