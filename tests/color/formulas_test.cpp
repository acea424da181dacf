// The byte scaling tables and the under-colour-removal CMYK form.
#include "color/formulas.h"

#include <gtest/gtest.h>

#include <random>

#include "color/reference.h"

namespace nadiro::color {
namespace {

struct Scaling {
  const char* name;
  const std::array<double, 256>* table;
  double scale, offset;  // byte / 255 * scale - offset
};

class ByteScaling : public testing::TestWithParam<Scaling> {};

TEST_P(ByteScaling, TableHoldsTheExpressionForEveryByte) {
  const Scaling& s = GetParam();
  for (int v = 0; v < 256; ++v) {
    volatile double unit = v / 255.0;  // computed at run time, not folded
    const double want = s.offset == 0 ? unit * s.scale : unit * s.scale - s.offset;
    EXPECT_EQ((*s.table)[static_cast<size_t>(v)], want) << s.name << " byte " << v;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Tables, ByteScaling,
    testing::Values(Scaling{"unit", &kUnit, 1, 0}, Scaling{"hue", &kHue, 360, 0},
                    Scaling{"yiqI", &kYiqI, 1.1914, 0.5957}, Scaling{"yiqQ", &kYiqQ, 1.0452, 0.5226},
                    Scaling{"yuvU", &kYuvU, 0.872, 0.436}, Scaling{"yuvV", &kYuvV, 1.23, 0.615},
                    Scaling{"xyzX", &kXyzX, 0.9807, 0}, Scaling{"xyzZ", &kXyzZ, 1.18232, 0},
                    Scaling{"labB", &kLabB, 1.389, 0}),
    [](const testing::TestParamInfo<Scaling>& i) { return i.param.name; });

TEST(Formulas, ToByteClampsThenTruncates) {
  EXPECT_EQ(toByte(-0.7), 0);
  EXPECT_EQ(toByte(-300.0), 0);
  EXPECT_EQ(toByte(0.999), 0);
  EXPECT_EQ(toByte(127.5), 127);
  EXPECT_EQ(toByte(254.9999), 254);
  EXPECT_EQ(toByte(255.0), 255);
  EXPECT_EQ(toByte(1e9), 255);
  EXPECT_EQ(toByte(std::nan("")), 0);
}

TEST(Formulas, HsvCoreLeavesTheTripleForANegativeHue) {
  Triple rgb{0.25, 0.5, 2.0};
  hsvToRgb({-60.0, 1.0, 1.0}, rgb);
  EXPECT_EQ(rgb.a, 0.25);
  EXPECT_EQ(rgb.b, 0.5);
  EXPECT_EQ(rgb.c, 1.0) << "the untouched triple is still clamped";
}

TEST(Formulas, HsiTiesAtTheTopPickTheDocumentedRule) {
  // Red and green tie: the green rule, 2 + (B - R) / d = 1 -> 60 degrees.
  EXPECT_DOUBLE_EQ(rgbToHsi({1.0, 1.0, 0.0}).a, 60.0);
  // Green and blue: the blue rule, 4 + (R - G) / d = 3 -> 180 degrees.
  EXPECT_DOUBLE_EQ(rgbToHsi({0.0, 1.0, 1.0}).a, 180.0);
  // Blue and red: the red rule, (G - B) / d = -1 -> 300 degrees.
  EXPECT_DOUBLE_EQ(rgbToHsi({1.0, 0.0, 1.0}).a, 300.0);
  // Grey: no saturation, hue 0.
  const Triple grey = rgbToHsi({0.5, 0.5, 0.5});
  EXPECT_EQ(grey.a, 0.0);
  EXPECT_EQ(grey.b, 0.0);
  EXPECT_EQ(grey.c, 0.5);
}

std::vector<std::array<uint8_t, 4>> samples(uint32_t seed) {
  static const uint8_t corners[] = {0, 1, 76, 77, 127, 128, 178, 179, 254, 255};
  std::vector<std::array<uint8_t, 4>> out;
  for (uint8_t a : corners)
    for (uint8_t b : corners)
      for (uint8_t c : corners)
        for (uint8_t d : corners) out.push_back({a, b, c, d});
  std::mt19937 rng(seed);
  for (int i = 0; i < 50000; ++i)
    out.push_back({static_cast<uint8_t>(rng()), static_cast<uint8_t>(rng()),
                   static_cast<uint8_t>(rng()), static_cast<uint8_t>(rng())});
  return out;
}

TEST(UnderColourRemoval, ForwardMatchesReference) {
  for (const auto& in : samples(3)) {
    uint8_t got[4];
    rgbToUcrCmyk(in.data(), got);
    const auto want = test::ref::ucrFromRgb(in.data());
    ASSERT_EQ(std::vector<uint8_t>(got, got + 4), std::vector<uint8_t>(want.begin(), want.end()))
        << int(in[0]) << "," << int(in[1]) << "," << int(in[2]);
  }
}

TEST(UnderColourRemoval, BackwardMatchesReference) {
  for (const auto& in : samples(4)) {
    uint8_t got[3];
    ucrCmykToRgb(in.data(), got);
    const auto want = test::ref::ucrToRgb(in.data());
    ASSERT_EQ(std::vector<uint8_t>(got, got + 3), std::vector<uint8_t>(want.begin(), want.begin() + 3));
  }
}

TEST(UnderColourRemoval, WorkedValues) {
  uint8_t out[4];
  // White: no ink at all; stored complements are all 255.
  const uint8_t white[3] = {255, 255, 255};
  rgbToUcrCmyk(white, out);
  EXPECT_EQ(std::vector<uint8_t>(out, out + 4), (std::vector<uint8_t>{255, 255, 255, 255}));
  // Black: k = 1, u = 0.1, K = 0.7 * 0.9 / 0.7 = 0.9; inks 0.9 -> 25.5 -> 25.
  const uint8_t black[3] = {0, 0, 0};
  rgbToUcrCmyk(black, out);
  EXPECT_EQ(std::vector<uint8_t>(out, out + 4), (std::vector<uint8_t>{25, 25, 25, 25}));
  // Stored (255, 255, 255, 255): k = (1 + 0.3857...) / 1.2857... * 0.1 = 0.10777...;
  // 1 - clamp(1 + k) = 0.
  const uint8_t stored[4] = {255, 255, 255, 255};
  uint8_t rgb[3];
  ucrCmykToRgb(stored, rgb);
  EXPECT_EQ(std::vector<uint8_t>(rgb, rgb + 3), (std::vector<uint8_t>{0, 0, 0}));
  // Stored zeros: k = 0.3857.../1.2857... * 0.1 = 0.03; (1 - 0.03) * 255 = 247.35 -> 247.
  const uint8_t zeros[4] = {0, 0, 0, 0};
  ucrCmykToRgb(zeros, rgb);
  EXPECT_EQ(std::vector<uint8_t>(rgb, rgb + 3), (std::vector<uint8_t>{247, 247, 247}));
}

}  // namespace
}  // namespace nadiro::color
