// The dithering run: source rows into the working space, then error
// diffusion, ordered thresholds or plain nearest colours, one index a pixel.
#include "engine/engine.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "engine/kernels.h"

namespace nadiro::engine {

float toWorking(uint8_t value, bool linear) {
  if (!linear) return static_cast<float>(value);
  // The sRGB transfer curve undone, scaled back to 0 .. 255.
  const double c = value / 255.0;
  const double l = c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  return static_cast<float>(255.0 * l);
}

namespace {

using Lut = std::array<float, 256>;

Lut workingTable(bool linear) {
  Lut lut{};
  for (uint32_t v = 0; v < 256; ++v) lut[v] = toWorking(static_cast<uint8_t>(v), linear);
  return lut;
}

// Row y as R, G, B working values.
void readRow(const RowSource& s, uint32_t y, const Lut& lut, float* out) {
  const uint8_t* p = s.pixels + y * s.stride;
  if (s.bytesPerPixel == 1) {
    for (uint32_t x = 0; x < s.width; ++x) out[3 * x] = out[3 * x + 1] = out[3 * x + 2] = lut[p[x]];
    return;
  }
  const uint32_t r = s.channelAt[0], g = s.channelAt[1], b = s.channelAt[2];
  for (uint32_t x = 0; x < s.width; ++x, p += s.bytesPerPixel) {
    out[3 * x] = lut[p[r]];
    out[3 * x + 1] = lut[p[g]];
    out[3 * x + 2] = lut[p[b]];
  }
}

inline float clampChannel(float v) {
  return std::min(std::max(v, 0.0f), 255.0f);
}

// Every row of the picture through `quantiseRow(y, line, out)`, asking the
// callback first.
template <typename QuantiseRow>
bool eachRow(const RowSource& s, const Lut& lut, RowCallback progress, std::span<uint8_t> indices,
             QuantiseRow quantiseRow) {
  std::vector<float> line(size_t{s.width} * 3);
  for (uint32_t y = 0; y < s.height; ++y) {
    if (!progress.keepGoing(progress.context, y)) return false;
    readRow(s, y, lut, line.data());
    quantiseRow(y, line.data(), indices.data() + size_t{y} * s.width);
  }
  return true;
}

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

std::vector<float> weightsOf(const Kernel& k, float strength) {
  std::vector<float> weights;
  for (uint32_t r = 0; r < k.rows; ++r)
    for (uint32_t c = 0; c < k.columns; ++c)
      if (const int32_t w = k.weights[r * kKernelColumns + c]; w != 0)
        weights.push_back(strength * static_cast<float>(w) / static_cast<float>(k.divisor));
  return weights;
}

// What one row of diffusion needs. rows[r] is the error row of y + r,
// offset so that index 3x is pixel x.
struct DiffusionRow {
  const float* line;
  float* const* rows;
  const float* weights;
  uint8_t* out;
  uint32_t width;
};

// Quantises the pixel whose value (with the error it has received) is v;
// returns the error to spread.
struct Quantiser {
  NearestTable::Finder finder;
  const Work* palette;
  // Values, not references, and the clamping choice fixed at compile time:
  // a selected reference would keep both colours in memory, on the path
  // from one pixel to the next.
  template <bool ClampError>
  Work quantise(const Work& v, uint8_t& index) const {
    const Work c{clampChannel(v[0]), clampChannel(v[1]), clampChannel(v[2])};
    index = finder.find(c);
    const Work p = palette[index];
    if constexpr (ClampError) return {c[0] - p[0], c[1] - p[1], c[2] - p[2]};
    return {v[0] - p[0], v[1] - p[1], v[2] - p[2]};
  }
};

// A built-in kernel, its taps known at compile time. The shares for the
// current row ride in registers (`ahead`, pixel x + d at ahead[d - 1]
// after each shift) so a pixel's error reaches the next pixel without a
// store and a reload.
template <auto Places, bool Backwards, bool ClampError>
void fixedRow(const DiffusionRow& row, const Quantiser& quantiser) {
  // Local copies: the index stores (bytes) may alias anything reached
  // through a reference, which would reload every pointer at every pixel.
  const DiffusionRow r = row;
  const Quantiser quantise = quantiser;
  float* const rows[kKernelRows] = {r.rows[0], r.rows[1], r.rows[2], r.rows[3], r.rows[4]};
  constexpr size_t N = Places.size();
  constexpr int32_t reach = [] {
    int32_t m = 1;
    for (const TapPlace& p : Places)
      if (p.row == 0) m = std::max(m, p.dx);
    return m;
  }();
  constexpr ptrdiff_t direction = Backwards ? -1 : 1;
  float ahead[size_t{reach} + 1][3] = {};
  for (uint32_t i = 0; i < r.width; ++i) {
    const uint32_t x = Backwards ? r.width - 1 - i : i;
    const float* here = r.line + 3 * x;
    const float* carried = rows[0] + 3 * x;
    const Work v{here[0] + carried[0] + ahead[0][0], here[1] + carried[1] + ahead[0][1],
                 here[2] + carried[2] + ahead[0][2]};
    const Work e = quantise.quantise<ClampError>(v, r.out[x]);
    for (int32_t d = 0; d < reach; ++d)
      for (size_t k = 0; k < 3; ++k) ahead[d][k] = ahead[d + 1][k];
    for (size_t k = 0; k < 3; ++k) ahead[reach][k] = 0;
    [&]<size_t... I>(std::index_sequence<I...>) {
      (
          [&] {
            constexpr TapPlace p = Places[I];
            const float w = r.weights[I];
            if constexpr (p.row == 0) {
              for (size_t k = 0; k < 3; ++k) ahead[p.dx - 1][k] += e[k] * w;
            } else {
              float* to = rows[p.row] + 3 * (static_cast<ptrdiff_t>(x) + direction * p.dx);
              for (size_t k = 0; k < 3; ++k) to[k] += e[k] * w;
            }
          }(),
          ...);
    }
    (std::make_index_sequence<N>{});
  }
}

// A caller kernel: the same walk with its taps read at run time.
template <bool ClampError>
void anyRow(const DiffusionRow& row, std::span<const TapPlace> places, bool backwards,
            const Quantiser& quantiser) {
  const DiffusionRow r = row;
  const Quantiser quantise = quantiser;
  const ptrdiff_t direction = backwards ? -1 : 1;
  for (uint32_t i = 0; i < r.width; ++i) {
    const uint32_t x = backwards ? r.width - 1 - i : i;
    const float* here = r.line + 3 * x;
    const float* carried = r.rows[0] + 3 * x;
    const Work e = quantise.quantise<ClampError>(
        {here[0] + carried[0], here[1] + carried[1], here[2] + carried[2]}, r.out[x]);
    for (size_t t = 0; t < places.size(); ++t) {
      float* to =
          r.rows[places[t].row] + 3 * (static_cast<ptrdiff_t>(x) + direction * places[t].dx);
      for (size_t k = 0; k < 3; ++k) to[k] += e[k] * r.weights[t];
    }
  }
}

using RowRunner = void (*)(const DiffusionRow&, const Quantiser&, bool backwards);

template <uint32_t Which, bool ClampError>
void builtInRow(const DiffusionRow& r, const Quantiser& quantise, bool backwards) {
  constexpr auto places = placesOf<tapCount(kKernels[Which])>(kKernels[Which]);
  if (backwards)
    fixedRow<places, true, ClampError>(r, quantise);
  else
    fixedRow<places, false, ClampError>(r, quantise);
}

// Row runners of the built-in kernels: [clamping][kernel].
template <uint32_t... W>
constexpr std::array<std::array<RowRunner, sizeof...(W)>, 2> builtInRows(
    std::integer_sequence<uint32_t, W...>) {
  return {{{&builtInRow<W, false>...}, {&builtInRow<W, true>...}}};
}
constexpr auto kBuiltInRows = builtInRows(std::make_integer_sequence<uint32_t, kBuiltInKernels>{});

bool diffuse(const RowSource& s, std::span<const Work> palette, NearestTable& table,
             const Settings& st, const Lut& lut, RowCallback progress, std::span<uint8_t> indices) {
  const Kernel& k = st.kernel;
  const std::vector<float> weights = weightsOf(k, st.strength);
  std::vector<TapPlace> places;
  for (uint32_t r = 0; r < k.rows; ++r)
    for (uint32_t c = 0; c < k.columns; ++c)
      if (k.weights[r * kKernelColumns + c] != 0)
        places.push_back({r, static_cast<int32_t>(c) - static_cast<int32_t>(k.origin)});
  // Error rows padded on both sides by the widest reach of a kernel.
  constexpr size_t kPad = kKernelColumns;
  const size_t rowLength = (size_t{s.width} + 2 * kPad) * 3;
  std::vector<float> errors(rowLength * k.rows, 0.0f);
  const Quantiser quantise{table.finder(), palette.data()};

  return eachRow(s, lut, progress, indices, [&](uint32_t y, const float* line, uint8_t* out) {
    float* rows[kKernelRows] = {};
    for (uint32_t r = 0; r < k.rows; ++r)
      rows[r] = errors.data() + ((y + r) % k.rows) * rowLength + kPad * 3;
    const bool backwards = st.serpentine && (y & 1) != 0;
    const DiffusionRow row{line, rows, weights.data(), out, s.width};
    if (st.builtIn < kBuiltInKernels)
      kBuiltInRows[st.clampError][st.builtIn](row, quantise, backwards);
    else if (st.clampError)
      anyRow<true>(row, places, backwards, quantise);
    else
      anyRow<false>(row, places, backwards, quantise);
    // Row y is done; its buffer becomes row y + rows.
    std::fill_n(rows[0] - kPad * 3, rowLength, 0.0f);
  });
}

// The threshold shift of each channel spans the palette's widest step
// between neighbouring levels of that channel.
Work paletteSteps(std::span<const Work> palette) {
  Work steps{};
  for (size_t k = 0; k < 3; ++k) {
    std::vector<float> levels;
    for (const Work& p : palette) levels.push_back(p[k]);
    std::sort(levels.begin(), levels.end());
    for (size_t i = 1; i < levels.size(); ++i)
      steps[k] = std::max(steps[k], levels[i] - levels[i - 1]);
  }
  return steps;
}

bool ordered(const RowSource& s, std::span<const Work> palette, NearestTable& table,
             const Settings& st, const Lut& lut, RowCallback progress, std::span<uint8_t> indices) {
  const RankMatrix& m = *st.matrix;
  const uint32_t levels =
      static_cast<uint32_t>(*std::max_element(m.ranks.begin(), m.ranks.end())) + 1;
  std::vector<float> shift(m.ranks.size());
  for (size_t i = 0; i < shift.size(); ++i)
    shift[i] =
        st.strength * ((static_cast<float>(m.ranks[i]) + 0.5f) / static_cast<float>(levels) - 0.5f);
  const Work steps = paletteSteps(palette);
  const NearestTable::Finder finder = table.finder();
  return eachRow(
      s, lut, progress, indices, [&, finder](uint32_t y, const float* line, uint8_t* out) {
        const float* shifts = shift.data() + size_t{y % m.height} * m.width;
        for (uint32_t x = 0; x < s.width; ++x) {
          const float t = shifts[x % m.width];
          const float* v = line + 3 * x;
          out[x] =
              finder.find({clampChannel(v[0] + t * steps[0]), clampChannel(v[1] + t * steps[1]),
                           clampChannel(v[2] + t * steps[2])});
        }
      });
}

bool nearest(const RowSource& s, NearestTable& table, const Lut& lut, RowCallback progress,
             std::span<uint8_t> indices) {
  const NearestTable::Finder finder = table.finder();
  return eachRow(s, lut, progress, indices, [&, finder](uint32_t, const float* line, uint8_t* out) {
    for (uint32_t x = 0; x < s.width; ++x) {
      const float* v = line + 3 * x;
      out[x] = finder.find({clampChannel(v[0]), clampChannel(v[1]), clampChannel(v[2])});
    }
  });
}

}  // namespace

bool dither(const RowSource& source, std::span<const Rgb> palette, const Settings& settings,
            RowCallback progress, std::span<uint8_t> indices) {
  const Lut lut = workingTable(settings.linear);
  std::vector<Work> work;
  for (const Rgb& p : palette) work.push_back({lut[p[0]], lut[p[1]], lut[p[2]]});
  const Work weights = settings.weighted ? Work{2, 4, 3} : Work{1, 1, 1};
  NearestTable table(work, weights);
  switch (settings.method) {
    case Method::Diffusion:
      return diffuse(source, work, table, settings, lut, progress, indices);
    case Method::Ordered:
      return ordered(source, work, table, settings, lut, progress, indices);
    case Method::Nearest:
      break;
  }
  return nearest(source, table, lut, progress, indices);
}

}  // namespace nadiro::engine
