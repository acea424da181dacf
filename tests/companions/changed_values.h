// What the "change" test companion leaves in the variables of each dialog,
// and how it reports the arguments it was given.
#pragma once

#include <cstdint>

namespace nadiro::test::changed {

inline constexpr int32_t kBrightness = 37;
inline constexpr int32_t kContrast = -12;
inline constexpr double kCyan = 0.25;
inline constexpr double kMagenta = 1.5;
inline constexpr double kYellow = 0.75;
inline constexpr double kBlack = 2.0;
inline constexpr int32_t kHueShift = 21;
inline constexpr int32_t kSaturation = -40;
inline constexpr int32_t kIntensity = 17;
inline constexpr uint32_t kRangeStart = 10;
inline constexpr uint32_t kRangeEnd = 200;
inline constexpr uint32_t kGammaRed = 50;
inline constexpr uint32_t kGammaGreen = 200;
inline constexpr uint32_t kGammaBlue = 500;
inline constexpr int32_t kReplaceHue = -127;
inline constexpr int32_t kReplaceSaturation = 255;
inline constexpr int32_t kReplaceIntensity = -255;
inline constexpr uint32_t kColour = 0x00102030;
inline constexpr uint32_t kTolerance = 0x00050607;

// ColorConvUIW changes nothing the filter uses; this companion writes what it
// received into the error variable, one decimal digit per scalar argument
// (newImage, lumaMode, kernelSource, size).
inline uint32_t convolutionEcho(uint32_t newImage, int32_t lumaMode, uint32_t kernelSource,
                                int32_t size) {
  return newImage * 1000u + static_cast<uint32_t>(lumaMode) * 100u + kernelSource * 10u +
         static_cast<uint32_t>(size);
}

}  // namespace nadiro::test::changed
