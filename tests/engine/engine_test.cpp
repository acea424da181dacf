// The dithering engine through its public header, end to end.
#include "engine/engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "nadiro/dither_engine.h"

namespace nadiro::test {
namespace {

// A packed picture of `channels` bytes a pixel (1 grey, 3 RGB).
struct Pixels {
  uint32_t width = 0, height = 0, channels = 3;
  std::vector<uint8_t> bytes;
};

struct Dithered {
  std::vector<uint8_t> indices;
  std::vector<uint8_t> palette;  // R, G, B triples as returned
};

// Indices of `picture` under `options`; a non-zero code fails the test.
Dithered ditherToIndices(const Pixels& picture, const NadiroDitherOptions& options) {
  Dithered d{std::vector<uint8_t>(size_t{picture.width} * picture.height), {}};
  const NadiroDitherSource source{
      picture.bytes.data(), picture.width, picture.height, picture.width * picture.channels,
      picture.channels == 1 ? uint32_t{NADIRO_PIXELS_GREY8} : uint32_t{NADIRO_PIXELS_RGB24}};
  NadiroDitherTarget target{d.indices.data(), picture.width, NADIRO_PIXELS_INDEX8, 0, {}};
  EXPECT_EQ(NadiroDither(&source, &target, &options), NADIRO_DITHER_OK);
  d.palette.assign(&target.palette[0][0], &target.palette[0][0] + 3 * target.paletteCount);
  return d;
}

NadiroDitherOptions optionsWith(uint32_t palette, uint32_t method = NADIRO_METHOD_DIFFUSION) {
  NadiroDitherOptions o;
  NadiroDitherOptionsInit(&o);
  o.palette = palette;
  o.method = method;
  return o;
}

// The caller's colours (R, G, B triples), which must outlive the options.
NadiroDitherOptions withColours(const std::vector<uint8_t>& colours,
                                uint32_t method = NADIRO_METHOD_DIFFUSION) {
  NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_CUSTOM, method);
  o.paletteCount = static_cast<uint32_t>(colours.size() / 3);
  o.paletteColors = colours.data();
  return o;
}

std::vector<uint8_t> randomBytes(size_t count, uint32_t seed, int top = 255) {
  std::mt19937 rng(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& b : bytes) b = static_cast<uint8_t>(rng() % (top + 1));
  return bytes;
}

Pixels noisePicture(uint32_t width, uint32_t height, uint32_t seed) {
  return {width, height, 3, randomBytes(size_t{width} * height * 3, seed)};
}

TEST(Engine, PalettesKeepTheirOrder) {
  // A shuffled caller palette with a duplicate comes back as given.
  const std::vector<uint8_t> caller = {200, 10,  10,  0, 0, 0, 10, 200, 90,
                                       255, 255, 255, 0, 0, 0, 30, 30,  220};
  struct Case {
    uint32_t palette, size, probe;  // an index whose colour is checked
    std::vector<uint8_t> colour;
  } cases[] = {
      {NADIRO_PALETTE_CUSTOM, 6, 2, {10, 200, 90}},
      {NADIRO_PALETTE_BLACK_WHITE, 2, 1, {255, 255, 255}},
      {NADIRO_PALETTE_RGB_CORNERS, 8, 6, {255, 255, 0}},  // 4r + 2g + b: yellow
      {NADIRO_PALETTE_RGB332, 256, 6 << 5 | 3 << 2 | 1, {219, 109, 85}},
      {NADIRO_PALETTE_WEB_SAFE, 216, 36 * 1 + 6 * 4 + 5, {51, 204, 255}},
  };
  for (const Case& c : cases) {
    NadiroDitherOptions o = withColours(caller, NADIRO_METHOD_NEAREST);
    o.palette = c.palette;
    const std::vector<uint8_t> palette = ditherToIndices({1, 1, 3, {0, 0, 0}}, o).palette;
    ASSERT_EQ(palette.size(), 3 * c.size);
    EXPECT_EQ(std::vector<uint8_t>(&palette[3 * c.probe], &palette[3 * c.probe] + 3), c.colour);
    // A picture of its colours maps each to the colour's first position.
    for (uint32_t method : {NADIRO_METHOD_DIFFUSION, NADIRO_METHOD_NEAREST}) {
      o.method = method;
      const std::vector<uint8_t> indices = ditherToIndices({c.size, 1, 3, palette}, o).indices;
      for (uint32_t i = 0; i < c.size; ++i) {
        uint32_t first = 0;
        while (!std::equal(&palette[3 * first], &palette[3 * first + 3], &palette[3 * i])) ++first;
        EXPECT_EQ(indices[i], first) << "palette " << c.palette << ", colour " << i;
      }
    }
  }
}

TEST(Engine, HandWorkedRows) {
  // Floyd-Steinberg to black and white unless a palette is given.
  // 100 100 0 below a black row. Left to right: x0 takes 100 (black, error
  // 100), x1 gets 7/16 of it: 143.75, white. Right to left: x2 is 0, x1 is
  // black and sends 43.75 to x0 (its left, mirrored): 143.75, white.
  // 0 160 0 between a black row and 137 0 0: x1 turns white with error
  // -95 either way; mirrored, the row below gets 1/16 at x0, 5/16 at x1,
  // 3/16 at x2, so 137 at x0 becomes 131.06, white; unmirrored it gets
  // 3/16: 119.19, black.
  // 200 0 130: x0 is white with error -55 and x1 gets -24.06; clamped to 0
  // it is black with no error, so x2 stays 130, white. Unclamped, x1 passes
  // -10.53 on: 119.47, black.
  // Black, blue, green: (0, 0, 200) is blue and sends (0, 0, -24.06) right,
  // so (0, 0, 140) falls to black and (0, 160, 0) stays green. An error
  // taken from another channel (red's 0, or green's measured against
  // blue's 255) would turn them blue and black.
  const std::vector<uint8_t> rgb = {0, 0, 0, 0, 0, 255, 0, 255, 0};
  struct Case {
    std::vector<uint8_t> rows;
    uint32_t width;
    bool serpentine, clamp, colour;
    std::vector<uint8_t> expected;
  } cases[] = {
      {{0, 0, 0, 100, 100, 0}, 3, true, true, false, {0, 0, 0, 1, 0, 0}},
      {{0, 0, 0, 100, 100, 0}, 3, false, true, false, {0, 0, 0, 0, 1, 0}},
      {{0, 0, 0, 0, 160, 0, 137, 0, 0}, 3, true, true, false, {0, 0, 0, 0, 1, 0, 1, 0, 0}},
      {{0, 0, 0, 0, 160, 0, 137, 0, 0}, 3, false, true, false, {0, 0, 0, 0, 1, 0, 0, 0, 0}},
      {{200, 0, 130}, 3, false, true, false, {1, 0, 1}},
      {{200, 0, 130}, 3, false, false, false, {1, 0, 0}},
      {{0, 0, 200, 0, 0, 140}, 2, false, true, true, {1, 0}},
      {{0, 0, 200, 0, 160, 0}, 2, false, true, true, {1, 2}},
  };
  for (const Case& c : cases) {
    NadiroDitherOptions o = c.colour ? withColours(rgb) : optionsWith(NADIRO_PALETTE_BLACK_WHITE);
    o.serpentine = c.serpentine;
    o.clampError = c.clamp;
    const Pixels p{c.width, static_cast<uint32_t>(c.expected.size() / c.width), c.colour ? 3u : 1u,
                   c.rows};
    EXPECT_EQ(ditherToIndices(p, o).indices, c.expected)
        << "serpentine " << c.serpentine << " clamp " << c.clamp << " colour " << c.colour;
  }
}

// The lowest index of least (weighted) squared distance, every entry compared.
uint8_t nearestByHand(const uint8_t* rgb, const std::vector<uint8_t>& palette, bool weighted) {
  const int w[3] = {weighted ? 2 : 1, weighted ? 4 : 1, weighted ? 3 : 1};
  size_t best = 0;
  long bestDistance = -1;
  for (size_t i = 0; i < palette.size() / 3; ++i) {
    long d = 0;
    for (size_t k = 0; k < 3; ++k)
      d += w[k] * long{rgb[k] - palette[3 * i + k]} * (rgb[k] - palette[3 * i + k]);
    if (bestDistance < 0 || d < bestDistance) {
      bestDistance = d;
      best = i;
    }
  }
  return static_cast<uint8_t>(best);
}

TEST(Engine, NearestColoursAndStrengthZero) {
  // Pixels anywhere, and pixels on either side of the colour lookup's cell
  // borders (every 8 levels), where an entry left out of a cell shows first.
  Pixels picture = noisePicture(64, 64, 11);
  for (size_t i = 0; i < picture.bytes.size(); ++i)
    if (i / 3 % 2) picture.bytes[i] = static_cast<uint8_t>((picture.bytes[i] & 0xF8) | (i & 1) * 7);
  struct Case {
    uint32_t size;
    int top;  // colours drawn from 0 .. top (small: crowded, with duplicates)
    bool weighted;
  } cases[] = {{1, 255, false}, {2, 255, false},   {16, 255, false}, {16, 255, true},
               {64, 12, false}, {256, 255, false}, {256, 255, true}};
  for (const Case& c : cases) {
    const std::vector<uint8_t> palette = randomBytes(3 * c.size, c.size + c.weighted, c.top);
    NadiroDitherOptions o = withColours(palette, NADIRO_METHOD_NEAREST);
    o.distance = c.weighted ? NADIRO_DISTANCE_WEIGHTED : NADIRO_DISTANCE_EUCLIDEAN;
    const std::vector<uint8_t> nearest = ditherToIndices(picture, o).indices;
    for (size_t i = 0; i < nearest.size(); ++i)
      ASSERT_EQ(nearest[i], nearestByHand(&picture.bytes[3 * i], palette, c.weighted))
          << c.size << " colours, weighted " << c.weighted << ", pixel " << i;
    // Strength 0 diffuses nothing and shifts by no threshold.
    o.strength = 0;
    for (uint32_t method : {NADIRO_METHOD_DIFFUSION, NADIRO_METHOD_ORDERED})
      for (uint32_t variant = 0; variant < NADIRO_KERNEL_CUSTOM; ++variant) {
        o.method = method;
        o.kernel = variant;
        o.matrix = variant % 3;  // Bayer, clustered, blue noise
        EXPECT_EQ(ditherToIndices(picture, o).indices, nearest)
            << c.size << " colours, method " << method << " variant " << variant;
      }
  }
}

// Two colours equally far from a point: the lower index, also when the
// other lies nearer the centre of the point's lookup cell (red 128 .. 255,
// centre 191.5) and is stored first there. Through the table directly: the
// pixel loops' inline path and the run-time one.
TEST(NearestTable, TiesGoToTheLowerIndex) {
  using namespace engine;
  const Work point{150, 64, 64};
  const std::vector<Work> orders[] = {{{50, 64, 64}, {250, 64, 64}}, {{250, 64, 64}, {50, 64, 64}}};
  for (const std::vector<Work>& palette : orders) {
    NearestTable table(palette, kPlainWeights);
    EXPECT_EQ(table.find(point), 0) << palette[0][0];
    EXPECT_EQ(table.finder().find<kPlainWeights>(point, NearestTable::cellOf(point)), 0)
        << palette[0][0];
  }
}

TEST(Engine, IndicesOverTheSourceMatchThoseBesideIt) {
  const uint32_t width = 23, height = 13;
  const Pixels grey{width, height, 1, randomBytes(size_t{width} * height, 4)};
  const NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_RGB332);
  const std::vector<uint8_t> beside = ditherToIndices(grey, o).indices;
  for (const uint32_t below : {0u, 1u}) {
    std::vector<uint8_t> block(size_t{width} * (height + 1));
    std::copy(grey.bytes.begin(), grey.bytes.end(), block.begin());
    const NadiroDitherSource source{block.data(), width, height, width, NADIRO_PIXELS_GREY8};
    NadiroDitherTarget target{block.data() + width * below, width, NADIRO_PIXELS_INDEX8, 0, {}};
    ASSERT_EQ(NadiroDither(&source, &target, &o), NADIRO_DITHER_OK);
    EXPECT_TRUE(std::equal(beside.begin(), beside.end(), block.begin() + width * below))
        << "rows below the source: " << below;
  }
}

