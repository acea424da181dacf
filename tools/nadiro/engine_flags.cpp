#include "engine_flags.h"

#include <cctype>
#include <fstream>
#include <sstream>

#include "cli.h"
#include "demo.h"
#include "formats.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct Named {
  const char* name;
  uint32_t value;
};

constexpr Named kKernels[] = {
    {"fs", NADIRO_KERNEL_FLOYD_STEINBERG},      {"jjn", NADIRO_KERNEL_JARVIS_JUDICE_NINKE},
    {"stucki", NADIRO_KERNEL_STUCKI},           {"burkes", NADIRO_KERNEL_BURKES},
    {"sierra3", NADIRO_KERNEL_SIERRA3},         {"sierra2", NADIRO_KERNEL_SIERRA2},
    {"sierra-lite", NADIRO_KERNEL_SIERRA_LITE}, {"atkinson", NADIRO_KERNEL_ATKINSON},
    {"sa", NADIRO_KERNEL_STEVENSON_ARCE}};

constexpr Named kFixedPalettes[] = {{"bw", NADIRO_PALETTE_BLACK_WHITE},
                                    {"rgb8", NADIRO_PALETTE_RGB_CORNERS},
                                    {"rgb332", NADIRO_PALETTE_RGB332},
                                    {"web", NADIRO_PALETTE_WEB_SAFE}};

constexpr Named kChosenPalettes[] = {{"median:", NADIRO_PALETTE_MEDIAN_CUT},
                                     {"kmeans:", NADIRO_PALETTE_KMEANS}};

std::string names(std::span<const Named> list) {
  std::string all;
  for (const Named& n : list) all += (all.empty() ? "" : ", ") + std::string(n.name);
  return all;
}

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.rfind(prefix, 0) == 0;
}

// "RRGGBB" or "#RRGGBB".
std::optional<std::array<uint8_t, 3>> parseHex(std::string text) {
  if (!text.empty() && text[0] == '#') text.erase(0, 1);
  if (text.size() != 6) return std::nullopt;
  std::array<uint8_t, 3> rgb{};
  for (size_t i = 0; i < 6; ++i) {
    const int c = std::tolower(static_cast<unsigned char>(text[i]));
    const int digit = std::isdigit(c) ? c - '0' : (c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1);
    if (digit < 0) return std::nullopt;
    rgb[i / 2] = static_cast<uint8_t>(rgb[i / 2] * 16 + digit);
  }
  return rgb;
}

std::optional<std::string> hexList(const std::string& spec, std::vector<uint8_t>& colours) {
  std::stringstream in(spec);
  std::string item;
  while (std::getline(in, item, ',')) {
    const auto rgb = parseHex(item);
    if (!rgb) return "'" + item + "' is not a hex colour RRGGBB";
    colours.insert(colours.end(), rgb->begin(), rgb->end());
  }
  return std::nullopt;
}

// GIMP palette: a "GIMP Palette" line, then "R G B [name]" lines; header
// fields (Name:, Columns:) and # comments are skipped.
std::optional<std::string> gimpPalette(const std::string& path, std::vector<uint8_t>& colours) {
  std::ifstream file(path);
  std::string line;
  if (!file || !std::getline(file, line) || !startsWith(line, "GIMP Palette"))
    return path + " is not a GIMP palette";
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    long r, g, b;
    if (line.empty() || line[0] == '#' || !(fields >> r >> g >> b)) continue;
    if (r < 0 || r > 255 || g < 0 || g > 255 || b < 0 || b > 255)
      return path + ": colour out of range in '" + line + "'";
    colours.insert(colours.end(),
                   {static_cast<uint8_t>(r), static_cast<uint8_t>(g), static_cast<uint8_t>(b)});
  }
  return std::nullopt;
}

