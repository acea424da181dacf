// `nadiro desaturate`: Desaturate on a picture file.
#include <string>

#include "cli.h"
#include "demo.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

bool adjust(const Dib& in, Dib& out, std::string& error) {
  const Handle source(toRgb24(in));
  const Handle result(Desaturate(source.get(), kShowProgress, nullptr));
  if (!result) {
    error = "the library refused the picture";
    return false;
  }
  out = result.dib();
  return true;
}

int run(std::span<const std::string> args) {
  const Args a(args, withImageFlags({}), withImageSwitches({}));
  if (!a.ok()) return usage("desaturate", a.error());
  return runImageOperation("desaturate", a, [](const Dib& in, Dib& out, std::string& error) {
    return adjust(in, out, error);
  });
}

}  // namespace

void demoDesaturate(DemoContext& demo) {
  Dib result;
  std::string error;
  if (!adjust(demo.sample, result, error)) {
    demo.failed("desaturate.png: " + error);
    return;
  }
  demo.add("Colour adjustments", "desaturate.png", "Desaturated", "nadiro desaturate", result);
}

extern const Command kDesaturateCommand = {
    "desaturate", "Colour adjustments", "make a picture grey through the HSI model",
    "Usage: nadiro desaturate IN OUT\n"
    "       nadiro desaturate IN... --out-dir DIR\n\n"
    "Sets every pixel's HSI saturation to 0: the grey level is the pixel's\n"
    "lightness (largest plus smallest of R, G, B, halved). The result stays a\n"
    "24-bit picture. No options.\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Input: any picture the tool reads; it is made 24-bit first.\n\n"
    "Example:\n  nadiro desaturate photo.jpg photo-grey.png\n",
    run};

}  // namespace nadiro::cli
