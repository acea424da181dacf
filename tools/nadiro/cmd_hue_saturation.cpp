// `nadiro hue-saturation`: ColorHueSaturation on a picture file.
#include <climits>
#include <string>

#include "cli.h"
#include "demo.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct Settings {
  int32_t hue = 0, saturation = 0, intensity = 0;
  uint32_t start = 0, end = 0;
};

bool adjust(const Dib& in, const Settings& s, Dib& out, std::string& error) {
  const Handle source(toRgb24(in));
  const Handle result(ColorHueSaturation(source.get(), s.hue, s.saturation, s.intensity, s.start,
                                         s.end, kShowProgress, nullptr));
  if (!result) {
    error = GetLastColorConvertError() == NADIRO_ERR_BAD_ARGUMENT
                ? "the library refused: --hue must be -180..180, --saturation and --intensity "
                  "-255..255, --range ends 0..360 and different (or 0:0 for every hue)"
                : "the library refused the picture";
    return false;
  }
  out = result.dib();
  return true;
}

const IntOption kShiftOptions[] = {
    {"--hue", -180, 180, 0}, {"--saturation", -255, 255, 0}, {"--intensity", -255, 255, 0}};

// "START:END" in degrees.
bool parseRange(const std::string& text, Settings& s) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  const auto start = parseInteger(text.substr(0, colon), 0, UINT32_MAX);
  const auto end = parseInteger(text.substr(colon + 1), 0, UINT32_MAX);
  if (!start || !end) return false;
  s.start = static_cast<uint32_t>(*start);
  s.end = static_cast<uint32_t>(*end);
  return true;
}

int run(std::span<const std::string> args) {
  const Args a(args, withImageFlags({"--hue", "--saturation", "--intensity", "--range"}),
               withImageSwitches({}));
  if (!a.ok()) return usage("hue-saturation", a.error());
  Settings s;
  long long v[3];
  if (!readIntOptions("hue-saturation", a, kShiftOptions, v)) return kExitUsage;
  if (!parseRange(a.value("--range").value_or("0:0"), s) || s.start > 360 || s.end > 360 ||
      (s.start == s.end && s.start != 0))
    return usage("hue-saturation",
                 "--range takes START:END, two different degrees 0..360 (e.g. 300:60), or 0:0");
  s.hue = static_cast<int32_t>(v[0]);
  s.saturation = static_cast<int32_t>(v[1]);
  s.intensity = static_cast<int32_t>(v[2]);
  return runImageOperation(
      "hue-saturation", a,
      [&](const Dib& input, Dib& out, std::string& error) { return adjust(input, s, out, error); });
}

}  // namespace

void demoHueSaturation(DemoContext& demo) {
  static const DemoCase<Settings> kCases[] = {
      {{90, 0, 0, 0, 0}, "hue-saturation-90.png", "Hue +90 degrees", "--hue 90"},
      {{0, 120, 0, 0, 0}, "hue-saturation-vivid.png", "Saturation +120", "--saturation 120"},
      {{120, 40, 0, 300, 60},
       "hue-saturation-reds.png",
       "Reds only: hue +120, saturation +40",
       "--hue 120 --saturation 40 --range 300:60"}};
  addDemoCases<Settings>(demo, "Colour adjustments", "hue-saturation", kCases, adjust);
}

extern const Command kHueSaturationCommand = {
    "hue-saturation", "Colour adjustments", "shift hue, saturation and intensity of a hue range",
    "Usage: nadiro hue-saturation [--hue DEG] [--saturation N] [--intensity N]\n"
    "                             [--range START:END] IN OUT\n"
    "       nadiro hue-saturation ... IN... --out-dir DIR\n\n"
    "Works in the HSI (hue, saturation, lightness) model with bytes 0..255 for\n"
    "each component; pixels whose hue lies in the range are changed.\n\n"
    "  --hue DEG          hue shift, -180..180 degrees, default 0\n"
    "  --saturation N     added to the saturation byte, -255..255, default 0\n"
    "  --intensity N      added to the intensity byte, -255..255, default 0\n"
    "  --range START:END  hues affected, degrees 0..360, default 0:0 (every hue);\n"
    "                     a start above the end wraps through red (300:60);\n"
    "                     the two ends must differ\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Input: any picture the tool reads; it is made 24-bit first.\n\n"
    "Example:\n  nadiro hue-saturation --hue 30 --saturation 10 --intensity 0 --range 300:60 "
    "in.png out.png\n",
    run};

}  // namespace nadiro::cli
