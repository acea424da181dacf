// The nearest-colour cell table against the definition: the palette entry
// of least weighted squared distance, the lowest index among equals,
// found by comparing every entry.
#include <gtest/gtest.h>

#include <random>

#include "engine/engine.h"

namespace nadiro::engine {
namespace {

// Every entry compared, in double.
double bruteDistance(const Work& c, const Work& p, const Work& w) {
  double d = 0;
  for (size_t k = 0; k < 3; ++k) d += double{w[k]} * (double{c[k]} - p[k]) * (double{c[k]} - p[k]);
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
      for (float& v : p) v = static_cast<float>(colour(rng));
    NearestTable table(palette, w);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_real_distribution<float> real(0.0f, 255.0f);
    for (int i = 0; i < 3000; ++i) {
      // Whole bytes: distances are exact integers, so the index itself,
      // tie rule included, must agree.
      const Work whole{static_cast<float>(byte(rng)), static_cast<float>(byte(rng)),
                       static_cast<float>(byte(rng))};
      ASSERT_EQ(table.find(whole), bruteNearest(palette, whole, w))
          << pc.name << " seed " << seed << " at " << whole[0] << "," << whole[1] << ","
          << whole[2];
      // Fractions: the chosen entry is as near as the nearest.
      const Work frac{real(rng), real(rng), real(rng)};
      const uint32_t got = table.find(frac);
      ASSERT_LT(got, palette.size());
      EXPECT_LE(bruteDistance(frac, palette[got], w),
                bruteDistance(frac, palette[bruteNearest(palette, frac, w)], w) * (1 + 1e-6) + 1e-4)
          << pc.name << " seed " << seed;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Palettes, NearestTableMatchesBruteForce,
                         testing::Values(PaletteCase{"two", 2, 255, false},
                                         PaletteCase{"sixteen", 16, 255, false},
                                         PaletteCase{"sixteen weighted", 16, 255, true},
                                         PaletteCase{"crowded duplicates", 64, 12, false},
                                         PaletteCase{"full", 256, 255, false},
                                         PaletteCase{"full weighted", 256, 255, true}));

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
      work.push_back(
          {static_cast<float>(e[0]), static_cast<float>(e[1]), static_cast<float>(e[2])});
    NearestTable table(work, {1, 1, 1});
    for (uint32_t i = 0; i < p.size(); ++i) EXPECT_EQ(table.find(work[i]), i) << c.size;
  }
}

}  // namespace
}  // namespace nadiro::engine
