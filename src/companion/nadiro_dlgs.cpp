// NadiroDlgs, the companion module shipped with the library: every parameter
// dialog entry point with its exact signature. These dialogs accept what they
// are given: each returns OK and leaves every variable as it was.
#include <type_traits>

#include "frame/companion_entries.h"

#if defined(_WIN32)
#define NADIRO_DLGS_EXPORT  // the names are fixed by NadiroDlgs.def
#else
#define NADIRO_DLGS_EXPORT __attribute__((visibility("default")))
#endif

namespace {
constexpr int32_t kOk = 1;
}

extern "C" {

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL CONTRASTUI(NadiroHandle, int32_t*, int32_t*) {
  return kOk;
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL ColorCMYKLevelsUI(NadiroHandle, double*, double*, double*,
                                                         double*) {
  return kOk;
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL ColorHueSaturationUI(NadiroHandle, int32_t*, int32_t*,
                                                            int32_t*, uint32_t*, uint32_t*) {
  return kOk;
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL DesaturateUI(NadiroHandle) {
  return kOk;
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL GammaCorrectionUI(NadiroHandle, uint32_t*, uint32_t*,
                                                         uint32_t*) {
  return kOk;
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL ReplaceColorUI(NadiroHandle, int32_t*, int32_t*, int32_t*,
                                                      uint32_t*, uint32_t*) {
  return kOk;
}

NADIRO_DLGS_EXPORT int32_t NADIRO_CALL ColorConvUIW(NadiroHandle, uint32_t, int32_t, uint32_t,
                                                    int32_t, const wchar_t*, const int16_t*, uint32_t*) {
  return kOk;
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