TEST(Engine, LinearLight) {
  // Halfway between black and white lies byte 128 in sRGB bytes (127 just
  // below) and byte 188 in linear light (187 just below: 126.7 of 255).
  const Pixels greys{4, 1, 1, {127, 128, 187, 188}};
  NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_BLACK_WHITE, NADIRO_METHOD_NEAREST);
  EXPECT_EQ(ditherToIndices(greys, o).indices, (std::vector<uint8_t>{0, 1, 1, 1}));
  o.space = NADIRO_SPACE_LINEAR;
  EXPECT_EQ(ditherToIndices(greys, o).indices, (std::vector<uint8_t>{0, 0, 0, 1}));
  // A grey ramp to black and white: the mean over 16-column bands of |share
  // of white pixels - (byte / 255)^2.2|. Measured: about 0.19 in sRGB bytes
  // (mid-greys shown far too light), under 0.01 in linear light.
  Pixels ramp{256, 32, 1, {}};
  for (uint32_t i = 0; i < 256 * 32; ++i) ramp.bytes.push_back(static_cast<uint8_t>(i));
  const auto toneError = [&ramp](uint32_t space) {
    NadiroDitherOptions d = optionsWith(NADIRO_PALETTE_BLACK_WHITE);
    d.space = space;
    const std::vector<uint8_t> shown = ditherToIndices(ramp, d).indices;
    std::array<double, 16> bands{};
    for (size_t i = 0; i < shown.size(); ++i)
      bands[i % 256 / 16] += shown[i] - std::pow(ramp.bytes[i] / 255.0, 2.2);
    double sum = 0;
    for (double b : bands) sum += std::abs(b) / (16 * 32);
    return sum / 16;
  };
  const double srgb = toneError(NADIRO_SPACE_SRGB), linear = toneError(NADIRO_SPACE_LINEAR);
  EXPECT_GT(srgb, 0.08);
  EXPECT_LT(linear, 0.25 * srgb);
}

