// The nearest-colour cell table against the definition: the palette entry
// of least weighted squared distance, the lowest index among equals,
// found by comparing every entry.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "engine/engine.h"

namespace nadiro::engine {
namespace {

// Every entry compared, in 64 bits.
int64_t bruteDistance(const Work& c, const Work& p, const Work& w) {
  int64_t d = 0;
  for (size_t k = 0; k < 3; ++k) d += int64_t{w[k]} * (c[k] - p[k]) * (c[k] - p[k]);
  return d;
}
uint32_t bruteNearest(const std::vector<Work>& palette, const Work& c, const Work& w) {
  uint32_t best = 0;
  for (uint32_t i = 1; i < palette.size(); ++i)
    if (bruteDistance(c, palette[i], w) < bruteDistance(c, palette[best], w)) best = i;
  return best;
}

struct PaletteCase {
  const char* name;
  uint32_t size;
  int spread;  // colours drawn from 0 .. spread (small: crowded, with duplicates)
  bool weighted;
};

class NearestTableMatchesBruteForce : public testing::TestWithParam<PaletteCase> {};

TEST_P(NearestTableMatchesBruteForce, OnRandomColours) {
  const PaletteCase& pc = GetParam();
  const Work w = pc.weighted ? Work{2, 4, 3} : Work{1, 1, 1};
  for (uint32_t seed = 1; seed <= 4; ++seed) {
    std::mt19937 rng(seed * 7919 + pc.size);
    std::uniform_int_distribution<int> colour(0, pc.spread);
    std::vector<Work> palette(pc.size);
    for (Work& p : palette)
      for (int32_t& v : p) v = colour(rng);
    NearestTable table(palette, w);
    // Points anywhere, and points on cell borders (where a candidate left
    // out would show first); the index itself, tie rule included, must agree.
    std::uniform_int_distribution<int> anywhere(0, kWorkMax);
    std::uniform_int_distribution<int> border(0, 63);
    for (int i = 0; i < 3000; ++i) {
      Work c;
      for (int32_t& v : c)
        v = i % 2 ? anywhere(rng)
                  : std::min(kWorkMax, (border(rng) / 2) * 128 + border(rng) % 2 * 127);
      const uint32_t expected = bruteNearest(palette, c, w);
      ASSERT_EQ(table.find(c), expected)
          << pc.name << " seed " << seed << " at " << c[0] << "," << c[1] << "," << c[2];
      // The pixel loops' path, its weights known at compile time.
      const NearestTable::Finder finder = table.finder();
      const uint32_t cell = NearestTable::cellOf(c);
      ASSERT_EQ(pc.weighted ? finder.find<kPerceptualWeights>(c, cell)
                            : finder.find<kPlainWeights>(c, cell),
                expected)
          << pc.name << " seed " << seed << " at " << c[0] << "," << c[1] << "," << c[2];
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Palettes, NearestTableMatchesBruteForce,
                         testing::Values(PaletteCase{"one", 1, kWorkMax, false},
                                         PaletteCase{"two", 2, kWorkMax, false},
                                         PaletteCase{"sixteen", 16, kWorkMax, false},
                                         PaletteCase{"sixteen weighted", 16, kWorkMax, true},
                                         PaletteCase{"crowded duplicates", 64, 200, false},
                                         PaletteCase{"full", 256, kWorkMax, false},
                                         PaletteCase{"full weighted", 256, kWorkMax, true}),
                         [](const testing::TestParamInfo<PaletteCase>& param) {
                           std::string n = param.param.name;
                           for (char& ch : n)
                             if (ch == ' ') ch = '_';
                           return n;
                         });

// Two colours equally far from a point: the lower index, also when the
// other lies nearer the centre of the point's cell (red 128 .. 255, centre
// 191.5) and is stored first there.
TEST(NearestTable, TiesGoToTheLowerIndex) {
  const Work point{150, 64, 64};
  const std::vector<Work> orders[] = {{{50, 64, 64}, {250, 64, 64}}, {{250, 64, 64}, {50, 64, 64}}};
  for (const std::vector<Work>& palette : orders) {
    NearestTable table(palette, kPlainWeights);
    EXPECT_EQ(table.find(point), 0) << palette[0][0];
    EXPECT_EQ(table.finder().find<kPlainWeights>(point, NearestTable::cellOf(point)), 0)
        << palette[0][0];
  }
}

// Every colour of a fixed palette maps to its own index (the palettes hold
// distinct colours), and the index layouts are the documented ones.
TEST(FixedPalettes, IndexLayoutsAndSelfMapping) {
  struct Case {
    FixedPalette which;
    size_t size;
    uint32_t probe;  // an index whose colour is checked
    Rgb colour;
  } cases[] = {
      {FixedPalette::BlackWhite, 2, 1, {255, 255, 255}},
      {FixedPalette::RgbCorners, 8, 6, {255, 255, 0}},  // 4r + 2g + b: yellow
      {FixedPalette::Rgb332, 256, 6 << 5 | 3 << 2 | 1, {219, 109, 85}},
      {FixedPalette::WebSafe, 216, 36 * 1 + 6 * 4 + 5, {51, 204, 255}},
  };
  for (const Case& c : cases) {
    const std::vector<Rgb> p = fixedPalette(c.which);
    ASSERT_EQ(p.size(), c.size);
    EXPECT_EQ(p[c.probe], c.colour) << c.size;
    std::vector<Work> work;
    for (const Rgb& e : p)
      work.push_back({toWorking(e[0], false), toWorking(e[1], false), toWorking(e[2], false)});
    NearestTable table(work, {1, 1, 1});
    for (uint32_t i = 0; i < p.size(); ++i) EXPECT_EQ(table.find(work[i]), i) << c.size;
  }
}

}  // namespace
}  // namespace nadiro::engine