std::optional<std::string> imagePalette(const std::string& path, std::vector<uint8_t>& colours) {
  ReadResult read;
  std::string error;
  if (!readImage(path, ReadOptions{}, read, error)) return path + ": " + error;
  const Dib& d = read.dib;
  if (d.bits() > 8 || d.colours() == 0) return path + " has no colour table";
  for (uint32_t i = 0; i < d.colours(); ++i) {
    const uint8_t* quad = d.bytes.data() + 40 + 4 * size_t{i};  // B, G, R, 0
    colours.insert(colours.end(), {quad[2], quad[1], quad[0]});
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> setKernel(const std::string& name, EngineSettings& s) {
  for (const Named& k : kKernels)
    if (name == k.name) {
      s.options.method = NADIRO_METHOD_DIFFUSION;
      s.options.kernel = k.value;
      return std::nullopt;
    }
  return "--kernel must be one of " + names(kKernels);
}

std::optional<std::string> setPalette(const std::string& spec, EngineSettings& s) {
  for (const Named& p : kFixedPalettes)
    if (spec == p.name) {
      s.options.palette = p.value;
      return std::nullopt;
    }
  for (const Named& p : kChosenPalettes)
    if (startsWith(spec, p.name)) {
      const auto n = parseInteger(spec.substr(std::string(p.name).size()), 1, 256);
      if (!n) return std::string("--palette ") + p.name + "N needs N from 1 to 256";
      s.options.palette = p.value;
      s.options.paletteCount = static_cast<uint32_t>(*n);
      return std::nullopt;
    }
  s.colours.clear();
  std::optional<std::string> error;
  if (spec.find(',') != std::string::npos || parseHex(spec))
    error = hexList(spec, s.colours);
  else if (spec.size() > 4 && spec.compare(spec.size() - 4, 4, ".gpl") == 0)
    error = gimpPalette(spec, s.colours);
  else
    error = imagePalette(spec, s.colours);
  if (error) return error;
  if (s.colours.empty() || s.colours.size() > 256 * 3)
    return "--palette " + spec + ": 1 to 256 colours needed";
  s.options.palette = NADIRO_PALETTE_CUSTOM;
  s.options.paletteCount = static_cast<uint32_t>(s.colours.size() / 3);
  s.options.paletteColors = s.colours.data();
  return std::nullopt;
}

std::optional<std::string> setMatrix(const std::string& spec, EngineSettings& s) {
  NadiroDitherOptions& o = s.options;
  o.method = NADIRO_METHOD_ORDERED;
  if (spec == "bluenoise") {
    o.matrix = NADIRO_MATRIX_BLUE_NOISE;
    return std::nullopt;
  }
  for (const auto& [prefix, kind] :
       {std::pair{"bayer", NADIRO_MATRIX_BAYER}, std::pair{"clustered", NADIRO_MATRIX_CLUSTERED}})
    if (startsWith(spec, prefix)) {
      const auto side = parseInteger(spec.substr(std::string(prefix).size()), 2, 16);
      if (!side) return "--matrix " + spec + ": the side must be a whole number";
      o.matrix = kind;
      o.matrixSize = static_cast<uint32_t>(*side);
      return std::nullopt;
    }
  std::ifstream file(spec);
  if (!file) return "--matrix must be 0..6, bluenoise, bayerN, clusteredN or a matrix file";
  std::string line;
  uint32_t width = 0, height = 0;
  s.matrix.clear();
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::string field;
    uint32_t count = 0;
    while (fields >> field) {
      const auto v = parseInteger(field, 0, 65535);
      if (!v) return spec + ": '" + field + "' is not a whole number from 0 to 65535";
      s.matrix.push_back(static_cast<uint16_t>(*v));
      ++count;
    }
    if (count == 0) continue;
    if (width != 0 && count != width) return spec + ": every row needs the same length";
    width = count;
    ++height;
  }
  if (width == 0 || width > NADIRO_MATRIX_MAX_SIDE || height > NADIRO_MATRIX_MAX_SIDE)
    return spec + ": 1 to 64 rows of 1 to 64 numbers needed";
  o.matrix = NADIRO_MATRIX_CUSTOM;
  o.customMatrix = {width, height, s.matrix.data()};
  return std::nullopt;
}

int runEngineCommand(const char* command, const Args& a, EngineSettings& s) {
  s.options.palette = NADIRO_PALETTE_BLACK_WHITE;
  s.options.space = a.has("--linear") ? NADIRO_SPACE_LINEAR : NADIRO_SPACE_SRGB;
  if (const auto spec = a.value("--palette"))
    if (auto e = setPalette(*spec, s)) return usage(command, *e);
  const auto strength = parseInteger(a.value("--strength").value_or("100"), 0, 100);
  if (!strength) return usage(command, "--strength must be a whole number from 0 to 100");
  s.options.strength = static_cast<uint32_t>(*strength);
  return runImageOperation(command, a, [&](const Dib& in, Dib& out, std::string& error) {
    return engineDither(s, in, out, error);
  });
}

bool engineDither(const EngineSettings& s, const Dib& in, Dib& out, std::string& error,
                  uint16_t bits) {
  // The engine takes top-down rows; the DIB stores them bottom-up.
  const Dib rgb = toRgb24(in);
  const int32_t width = rgb.width(), height = rgb.height();
  const size_t row = size_t(width) * 3;
  std::vector<uint8_t> top(row * size_t(height));
  for (int32_t y = 0; y < height; ++y)
    std::memcpy(&top[row * size_t(y)], rgb.row(height - 1 - y), row);
  std::vector<uint8_t> indices(size_t(width) * size_t(height));
  const NadiroDitherSource source{top.data(), uint32_t(width), uint32_t(height), uint32_t(row),
                                  NADIRO_PIXELS_BGR24};
  NadiroDitherTarget target{indices.data(), uint32_t(width), NADIRO_PIXELS_INDEX8, 0, {}};
  NadiroDitherOptions options = s.options;
  options.showProgress = kShowProgress;
  const int32_t status = NadiroDither(&source, &target, &options);
  if (status != NADIRO_DITHER_OK) {
    error = NadiroDitherStatusText(status);
    return false;
  }
  if (target.paletteCount > (1u << bits)) {
    error = "the palette has more colours than " + std::to_string(bits) + " bits can index";
    return false;
  }
  out = Dib::blank(width, height, bits);
  for (uint32_t i = 0; i < target.paletteCount; ++i) {
    uint8_t* quad = out.bytes.data() + 40 + 4 * size_t{i};
    quad[0] = target.palette[i][2];
    quad[1] = target.palette[i][1];
    quad[2] = target.palette[i][0];
  }
  // Indices packed from the high bits of each byte down, as DIB rows hold them.
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* from = &indices[size_t(width) * size_t(y)];
    uint8_t* to = out.row(height - 1 - y);
    for (uint32_t x = 0; x < uint32_t(width); ++x) {
      const uint32_t bit = x * bits;
      to[bit / 8] = static_cast<uint8_t>(to[bit / 8] | from[x] << (8 - bits - bit % 8));
    }
  }
  return true;
}

