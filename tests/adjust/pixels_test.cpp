// Every adjustment's output block, byte for byte, against the plain
// references on 24-bit images of awkward sizes over a spread of settings,
// and the documented worked examples.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>

#include "adjust/adjust.h"
#include "adjust/reference.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

struct Size {
  int32_t width, height;
};
const Size kSizes[] = {{1, 1}, {2, 3}, {5, 7}, {13, 4}, {33, 3}, {64, 2}};

// One adjustment with one set of settings: the export and the expected block.
struct Case {
  std::string name;
  std::function<MemHandle(MemHandle)> run;
  std::function<std::vector<uint8_t>(const std::vector<uint8_t>&)> expect;
};

Case bc(int b, int c) {
  return {"BrightnessContrast_" + std::to_string(b) + "_" + std::to_string(c),
          [=](MemHandle h) { return ColorBrightnessContrast(h, b, c, 0); },
          [=](const std::vector<uint8_t>& s) { return test::ref::brightnessContrast(s, b, c); }};
}
Case hs(int hue, int sat, int in, unsigned start, unsigned end) {
  // Shift and range in hue bytes, as documented: degrees / 360 * 255, truncated.
  const int shift = static_cast<int>(hue / 360.0 * 255.0);
  unsigned s = 0, e = 255;
  if (start || end) s = unsigned(start / 360.0 * 255.0), e = unsigned(end / 360.0 * 255.0);
  return {"HueSaturation_" + std::to_string(hue) + "_" + std::to_string(sat) + "_" +
              std::to_string(in) + "_" + std::to_string(start) + "_" + std::to_string(end),
          [=](MemHandle h) { return ColorHueSaturation(h, hue, sat, in, start, end, 0, nullptr); },
          [=](const std::vector<uint8_t>& src) {
            return test::ref::hueSaturation(src, shift, sat, in, s, e);
          }};
}
Case cmyk(int c, int m, int y, int k) {
  auto f = [](int v) { return v < 0 ? (v + 100) / 100.0 : v / 100.0 + 1.0; };
  return {"CmykLevels_" + std::to_string(c) + "_" + std::to_string(m) + "_" + std::to_string(y) +
              "_" + std::to_string(k),
          [=](MemHandle h) { return ColorCMYKLevels(h, c, m, y, k, 0, nullptr); },
          [=](const std::vector<uint8_t>& s) {
            return test::ref::cmykLevels(s, f(c), f(m), f(y), f(k));
          }};
}
Case desat(int mode) {
  return {"Desaturate_mode" + std::to_string(mode < 0 ? 9 : mode),
          [=](MemHandle h) { return Desaturate(h, mode, nullptr); },
          [](const std::vector<uint8_t>& s) { return test::ref::desaturate(s); }};
}
Case gamma(unsigned r, unsigned g, unsigned b) {
  return {"Gamma_" + std::to_string(r) + "_" + std::to_string(g) + "_" + std::to_string(b),
          [=](MemHandle h) { return GammaCorrection(h, r, g, b, 0, nullptr); },
          [=](const std::vector<uint8_t>& s) { return test::ref::gammaCorrection(s, r, g, b); }};
}
Case replace(uint32_t colour, uint32_t tol, int hue, int sat, int in) {
  const int shift = static_cast<int>(hue / 360.0 * 255.0);
  return {"Replace_" + std::to_string(colour) + "_" + std::to_string(tol) + "_" +
              std::to_string(hue) + "_" + std::to_string(sat) + "_" + std::to_string(in),
          [=](MemHandle h) { return ReplaceColor(h, colour, tol, hue, sat, in, 0, nullptr); },
          [=](const std::vector<uint8_t>& s) {
            return test::ref::replaceColor(s, colour, tol, shift, sat, in);
          }};
}

