// The dithering engine in the tool: its flags for `dither` and
// `ordered-dither`, palettes from names, GIMP .gpl files, hex lists or an
// image's own colour table, threshold matrices from names or files.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli.h"
#include "image.h"
#include "nadiro/dither_engine.h"

namespace nadiro::cli {

struct EngineSettings {
  NadiroDitherOptions options{};
  std::vector<uint8_t> colours;  // a caller palette, R, G, B
  std::vector<uint16_t> matrix;  // a caller matrix
  EngineSettings() { NadiroDitherOptionsInit(&options); }
  EngineSettings(const EngineSettings&) = delete;  // options point into the vectors
  EngineSettings& operator=(const EngineSettings&) = delete;
};

// Each returns an error message, or nothing on success.
//   kernel: fs, jjn, stucki, burkes, sierra3, sierra2, sierra-lite, atkinson, sa
std::optional<std::string> setKernel(const std::string& name, EngineSettings& s);
//   palette: bw, rgb8, rgb332, web, median:N, kmeans:N, RRGGBB,RRGGBB,...,
//            a GIMP .gpl file, or a picture with a colour table
std::optional<std::string> setPalette(const std::string& spec, EngineSettings& s);
//   matrix: bluenoise, bayerN (N 2, 4, 8, 16), clusteredN (N 3..16), or a
//           file of whole numbers, one matrix row a line
std::optional<std::string> setMatrix(const std::string& spec, EngineSettings& s);

// The flags `dither` and `ordered-dither` share, after the command's own
// (kernel or matrix): black and white unless --palette names another,
// --strength (0..100, 100 when not given) and --linear; then the engine over
// the command's image. Messages name `command`.
int runEngineCommand(const char* command, const Args& a, EngineSettings& s);

// Dithers `in` into a palette picture of 1, 4 or 8 bits a pixel (the
// palette must fit).
bool engineDither(const EngineSettings& s, const Dib& in, Dib& out, std::string& error,
                  uint16_t bits = 8);

}  // namespace nadiro::cli
