// The shape every image command shares: read each input (BMP, PNG or JPEG),
// run one library operation on it, write the result. One input and one
// output name, or many inputs with --out-dir, processed in parallel.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli.h"
#include "image.h"

namespace nadiro::cli {

// Flags every image command accepts, added to the command's own.
std::vector<std::string> withImageFlags(std::vector<std::string> own);

// The help lines for those flags, for each command's --help text.
#define NADIRO_IMAGE_FLAGS_HELP                                                            \
  "Inputs and outputs:\n"                                                                  \
  "  IN OUT                     one picture; OUT's extension (.bmp .png .jpg) picks\n"     \
  "                             the format\n"                                              \
  "  IN... --out-dir DIR        many pictures; outputs named after the inputs\n"           \
  "  --format bmp|png|jpg       output format with --out-dir (default: the input's,\n"     \
  "                             or png where that cannot hold the result)\n"               \
  "  -j N, --jobs N             pictures processed at once (default: all cores)\n"         \
  "  --background R,G,B         colour behind transparent pixels (default 255,255,255)\n"

// The mode argument that asks the library for its progress dialog: the tool
// draws it as a bar on stderr (nothing when stderr is not a terminal, or
// outside runImageOperation), and Ctrl-C presses its Cancel button.
inline constexpr int32_t kShowProgress = 1;

// One operation on one picture: fills `out` or says why not in `error`.
using ImageOp = std::function<bool(const Dib& in, Dib& out, std::string& error)>;

// Runs `op` over the inputs named by `args` and returns the exit code.
int runImageOperation(const char* command, const Args& args, const ImageOp& op);

// "R,G,B" with each 0..255; nothing on any other text.
std::optional<std::array<uint8_t, 3>> parseColour(const std::string& text);

// True once the user pressed Ctrl-C.
bool interrupted();
// What Ctrl-C does (async-signal-safe); tests call it directly.
void requestInterrupt();
void clearInterrupt();

}  // namespace nadiro::cli
