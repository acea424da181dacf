// `nadiro dither`: the error-diffusion and window dithering exports on a
// picture file, to 1, 4 or 8 bits per pixel.
#include <string>

#include "cli.h"
#include "demo.h"
#include "engine_flags.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct Method {
  const char* name;   // --method value
  const char* title;  // for the gallery
  NadiroHandle (*dither)(NadiroHandle image, int32_t bits);
  bool eightBit;  // whether the method offers an 8-bit result
};

const Method kMethods[] = {
    {"fs", "Floyd-Steinberg", [](NadiroHandle h, int32_t b) { return DitherFS4(h, b); }, true},
    {"fs-ex", "Floyd-Steinberg, accumulating",
     [](NadiroHandle h, int32_t b) { return DitherFS4Ex(h, b, 1); }, true},
    {"jjn", "Jarvis-Judice-Ninke", [](NadiroHandle h, int32_t b) { return DitherJJN(h, b); }, true},
    {"jjn-ex", "Jarvis-Judice-Ninke, accumulating",
     [](NadiroHandle h, int32_t b) { return DitherJJNEx(h, b, 1); }, true},
    {"stucki", "Stucki", [](NadiroHandle h, int32_t b) { return DitherStucki(h, b); }, true},
    {"burkes", "Burkes", [](NadiroHandle h, int32_t b) { return DitherBurkes(h, b); }, true},
    {"sierra", "Sierra (two-row light)",
     [](NadiroHandle h, int32_t b) { return DitherSierra(h, b); }, true},
    {"sa", "Stevenson-Arce", [](NadiroHandle h, int32_t b) { return DitherSA(h, b); }, true},
    {"sharp", "Sharp window", [](NadiroHandle h, int32_t b) { return DitherSharp(h, b); }, false},
    {"smooth", "Smooth window", [](NadiroHandle h, int32_t b) { return DitherSmooth(h, b); },
     false},
};

// What runs when no method is asked for: the engine's Floyd-Steinberg,
// left to right, to the depth's fixed palette (black and white from the
// grey picture, the 8 RGB corners, 3-3-2), written at that depth. It keeps
// a photograph's tone better than every fixed method (measured in
// docs/decisions.md).
struct DefaultSetting {
  int32_t bits;
  const char* palette;
  bool fromGrey;
};
const DefaultSetting kBestAt[] = {{1, "bw", true}, {4, "rgb8", false}, {8, "rgb332", false}};

bool defaultDither(int32_t bits, const Dib& in, Dib& out, std::string& error) {
  for (const DefaultSetting& d : kBestAt) {
    if (d.bits != bits) continue;
    EngineSettings s;
    s.options.serpentine = 0;
    if (auto e = setPalette(d.palette, s)) {
      error = *e;
      return false;
    }
    return engineDither(s, d.fromGrey ? toGrey8(in) : in, out, error, static_cast<uint16_t>(bits));
  }
  error = "no default at " + std::to_string(bits) + " bits";
  return false;
}

const Method* findMethod(const std::string& name) {
  for (const Method& m : kMethods)
    if (name == m.name) return &m;
  return nullptr;
}

std::string methodNames() {
  std::string names;
  for (const Method& m : kMethods) names += (names.empty() ? "" : ", ") + std::string(m.name);
  return names;
}

bool ditherPicture(const Method& method, int32_t bits, const Dib& in, Dib& out) {
  const Handle source(toRgb24(in));
  const Handle result(method.dither(source.get(), bits));
  if (!result) return false;
  out = result.dib();
  return true;
}

// --kernel, --palette, --serpentine, --strength or --linear: the engine.
int runEngine(const Args& a) {
  if (a.has("--method") || a.has("--bits"))
    return usage("dither", "--method and --bits do not go with the engine's flags");
  EngineSettings s;
  s.options.serpentine = a.has("--serpentine");
  if (auto e = setKernel(a.value("--kernel").value_or("fs"), s)) return usage("dither", *e);
  return runEngineCommand("dither", a, s);
}

int run(std::span<const std::string> args) {
  const Args a(args, withImageFlags({"--method", "--bits", "--kernel", "--palette", "--strength"}),
               withImageSwitches({"--serpentine", "--linear"}));
  if (!a.ok()) return usage("dither", a.error());
  for (const char* flag : {"--kernel", "--palette", "--serpentine", "--strength", "--linear"})
    if (a.has(flag)) return runEngine(a);
  const auto bits = parseInteger(a.value("--bits").value_or("1"), 1, 8);
  if (!bits || (*bits != 1 && *bits != 4 && *bits != 8))
    return usage("dither", "--bits must be 1, 4 or 8");
  const auto target = static_cast<int32_t>(*bits);
  const auto name = a.value("--method");
  if (!name)
    return runImageOperation("dither", a, [&](const Dib& in, Dib& out, std::string& error) {
      return defaultDither(target, in, out, error);
    });
  const Method* method = findMethod(*name);
  if (!method) return usage("dither", "--method must be one of " + methodNames());
  if (*bits == 8 && !method->eightBit)
    return usage("dither", std::string("--method ") + method->name +
                               " dithers to 1 or 4 bits only; for 8 bits use one of fs, fs-ex, "
                               "jjn, jjn-ex, stucki, burkes, sierra, sa");
  return runImageOperation("dither", a, [&](const Dib& in, Dib& out, std::string& error) {
    if (ditherPicture(*method, target, in, out)) return true;
    error = "the library refused the picture";
    return false;
  });
}