std::vector<Case> allCases() {
  return {bc(0, 0), bc(100, 0), bc(-100, 0), bc(0, 100), bc(0, -100), bc(37, -12), bc(-55, 80),
          bc(100, 100), bc(-100, -100),
          hs(0, 0, 0, 0, 0), hs(30, 10, 0, 300, 60), hs(-180, 255, -255, 0, 0), hs(180, -255, 255, 0, 0),
          hs(-20, 0, 0, 0, 120), hs(90, 40, -20, 60, 300), hs(1, 0, 0, 0, 360), hs(-7, 3, 3, 359, 1),
          cmyk(0, 0, 0, 0), cmyk(100, 100, 100, 100), cmyk(-100, -100, -100, -100),
          cmyk(50, -30, 70, 0), cmyk(0, 0, 0, -100), cmyk(0, 0, 0, 100), cmyk(-1, 1, 99, -99),
          desat(0), desat(7), desat(-1),
          gamma(100, 100, 100), gamma(10, 50, 500), gamma(200, 123, 11), gamma(500, 10, 99),
          replace(0x00808080, 0x00404040, 60, 20, -10), replace(0x00FFFFFF, 0x00FFFFFF, -180, -255, 255),
          replace(0x00000000, 0, 180, 0, 0), replace(0x0010FF20, 0x00050A7F, 1, 0, 0),
          replace(0x00303030, 0x00FF0000, -10, 255, -255), replace(0x00102030, 0, 0, 0, 0)};
}

// Parameters print as their names.
void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

class AdjustPixels : public testing::TestWithParam<Case> {};

TEST_P(AdjustPixels, MatchesTheReferenceByteForByte) {
  const Case& c = GetParam();
  uint32_t seed = 3;
  for (const Size& s : kSizes) {
    const std::vector<uint8_t> src = test::ref::testImage(s.width, s.height, seed++);
    test::ImageHandle in(src);
    // Brightness/contrast reports in the pixel status and leaves the last
    // error alone, so start from a clean field whatever ran before.
    threadErrorBlock()->lastError = 0;
    test::ImageHandle out(c.run(in.get()));
    ASSERT_TRUE(out) << s.width << "x" << s.height;
    EXPECT_EQ(GetLastColorConvertError(), 0u);
    EXPECT_EQ(test::blockBytes(out.get()), c.expect(src)) << s.width << "x" << s.height;
    EXPECT_EQ(test::blockBytes(in.get()), src) << "the caller's image is never changed";
    EXPECT_TRUE(test::notLocked(in.get()));
    EXPECT_TRUE(test::notLocked(out.get()));
  }
}

// Test names: a minus sign becomes "m".
std::string caseName(const testing::TestParamInfo<Case>& i) {
  std::string n = i.param.name;
  for (char& ch : n)
    if (ch == '-') ch = 'm';
  return n;
}

INSTANTIATE_TEST_SUITE_P(Settings, AdjustPixels, testing::ValuesIn(allCases()), caseName);

// A 24-bit image may carry a colour table: its rows start behind the table,
// which stays as it is, and an image size of 0 is worked out from the rows.
TEST_P(AdjustPixels, RowsStartBehindAColourTable) {
  const Case& c = GetParam();
  test::DibSpec spec;
  spec.width = 7;
  spec.height = 5;
  spec.bits = 24;
  spec.clrUsed = 3;
  spec.tableEntries = 3;
  spec.seed = 41;
  std::vector<uint8_t> src = test::makeDib(spec);
  for (int k = 20; k < 24; ++k) src[size_t(k)] = 0;  // image size 0
  test::ImageHandle in(src);
  threadErrorBlock()->lastError = 0;
  test::ImageHandle out(c.run(in.get()));
  ASSERT_TRUE(out);
  const std::vector<uint8_t> got = test::blockBytes(out.get());
  EXPECT_EQ(got, c.expect(src));
  EXPECT_TRUE(std::equal(src.begin(), src.begin() + 52, got.begin()))
      << "header and colour table are copied unchanged";
}

// ---- the documented examples ---------------------------------------------

