// `nadiro gamma`: GammaCorrection on a picture file.
#include <climits>
#include <string>

#include "cli.h"
#include "demo.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct Gammas {
  uint32_t red = 100, green = 100, blue = 100;
};

bool adjust(const Dib& in, const Gammas& g, Dib& out, std::string& error) {
  const Handle source(toRgb24(in));
  const Handle result(
      GammaCorrection(source.get(), g.red, g.green, g.blue, kShowProgress, nullptr));
  if (!result) {
    error = GetLastColorConvertError() == NADIRO_ERR_BAD_ARGUMENT
                ? "the library refused: --red, --green and --blue must each be 10..500"
                : "the library refused the picture";
    return false;
  }
  out = result.dib();
  return true;
}

int run(std::span<const std::string> args) {
  const Args a(args, withImageFlags({"--red", "--green", "--blue"}), withImageSwitches({}));
  if (!a.ok()) return usage("gamma", a.error());
  static constexpr IntOption kOptions[] = {
      {"--red", 10, 500, 100}, {"--green", 10, 500, 100}, {"--blue", 10, 500, 100}};
  long long v[3];
  if (!readIntOptions("gamma", a, kOptions, v)) return kExitUsage;
  const Gammas g{uint32_t(v[0]), uint32_t(v[1]), uint32_t(v[2])};
  return runImageOperation("gamma", a, [&](const Dib& in, Dib& out, std::string& error) {
    return adjust(in, g, out, error);
  });
}

}  // namespace

void demoGamma(DemoContext& demo) {
  static const DemoCase<Gammas> kCases[] = {
      {{50, 50, 50},
       "gamma-darker.png",
       "Gamma 50 on every channel",
       "--red 50 --green 50 --blue 50",
       "white becomes grey 110: the curve is not scaled to 0..255"},
      {{200, 200, 200},
       "gamma-lighter.png",
       "Gamma 200 on every channel",
       "--red 200 --green 200 --blue 200",
       "every byte from 124 up clips to white"},
      {{120, 100, 80},
       "gamma-warm.png",
       "Red 120, green 100, blue 80",
       "--red 120 --green 100 --blue 80"}};
  addDemoCases<Gammas>(demo, "Colour adjustments", "gamma", kCases, adjust);
}

extern const Command kGammaCommand = {
    "gamma", "Colour adjustments", "a power curve per colour channel",
    "Usage: nadiro gamma [--red G] [--green G] [--blue G] IN OUT\n"
    "       nadiro gamma ... IN... --out-dir DIR\n\n"
    "Each channel byte v becomes v ^ (ln G / ln 100): G is the value the curve\n"
    "gives at 100, so 100 keeps the channel, below 100 darkens, above lightens.\n"
    "The curve is not scaled to 0..255: 0 stays 0, but white moves. Above 100\n"
    "the bytes from 255 ^ (ln 100 / ln G) up clip to white (G 200: from 124, so\n"
    "highlights burn out; G 115: from 217); below 100 white turns grey (G 90:\n"
    "255 gives 224; G 50: 110). Keep G near 100 for photographs.\n\n"
    "  --red G     10..500, default 100\n"
    "  --green G   10..500, default 100\n"
    "  --blue G    10..500, default 100\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Input: any picture the tool reads; it is made 24-bit first.\n\n"
    "Example:\n  nadiro gamma --red 120 --green 100 --blue 80 photo.jpg photo-warm.png\n",
    run};

}  // namespace nadiro::cli
