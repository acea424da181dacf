// NadiroDlgs, the companion module shipped with the library: every parameter
// dialog entry point with its exact signature, and a kernel editor. On
// Windows each shows its modal dialog, built from the tables below by one
// engine (dialogs_win32.cpp). Elsewhere there are no dialogs: each entry point
// accepts the caller's values, returns OK and changes nothing.
#include <algorithm>
#include <array>
#include <type_traits>

#include "companion/dialog_table.h"
#include "frame/companion_entries.h"

#if defined(_WIN32)
#define NADIRO_DLGS_EXPORT  // the names are fixed by NadiroDlgs.def
#else
#define NADIRO_DLGS_EXPORT __attribute__((visibility("default")))
#endif

namespace {

using nadiro::dialogs::DialogTable;
using nadiro::dialogs::KernelView;
using nadiro::dialogs::Panel;
using nadiro::dialogs::Param;
using nadiro::dialogs::Unit;

// The parameters of each dialog: the slot counts the entry point's pointers
// after the image handle; ranges are those the exports document, in the
// units a person reads.
constexpr Param kContrast[] = {
    {L"&Brightness:", 0, Unit::Int32, -100, 100},
    {L"&Contrast:", 1, Unit::Int32, -100, 100},
};
constexpr Param kCmykLevels[] = {
    {L"&Cyan (%):", 0, Unit::Factor, -100, 100},
    {L"&Magenta (%):", 1, Unit::Factor, -100, 100},
    {L"&Yellow (%):", 2, Unit::Factor, -100, 100},
    {L"&Black (%):", 3, Unit::Factor, -100, 100},
};
// Both hue dialogs start with the hue, saturation and intensity shifts.
constexpr Param kShifts[] = {
    {L"&Hue (degrees):", 0, Unit::HueShift, -180, 180},
    {L"&Saturation:", 1, Unit::Int32, -255, 255},
    {L"&Intensity:", 2, Unit::Int32, -255, 255},
};
template <size_t N, size_t M>
constexpr std::array<Param, N + M> join(const Param (&a)[N], const Param (&b)[M]) {
  std::array<Param, N + M> all{};
  std::copy(a, a + N, all.begin());
  std::copy(b, b + M, all.begin() + N);
  return all;
}
constexpr Param kHueRange[] = {
    {L"Range &from (deg.):", 3, Unit::HueAngle, 0, 360},
    {L"Range &to (deg.):", 4, Unit::HueAngle, 0, 360},
};
constexpr auto kHueSaturation = join(kShifts, kHueRange);
constexpr Param kGamma[] = {
    {L"&Red at 100:", 0, Unit::Uint32, 10, 500},
    {L"&Green at 100:", 1, Unit::Uint32, 10, 500},
    {L"&Blue at 100:", 2, Unit::Uint32, 10, 500},
};
// The colour slot holds B, G, R in bytes 0..2; the tolerance slot R, G, B.
// clang-format off
constexpr Param kColourAndTolerance[] = {
    {L"Colour &red:", 3, Unit::Byte2, 0, 255},
    {L"Colour &green:", 3, Unit::Byte1, 0, 255},
    {L"Colour &blue:", 3, Unit::Byte0, 0, 255},
    {L"Tolerance r&ed:", 4, Unit::Byte0, 0, 255},
    {L"Tolerance gree&n:", 4, Unit::Byte1, 0, 255},
    {L"Tolerance b&lue:", 4, Unit::Byte2, 0, 255},
};
// clang-format on
constexpr auto kReplaceColor = join(kShifts, kColourAndTolerance);

#if defined(_WIN32)
// The previews: the module carries its own copy of the library, so they
// touch nothing of the host's per-thread state. Values as the tables list them.
void* previewContrast(void* image, const int32_t* v) {
  return ColorBrightnessContrast(image, v[0], v[1], 0);
}
void* previewCmyk(void* image, const int32_t* v) {
  return ColorCMYKLevels(image, v[0], v[1], v[2], v[3], 0, nullptr);
}
void* previewHue(void* image, const int32_t* v) {
  return ColorHueSaturation(image, v[0], v[1], v[2], static_cast<uint32_t>(v[3]),
                            static_cast<uint32_t>(v[4]), 0, nullptr);
}
void* previewDesaturate(void* image, const int32_t*) {
  return Desaturate(image, 0, nullptr);
}
void* previewGamma(void* image, const int32_t* v) {
  return GammaCorrection(image, static_cast<uint32_t>(v[0]), static_cast<uint32_t>(v[1]),
                         static_cast<uint32_t>(v[2]), 0, nullptr);
}
uint32_t bytes(int32_t b0, int32_t b1, int32_t b2) {
  return static_cast<uint32_t>(b0 | b1 << 8 | b2 << 16);
}
void* previewReplace(void* image, const int32_t* v) {
  return ReplaceColor(image, bytes(v[5], v[4], v[3]), bytes(v[6], v[7], v[8]), v[0], v[1], v[2], 0,
                      nullptr);
}
#define NADIRO_PREVIEW(f) f
#else
#define NADIRO_PREVIEW(f) nullptr
#endif

constexpr DialogTable kContrastDialog{L"Brightness and Contrast", kContrast, Panel::None,
                                      NADIRO_PREVIEW(previewContrast)};
constexpr DialogTable kCmykDialog{L"CMYK Levels", kCmykLevels, Panel::None,
                                  NADIRO_PREVIEW(previewCmyk)};
constexpr DialogTable kHueDialog{L"Hue and Saturation", kHueSaturation, Panel::HueWheel,
                                 NADIRO_PREVIEW(previewHue), 3};
constexpr DialogTable kDesaturateDialog{
    L"Desaturate", {}, Panel::Confirm, NADIRO_PREVIEW(previewDesaturate)};
constexpr DialogTable kGammaDialog{L"Gamma Correction", kGamma, Panel::None,
                                   NADIRO_PREVIEW(previewGamma)};
constexpr DialogTable kReplaceDialog{L"Replace Colour", kReplaceColor, Panel::PickColour,
                                     NADIRO_PREVIEW(previewReplace), 3};
constexpr DialogTable kConvolutionDialog{L"Convolution Filter", {}, Panel::Kernel};

#if defined(_WIN32)
template <typename... Pointers>
int32_t show(const DialogTable& table, NadiroHandle image, Pointers*... pointers) {
  void* const slots[] = {const_cast<void*>(static_cast<const void*>(pointers))..., nullptr};
  return nadiro::dialogs::runDialog(table, image, {slots, sizeof...(Pointers)});
}
int32_t showKernel(const KernelView& kernel) {
  return nadiro::dialogs::runDialog(kConvolutionDialog, nullptr, {}, &kernel);
}
#else
template <typename... Pointers>
int32_t show(const DialogTable&, NadiroHandle, Pointers*...) {
  return 1;
}
int32_t showKernel(const KernelView&) {
  return 1;
}
#endif

}  // namespace

