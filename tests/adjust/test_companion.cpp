// Companion modules for the adjustment tests, one build per kind:
//   NADIRO_ADJUST_CANCEL  every dialog is cancelled (returns 0, changes nothing);
//   NADIRO_ADJUST_CHANGE  every dialog is accepted with the values of
//                         dialog_values.h.
#include <type_traits>

#include "adjust/dialog_values.h"
#include "frame/companion_entries.h"

#if defined(_WIN32)
#define TEST_EXPORT __declspec(dllexport)
#else
#define TEST_EXPORT __attribute__((visibility("default")))
#endif

namespace v = nadiro::test::dialog;

#if defined(NADIRO_ADJUST_CHANGE)
#define SET(pointer, value) (*(pointer) = (value))
constexpr int32_t kResult = 1;
#else
#define SET(pointer, value) (static_cast<void>(pointer), static_cast<void>(value))
constexpr int32_t kResult = 0;
#endif

extern "C" {

TEST_EXPORT int32_t NADIRO_CALL CONTRASTUI(NadiroHandle, int32_t* brightness, int32_t* contrast) {
  SET(brightness, v::kBrightness);
  SET(contrast, v::kContrast);
  return kResult;
}

TEST_EXPORT int32_t NADIRO_CALL ColorCMYKLevelsUI(NadiroHandle, double* cyan, double* magenta,
                                                  double* yellow, double* black) {
  SET(cyan, v::kCyan);
  SET(magenta, v::kMagenta);
  SET(yellow, v::kYellow);
  SET(black, v::kBlack);
  return kResult;
}

TEST_EXPORT int32_t NADIRO_CALL ColorHueSaturationUI(NadiroHandle, int32_t* hueShift,
                                                     int32_t* saturation, int32_t* intensity,
                                                     uint32_t* rangeStart, uint32_t* rangeEnd) {
  SET(hueShift, v::kHueShift);
  SET(saturation, v::kSaturation);
  SET(intensity, v::kIntensity);
  SET(rangeStart, v::kRangeStart);
  SET(rangeEnd, v::kRangeEnd);
  return kResult;
}

TEST_EXPORT int32_t NADIRO_CALL DesaturateUI(NadiroHandle) { return kResult; }

TEST_EXPORT int32_t NADIRO_CALL GammaCorrectionUI(NadiroHandle, uint32_t* red, uint32_t* green,
                                                  uint32_t* blue) {
  SET(red, v::kGammaRed);
  SET(green, v::kGammaGreen);
  SET(blue, v::kGammaBlue);
  return kResult;
}

TEST_EXPORT int32_t NADIRO_CALL ReplaceColorUI(NadiroHandle, int32_t* hueShift,
                                               int32_t* saturationShift, int32_t* intensityShift,
                                               uint32_t* colour, uint32_t* tolerance) {
  SET(hueShift, v::kReplaceHue);
  SET(saturationShift, v::kReplaceSaturation);
  SET(intensityShift, v::kReplaceIntensity);
  SET(colour, v::kColour);
  SET(tolerance, v::kTolerance);
  return kResult;
}

}  // extern "C"

// The library calls these through the shared declarations: keep them equal.
namespace c = nadiro::companion;
static_assert(std::is_same_v<decltype(CONTRASTUI), c::ContrastUi>);
static_assert(std::is_same_v<decltype(ColorCMYKLevelsUI), c::CmykLevelsUi>);
static_assert(std::is_same_v<decltype(ColorHueSaturationUI), c::HueSaturationUi>);
static_assert(std::is_same_v<decltype(DesaturateUI), c::DesaturateUi>);
static_assert(std::is_same_v<decltype(GammaCorrectionUI), c::GammaCorrectionUi>);
static_assert(std::is_same_v<decltype(ReplaceColorUI), c::ReplaceColorUi>);
