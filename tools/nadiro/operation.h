// The shape every image command shares: read each input (any format the
// tool reads), run one library operation on it, write the result. One input
// and one output name, or many inputs with --out-dir, processed in parallel.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli.h"
#include "formats.h"
#include "image.h"

namespace nadiro::cli {

// Flags every image command accepts, added to the command's own.
std::vector<std::string> withImageFlags(std::vector<std::string> own);
// The switches every image command accepts, added to the command's own.
std::vector<std::string> withImageSwitches(std::vector<std::string> own);

// The help lines for those flags, for each command's --help text.
#define NADIRO_IMAGE_FLAGS_HELP                                                         \
  "Inputs and outputs:\n"                                                               \
  "  IN OUT                     one picture; OUT's extension (.bmp .png .jpg .webp)\n"  \
  "                             picks the format; - is standard input or output\n"      \
  "  IN... -o DIR, --out-dir DIR  many pictures; outputs named after the inputs (DIR\n" \
  "                             is created when missing)\n"                             \
  "  --format bmp|png|jpg|webp  output format (default: OUT's extension; with\n"        \
  "                             --out-dir the input's, or png where that cannot\n"      \
  "                             hold the result); needed for - as output\n"             \
  "  -j N, --jobs N             pictures processed at once (default: all cores)\n"      \
  "  -b R,G,B, --background R,G,B  colour behind transparent pixels (default\n"         \
  "                             255,255,255)\n"                                         \
  "  --quality Q                JPEG and WebP quality 1..100 (default 90)\n"            \
  "  --compression N            PNG zlib level 0..9 (default 2: fast, files about\n"    \
  "                             7 % larger than level 6; 3 matches its size)\n"         \
  "  --force, --in-place        allow an output to replace an input\n"                  \
  "  --                         ends the options (for names starting with -)\n"         \
  "Inputs: BMP, PNG, JPEG, WebP, TIFF, GIF (first frame). Photos are turned\n"          \
  "upright by their EXIF orientation; EXIF and ICC data are kept where the\n"           \
  "output format holds them. Ctrl-C stops at once and writes nothing more.\n"

// The mode argument that asks the library for its progress dialog: the tool
// draws it as a bar on stderr (nothing when stderr is not a terminal, or
// outside runImageOperation), and Ctrl-C presses its Cancel button.
inline constexpr int32_t kShowProgress = 1;

// One operation on one picture: fills `out` or says why not in `error`.
using ImageOp = std::function<bool(const Dib& in, Dib& out, std::string& error)>;

// One result picture of an operation; `suffix` is added to the output's stem
// when an operation makes several (split: "-H", "-S", "-V").
struct OutputPicture {
  std::string suffix;
  Dib dib;
};
// An operation on a group of pictures (merge: the channels of one picture).
using PictureOp = std::function<bool(std::span<const ReadResult> in,
                                     std::vector<OutputPicture>& out, std::string& error)>;

// How a command's positional arguments map to jobs and outputs.
struct OperationShape {
  size_t inputsPerJob = 1;
  // The suffixes of the outputs of one job ({""}: one output named as given).
  std::vector<std::string> suffixes{""};
  // IN OUTPREFIX instead of IN OUT: the outputs are OUTPREFIX<suffix>.<ext>.
  bool outputIsPrefix = false;
  // The --out-dir stem of a job's output from its first input's stem.
  std::function<std::string(const std::string& firstInputStem)> stem;
};

// Runs `op` over the inputs named by `args` and returns the exit code.
int runImageOperation(const char* command, const Args& args, const ImageOp& op);
int runPictureOperation(const char* command, const Args& args, const OperationShape& shape,
                        const PictureOp& op);

// Creates the folder and its missing parents; says why not in `error`.
bool makeFolders(const std::string& path, std::string& error);

// "R,G,B" with each 0..255; nothing on any other text.
std::optional<std::array<uint8_t, 3>> parseColour(const std::string& text);

// A whole-number option with its range and default, checked once before any
// picture is read.
struct IntOption {
  const char* flag;
  long long lo, hi, fallback;
};
// Fills `values` (one per option) or prints the one option that is wrong
// and returns false (the command then exits with kExitUsage).
bool readIntOptions(const char* command, const Args& args, std::span<const IntOption> options,
                    std::span<long long> values);

// True once the user pressed Ctrl-C.
bool interrupted();
// What Ctrl-C does (async-signal-safe); tests call it directly.
void requestInterrupt();
void clearInterrupt();

}  // namespace nadiro::cli