extern "C" {

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL CONTRASTUI(NadiroHandle image, int32_t* brightness,
                                                  int32_t* contrast) {
  return show(kContrastDialog, image, brightness, contrast);
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL ColorCMYKLevelsUI(NadiroHandle image, double* cyan,
                                                         double* magenta, double* yellow,
                                                         double* black) {
  return show(kCmykDialog, image, cyan, magenta, yellow, black);
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL ColorHueSaturationUI(NadiroHandle image, int32_t* hue,
                                                            int32_t* saturation, int32_t* intensity,
                                                            uint32_t* rangeStart,
                                                            uint32_t* rangeEnd) {
  return show(kHueDialog, image, hue, saturation, intensity, rangeStart, rangeEnd);
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL DesaturateUI(NadiroHandle image) {
  return show(kDesaturateDialog, image);
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL GammaCorrectionUI(NadiroHandle image, uint32_t* red,
                                                         uint32_t* green, uint32_t* blue) {
  return show(kGammaDialog, image, red, green, blue);
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL ReplaceColorUI(NadiroHandle image, int32_t* hue,
                                                      int32_t* saturation, int32_t* intensity,
                                                      uint32_t* colour, uint32_t* tolerance) {
  return show(kReplaceDialog, image, hue, saturation, intensity, colour, tolerance);
}

// The kernel source and size are 16-bit values in 32-bit slots.
NADIRO_DLGS_EXPORT int32_t NADIRO_CALL ColorConvUIW(NadiroHandle, uint32_t, int32_t,
                                                    uint32_t kernelSource, int32_t size,
                                                    const wchar_t* fileName, const int16_t* kernel,
                                                    uint32_t*) {
  return showKernel({kernelSource & 0xFFFFu, static_cast<int16_t>(size), fileName, kernel});
}

// The convolution dialog with the grid editable, for a host that lets its
// user change a kernel before it calls the convolution (whose own dialog
// only shows the kernel: the filter uses the kernel as it was passed).
// Without a kernel or with a size outside 3..7 there is nothing to edit: 0.
NADIRO_DLGS_EXPORT int32_t NADIRO_CALL ColorConvKernelUI(int32_t size, int16_t* kernel) {
  if (!kernel || size < 3 || size > 7) return 0;
  return showKernel({1, size, nullptr, kernel, kernel});
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
static_assert(std::is_same_v<decltype(ColorConvUIW), c::ColorConvUi>);
static_assert(std::is_same_v<decltype(ColorConvKernelUI), c::KernelEditUi>);
