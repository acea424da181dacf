// `nadiro replace-color`: ReplaceColor on a picture file.
#include <climits>
#include <string>

#include "cli.h"
#include "demo.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct Replacement {
  std::array<uint8_t, 3> colour{}, tolerance{};  // R, G, B each
  int32_t hue = 0, saturation = 0, intensity = 0;
};

// The library's slots: the colour in stored pixel order (blue in byte 0),
// the tolerance the other way round (red in byte 0).
uint32_t colourSlot(const std::array<uint8_t, 3>& rgb) {
  return uint32_t{rgb[2]} | uint32_t{rgb[1]} << 8 | uint32_t{rgb[0]} << 16;
}
uint32_t toleranceSlot(const std::array<uint8_t, 3>& rgb) {
  return uint32_t{rgb[0]} | uint32_t{rgb[1]} << 8 | uint32_t{rgb[2]} << 16;
}

bool adjust(const Dib& in, const Replacement& r, Dib& out, std::string& error) {
  const Handle source(toRgb24(in));
  const Handle result(ReplaceColor(source.get(), colourSlot(r.colour), toleranceSlot(r.tolerance),
                                   r.hue, r.saturation, r.intensity, kShowProgress, nullptr));
  if (!result) {
    error = GetLastColorConvertError() == NADIRO_ERR_BAD_ARGUMENT
                ? "the library refused: --hue must be -180..180, --saturation and --intensity "
                  "-255..255"
                : "the library refused the picture";
    return false;
  }
  out = result.dib();
  return true;
}

int run(std::span<const std::string> args) {
  const Args a(args,
               withImageFlags({"--color", "--tolerance", "--hue", "--saturation", "--intensity"}),
               withImageSwitches({}));
  if (!a.ok()) return usage("replace-color", a.error());
  Replacement r;
  const auto colour = a.value("--color");
  if (!colour) return usage("replace-color", "--color R,G,B is required");
  const auto c = parseColour(*colour);
  const auto t = parseColour(a.value("--tolerance").value_or("0,0,0"));
  if (!c || !t)
    return usage("replace-color", "--color and --tolerance take R,G,B with each 0..255");
  r.colour = *c;
  r.tolerance = *t;
  static constexpr IntOption kOptions[] = {
      {"--hue", -180, 180, 0}, {"--saturation", -255, 255, 0}, {"--intensity", -255, 255, 0}};
  long long v[3];
  if (!readIntOptions("replace-color", a, kOptions, v)) return kExitUsage;
  r.hue = int32_t(v[0]), r.saturation = int32_t(v[1]), r.intensity = int32_t(v[2]);
  return runImageOperation("replace-color", a, [&](const Dib& in, Dib& out, std::string& error) {
    return adjust(in, r, out, error);
  });
}

}  // namespace

void demoReplaceColor(DemoContext& demo) {
  static const DemoCase<Replacement> kCases[] = {
      {{{200, 60, 40}, {60, 60, 60}, 120, 0, 0},
       "replace-color-reds.png",
       "Reddish pixels turned by 120 degrees",
       "--color 200,60,40 --tolerance 60,60,60 --hue 120"},
      {{{128, 128, 128}, {40, 40, 40}, 0, 0, 60},
       "replace-color-greys.png",
       "Mid greys lightened",
       "--color 128,128,128 --tolerance 40,40,40 --intensity 60"}};
  addDemoCases<Replacement>(demo, "Colour adjustments", "replace-color", kCases, adjust);
}

extern const Command kReplaceColorCommand = {
    "replace-color", "Colour adjustments", "shift hue, saturation and intensity of one colour",
    "Usage: nadiro replace-color --color R,G,B [--tolerance R,G,B] [--hue DEG]\n"
    "                            [--saturation N] [--intensity N] IN OUT\n"
    "       nadiro replace-color ... IN... --out-dir DIR\n\n"
    "Changes the pixels whose red, green and blue each lie within the tolerance\n"
    "of the colour (inclusive), in the HSI model with bytes 0..255.\n\n"
    "  --color R,G,B       the colour to find (required), each 0..255\n"
    "  --tolerance R,G,B   how far each channel may differ, default 0,0,0\n"
    "  --hue DEG           hue shift, -180..180 degrees, default 0\n"
    "  --saturation N      added to the saturation byte, -255..255, default 0\n"
    "  --intensity N       added to the intensity byte, -255..255, default "
    "0\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Input: any picture the tool reads; it is made 24-bit first.\n\n"
    "Example:\n  nadiro replace-color --color 200,40,40 --tolerance 50,50,50 --hue 120 in.png "
    "out.png\n",
    run};

}  // namespace nadiro::cli
