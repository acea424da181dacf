// The dithering run: source rows into the working space, then error
// diffusion, ordered thresholds or plain nearest colours, one index a pixel.
#include "engine/engine.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <type_traits>
#include <utility>

#include "engine/kernels.h"

namespace nadiro::engine {

int32_t toWorking(uint8_t value, bool linear) {
  if (!linear) return int32_t{value} << kWorkFraction;
  // The sRGB transfer curve undone, scaled back to 0 .. 255.
  const double c = value / 255.0;
  const double l = c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  return static_cast<int32_t>(std::lround(l * kWorkMax));
}

namespace {

// Source bytes to working values times 2^shift, plus `add`: sRGB bytes by
// a shift, linear light through a table.
struct Levels {
  bool linear;
  uint32_t shift;
  int32_t add;
  std::array<int32_t, 256> table;  // linear light
};

Levels workingLevels(bool linear, uint32_t shift = 0, int32_t add = 0) {
  Levels levels{linear, kWorkFraction + shift, add, {}};
  for (uint32_t v = 0; v < 256; ++v)
    levels.table[v] = (toWorking(static_cast<uint8_t>(v), linear) << shift) + add;
  return levels;
}

// A row of `Bpp`-byte pixels, red at byte R, green at 1 and blue at B (grey:
// one byte), as R, G, B values; the layout fixed at compile time so the
// loop is vectorised.
template <bool Linear, uint32_t Bpp, uint32_t R, uint32_t B>
void readPixels(const uint8_t* p, uint32_t width, const Levels& levels, int32_t* out) {
  constexpr uint32_t G = Bpp == 1 ? 0 : 1;
  // Locals: the stores could otherwise alias the levels.
  const uint32_t shift = levels.shift;
  const int32_t add = levels.add;
  const int32_t* table = levels.table.data();
  const auto level = [&](uint8_t v) { return Linear ? table[v] : (int32_t{v} << shift) + add; };
  for (uint32_t x = 0; x < width; ++x) {
    const uint8_t* q = p + size_t{x} * Bpp;
    out[3 * size_t{x}] = level(q[R]);
    out[3 * size_t{x} + 1] = level(q[G]);
    out[3 * size_t{x} + 2] = level(q[B]);
  }
}

using PixelReader = void (*)(const uint8_t*, uint32_t, const Levels&, int32_t*);

template <bool Linear>
PixelReader readerOf(const RowSource& s) {
  const bool redFirst = s.channelAt[0] == 0;
  switch (s.bytesPerPixel) {
    case 1:
      return &readPixels<Linear, 1, 0, 0>;
    case 3:
      return redFirst ? &readPixels<Linear, 3, 0, 2> : &readPixels<Linear, 3, 2, 0>;
    default:
      return redFirst ? &readPixels<Linear, 4, 0, 2> : &readPixels<Linear, 4, 2, 0>;
  }
}

// Every row of the picture through `quantiseRow(y, line, out)`, asking the
// callback first; `line` holds the row's R, G, B values from `levels`.
template <typename QuantiseRow>
bool eachRow(const RowSource& s, const Levels& levels, RowCallback progress, IndexRows indices,
             QuantiseRow quantiseRow) {
  assert(s.channelAt[1] == (s.bytesPerPixel == 1 ? 0 : 1));
  assert(s.channelAt[0] + s.channelAt[2] == (s.bytesPerPixel == 1 ? 0 : 2));
  const PixelReader read = levels.linear ? readerOf<true>(s) : readerOf<false>(s);
  std::vector<int32_t> line(size_t{s.width} * 3);
  for (uint32_t y = 0; y < s.height; ++y) {
    if (!progress.keepGoing(progress.context, y)) return false;
    read(s.pixels + y * s.stride, s.width, levels, line.data());
    quantiseRow(y, line.data(), indices.first + y * indices.stride);
  }
  return true;
}

// Diffusion in whole numbers. A pixel's value plus the error it has
// received is kept in 2^-kShareBits of a working step, a tap's weight
// (times the strength) in 2^-kShareBits, and the error a pixel passes on
// in working steps, so a share is error * weight with no rounding. A pixel
// is matched at its value rounded to the nearest step.
constexpr uint32_t kShareBits = 16;
constexpr int32_t kHalfShare = 1 << (kShareBits - 1);
// With error clamping off, value plus error is still held within this far
// outside the working range (768 byte levels), which keeps every sum in 32
// bits for the built-in kernels (their weights add up to at most 1): a
// pixel 3 times the range past its colour spreads no further error.
constexpr int32_t kLoose = 768 << kWorkFraction;
// The sums for a built-in kernel, and for a caller's (weights up to 65535
// times its divisor, some negative).
using BuiltInSum = int32_t;
using CallerSum = int64_t;

// A tap of a kernel: where it sends its share (rows below, column offset).
struct TapPlace {
  uint32_t row;
  int32_t dx;
};

constexpr size_t tapCount(const Kernel& k) {
  size_t n = 0;
  for (int32_t w : k.weights) n += w != 0;
  return n;
}

// The places of kernel K's taps and the matching weights, in one order.
template <size_t N>
constexpr std::array<TapPlace, N> placesOf(const Kernel& k) {
  std::array<TapPlace, N> places{};
  size_t i = 0;
  for (uint32_t r = 0; r < k.rows; ++r)
    for (uint32_t c = 0; c < k.columns; ++c)
      if (k.weights[r * kKernelColumns + c] != 0)
        places[i++] = {r, static_cast<int32_t>(c) - static_cast<int32_t>(k.origin)};
  return places;
}

template <typename Sum>
std::vector<Sum> weightsOf(const Kernel& k, uint32_t strength) {
  std::vector<Sum> weights;
  const double scale = double{1 << kShareBits} * strength / (100.0 * k.divisor);
  for (uint32_t r = 0; r < k.rows; ++r)
    for (uint32_t c = 0; c < k.columns; ++c)
      if (const int32_t w = k.weights[r * kKernelColumns + c]; w != 0)
        weights.push_back(static_cast<Sum>(std::llround(w * scale)));
  return weights;
}

// What one row of diffusion needs. `line` holds the row's values times
// 2^kShareBits, plus half a step; rows[r] is the error row of y + r,
// offset so that index 3x is pixel x.
template <typename Sum>
struct DiffusionRow {
  const int32_t* line;
  Sum* const* rows;
  const Sum* weights;
  uint8_t* out;
  uint32_t width;
};

// Quantises the pixel whose value (with the error it has received) is v;
// returns the error to spread, in working steps.
struct Quantiser {
  NearestTable::Finder finder;
  const Work* palette;
  // The clamping choice and the distance weights fixed at compile time:
  // they are on the path from one pixel to the next.
  // Inlined into every row loop: a call would pass v and the error
  // through memory, on the chain.
  template <bool ClampError, const Work& W, typename Sum>
  [[gnu::always_inline]] Work quantise(const std::array<Sum, 3>& v, uint8_t& index) const {
    // The cell straight from v while every channel lies within the cube
    // (v >> kShareBits in 0 .. 4095: c is those steps, or kWorkMax for the
    // top 15, all in the top cell), which keeps the clamp off the path to
    // the table.
    constexpr uint32_t shift = kShareBits + NearestTable::kCellShift;
    using Unsigned = std::make_unsigned_t<Sum>;
    std::array<Sum, 3> steps;
    std::array<uint32_t, 3> at;
    Unsigned outside = 0;
    for (size_t k = 0; k < 3; ++k) {
      steps[k] = v[k] >> kShareBits;
      const Unsigned u = static_cast<Unsigned>(v[k]);
      outside |= u >> (shift + NearestTable::kCellBits);
      at[k] = static_cast<uint32_t>(u >> shift);
    }
    Work c;
    uint32_t cell;
    if (outside == 0) [[likely]] {
      for (size_t k = 0; k < 3; ++k) c[k] = static_cast<int32_t>(std::min<Sum>(steps[k], kWorkMax));
      cell = NearestTable::cellAt(at[0], at[1], at[2]);
    } else {
      for (size_t k = 0; k < 3; ++k)
        c[k] = static_cast<int32_t>(std::clamp<Sum>(steps[k], 0, kWorkMax));
      cell = NearestTable::cellOf(c);
    }
    index = finder.find<W>(c, cell);
    const Work& p = palette[index];
    Work e;
    for (size_t k = 0; k < 3; ++k)
      e[k] = (ClampError
                  ? c[k]
                  : static_cast<int32_t>(std::clamp<Sum>(steps[k], -kLoose, kWorkMax + kLoose))) -
             p[k];
    return e;
  }
};

// A built-in kernel, its taps known at compile time. The shares for the
// current row ride in registers (`ahead`, pixel x + d at ahead[d - 1]
// after each shift) so a pixel's error reaches the next pixel without a
// store and a reload.
template <auto Places, bool Backwards, bool ClampError, const Work& W>
void fixedRow(const DiffusionRow<BuiltInSum>& row, const Quantiser& quantiser) {
  using Sum = BuiltInSum;
  // Local copies: the index stores (bytes) may alias anything reached
  // through a reference, which would reload every pointer at every pixel.
  const DiffusionRow<Sum> r = row;
  const Quantiser quantise = quantiser;
  Sum* const rows[kKernelRows] = {r.rows[0], r.rows[1], r.rows[2], r.rows[3], r.rows[4]};
  constexpr size_t N = Places.size();
  constexpr int32_t reach = [] {
    int32_t m = 1;
    for (const TapPlace& p : Places)
      if (p.row == 0) m = std::max(m, p.dx);
    return m;
  }();
  constexpr ptrdiff_t direction = Backwards ? -1 : 1;
  Sum weights[N];
  for (size_t i = 0; i < N; ++i) weights[i] = r.weights[i];
  Sum ahead[size_t{reach} + 1][3] = {};
  for (uint32_t i = 0; i < r.width; ++i) {
    const uint32_t x = Backwards ? r.width - 1 - i : i;
    const int32_t* here = r.line + 3 * x;
    const Sum* carried = rows[0] + 3 * x;
    const std::array<Sum, 3> v{here[0] + carried[0] + ahead[0][0],
                               here[1] + carried[1] + ahead[0][1],
                               here[2] + carried[2] + ahead[0][2]};
    const Work e = quantise.quantise<ClampError, W>(v, r.out[x]);
    for (int32_t d = 0; d < reach; ++d)
      for (size_t k = 0; k < 3; ++k) ahead[d][k] = ahead[d + 1][k];
    for (size_t k = 0; k < 3; ++k) ahead[reach][k] = 0;
    [&]<size_t... I>(std::index_sequence<I...>) {
      (
          [&] {
            constexpr TapPlace p = Places[I];
            const Sum w = weights[I];
            if constexpr (p.row == 0) {
              for (size_t k = 0; k < 3; ++k) ahead[p.dx - 1][k] += e[k] * w;
            } else {
              Sum* to = rows[p.row] + 3 * (static_cast<ptrdiff_t>(x) + direction * p.dx);
              for (size_t k = 0; k < 3; ++k) to[k] += e[k] * w;
            }
          }(),
          ...);
    }
    (std::make_index_sequence<N>{});
  }
}

// A caller kernel: the same walk with its taps read at run time, in 64-bit
// sums.
template <bool ClampError, const Work& W>
void anyRow(const DiffusionRow<CallerSum>& row, std::span<const TapPlace> places, bool backwards,
            const Quantiser& quantiser) {
  using Sum = CallerSum;
  const DiffusionRow<Sum> r = row;
  const Quantiser quantise = quantiser;
  const ptrdiff_t direction = backwards ? -1 : 1;
  for (uint32_t i = 0; i < r.width; ++i) {
    const uint32_t x = backwards ? r.width - 1 - i : i;
    const int32_t* here = r.line + 3 * x;
    const Sum* carried = r.rows[0] + 3 * x;
    const Work e = quantise.quantise<ClampError, W, Sum>(
        {here[0] + carried[0], here[1] + carried[1], here[2] + carried[2]}, r.out[x]);
    for (size_t t = 0; t < places.size(); ++t) {
      Sum* to = r.rows[places[t].row] + 3 * (static_cast<ptrdiff_t>(x) + direction * places[t].dx);
      for (size_t k = 0; k < 3; ++k) to[k] += Sum{e[k]} * r.weights[t];
    }
  }
}

using RowRunner = void (*)(const DiffusionRow<BuiltInSum>&, const Quantiser&, bool backwards);

template <uint32_t Which, bool ClampError, const Work& W>
void builtInRow(const DiffusionRow<BuiltInSum>& r, const Quantiser& quantise, bool backwards) {
  constexpr auto places = placesOf<tapCount(kKernels[Which])>(kKernels[Which]);
  if (backwards)
    fixedRow<places, true, ClampError, W>(r, quantise);
  else
    fixedRow<places, false, ClampError, W>(r, quantise);
}

// Row runners of the built-in kernels: [perceptual][clamping][kernel].
template <const Work& W, uint32_t... K>
constexpr std::array<std::array<RowRunner, sizeof...(K)>, 2> builtInRows(
    std::integer_sequence<uint32_t, K...>) {
  return {{{&builtInRow<K, false, W>...}, {&builtInRow<K, true, W>...}}};
}
constexpr std::array<std::array<std::array<RowRunner, kBuiltInKernels>, 2>, 2> kBuiltInRows = {
    builtInRows<kPlainWeights>(std::make_integer_sequence<uint32_t, kBuiltInKernels>{}),
    builtInRows<kPerceptualWeights>(std::make_integer_sequence<uint32_t, kBuiltInKernels>{})};

// A caller kernel's row: [perceptual][clamping].
using AnyRowRunner = void (*)(const DiffusionRow<CallerSum>&, std::span<const TapPlace>, bool,
                              const Quantiser&);
constexpr AnyRowRunner kAnyRows[2][2] = {
    {&anyRow<false, kPlainWeights>, &anyRow<true, kPlainWeights>},
    {&anyRow<false, kPerceptualWeights>, &anyRow<true, kPerceptualWeights>}};

template <typename Sum>
bool diffuse(const RowSource& s, std::span<const Work> palette, NearestTable& table,
             const Settings& st, RowCallback progress, IndexRows indices) {
  const Kernel& k = st.kernel;
  const std::vector<Sum> weights = weightsOf<Sum>(k, st.strength);
  std::vector<TapPlace> places;
  for (uint32_t r = 0; r < k.rows; ++r)
    for (uint32_t c = 0; c < k.columns; ++c)
      if (k.weights[r * kKernelColumns + c] != 0)
        places.push_back({r, static_cast<int32_t>(c) - static_cast<int32_t>(k.origin)});
  // Error rows padded on both sides by the widest reach of a kernel.
  constexpr size_t kPad = kKernelColumns;
  const size_t rowLength = (size_t{s.width} + 2 * kPad) * 3;
  std::vector<Sum> errors(rowLength * k.rows, 0);
  const Quantiser quantise{table.finder(), palette.data()};
  const Levels levels = workingLevels(st.linear, kShareBits, kHalfShare);

  return eachRow(s, levels, progress, indices, [&](uint32_t y, const int32_t* line, uint8_t* out) {
    Sum* rows[kKernelRows] = {};
    for (uint32_t r = 0; r < k.rows; ++r)
      rows[r] = errors.data() + ((y + r) % k.rows) * rowLength + kPad * 3;
    const bool backwards = st.serpentine && (y & 1) != 0;
    const DiffusionRow<Sum> row{line, rows, weights.data(), out, s.width};
    if constexpr (std::is_same_v<Sum, BuiltInSum>)
      kBuiltInRows[st.weighted][st.clampError][st.builtIn](row, quantise, backwards);
    else
      kAnyRows[st.weighted][st.clampError](row, places, backwards, quantise);
    // Row y is done; its buffer becomes row y + rows.
    std::fill_n(rows[0] - kPad * 3, rowLength, Sum{0});
  });
}

// The threshold shift of each channel spans the palette's widest step
// between neighbouring levels of that channel.
Work paletteSteps(std::span<const Work> palette) {
  Work steps{};
  for (size_t k = 0; k < 3; ++k) {
    std::vector<int32_t> levels;
    for (const Work& p : palette) levels.push_back(p[k]);
    std::sort(levels.begin(), levels.end());
    for (size_t i = 1; i < levels.size(); ++i)
      steps[k] = std::max(steps[k], levels[i] - levels[i - 1]);
  }
  return steps;
}

bool ordered(const RowSource& s, std::span<const Work> palette, NearestTable& table,
             const Settings& st, const Levels& working, RowCallback progress, IndexRows indices) {
  const RankMatrix& m = *st.matrix;
  const uint32_t levels =
      static_cast<uint32_t>(*std::max_element(m.ranks.begin(), m.ranks.end())) + 1;
  // Each matrix cell's shift of the three channels, in working steps.
  const Work steps = paletteSteps(palette);
  std::vector<Work> shift(m.ranks.size());
  for (size_t i = 0; i < shift.size(); ++i) {
    const double t = st.strength / 100.0 * ((m.ranks[i] + 0.5) / levels - 0.5);
    for (size_t k = 0; k < 3; ++k) shift[i][k] = static_cast<int32_t>(std::lround(t * steps[k]));
  }
  const NearestTable::Finder finder = table.finder();
  return eachRow(s, working, progress, indices,
                 [&, finder](uint32_t y, const int32_t* line, uint8_t* out) {
                   const Work* shifts = shift.data() + size_t{y % m.height} * m.width;
                   for (uint32_t x = 0; x < s.width; ++x) {
                     const Work& t = shifts[x % m.width];
                     const int32_t* v = line + 3 * x;
                     out[x] = finder.find({std::clamp(v[0] + t[0], 0, kWorkMax),
                                           std::clamp(v[1] + t[1], 0, kWorkMax),
                                           std::clamp(v[2] + t[2], 0, kWorkMax)});
                   }
                 });
}

bool nearest(const RowSource& s, NearestTable& table, const Levels& levels, RowCallback progress,
             IndexRows indices) {
  const NearestTable::Finder finder = table.finder();
  return eachRow(s, levels, progress, indices,
                 [&, finder](uint32_t, const int32_t* line, uint8_t* out) {
                   for (uint32_t x = 0; x < s.width; ++x) {
                     const int32_t* v = line + 3 * x;
                     out[x] = finder.find({v[0], v[1], v[2]});
                   }
                 });
}

}  // namespace

bool dither(const RowSource& source, std::span<const Rgb> palette, const Settings& settings,
            RowCallback progress, IndexRows indices) {
  const Levels levels = workingLevels(settings.linear);
  std::vector<Work> work;
  for (const Rgb& p : palette)
    work.push_back({levels.table[p[0]], levels.table[p[1]], levels.table[p[2]]});
  const Work weights = settings.weighted ? kPerceptualWeights : kPlainWeights;
  NearestTable table(work, weights);
  switch (settings.method) {
    case Method::Diffusion:
      if (settings.builtIn < kBuiltInKernels)
        return diffuse<BuiltInSum>(source, work, table, settings, progress, indices);
      return diffuse<CallerSum>(source, work, table, settings, progress, indices);
    case Method::Ordered:
      return ordered(source, work, table, settings, levels, progress, indices);
    case Method::Nearest:
      break;
  }
  return nearest(source, table, levels, progress, indices);
}

}  // namespace nadiro::engine
