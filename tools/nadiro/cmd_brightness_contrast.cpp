// `nadiro brightness-contrast`: ColorBrightnessContrast on a picture file.
#include <climits>
#include <string>

#include "cli.h"
#include "demo.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

// Palette pictures of 4 and 8 bits are adjusted through their colour table;
// everything else becomes 24-bit first.
Dib adjustable(const Dib& in) {
  const bool palette =
      (in.bits() == 4 || in.bits() == 8) && in.compression() == 0 && in.height() >= 0;
  return palette ? in : toRgb24(in);
}

bool adjust(const Dib& in, int32_t brightness, int32_t contrast, Dib& out, std::string& error) {
  const Handle source(adjustable(in));
  const Handle result(ColorBrightnessContrast(source.get(), brightness, contrast, 0));
  if (!result) {
    error = "the library refused: --brightness and --contrast must each be -100..100";
    return false;
  }
  out = result.dib();
  return true;
}

int run(std::span<const std::string> args) {
  const Args a(args, withImageFlags({"--brightness", "--contrast"}), withImageSwitches({}));
  if (!a.ok()) return usage("brightness-contrast", a.error());
  static constexpr IntOption kOptions[] = {{"--brightness", -100, 100, 0},
                                           {"--contrast", -100, 100, 0}};
  long long v[2];
  if (!readIntOptions("brightness-contrast", a, kOptions, v)) return kExitUsage;
  return runImageOperation(
      "brightness-contrast", a, [&](const Dib& in, Dib& out, std::string& error) {
        return adjust(in, static_cast<int32_t>(v[0]), static_cast<int32_t>(v[1]), out, error);
      });
}

}  // namespace

void demoBrightnessContrast(DemoContext& demo) {
  struct Setting {
    int32_t brightness, contrast;
  };
  for (const Setting& s : {Setting{40, 0}, Setting{0, 60}, Setting{-30, -50}}) {
    const std::string b = std::to_string(s.brightness), c = std::to_string(s.contrast);
    const std::string file = "brightness-contrast-" + b + "-" + c + ".png";
    Dib result;
    std::string error;
    if (!adjust(demo.sample, s.brightness, s.contrast, result, error)) {
      demo.failed(file + ": " + error);
      continue;
    }
    demo.add("Colour adjustments", file, "Brightness " + b + ", contrast " + c,
             "nadiro brightness-contrast --brightness " + b + " --contrast " + c, result);
  }
}

extern const Command kBrightnessContrastCommand = {
    "brightness-contrast", "Colour adjustments", "change brightness and contrast",
    "Usage: nadiro brightness-contrast [--brightness N] [--contrast N] IN OUT\n"
    "       nadiro brightness-contrast [--brightness N] [--contrast N] IN... --out-dir DIR\n\n"
    "Passes every colour byte through one table: brightness shifts the bytes,\n"
    "contrast stretches them about the middle.\n\n"
    "  --brightness N   -100..100, default 0 (100 lifts 0..127 to 128..255)\n"
    "  --contrast N     -100..100, default 0 (-100 makes everything mid "
    "grey)\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Input: any picture the tool reads. 4 and 8-bit palette pictures keep their pixels\n"
    "and get an adjusted palette; other pictures are made 24-bit first.\n\n"
    "Example:\n  nadiro brightness-contrast --brightness 20 --contrast -10 photo.jpg "
    "brighter.png\n",
    run};

}  // namespace nadiro::cli