TEST(Engine, EveryFormatGivesTheSameColours) {
  const Pixels rgb = noisePicture(19, 11, 2);
  // A chosen palette: its colours are counted in the caller's layout too.
  const NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_MEDIAN_CUT);
  const Dithered reference = ditherToIndices(rgb, o);
  struct Format {
    uint32_t format, bytes;
    std::array<uint32_t, 3> at;  // of R, G, B
    int alpha;
  } formats[] = {{NADIRO_PIXELS_RGB24, 3, {0, 1, 2}, -1},
                 {NADIRO_PIXELS_BGR24, 3, {2, 1, 0}, -1},
                 {NADIRO_PIXELS_RGBA32, 4, {0, 1, 2}, 3},
                 {NADIRO_PIXELS_BGRA32, 4, {2, 1, 0}, 3}};
  for (const Format& f : formats) {
    // Padded rows and a varying alpha: alpha kept, padding untouched.
    const uint32_t stride = rgb.width * f.bytes + 5;
    std::vector<uint8_t> in(size_t{stride} * rgb.height, 0xEE), out(in.size(), 0x11);
    std::vector<uint8_t> expected = out;
    for (uint32_t i = 0; i < rgb.width * rgb.height; ++i) {
      const size_t p = (i / rgb.width) * stride + (i % rgb.width) * f.bytes;
      for (size_t k = 0; k < 3; ++k) {
        in[p + f.at[k]] = rgb.bytes[3 * i + k];
        expected[p + f.at[k]] = reference.palette[3 * reference.indices[i] + k];
      }
      if (f.alpha >= 0) in[p + f.alpha] = expected[p + f.alpha] = static_cast<uint8_t>(i * 7);
    }
    const NadiroDitherSource source{in.data(), rgb.width, rgb.height, stride, f.format};
    NadiroDitherTarget target{out.data(), stride, f.format, 0, {}};
    ASSERT_EQ(NadiroDither(&source, &target, &o), NADIRO_DITHER_OK);
    EXPECT_EQ(out, expected) << "format " << f.format;
  }
}

