// ReplaceColor: a copy of a 24-bit image in which every pixel inside a box
// around a colour has its hue, saturation and intensity moved in the HSI
// model's byte scale; other pixels stay. The colour's bytes are in stored
// pixel order (blue first) and the tolerance's in the reverse order (red
// first). Failures go to the last-error code.
#include "adjust/adjust.h"
#include "adjust/adjust_copy.h"
#include "adjust/hsi.h"
#include "nadiro/nadiro.h"

namespace nadiro::adjust {
namespace {

bool shiftsInRange(int32_t hue, int32_t saturation, int32_t intensity) {
  return hue >= -180 && hue <= 180 && saturation >= -255 && saturation <= 255 &&
         intensity >= -255 && intensity <= 255;
}

int32_t byteOf(uint32_t slot, int which) {
  return static_cast<int32_t>((slot >> (8 * which)) & 0xFFu);
}

bool inBox(const uint8_t* bgr, const ColorBox& b) {
  return b.blueLo <= bgr[0] && bgr[0] <= b.blueHi && b.greenLo <= bgr[1] && bgr[1] <= b.greenHi &&
         b.redLo <= bgr[2] && bgr[2] <= b.redHi;
}

}  // namespace

uint8_t wrapHueAt255(int64_t hue) {
  if (hue < 0) return static_cast<uint8_t>(hue + 255);
  if (hue > 255) return static_cast<uint8_t>(hue - 255);
  return static_cast<uint8_t>(hue);
}

ColorBox replaceBox(uint32_t colour, uint32_t tolerance) {
  const int32_t c0 = byteOf(colour, 0), c1 = byteOf(colour, 1), c2 = byteOf(colour, 2);
  const int32_t t0 = byteOf(tolerance, 0), t1 = byteOf(tolerance, 1), t2 = byteOf(tolerance, 2);
  return {c0 - t2, c0 + t2, c1 - t1, c1 + t1, c2 - t0, c2 + t0};
}

void replaceColorRow(uint8_t* bgr, size_t count, const Replacement& r) {
  moveRowInHsi(
      bgr, count, [&r](const uint8_t* px) { return inBox(px, r.box); },
      [&r](const uint8_t* hsi, uint8_t* moved) {
        moveHsi(hsi, wrapHueAt255(int64_t{hsi[0]} + r.hueShift), r.saturation, r.intensity, moved);
        return true;
      });
}

}  // namespace nadiro::adjust

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL ReplaceColor(NadiroHandle image, uint32_t colour,
                                                            uint32_t tolerance, int32_t hueShift,
                                                            int32_t saturationShift,
                                                            int32_t intensityShift, int32_t flags,
                                                            NadiroWindow owner) {
  adjust::Replacement r;
  r.hueShift = adjust::hueShiftToBytes(hueShift);
  r.saturation = saturationShift;
  r.intensity = intensityShift;
  beginCall();
  if (!image || !adjust::shiftsInRange(hueShift, saturationShift, intensityShift)) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return nullptr;
  }
  return adjust::adjustCopy(
      image, flags, owner, adjust::ProgressUnits::WidthPlusOne,
      [&] {
        return showCompanionDialog(companion::kReplaceColorUi, image, &r.hueShift, &r.saturation,
                                   &r.intensity, &colour, &tolerance);
      },
      [&] {
        r.box = adjust::replaceBox(colour, tolerance);  // from the colour the dialog left
        return [&r](uint8_t* px, size_t n) { adjust::replaceColorRow(px, n, r); };
      });
}
