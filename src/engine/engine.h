// The dithering engine's cores: plain values and spans in, indices out.
// They assume arguments the shell (export.cpp) has checked.
#pragma once

#include <algorithm>
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

inline constexpr uint32_t kBuiltInKernels = 9;  // NadiroDitherKernel 0..8; see kernels.h
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

// ---- pictures -------------------------------------------------------------------

// The caller's picture, read row by row: its bytes, and where R, G and B
// sit in a pixel.
struct RowSource {
  const uint8_t* pixels;
  size_t stride;
  uint32_t width;
  uint32_t height;
  uint32_t bytesPerPixel;             // 1 grey, 3, 4
  std::array<uint32_t, 3> channelAt;  // byte offset of R, G, B in a pixel
};

// ---- palettes (palette.cpp) --------------------------------------------------

enum class FixedPalette : uint32_t { BlackWhite, RgbCorners, Rgb332, WebSafe };
std::vector<Rgb> fixedPalette(FixedPalette which);

// Colours chosen from every pixel of a picture.
enum class Chooser : uint32_t { MedianCut, KMeans };
std::vector<Rgb> choosePalette(const RowSource& picture, uint32_t wanted, Chooser how);

// ---- nearest colour (nearest.cpp) ---------------------------------------------

// A colour in the working space, in whole numbers: each channel in
// 0 .. kWorkMax, 1/16 of a byte level a step (sRGB bytes, or linear light
// scaled to 255, rounded to the step).
inline constexpr uint32_t kWorkFraction = 4;
inline constexpr int32_t kWorkMax = 255 << kWorkFraction;
using Work = std::array<int32_t, 3>;

// The weights of the squared channel distances: plain, and perceptual
// (red, green, blue as 2, 4, 3).
inline constexpr Work kPlainWeights{1, 1, 1};
inline constexpr Work kPerceptualWeights{2, 4, 3};

// Nearest palette entry by weighted squared distance, ties to the lower
// index. A 32 x 32 x 32 grid of cells over the working cube; each cell,
// built on first use, lists the entries that can be nearest to some point
// of the cell, and a query compares only those. Every distance is a whole
// number (below 2^28), so the answer is exact.
class NearestTable {
 public:
  static constexpr uint32_t kCellBits = 5;  // 2^kCellBits cells a side
  static constexpr uint32_t kCellShift = 8 + kWorkFraction - kCellBits;
  static constexpr uint32_t kCells = 1u << (3 * kCellBits);
  // weights: each 1 .. 4
  NearestTable(std::span<const Work> palette, Work weights);
  NearestTable(const NearestTable&) = delete;
  NearestTable& operator=(const NearestTable&) = delete;

  // A palette entry in 8 bytes (R, G, B and a spare), read with one
  // scaled index.
  using Packed = std::array<int16_t, 4>;

  // The cell of c (within 0 .. kWorkMax on each channel), and of the cell
  // coordinates r, g, b.
  static uint32_t cellAt(uint32_t r, uint32_t g, uint32_t b) {
    return r << (2 * kCellBits) | g << kCellBits | b;
  }
  static uint32_t cellOf(const Work& c) {
    return cellAt(static_cast<uint32_t>(c[0]) >> kCellShift,
                  static_cast<uint32_t>(c[1]) >> kCellShift,
                  static_cast<uint32_t>(c[2]) >> kCellShift);
  }

  // The table's blocks never move once made (the candidate lists have room
  // for every cell), so a pixel loop can hold their addresses in registers:
  // a Finder is that loop's copy.
  class Finder {
   public:
    // The nearest entry to c, whose cell is given. W: the table's weights,
    // known to the caller at compile time.
    template <const Work& W>
    [[gnu::always_inline]] uint8_t find(const Work& c, uint32_t cell) const {
      const uint32_t word = cells_[cell];
      if (!isInline(word)) [[unlikely]]
        return refine(c, cell, word);
      // One or two candidates inline (most cells), the one nearest to the
      // cell's centre first. d0 - d1 is the sum over the channels of
      // w (p1 - p0) (2c - p0 - p1): zero for a lone candidate, and rarely
      // above zero in a pair, so a branch on it is mostly predicted and
      // keeps the comparison off the path from one pixel to the next.
      const uint32_t i0 = word & 0xFF, i1 = word >> 8;
      const Packed& p0 = palette_[i0];
      const Packed& p1 = palette_[i1];
      int32_t lead = i1 < i0;  // the lower index wins a tie
      for (size_t k = 0; k < 3; ++k) lead += W[k] * (p1[k] - p0[k]) * (2 * c[k] - p0[k] - p1[k]);
      if (lead > 0) {
        keepBranch();
        return static_cast<uint8_t>(i1);
      }
      return static_cast<uint8_t>(i0);
    }
    // The same for weights known only at run time.
    uint8_t find(const Work& c) const {
      const uint32_t cell = cellOf(c);
      const uint32_t word = cells_[cell];
      if (!isInline(word)) return refine(c, cell, word);
      return nearer(c, word & 0xFF, word >> 8);
    }

