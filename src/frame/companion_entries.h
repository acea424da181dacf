// The parameter-dialog entry points of the companion module, by name and
// exact signature. Every entry returns non-zero for OK (the variables behind
// the pointers then hold the user's values) and 0 for Cancel. The library's
// loader and the companion modules built here share these declarations.
#pragma once

#include <cstdint>

#include "nadiro/nadiro.h"

namespace nadiro::companion {

// brightness and contrast, each -100..100
using ContrastUi = int32_t NADIRO_CALL(NadiroHandle image, int32_t* brightness, int32_t* contrast);
// the cyan, magenta, yellow and black multipliers
using CmykLevelsUi = int32_t NADIRO_CALL(NadiroHandle image, double* cyan, double* magenta,
                                         double* yellow, double* black);
// hue shift and hue range in hue-byte units, saturation, intensity; the
// range ends are unsigned like the export's own range arguments (the pixel
// hues are compared with them unsigned)
using HueSaturationUi = int32_t NADIRO_CALL(NadiroHandle image, int32_t* hueShift,
                                            int32_t* saturation, int32_t* intensity,
                                            uint32_t* rangeStart, uint32_t* rangeEnd);
// no parameters: only OK or Cancel
using DesaturateUi = int32_t NADIRO_CALL(NadiroHandle image);
// the red, green and blue gamma values
using GammaCorrectionUi = int32_t NADIRO_CALL(NadiroHandle image, uint32_t* red, uint32_t* green,
                                              uint32_t* blue);
// hue-byte shift, saturation and intensity shifts, the colour and tolerance
// triples (bytes 0..2 of a 32-bit slot each)
using ReplaceColorUi = int32_t NADIRO_CALL(NadiroHandle image, int32_t* hueShift,
                                           int32_t* saturationShift, int32_t* intensityShift,
                                           uint32_t* colour, uint32_t* tolerance);
// the convolution's first eight arguments, as the caller passed them; only
// the result matters (the dialog changes neither kernel nor settings). The
// kernel source and size are 16-bit values in 32-bit slots; the file name is
// a wide string (UTF-16 on Windows); the kernel array is only read.
using ColorConvUi = int32_t NADIRO_CALL(NadiroHandle image, uint32_t newImage, int32_t lumaMode,
                                        uint32_t kernelSource, int32_t size,
                                        const wchar_t* fileName, const int16_t* kernel,
                                        uint32_t* errorOut);

// not called by the library: lets a host's user edit a kernel (size * size
// values, then the divisor, as the convolution reads them) before the call
using KernelEditUi = int32_t NADIRO_CALL(int32_t size, int16_t* kernel);

// An entry point's exported name tied to its signature.
template <typename Fn>
struct Entry {
  const char* name;
};

inline constexpr Entry<ContrastUi> kContrastUi{"CONTRASTUI"};
inline constexpr Entry<CmykLevelsUi> kCmykLevelsUi{"ColorCMYKLevelsUI"};
inline constexpr Entry<HueSaturationUi> kHueSaturationUi{"ColorHueSaturationUI"};
inline constexpr Entry<DesaturateUi> kDesaturateUi{"DesaturateUI"};
inline constexpr Entry<GammaCorrectionUi> kGammaCorrectionUi{"GammaCorrectionUI"};
inline constexpr Entry<ReplaceColorUi> kReplaceColorUi{"ReplaceColorUI"};
inline constexpr Entry<ColorConvUi> kColorConvUi{"ColorConvUIW"};
inline constexpr Entry<KernelEditUi> kKernelEditUi{"ColorConvKernelUI"};

}  // namespace nadiro::companion