TEST(AdjustExamples, GammaCurve) {
  struct Point {
    uint32_t v, g, out;
  };
  for (const Point& p : {Point{255, 10, 15}, Point{100, 10, 10}, Point{50, 10, 7},
                         Point{100, 50, 49}, Point{255, 50, 110}, Point{100, 200, 199},
                         Point{50, 500, 196}, Point{100, 100, 100}})
    EXPECT_EQ(adjust::gammaCurve(p.v, p.g), p.out) << p.v << " at gamma " << p.g;
  for (uint32_t g = 10; g <= 500; g += 7) {
    EXPECT_EQ(adjust::gammaCurve(0, g), 0);
    EXPECT_EQ(adjust::gammaCurve(1, g), 1);
  }
  for (uint32_t v = 128; v < 256; ++v) EXPECT_EQ(adjust::gammaCurve(v, 200), 255) << v;
  const auto curves = adjust::gammaCurves(10, 50, 500);
  for (int v = 0; v < 256; ++v) {
    EXPECT_EQ(curves.red[size_t(v)], test::ref::gamma(v, 10));
    EXPECT_EQ(curves.green[size_t(v)], test::ref::gamma(v, 50));
    EXPECT_EQ(curves.blue[size_t(v)], test::ref::gamma(v, 500));
  }
}

TEST(AdjustExamples, BrightnessContrastTable) {
  const auto identity = adjust::brightnessContrastTable(0, 0);
  const auto bright = adjust::brightnessContrastTable(100, 0);
  const auto flat = adjust::brightnessContrastTable(0, -100);
  const auto wrapped = adjust::brightnessContrastTable(65536, 65536);
  for (int i = 0; i < 256; ++i) {
    const size_t k = size_t(i);
    EXPECT_EQ(identity[k], i);
    EXPECT_EQ(bright[k], i < 128 ? i + 128 : 255) << i;
    EXPECT_EQ(flat[k], 128);
    EXPECT_EQ(wrapped[k], i) << "65536 acts as 0";
  }
  for (int b : {-100, -37, 0, 55, 100})
    for (int c : {-100, -12, 0, 80, 100}) {
      const auto t = adjust::brightnessContrastTable(b, c);
      for (int i = 0; i < 256; ++i)
        ASSERT_EQ(t[size_t(i)], test::ref::brightnessContrastEntry(i, b, c)) << b << " " << c;
    }
}

TEST(AdjustExamples, RangeChecksReadSixteenBits) {
  EXPECT_TRUE(adjust::contrastSettingsInRange(100, -100));
  EXPECT_FALSE(adjust::contrastSettingsInRange(101, 0));
  EXPECT_FALSE(adjust::contrastSettingsInRange(-101, 0));
  EXPECT_FALSE(adjust::contrastSettingsInRange(0, 101));
  EXPECT_TRUE(adjust::contrastSettingsInRange(65536, 65536));
  EXPECT_TRUE(adjust::contrastSettingsInRange(-65536 + 100, 0));
}

TEST(AdjustExamples, HueShiftsAndWraps) {
  EXPECT_EQ(adjust::hueShiftToBytes(180), 127);
  EXPECT_EQ(adjust::hueShiftToBytes(-180), -127);
  EXPECT_EQ(adjust::hueShiftToBytes(1), 0);
  EXPECT_EQ(adjust::hueDegreesToBytes(300), 212u);
  EXPECT_EQ(adjust::hueDegreesToBytes(60), 42u);
  EXPECT_EQ(adjust::hueDegreesToBytes(120), 85u);
  EXPECT_EQ(adjust::hueDegreesToBytes(360), 255u);
  // Hue and saturation: one step past a plain modulo.
  EXPECT_EQ(adjust::wrapHueStepPast(10 - 20), 245);
  EXPECT_EQ(adjust::wrapHueStepPast(250 + 20), 15);
  EXPECT_EQ(adjust::wrapHueStepPast(255), 255);
  EXPECT_EQ(adjust::wrapHueStepPast(0), 0);
  // Replace colour: wraps at 255.
  EXPECT_EQ(adjust::wrapHueAt255(5 - 10), 250);
  EXPECT_EQ(adjust::wrapHueAt255(250 + 10), 5);
  EXPECT_EQ(adjust::wrapHueAt255(255), 255);
  EXPECT_EQ(adjust::wrapHueAt255(256), 1);
}

TEST(AdjustExamples, CmykFactors) {
  EXPECT_EQ(adjust::cmykFactor(-100), 0.0);
  EXPECT_EQ(adjust::cmykFactor(0), 1.0);
  EXPECT_EQ(adjust::cmykFactor(100), 2.0);
  EXPECT_EQ(adjust::cmykFactor(-30), 0.7);
  EXPECT_EQ(adjust::cmykFactor(50), 1.5);
}