TEST(Engine, ChosenPalettesAreExactForFewColoursAndDeterministic) {
  // Five colours, eight wanted: exactly those five come back.
  const std::vector<uint8_t> colours = {250, 10,  10,  10,  250, 10, 10, 10,
                                        250, 240, 240, 240, 20,  20, 20};
  Pixels five{20, 10, 3, {}};
  for (uint32_t i = 0; i < 200; ++i)
    for (size_t k = 0; k < 3; ++k) five.bytes.push_back(colours[3 * (i * 7 % 5) + k]);
  const Pixels noise = noisePicture(64, 48, 4);
  for (uint32_t how : {NADIRO_PALETTE_MEDIAN_CUT, NADIRO_PALETTE_KMEANS}) {
    NadiroDitherOptions o = optionsWith(how, NADIRO_METHOD_NEAREST);
    o.paletteCount = 8;
    const Dithered d = ditherToIndices(five, o);
    ASSERT_EQ(d.palette.size(), 15u);
    for (size_t i = 0; i < five.bytes.size(); ++i)
      EXPECT_EQ(d.palette[3 * d.indices[i / 3] + i % 3], five.bytes[i]) << i;
    // Noise, 16 wanted: 16 given, the same on a second run.
    o.paletteCount = 16;
    const std::vector<uint8_t> palette = ditherToIndices(noise, o).palette;
    EXPECT_EQ(palette.size(), 48u);
    EXPECT_EQ(ditherToIndices(noise, o).palette, palette);
  }
}

// ---- threshold matrices ----------------------------------------------------