   private:
    friend class NearestTable;
    Finder(NearestTable* owner, const uint16_t* cells, const uint32_t* lists,
           const uint8_t* candidates, const Packed* palette, Work weights)
        : owner_(owner),
          cells_(cells),
          lists_(lists),
          candidates_(candidates),
          palette_(palette),
          weights_(weights) {}
    int32_t distance(const Work& c, uint32_t index) const {
      const Packed& p = palette_[index];
      int32_t d = 0;
      for (size_t k = 0; k < 3; ++k) d += weights_[k] * (c[k] - p[k]) * (c[k] - p[k]);
      return d;
    }
    uint8_t nearer(const Work& c, uint32_t a, uint32_t b) const {
      const int32_t da = distance(c, a), db = distance(c, b);
      return static_cast<uint8_t>(db < da || (db == da && b < a) ? b : a);
    }
    // An empty statement the compiler may not move, so that the branch
    // around it is not made a conditional move.
    static void keepBranch() {
#if defined(__GNUC__)
      asm volatile("");
#endif
    }
    // A cell not built yet, or one with a list: the nearest of its
    // candidates (in index order), written for conditional moves.
    uint8_t refine(const Work& c, uint32_t cell, uint32_t word) const {
      if (word == kUnbuilt) {
        word = owner_->build(cell);
        if (isInline(word)) return nearer(c, word & 0xFF, word >> 8);
      }
      const uint32_t entry = lists_[cell];
      const uint8_t* list = candidates_ + (entry >> kCountBits);
      const uint32_t count = entry & kCountMask;
      uint32_t best = list[0];
      int32_t bestDistance = distance(c, best);
      for (uint32_t i = 1; i < count; ++i) {
        const uint32_t candidate = list[i];
        const int32_t d = distance(c, candidate);
        const bool closer = d < bestDistance;
        best = closer ? candidate : best;
        bestDistance = closer ? d : bestDistance;
      }
      return static_cast<uint8_t>(best);
    }
    NearestTable* owner_;
    const uint16_t* cells_;
    const uint32_t* lists_;
    const uint8_t* candidates_;
    const Packed* palette_;
    Work weights_;
  };
  Finder finder() {
    return Finder(this, cells_.data(), lists_.data(), candidates_.data(), packed_.data(), weights_);
  }

  uint8_t find(const Work& c) {
    return finder().find(c);
  }

 private:
  // A cell is a 16-bit word (a 64 KiB table, whose cells a picture uses
  // mostly stay in the first cache levels): two candidates' indices in the
  // low and high byte (a lone candidate twice), the one nearest to the
  // cell's centre first unless that would make 255 and 0 or 1, the two
  // words kept for kUnbuilt, before first use, and kList, when the cell's
  // list word in lists_ (count in the low bits, where the list starts
  // above them) tells its candidates.
  static constexpr uint16_t kUnbuilt = 0x00FF;
  static constexpr uint16_t kList = 0x01FF;
  // True for a pair or lone candidate, false for kUnbuilt and kList.
  static bool isInline(uint32_t word) {
    return (word | 0x100) != kList;
  }
  static constexpr uint32_t kCountBits = 9;
  static constexpr uint32_t kCountMask = (1u << kCountBits) - 1;
  uint32_t build(uint32_t cell);

  std::vector<Work> palette_;
  std::vector<Packed> packed_;
  Work weights_;
  std::vector<uint16_t> cells_;
  std::vector<uint32_t> lists_;
  std::vector<uint8_t> candidates_;  // capacity for every cell: never reallocated
  std::vector<int32_t> scratch_;     // build's per-entry distances
};

// ---- the dithering run (engine.cpp) ---------------------------------------------

enum class Method : uint32_t { Diffusion, Ordered, Nearest };

struct Settings {
  Method method = Method::Diffusion;
  Kernel kernel{};
  uint32_t builtIn = kBuiltInKernels;  // the kernel's number in kernels.h, if it is one
  RankMatrix const* matrix = nullptr;  // ordered
  bool serpentine = true;
  uint32_t strength = 100;  // per cent
  bool clampError = true;
  bool linear = false;
  bool weighted = false;
};

// The run asks `keepGoing(y)` before row y.
struct RowCallback {
  bool (*keepGoing)(void* context, uint32_t row);
  void* context;
};

// Where the indices go: row y's width bytes at first + y * stride.
struct IndexRows {
  uint8_t* first;
  size_t stride;
};

// Writes one index a pixel to `indices`, row by row. Returns false when
// keepGoing said stop. Nothing is allocated once the first row is written.
bool dither(const RowSource& source, std::span<const Rgb> palette, const Settings& settings,
            RowCallback progress, IndexRows indices);

// Byte -> working-space value.
int32_t toWorking(uint8_t value, bool linear);

}  // namespace nadiro::engine