TEST(AdjustExamples, ReplaceBoxPairsColourAndToleranceInReverse) {
  const adjust::ColorBox b = adjust::replaceBox(0x00302010, 0x00030201);
  // colour bytes 0,1,2 = 0x10 (blue), 0x20 (green), 0x30 (red); tolerance
  // bytes 0,1,2 = 1 (red), 2 (green), 3 (blue).
  EXPECT_EQ(b.blueLo, 0x10 - 3);
  EXPECT_EQ(b.blueHi, 0x10 + 3);
  EXPECT_EQ(b.greenLo, 0x20 - 2);
  EXPECT_EQ(b.greenHi, 0x20 + 2);
  EXPECT_EQ(b.redLo, 0x30 - 1);
  EXPECT_EQ(b.redHi, 0x30 + 1);
  const adjust::ColorBox wide = adjust::replaceBox(0x00FF0000, 0x00FFFFFF);
  EXPECT_EQ(wide.blueLo, -255);
  EXPECT_EQ(wide.redHi, 510);
}

// A pixel of hue byte 10 shifted by -20 hue bytes ends at hue byte 245 in
// hue/saturation; one of hue 5 shifted by -10 at 250 in colour replacement.
// Found among all pixel values, then run through the cores.
TEST(AdjustExamples, HueWrapsOnRealPixels) {
  auto findHue = [](int hue) {
    for (int r = 0; r < 256; r += 1)
      for (int g = 0; g < 256; g += 5) {
        const auto c = test::ref::rgbToHsi({r, g, 0});
        if (c.h == hue && c.s > 200 && c.i > 100 && c.i < 150) return test::ref::Rgb{r, g, 0};
      }
    return test::ref::Rgb{-1, -1, -1};
  };
  for (const auto& [hue, shift, expected, replaceRule] :
       {std::tuple{10, -20, 245, false}, std::tuple{5, -10, 250, true}}) {
    const test::ref::Rgb rgb = findHue(hue);
    ASSERT_GE(rgb.r, 0);
    uint8_t px[3] = {uint8_t(rgb.b), uint8_t(rgb.g), uint8_t(rgb.r)};
    const auto before = test::ref::rgbToHsi(rgb);
    const auto want = test::ref::hsiToRgb({expected, before.s, before.i});
    if (replaceRule) {
      adjust::Replacement r;
      r.box = adjust::replaceBox(0, 0x00FFFFFF);
      r.hueShift = shift;
      adjust::replaceColorRow(px, 1, r);
    } else {
      adjust::HueSaturation s;
      s.hueShift = shift;
      adjust::hueSaturationRow(px, 1, s);
    }
    EXPECT_EQ(px[2], want.r);
    EXPECT_EQ(px[1], want.g);
    EXPECT_EQ(px[0], want.b);
  }
}

TEST(AdjustExamples, GreyStaysGrey) {
  for (int v = 0; v < 256; ++v) {
    uint8_t px[3] = {uint8_t(v), uint8_t(v), uint8_t(v)};
    adjust::desaturateRow(px, 1);
    EXPECT_EQ(px[0], px[1]);
    EXPECT_EQ(px[1], px[2]);
    const auto want = test::ref::hsiToRgb({0, 0, test::ref::rgbToHsi({v, v, v}).i});
    EXPECT_EQ(px[0], want.r) << v;
  }
}

// Desaturation takes every pixel value the same way as the per-pixel rule:
// all pairs of largest and smallest byte, with the middle byte anywhere.
TEST(AdjustExamples, DesaturateOverAllExtremes) {
  for (int hi = 0; hi < 256; ++hi)
    for (int lo = 0; lo <= hi; lo += 3) {
      const int mid = (hi + lo) / 2;
      uint8_t px[3] = {uint8_t(mid), uint8_t(hi), uint8_t(lo)};
      const auto c = test::ref::rgbToHsi({lo, hi, mid});
      const auto want = test::ref::hsiToRgb({c.h, 0, c.i});
      adjust::desaturateRow(px, 1);
      ASSERT_EQ(px[0], want.b) << hi << " " << lo;
      ASSERT_EQ(px[1], want.g);
      ASSERT_EQ(px[2], want.r);
    }
}

}  // namespace
}  // namespace nadiro