// 16 x 16 tiles of side x side pixels, tile g flat grey g, ordered to black
// and white: per matrix cell, how many greys it shows white (more for a
// higher rank).
std::vector<int> whiteCounts(uint32_t matrix, uint32_t side) {
  const uint32_t w = 16 * side;
  Pixels tiles{w, w, 1, {}};
  for (uint32_t i = 0; i < w * w; ++i)
    tiles.bytes.push_back(static_cast<uint8_t>(i / w / side * 16 + i % w / side));
  NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_BLACK_WHITE, NADIRO_METHOD_ORDERED);
  o.matrix = matrix;
  o.matrixSize = side;
  const std::vector<uint8_t> white = ditherToIndices(tiles, o).indices;
  std::vector<int> counts(size_t{side} * side);
  for (uint32_t i = 0; i < w * w; ++i) counts[i / w % side * side + i % w % side] += white[i];
  return counts;
}

// Each cell's rank: the number of cells with a smaller count.
std::vector<int> ranksOf(const std::vector<int>& counts) {
  std::vector<int> ranks;
  for (int c : counts)
    ranks.push_back(static_cast<int>(
        std::count_if(counts.begin(), counts.end(), [c](int o) { return o < c; })));
  return ranks;
}

TEST(Matrices, BayerIsTheTextbookMatrix) {
  // As printed in the literature on ordered dithering.
  EXPECT_EQ(ranksOf(whiteCounts(NADIRO_MATRIX_BAYER, 2)), (std::vector<int>{0, 2, 3, 1}));
  EXPECT_EQ(ranksOf(whiteCounts(NADIRO_MATRIX_BAYER, 4)),
            (std::vector<int>{0, 8, 2, 10, 12, 4, 14, 6, 3, 11, 1, 9, 15, 7, 13, 5}));
}

TEST(Matrices, ClusteredDotsGrowFromTheCentre) {
  // Up to 255 cells, distinct ranks show as distinct counts.
  for (uint32_t side = 3; side <= 15; ++side) {
    const std::vector<int> counts = whiteCounts(NADIRO_MATRIX_CLUSTERED, side);
    std::vector<std::pair<int, int>> cells;  // count, squared distance from the centre
    for (uint32_t i = 0; i < counts.size(); ++i) {
      const int dx = static_cast<int>(2 * (i % side) + 1 - side);
      const int dy = static_cast<int>(2 * (i / side) + 1 - side);
      cells.push_back({counts[i], dx * dx + dy * dy});
    }
    std::sort(cells.begin(), cells.end());
    for (size_t i = 1; i < cells.size(); ++i) {
      EXPECT_LT(cells[i - 1].first, cells[i].first) << "distinct ranks, side " << side;
      EXPECT_LE(cells[i - 1].second, cells[i].second) << "from the centre, side " << side;
    }
  }
}

TEST(Matrices, BlueNoiseHasNoLowFrequencyEnergy) {
  // Frequencies up to an eighth of the band hold under 5 % of the mean
  // power of the upper half of the band (measured: 0.03 %); white noise
  // holds about as much below as above. Reading the 4096 ranks back through
  // 256 greys adds only a little white noise.
  constexpr uint32_t n = 64;
  const std::vector<int> counts = whiteCounts(NADIRO_MATRIX_BLUE_NOISE, n);
  double mean = 0;
  for (int c : counts) mean += c / double{n * n};
  const auto twiddle = [](uint32_t k) { return std::polar(1.0, -2 * std::numbers::pi * k / n); };
  std::vector<std::complex<double>> rows(n * n);  // transformed along x
  for (uint32_t y = 0; y < n; ++y)
    for (uint32_t u = 0; u < n; ++u)
      for (uint32_t x = 0; x < n; ++x)
        rows[y * n + u] += (counts[y * n + x] - mean) * twiddle(u * x % n);
  double power[3] = {};  // below n / 8, above n / 4, neither (or zero)
  int count[3] = {};
  for (uint32_t v = 0; v < n; ++v)
    for (uint32_t u = 0; u < n; ++u) {
      std::complex<double> s = 0;  // then along y
      for (uint32_t y = 0; y < n; ++y) s += rows[y * n + u] * twiddle(v * y % n);
      const double radius = std::hypot(std::min(u, n - u), std::min(v, n - v));
      const int band = radius == 0 ? 2 : radius <= n / 8.0 ? 0 : radius > n / 4.0 ? 1 : 2;
      power[band] += std::norm(s);
      ++count[band];
    }
  const double low = power[0] / count[0], high = power[1] / count[1];
  EXPECT_LT(low, 0.05 * high) << "low " << low << ", high " << high;
}

}  // namespace
}  // namespace nadiro::test
