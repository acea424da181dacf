// The dithering engine's cores: plain values and spans in, indices out.
// They assume arguments the shell (export.cpp) has checked.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace nadiro::engine {

using Rgb = std::array<uint8_t, 3>;

// ---- kernels (kernels.cpp) -------------------------------------------------

inline constexpr uint32_t kKernelColumns = 9;
inline constexpr uint32_t kKernelRows = 5;

// Row 0 holds the pixel being quantised at column `origin`; the weights at
// and left of it in row 0 are zero.
struct Kernel {
  uint32_t columns;
  uint32_t rows;
  uint32_t origin;
  int32_t divisor;
  std::array<int32_t, kKernelColumns * kKernelRows> weights;
};

inline constexpr uint32_t kBuiltInKernels = 9;  // NadiroDitherKernel 0..8
const Kernel& builtInKernel(uint32_t which);
// True when no tap reaches a pixel already quantised (row 0 at or left of
// the origin) and the sizes and divisor are in range.
bool kernelIsValid(const Kernel& k);

// ---- threshold matrices (matrices.cpp) ---------------------------------------

// Ranks of a threshold matrix, row-major, each in 0 .. levels-1.
struct RankMatrix {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint16_t> ranks;
};

RankMatrix bayerMatrix(uint32_t side);      // side 2, 4, 8 or 16
RankMatrix clusteredMatrix(uint32_t side);  // side 3 .. 16
inline constexpr uint32_t kBlueNoiseSide = 64;
// Made by void-and-cluster on first use, then shared by every thread.
const RankMatrix& blueNoiseMatrix();

// ---- palettes (palette.cpp) --------------------------------------------------

enum class FixedPalette : uint32_t { BlackWhite, RgbCorners, Rgb332, WebSafe };
std::vector<Rgb> fixedPalette(FixedPalette which);

// Interleaved R, G, B samples of a picture (any count), for choosing colours.
enum class Chooser : uint32_t { MedianCut, KMeans };
std::vector<Rgb> choosePalette(std::span<const Rgb> pixels, uint32_t wanted, Chooser how);

// ---- nearest colour (nearest.cpp) ---------------------------------------------

// A colour in the working space: each channel in 0 .. 255 (sRGB bytes, or
// linear light scaled to 255).
using Work = std::array<float, 3>;

// Nearest palette entry by weighted squared distance, ties to the lower
// index. A 32 x 32 x 32 grid of cells over the working cube; each cell,
// built on first use, lists the entries that can be nearest to some point
// of the cell, and a query compares only those.
class NearestTable {
 public:
  NearestTable(std::span<const Work> palette, Work weights);
  // c clamped to 0 .. 255 on each channel.
  uint8_t find(const Work& c) {
    const uint32_t cell = (static_cast<uint32_t>(c[0]) >> 3) << 10 |
                          (static_cast<uint32_t>(c[1]) >> 3) << 5 |
                          static_cast<uint32_t>(c[2]) >> 3;
    Cell& entry = cells_[cell];
    if (entry.count == 0) build(cell);
    if (entry.count == 1) return candidates_[entry.first];
    return refine(c, entry);
  }
  float distance(const Work& c, uint32_t index) const;

 private:
  struct Cell {
    uint32_t first = 0;
    uint32_t count = 0;  // 0 until built
  };
  void build(uint32_t cell);
  uint8_t refine(const Work& c, const Cell& entry) const;

  std::vector<Work> palette_;
  Work weights_;
  std::vector<Cell> cells_;
  std::vector<uint8_t> candidates_;
  std::vector<double> scratch_;  // build's per-entry distances
};

// ---- the dithering run (engine.cpp) ---------------------------------------------

enum class Method : uint32_t { Diffusion, Ordered, Nearest };

struct Settings {
  Method method = Method::Diffusion;
  Kernel kernel{};
  RankMatrix const* matrix = nullptr;  // ordered
  bool serpentine = true;
  float strength = 1.0f;  // 0 .. 1
  bool clampError = true;
  bool linear = false;
  bool weighted = false;
};

// A picture as three working-space channels is made row by row from the
// caller's bytes by `RowSource`; the run asks `keepGoing(y)` before row y.
struct RowSource {
  const uint8_t* pixels;
  size_t stride;
  uint32_t width;
  uint32_t height;
  uint32_t bytesPerPixel;             // 1 grey, 3, 4
  std::array<uint32_t, 3> channelAt;  // byte offset of R, G, B in a pixel
};

struct RowCallback {
  bool (*keepGoing)(void* context, uint32_t row);
  void* context;
};

// Writes one index a pixel to `indices` (width * height, row-major).
// Returns false when keepGoing said stop.
bool dither(const RowSource& source, std::span<const Rgb> palette, const Settings& settings,
            RowCallback progress, std::span<uint8_t> indices);

// Byte -> working-space value.
float toWorking(uint8_t value, bool linear);

}  // namespace nadiro::engine
