// `nadiro ordered-dither`: DitherOrdered on a BMP file.
#include <string>

#include "cli.h"
#include "demo.h"
#include "engine_flags.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

const char* const kMatrixNames[] = {"6x6 clustered dot", "6x6 line screen", "5x5 spiral",
                                    "5x5 dispersed",     "8x8 Bayer",       "8x8 clustered",
                                    "16x16 dispersed"};

// A matrix by name or file, or --palette, --strength, --linear: the engine.
int runEngine(const Args& a) {
  EngineSettings s;
  if (auto e = setMatrix(a.value("--matrix").value_or("bluenoise"), s))
    return usage("ordered-dither", *e);
  return runEngineCommand("ordered-dither", a, s);
}

int run(std::span<const std::string> args) {
  const Args a(args, withImageFlags({"--matrix", "--palette", "--strength"}),
               withImageSwitches({"--linear"}));
  if (!a.ok()) return usage("ordered-dither", a.error());
  const auto matrix = parseInteger(a.value("--matrix").value_or("0"), 0, 6);
  if (!matrix || a.has("--palette") || a.has("--strength") || a.has("--linear"))
    return runEngine(a);
  return runImageOperation("ordered-dither", a, [&](const Dib& in, Dib& out, std::string& error) {
    const Handle source(toGrey8(in));
    const Handle result(DitherOrdered(source.get(), static_cast<uint32_t>(*matrix)));
    if (!result) {
      error = "the library refused the picture";
      return false;
    }
    out = result.dib();
    return true;
  });
}

}  // namespace

void demoOrderedDither(DemoContext& demo) {
  const Handle grey(demo.grey);
  for (uint32_t type = 0; type < 7; ++type) {
    const Handle result(DitherOrdered(grey.get(), type));
    const std::string file = "ordered-dither-" + std::to_string(type) + ".png";
    if (!result) {
      demo.failed(file + ": DitherOrdered refused the sample");
      continue;
    }
    demo.add("Ordered dithering", file, kMatrixNames[type],
             "nadiro ordered-dither --matrix " + std::to_string(type), result.dib(),
             "tones are stretched so the brightest pixel counts as white");
  }
}

extern const Command kOrderedDitherCommand = {
    "ordered-dither", "Dithering", "8-bit grey to 1-bit black and white with a threshold matrix",
    "Usage: nadiro ordered-dither [--matrix N] IN OUT\n"
    "       nadiro ordered-dither [--matrix N] IN... --out-dir DIR\n\n"
    "Turns a picture into a 1-bit black-and-white picture by comparing each\n"
    "pixel, scaled so that the picture's brightest value reaches the matrix's\n"
    "largest entry, with a tiled threshold matrix. The scaling stretches the\n"
    "tones: a dark picture whose brightest pixel is grey comes out as if that\n"
    "grey were white, so it looks lighter than it is.\n\n"
    "  --matrix N   0..6, default 0:\n"
    "               0 6x6 clustered dot, 1 6x6 line screen, 2 5x5 spiral,\n"
    "               3 5x5 dispersed, 4 8x8 Bayer, 5 8x8 clustered, 6 16x16 dispersed\n"
    "               or, through the dithering engine (an 8-bit palette picture):\n"
    "               bluenoise, bayer2/4/8/16, clustered3..16, or a file of whole\n"
    "               numbers, one matrix row a line (at most 64 x 64)\n"
    "  --palette P  (engine) bw (default), rgb8, rgb332, web, median:N, kmeans:N,\n"
    "               RRGGBB,... , a GIMP .gpl file or a picture's colour table\n"
    "  --strength N (engine) 0..100 % of the threshold spread, default 100\n"
    "  --linear     (engine) thresholds and matching in linear light\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Input: any picture the tool reads. Colour and palette pictures are first\n"
    "made 8-bit grey with grey = (30 R + 59 G + 11 B) / 100 (integer, truncated);\n"
    "an 8-bit picture whose palette is already the grey ramp 0..255 is used as is.\n\n"
    "Example:\n  nadiro ordered-dither --matrix 4 photo.jpg photo-bayer.png\n",
    run};

}  // namespace nadiro::cli
