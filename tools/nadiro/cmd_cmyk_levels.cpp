// `nadiro cmyk-levels`: ColorCMYKLevels on a picture file.
#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <string>
#include <vector>

#include "cli.h"
#include "demo.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct Levels {
  int32_t cyan = 0, magenta = 0, yellow = 0, black = 0;
};

// How many pixels come back wrapped round: a scaled ink plus the scaled
// black above 255 (the library's CMYK bytes wrap there instead of clipping).
size_t wrappedPixels(const Dib& rgb24, const Levels& l) {
  const int32_t settings[4] = {l.cyan, l.magenta, l.yellow, l.black};
  double factor[4];
  for (size_t i = 0; i < 4; ++i)
    factor[i] = settings[i] < 0 ? (settings[i] + 100) / 100.0 : settings[i] / 100.0 + 1.0;
  auto scaled = [&](uint8_t v, size_t i) { return std::min(255, int(v * factor[i])); };
  const auto w = size_t(rgb24.width());
  std::vector<uint8_t> rgb(w * 3 + 1), cmyk(w * 4 + 4);
  size_t wrapped = 0;
  for (int32_t r = 0; r < rgb24.height(); ++r) {
    const uint8_t* p = rgb24.row(r);
    for (size_t x = 0; x < w; ++x)
      rgb[3 * x] = p[3 * x + 2], rgb[3 * x + 1] = p[3 * x + 1], rgb[3 * x + 2] = p[3 * x];
    if (ConvertColorSpace(rgb.data(), cmyk.data(), int32_t(w * 3), NADIRO_MODEL_RGB,
                          NADIRO_MODEL_CMYK, 0, nullptr) < 0)
      return 0;
    for (size_t x = 0; x < w; ++x) {
      const uint8_t* c = cmyk.data() + 4 * x;
      const int k = scaled(c[3], 3);
      wrapped +=
          scaled(c[0], 0) + k > 255 || scaled(c[1], 1) + k > 255 || scaled(c[2], 2) + k > 255;
    }
  }
  return wrapped;
}

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
  const Args a(args, withImageFlags({"--cyan", "--magenta", "--yellow", "--black"}),
               withImageSwitches({}));
  if (!a.ok()) return usage("cmyk-levels", a.error());
  static constexpr IntOption kOptions[] = {{"--cyan", -100, 100, 0},
                                           {"--magenta", -100, 100, 0},
                                           {"--yellow", -100, 100, 0},
                                           {"--black", -100, 100, 0}};
  long long v[4];
  if (!readIntOptions("cmyk-levels", a, kOptions, v)) return kExitUsage;
  const Levels l{int32_t(v[0]), int32_t(v[1]), int32_t(v[2]), int32_t(v[3])};
  std::atomic<bool> noted{false};
  return runImageOperation("cmyk-levels", a, [&](const Dib& in, Dib& out, std::string& error) {
    if (!adjust(in, l, out, error)) return false;
    const Dib rgb = toRgb24(in);
    const size_t wrapped = wrappedPixels(rgb, l);
    if (wrapped && !noted.exchange(true))
      std::fprintf(stderr,
                   "nadiro cmyk-levels: note: %.1f %% of the pixels wrapped round (ink plus "
                   "black above 255 turns dark colours light); smaller settings avoid it\n",
                   100.0 * double(wrapped) / (double(rgb.width()) * rgb.height()));
    return true;
  });
}

}  // namespace

void demoCmykLevels(DemoContext& demo) {
  static const DemoCase<Levels> kCases[] = {
      {{60, 0, 0, 0},
       "cmyk-levels-cyan.png",
       "Cyan +60",
       "--cyan 60",
       "cyan plus black above 255 wraps round: dark reds and blues turn light"},
      {{0, -50, 40, 0},
       "cmyk-levels-warm.png",
       "Magenta -50, yellow +40",
       "--magenta -50 --yellow 40"},
      {{0, 0, 0, -100}, "cmyk-levels-noblack.png", "Black -100", "--black -100"}};
  addDemoCases<Levels>(demo, "Colour adjustments", "cmyk-levels", kCases, adjust);
}

extern const Command kCmykLevelsCommand = {
    "cmyk-levels", "Colour adjustments", "scale the cyan, magenta, yellow and black inks",
    "Usage: nadiro cmyk-levels [--cyan N] [--magenta N] [--yellow N] [--black N] IN OUT\n"
    "       nadiro cmyk-levels ... IN... --out-dir DIR\n\n"
    "Takes each pixel to CMYK bytes, multiplies each ink and comes back to RGB.\n"
    "A setting s multiplies by (s + 100) / 100 below 0 and by 1 + s / 100 from 0.\n"
    "Warning: an ink plus black above 255 wraps round instead of clipping (the\n"
    "library's CMYK bytes do), so raising cyan, magenta, yellow or black on\n"
    "dark or saturated pixels turns them light and garish (--black 60 makes a\n"
    "photograph psychedelic). The tool says how many pixels wrapped. Keep\n"
    "settings small, or lower inks (negative settings never wrap).\n\n"
    "  --cyan N      -100..100, default 0 (-100 removes the ink, 100 doubles it)\n"
    "  --magenta N   -100..100, default 0\n"
    "  --yellow N    -100..100, default 0\n"
    "  --black N     -100..100, default 0\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Input: any picture the tool reads; it is made 24-bit first.\n\n"
    "Example:\n  nadiro cmyk-levels --cyan 20 --black -30 photo.jpg photo-cmyk.png\n",
    run};

}  // namespace nadiro::cli