// The gallery's engine section: every kernel and every kind of matrix on
// the same picture and the same palette (the 8 RGB corners), so that only
// the method differs from one picture to the next.
void demoEngine(DemoContext& demo) {
  const char* const section = "Dithering engine: every kernel and matrix";
  const std::string palette = "rgb8";
  struct Run {
    bool kernel;  // a kernel, or a matrix
    std::string name;
  };
  std::vector<Run> runs;
  for (const Named& k : kKernels) runs.push_back({true, k.name});
  for (const char* m : {"bluenoise", "bayer2", "bayer4", "bayer8", "bayer16", "clustered8"})
    runs.push_back({false, m});
  for (const Run& r : runs) {
    EngineSettings s;
    s.options.serpentine = 1;
    std::optional<std::string> wrong = setPalette(palette, s);
    if (!wrong) wrong = r.kernel ? setKernel(r.name, s) : setMatrix(r.name, s);
    const std::string file =
        std::string("engine-") + (r.kernel ? "kernel-" : "matrix-") + r.name + ".png";
    Dib result;
    std::string error;
    if (wrong || !engineDither(s, demo.sample, result, error)) {
      demo.failed(file + ": " + (wrong ? *wrong : error));
      continue;
    }
    if (r.kernel)
      demo.add(section, file, "Error diffusion, kernel " + r.name + ", serpentine",
               "nadiro dither --kernel " + r.name + " --palette " + palette + " --serpentine",
               result);
    else
      demo.add(section, file, "Ordered, matrix " + r.name,
               "nadiro ordered-dither --matrix " + r.name + " --palette " + palette, result);
  }
}

}  // namespace nadiro::cli
