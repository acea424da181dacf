// `nadiro ordered-dither`: DitherOrdered on a BMP file.
#include <string>

#include "bmp.h"
#include "cli.h"
#include "demo.h"

namespace nadiro::cli {
namespace {

const char* const kMatrixNames[] = {
    "6x6 clustered dot", "6x6 line screen", "5x5 spiral", "5x5 dispersed",
    "8x8 Bayer",         "8x8 clustered",   "16x16 dispersed"};

int run(std::span<const std::string> args) {
  Args a(args, {"--matrix"});
  if (!a.ok()) return usage("ordered-dither", a.error());
  if (a.positional().size() != 2) return usage("ordered-dither", "expected IN.bmp OUT.bmp");
  const auto matrix = parseInteger(a.value("--matrix").value_or("0"), 0, 6);
  if (!matrix) return usage("ordered-dither", "--matrix must be a whole number from 0 to 6");
  const std::string& inPath = a.positional()[0];
  const std::string& outPath = a.positional()[1];

  Dib in;
  std::string error;
  if (!readBmp(inPath, in, error)) return fail(inPath, error);
  const Handle source(toGrey8(in));
  if (!source) return fail(inPath, "out of memory");
  const Handle result(DitherOrdered(source.get(), static_cast<uint32_t>(*matrix)));
  if (!result) return fail(inPath, "the library refused the image");
  if (!writeBmp(outPath, result.dib(), error)) return fail(outPath, error);
  return kExitOk;
}

}  // namespace

void demoOrderedDither(DemoContext& demo) {
  const Handle grey(demo.grey);
  for (uint32_t type = 0; type < 7; ++type) {
    const Handle result(DitherOrdered(grey.get(), type));
    const std::string file = "ordered-dither-" + std::to_string(type) + ".bmp";
    if (!result) {
      demo.failed(file + ": DitherOrdered refused the sample");
      continue;
    }
    demo.add("Ordered dithering", file, kMatrixNames[type],
             "nadiro ordered-dither --matrix " + std::to_string(type), result.dib());
  }
}

extern const Command kOrderedDitherCommand = {
    "ordered-dither", "Dithering", "8-bit grey to 1-bit black and white with a threshold matrix",
    "Usage: nadiro ordered-dither [--matrix N] IN.bmp OUT.bmp\n\n"
    "Turns a picture into a 1-bit black-and-white BMP by comparing each pixel,\n"
    "scaled so that the picture's brightest value reaches the matrix's largest\n"
    "entry, with a tiled threshold matrix.\n\n"
    "  --matrix N   0..6, default 0:\n"
    "               0 6x6 clustered dot, 1 6x6 line screen, 2 5x5 spiral,\n"
    "               3 5x5 dispersed, 4 8x8 Bayer, 5 8x8 clustered, 6 16x16 dispersed\n\n"
    "Input: any 1, 4, 8, 24 or 32-bit BMP. Colour and palette pictures are first\n"
    "made 8-bit grey with grey = (30 R + 59 G + 11 B) / 100 (integer, truncated);\n"
    "an 8-bit picture whose palette is already the grey ramp 0..255 is used as is.\n\n"
    "Example:\n  nadiro ordered-dither --matrix 4 photo.bmp photo-bayer.bmp\n",
    run};

}  // namespace nadiro::cli
