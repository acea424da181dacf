// Test companion modules, one build per kind, each named like the shipped
// companion and kept in a folder of its own:
//   NADIRO_COMPANION_CANCEL   every dialog is cancelled (returns 0, changes nothing);
//   NADIRO_COMPANION_CHANGE   every dialog is accepted with the values of
//                             changed_values.h;
//   NADIRO_COMPANION_PARTIAL  only "DesaturateUI" is exported: every other
//                             entry point is missing.
// Like the dialogs they stand in for, they only read the kernel and the file
// name they are given (the name may be null). Each also exports what its
// last dialog got: the image handle and the file name's length (-1 for none).
#include <cwchar>

#include "companions/changed_values.h"
#include "frame/companion_entries.h"

#if defined(_WIN32)
#define TEST_EXPORT __declspec(dllexport)
#else
#define TEST_EXPORT __attribute__((visibility("default")))
#endif

namespace {
NadiroHandle gLastImage = nullptr;
int32_t gLastNameLength = -1;
namespace v = nadiro::test::changed;
}  // namespace

extern "C" {

TEST_EXPORT NadiroHandle NADIRO_CALL TestLastImage() {
  return gLastImage;
}
TEST_EXPORT int32_t NADIRO_CALL TestLastNameLength() {
  return gLastNameLength;
}

TEST_EXPORT int32_t NADIRO_CALL DesaturateUI(NadiroHandle image) {
  gLastImage = image;
#if defined(NADIRO_COMPANION_CANCEL)
  return 0;
#else
  return 1;
#endif
}

#if !defined(NADIRO_COMPANION_PARTIAL)

#if defined(NADIRO_COMPANION_CHANGE)
#define SET(pointer, value) (*(pointer) = (value))
constexpr int32_t kResult = 1;
#else
#define SET(pointer, value) (static_cast<void>(pointer), static_cast<void>(value))
constexpr int32_t kResult = 0;
#endif

TEST_EXPORT int32_t NADIRO_CALL CONTRASTUI(NadiroHandle image, int32_t* brightness,
                                           int32_t* contrast) {
  gLastImage = image;
  SET(brightness, v::kBrightness);
  SET(contrast, v::kContrast);
  return kResult;
}

TEST_EXPORT int32_t NADIRO_CALL ColorCMYKLevelsUI(NadiroHandle image, double* cyan, double* magenta,
                                                  double* yellow, double* black) {
  gLastImage = image;
  SET(cyan, v::kCyan);
  SET(magenta, v::kMagenta);
  SET(yellow, v::kYellow);
  SET(black, v::kBlack);
  return kResult;
}

TEST_EXPORT int32_t NADIRO_CALL ColorHueSaturationUI(NadiroHandle image, int32_t* hueShift,
                                                     int32_t* saturation, int32_t* intensity,
                                                     uint32_t* rangeStart, uint32_t* rangeEnd) {
  gLastImage = image;
  SET(hueShift, v::kHueShift);
  SET(saturation, v::kSaturation);
  SET(intensity, v::kIntensity);
  SET(rangeStart, v::kRangeStart);
  SET(rangeEnd, v::kRangeEnd);
  return kResult;
}

TEST_EXPORT int32_t NADIRO_CALL GammaCorrectionUI(NadiroHandle image, uint32_t* red,
                                                  uint32_t* green, uint32_t* blue) {
  gLastImage = image;
  SET(red, v::kGammaRed);
  SET(green, v::kGammaGreen);
  SET(blue, v::kGammaBlue);
  return kResult;
}

TEST_EXPORT int32_t NADIRO_CALL ReplaceColorUI(NadiroHandle image, int32_t* hueShift,
                                               int32_t* saturationShift, int32_t* intensityShift,
                                               uint32_t* colour, uint32_t* tolerance) {
  gLastImage = image;
  SET(hueShift, v::kReplaceHue);
  SET(saturationShift, v::kReplaceSaturation);
  SET(intensityShift, v::kReplaceIntensity);
  SET(colour, v::kColour);
  SET(tolerance, v::kTolerance);
  return kResult;
}

TEST_EXPORT int32_t NADIRO_CALL ColorConvUIW(NadiroHandle image, uint32_t newImage,
                                             int32_t lumaMode, uint32_t kernelSource, int32_t size,
                                             const wchar_t* fileName, const int16_t* kernel,
                                             uint32_t* errorOut) {
  static_cast<void>(kernel);  // read-only for the dialog
  gLastImage = image;
  gLastNameLength = fileName ? static_cast<int32_t>(std::wcslen(fileName)) : -1;
  SET(errorOut, v::convolutionEcho(newImage, lumaMode, kernelSource, size));
  return kResult;
}

#endif  // !NADIRO_COMPANION_PARTIAL

}  // extern "C"
