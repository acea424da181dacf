// `nadiro cmyk-levels`: ColorCMYKLevels on a picture file.
#include <climits>
#include <string>

#include "cli.h"
#include "demo.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct Levels {
  int32_t cyan = 0, magenta = 0, yellow = 0, black = 0;
};

bool adjust(const Dib& in, const Levels& l, Dib& out, std::string& error) {
  const Handle source(toRgb24(in));
  const Handle result(
      ColorCMYKLevels(source.get(), l.cyan, l.magenta, l.yellow, l.black, kShowProgress, nullptr));
  if (!result) {
    error = GetLastColorConvertError() == NADIRO_ERR_BAD_ARGUMENT
                ? "the library refused: --cyan, --magenta, --yellow and --black must each be "
                  "-100..100"
                : "the library refused the picture";
    return false;
  }
  out = result.dib();
  return true;
}

int run(std::span<const std::string> args) {
  const Args a(args, withImageFlags({"--cyan", "--magenta", "--yellow", "--black"}), withImageSwitches({}));
  if (!a.ok()) return usage("cmyk-levels", a.error());
  static constexpr IntOption kOptions[] = {{"--cyan", -100, 100, 0},
                                           {"--magenta", -100, 100, 0},
                                           {"--yellow", -100, 100, 0},
                                           {"--black", -100, 100, 0}};
  long long v[4];
  if (!readIntOptions("cmyk-levels", a, kOptions, v)) return kExitUsage;
  const Levels l{int32_t(v[0]), int32_t(v[1]), int32_t(v[2]), int32_t(v[3])};
  return runImageOperation("cmyk-levels", a, [&](const Dib& in, Dib& out, std::string& error) {
    return adjust(in, l, out, error);
  });
}

}  // namespace

void demoCmykLevels(DemoContext& demo) {
  static const DemoCase<Levels> kCases[] = {
      {{60, 0, 0, 0}, "cmyk-levels-cyan.png", "Cyan +60", "--cyan 60"},
      {{0, -50, 40, 0}, "cmyk-levels-warm.png", "Magenta -50, yellow +40", "--magenta -50 --yellow 40"},
      {{0, 0, 0, -100}, "cmyk-levels-noblack.png", "Black -100", "--black -100"}};
  addDemoCases<Levels>(demo, "Colour adjustments", "cmyk-levels", kCases, adjust);
}

extern const Command kCmykLevelsCommand = {
    "cmyk-levels", "Colour adjustments", "scale the cyan, magenta, yellow and black inks",
    "Usage: nadiro cmyk-levels [--cyan N] [--magenta N] [--yellow N] [--black N] IN OUT\n"
    "       nadiro cmyk-levels ... IN... --out-dir DIR\n\n"
    "Takes each pixel to CMYK bytes, multiplies each ink and comes back to RGB.\n"
    "A setting s multiplies by (s + 100) / 100 below 0 and by 1 + s / 100 from 0.\n"
    "Inks plus black above 255 wrap around, as in the library's CMYK bytes.\n\n"
    "  --cyan N      -100..100, default 0 (-100 removes the ink, 100 doubles it)\n"
    "  --magenta N   -100..100, default 0\n"
    "  --yellow N    -100..100, default 0\n"
    "  --black N     -100..100, default 0\n\n"
    NADIRO_IMAGE_FLAGS_HELP "\n"
    "Input: any BMP, PNG or JPEG; it is made 24-bit first.\n\n"
    "Example:\n  nadiro cmyk-levels --cyan 20 --black -30 photo.jpg photo-cmyk.png\n",
    run};

}  // namespace nadiro::cli