// What to look for in a method's result at a depth, in one line.
std::string demoNote(const Method& m, int32_t bits) {
  const std::string name = m.name;
  if ((name == "fs" || name == "jjn") && bits < 8)
    return "the error is overwritten, not added: dark areas lose tone and colours shift";
  if ((name == "burkes" || name == "sierra" || name == "stucki") && bits == 8)
    return "highlights smear into streaks at 8 bits";
  if (name == "sharp" || name == "smooth") return "a two-by-two window: regular texture";
  return {};
}

}  // namespace

void demoDither(DemoContext& demo) {
  for (const DefaultSetting& d : kBestAt) {
    const std::string file = "dither-default-" + std::to_string(d.bits) + ".png";
    Dib result;
    std::string error;
    if (!defaultDither(d.bits, demo.sample, result, error)) {
      demo.failed(file + ": " + error);
      continue;
    }
    demo.add("Error-diffusion and window dithering", file,
             "The default, " + std::to_string(d.bits) + " bit",
             "nadiro dither --bits " + std::to_string(d.bits), result,
             "the engine's Floyd-Steinberg: keeps the tone best");
  }
  for (const Method& m : kMethods) {
    for (int32_t bits : {1, 4, 8}) {
      if (bits == 8 && !m.eightBit) continue;
      const std::string file =
          std::string("dither-") + m.name + "-" + std::to_string(bits) + ".png";
      Dib result;
      if (!ditherPicture(m, bits, demo.sample, result)) {
        demo.failed(file + ": the library refused the sample");
        continue;
      }
      demo.add("Error-diffusion and window dithering", file,
               std::string(m.title) + ", " + std::to_string(bits) + " bit",
               std::string("nadiro dither --method ") + m.name + " --bits " + std::to_string(bits),
               result, demoNote(m, bits));
    }
  }
}

extern const Command kDitherCommand = {
    "dither", "Dithering", "reduce a picture to 1, 4 or 8 bits by error diffusion or a window",
    "Usage: nadiro dither [-m M] [--bits N] IN OUT\n"
    "       nadiro dither [-m M] [--bits N] IN... --out-dir DIR\n\n"
    "Reduces a picture to 1 bit (black and white from the grey value), 4 bits\n"
    "(each of red, green and blue on or off) or 8 bits (a fixed 3-3-2 palette).\n\n"
    "  -m M, --method M\n"
    "               default: the dithering engine's Floyd-Steinberg, left to\n"
    "               right, to the depth's palette (black and white from the\n"
    "               grey value, the 8 RGB corners, 3-3-2), which keeps a\n"
    "               photograph's tone better than any method below.\n"
    "               (fs and jjn overwrite the error they pass on, which darkens\n"
    "               dark pictures and shifts colours at 4 bits; burkes, sierra\n"
    "               and stucki smear highlights into streaks at 8 bits.)\n"
    "               fs       Floyd-Steinberg (each pixel overwrites the row below)\n"
    "               fs-ex    Floyd-Steinberg, accumulating the row below\n"
    "               jjn      Jarvis-Judice-Ninke (overwriting the second row below)\n"
    "               jjn-ex   Jarvis-Judice-Ninke, accumulating\n"
    "               stucki   Stucki\n"
    "               burkes   Burkes\n"
    "               sierra   Sierra, two-row light form\n"
    "               sa       Stevenson-Arce\n"
    "               sharp    two-by-two window, halving its carry (1 or 4 bits only)\n"
    "               smooth   two-by-two window (1 or 4 bits only)\n"
    "  --bits N     1, 4 or 8, default 1\n\n"
    "The dithering engine (an 8-bit palette picture; any of these flags):\n"
    "  --kernel K        fs (default), jjn, stucki, burkes, sierra3, sierra2,\n"
    "                    sierra-lite, atkinson, sa\n"
    "  --palette P       bw (default), rgb8, rgb332, web, median:N, kmeans:N,\n"
    "                    RRGGBB,RRGGBB,... , a GIMP .gpl file, or a picture's\n"
    "                    own colour table (indices kept in the given order)\n"
    "  --serpentine      odd rows right to left, the kernel mirrored\n"
    "  --strength N      0..100 % of the error diffused, default 100\n"
    "  --linear          diffuse and match in linear light\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Input: any picture the tool reads; it is made 24-bit first.\n\n"
    "Look at dithered pictures at 100 % zoom: scaled views add moire.\n\n"
    "Examples:\n  nadiro dither --bits 4 photo.jpg photo-4bit.png\n"
    "  nadiro dither -m stucki --bits 4 photo.jpg photo-stucki.png\n"
    "  nadiro dither --kernel atkinson --palette 000000,ffffff,ff0000 --serpentine photo.jpg "
    "out.png\n",
    run};

}  // namespace nadiro::cli
