// What the "change" test companion of the adjustments leaves in the
// variables of each dialog.
#pragma once

#include <cstdint>

namespace nadiro::test::dialog {

inline constexpr int32_t kBrightness = 37;
inline constexpr int32_t kContrast = -12;
inline constexpr double kCyan = 0.25;
inline constexpr double kMagenta = 1.5;
inline constexpr double kYellow = 0.75;
inline constexpr double kBlack = 2.0;
inline constexpr int32_t kHueShift = 21;  // hue bytes
inline constexpr int32_t kSaturation = -40;
inline constexpr int32_t kIntensity = 17;
inline constexpr uint32_t kRangeStart = 200;  // hue bytes, a range through 0
inline constexpr uint32_t kRangeEnd = 60;
inline constexpr uint32_t kGammaRed = 50;
inline constexpr uint32_t kGammaGreen = 200;
inline constexpr uint32_t kGammaBlue = 500;
inline constexpr int32_t kReplaceHue = -127;
inline constexpr int32_t kReplaceSaturation = 255;
inline constexpr int32_t kReplaceIntensity = -30;
inline constexpr uint32_t kColour = 0x00808080;
inline constexpr uint32_t kTolerance = 0x00407F30;

}  // namespace nadiro::test::dialog
