// The dithering run: source rows into the working space, then error
// diffusion, ordered thresholds or plain nearest colours, one index a pixel.
#include "engine/engine.h"

#include <algorithm>
#include <cmath>

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

struct Tap {
  uint32_t row;
  int32_t dx;
  float weight;  // strength * weight / divisor
};

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

// Diffusion with taps known at compile time for the common kernels would
// gain little over this loop: the nearest-colour search dominates.
bool diffuse(const RowSource& s, std::span<const Work> palette, NearestTable& table,
             const Settings& st, const Lut& lut, RowCallback progress, std::span<uint8_t> indices) {
  const Kernel& k = st.kernel;
  std::vector<Tap> taps;
  for (uint32_t r = 0; r < k.rows; ++r)
    for (uint32_t c = 0; c < k.columns; ++c)
      if (const int32_t w = k.weights[r * kKernelColumns + c]; w != 0)
        taps.push_back({r, static_cast<int32_t>(c) - static_cast<int32_t>(k.origin),
                        st.strength * static_cast<float>(w) / static_cast<float>(k.divisor)});
  // Error rows padded on both sides by the widest reach of a kernel.
  constexpr size_t kPad = kKernelColumns;
  const size_t rowLength = (size_t{s.width} + 2 * kPad) * 3;
  std::vector<float> errors(rowLength * k.rows, 0.0f);
  const uint32_t width = s.width;

  return eachRow(s, lut, progress, indices, [&](uint32_t y, const float* line, uint8_t* out) {
    float* rows[kKernelRows];
    for (uint32_t r = 0; r < k.rows; ++r)
      rows[r] = errors.data() + ((y + r) % k.rows) * rowLength + kPad * 3;
    const bool backwards = st.serpentine && (y & 1) != 0;
    const ptrdiff_t direction = backwards ? -1 : 1;
    for (uint32_t i = 0; i < width; ++i) {
      const uint32_t x = backwards ? width - 1 - i : i;
      const float* here = line + 3 * x;
      const float* carried = rows[0] + 3 * x;
      const Work v{here[0] + carried[0], here[1] + carried[1], here[2] + carried[2]};
      const Work c{clampChannel(v[0]), clampChannel(v[1]), clampChannel(v[2])};
      const uint8_t index = table.find(c);
      out[x] = index;
      const Work& t = st.clampError ? c : v;
      const Work& p = palette[index];
      const float e0 = t[0] - p[0], e1 = t[1] - p[1], e2 = t[2] - p[2];
      if (e0 == 0 && e1 == 0 && e2 == 0) continue;
      for (const Tap& tap : taps) {
        float* d = rows[tap.row] + 3 * (static_cast<ptrdiff_t>(x) + direction * tap.dx);
        d[0] += e0 * tap.weight;
        d[1] += e1 * tap.weight;
        d[2] += e2 * tap.weight;
      }
    }
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
  return eachRow(s, lut, progress, indices, [&](uint32_t y, const float* line, uint8_t* out) {
    const float* shifts = shift.data() + size_t{y % m.height} * m.width;
    for (uint32_t x = 0; x < s.width; ++x) {
      const float t = shifts[x % m.width];
      const float* v = line + 3 * x;
      out[x] = table.find({clampChannel(v[0] + t * steps[0]), clampChannel(v[1] + t * steps[1]),
                           clampChannel(v[2] + t * steps[2])});
    }
  });
}

bool nearest(const RowSource& s, NearestTable& table, const Lut& lut, RowCallback progress,
             std::span<uint8_t> indices) {
  return eachRow(s, lut, progress, indices, [&](uint32_t, const float* line, uint8_t* out) {
    for (uint32_t x = 0; x < s.width; ++x) {
      const float* v = line + 3 * x;
      out[x] = table.find({clampChannel(v[0]), clampChannel(v[1]), clampChannel(v[2])});
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
