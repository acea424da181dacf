// The colour adjustments: worked examples of each rule, the HSI-based ones
// held to the pixel conversions they are defined with, and every adjustment
// over a spread of settings frozen as digests.
//
// The digests were computed once from the library when every output agreed
// byte for byte with a second, independent implementation of the
// adjustments; a change to a core changes them.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/images.h"

namespace nadiro {
namespace {

using test::Bytes;

// The adjusted copy of a 24-bit image of the given pixels (B, G, R each).
Bytes adjusted(const std::function<MemHandle(MemHandle)>& call, const Bytes& bgr,
               int32_t width = 0) {
  const int32_t w = width ? width : static_cast<int32_t>(bgr.size() / 3);
  const int32_t h = static_cast<int32_t>(bgr.size() / 3) / w;
  Bytes image = test::makeDib({w, h, 24, 0, 0, test::Fill::Flat});
  const size_t stride = (3 * static_cast<size_t>(w) + 3) / 4 * 4;
  for (size_t y = 0; y < static_cast<size_t>(h); ++y)
    std::copy_n(bgr.begin() + static_cast<ptrdiff_t>(y * 3 * w), 3 * w,
                image.begin() + 40 + static_cast<ptrdiff_t>(y * stride));
  test::ImageHandle in(image);
  test::ImageHandle out(call(in.get()));
  if (!out) return {};
  const Bytes got = test::blockBytes(out.get());
  Bytes pixels;
  for (size_t y = 0; y < static_cast<size_t>(h); ++y)
    pixels.insert(pixels.end(), got.begin() + 40 + static_cast<ptrdiff_t>(y * stride),
                  got.begin() + 40 + static_cast<ptrdiff_t>(y * stride + 3 * w));
  return pixels;
}

// ---- worked examples --------------------------------------------------------------

TEST(Gamma, CurvePoints) {
  struct Point {
    uint8_t v;
    uint32_t g;
    uint8_t out;
  };
  for (const Point& p :
       {Point{255, 10, 15}, Point{100, 10, 10}, Point{50, 10, 7}, Point{100, 50, 49},
        Point{255, 50, 110}, Point{100, 200, 199}, Point{50, 500, 196}, Point{100, 100, 100},
        Point{0, 37, 0}, Point{1, 37, 1}, Point{128, 200, 255}}) {
    const auto gamma = [&](MemHandle h) { return GammaCorrection(h, p.g, p.g, p.g, 0, nullptr); };
    EXPECT_EQ(adjusted(gamma, {p.v, p.v, p.v}), (Bytes{p.out, p.out, p.out}))
        << int(p.v) << " at gamma " << p.g;
  }
  // Red, green and blue each take their own curve.
  const auto split = [](MemHandle h) { return GammaCorrection(h, 10, 100, 500, 0, nullptr); };
  EXPECT_EQ(adjusted(split, {50, 100, 255}), (Bytes{196, 100, 15}));
}

TEST(BrightnessContrast, TableRules) {
  Bytes every(256 * 3);
  for (size_t i = 0; i < every.size(); ++i) every[i] = static_cast<uint8_t>(i / 3);
  auto bc = [](int32_t b, int32_t c) {
    return [=](MemHandle h) { return ColorBrightnessContrast(h, b, c, 0); };
  };
  EXPECT_EQ(adjusted(bc(0, 0), every, 16), every) << "0, 0 keeps every byte";
  EXPECT_EQ(adjusted(bc(65536, 65536), every, 16), every) << "only the low 16 bits of value+100";
  const Bytes bright = adjusted(bc(100, 0), every, 16), flat = adjusted(bc(0, -100), every, 16);
  ASSERT_EQ(bright.size(), every.size());
  for (size_t i = 0; i < every.size(); ++i) {
    EXPECT_EQ(bright[i], every[i] < 128 ? every[i] + 128 : 255) << "brightness 100 adds 128";
    EXPECT_EQ(flat[i], 128) << "contrast -100 is flat grey";
  }
}

// Both HSI adjustments move the hue byte past its ends: hue/saturation one
// step past a plain modulo (10 - 20 -> 245), colour replacement at 255
// (5 - 10 -> 250). The pixel goes through RGBtoHSI and back with HSItoRGB.
TEST(HueShifts, WrapAsDocumented) {
  auto findHue = [](uint8_t hue) {
    for (int r = 0; r < 256; ++r)
      for (int g = 0; g < 256; g += 5) {
        const NadiroColor3 rgb{{uint8_t(r), uint8_t(g), 0}};
        const NadiroColor3 c = RGBtoHSI(&rgb);
        if (c.v[0] == hue && c.v[1] > 200 && c.v[2] > 100 && c.v[2] < 150) return rgb;
      }
    return NadiroColor3{};
  };
  struct Case {
    uint8_t hue, expected;
    std::function<MemHandle(MemHandle)> call;
  };
  const Case cases[] = {
      {10, 245, [](MemHandle h) { return ColorHueSaturation(h, -29, 0, 0, 0, 0, 0, nullptr); }},
      {5, 250, [](MemHandle h) { return ReplaceColor(h, 0, 0x00FFFFFF, -15, 0, 0, 0, nullptr); }},
  };
  for (const Case& c : cases) {
    const NadiroColor3 rgb = findHue(c.hue);
    NadiroColor3 hsi = RGBtoHSI(&rgb);
    hsi.v[0] = c.expected;
    const NadiroColor3 want = HSItoRGB(&hsi);
    EXPECT_EQ(adjusted(c.call, {rgb.v[2], rgb.v[1], rgb.v[0]}),
              (Bytes{want.v[2], want.v[1], want.v[0]}))
        << "hue byte " << int(c.hue);
  }
}

// The colour's bytes 0, 1, 2 are blue, green, red; the tolerance's are red,
// green, blue: a pixel one past the blue width stays as it is.
TEST(ReplaceColor, BoxPairsColourAndToleranceInReverse) {
  const auto replace = [](MemHandle h) {
    return ReplaceColor(h, 0x00302010, 0x00030201, 90, 0, 0, 0, nullptr);
  };
  const Bytes inside = {0x10 + 3, 0x20 - 2, 0x30 + 1}, outside = {0x10 + 4, 0x20, 0x30},
              redOut = {0x10, 0x20, 0x30 + 2};
  EXPECT_NE(adjusted(replace, inside), inside);
  EXPECT_EQ(adjusted(replace, outside), outside);
  EXPECT_EQ(adjusted(replace, redOut), redOut);
}

// Desaturation's lookup table against its per-pixel rule, RGBtoHSI with the
// saturation set to 0 and back through HSItoRGB, for every pair of largest
// and smallest byte.
TEST(Desaturate, TableMatchesThePerPixelRule) {
  Bytes pixels, want;
  for (int hi = 0; hi < 256; ++hi)
    for (int lo = 0; lo <= hi; lo += 3) {
      const auto mid = static_cast<uint8_t>((hi + lo) / 2);
      const NadiroColor3 rgb{{uint8_t(lo), uint8_t(hi), mid}};
      NadiroColor3 hsi = RGBtoHSI(&rgb);
      hsi.v[1] = 0;
      const NadiroColor3 grey = HSItoRGB(&hsi);
      pixels.insert(pixels.end(), {mid, uint8_t(hi), uint8_t(lo)});
      want.insert(want.end(), {grey.v[2], grey.v[1], grey.v[0]});
    }
  const int32_t width = static_cast<int32_t>(pixels.size() / 3);
  EXPECT_EQ(adjusted([](MemHandle h) { return Desaturate(h, 0, nullptr); }, pixels, width), want);
}

// ---- every adjustment frozen -------------------------------------------------------

struct Setting {
  std::string name;
  std::function<MemHandle(MemHandle)> run;
  uint64_t digest;
};

std::vector<Setting> settings() {
  auto bc = [](int b, int c) {
    return [=](MemHandle h) { return ColorBrightnessContrast(h, b, c, 0); };
  };
  auto hs = [](int hue, int sat, int in, unsigned start, unsigned end) {
    return [=](MemHandle h) { return ColorHueSaturation(h, hue, sat, in, start, end, 0, nullptr); };
  };
  auto cmyk = [](int c, int m, int y, int k) {
    return [=](MemHandle h) { return ColorCMYKLevels(h, c, m, y, k, 0, nullptr); };
  };
  auto gamma = [](unsigned r, unsigned g, unsigned b) {
    return [=](MemHandle h) { return GammaCorrection(h, r, g, b, 0, nullptr); };
  };
  auto replace = [](uint32_t colour, uint32_t tol, int hue, int sat, int in) {
    return [=](MemHandle h) { return ReplaceColor(h, colour, tol, hue, sat, in, 0, nullptr); };
  };
  return {
      {"BrightnessContrast_100_0", bc(100, 0), 0x2F21C70B71D18B74ull},
      {"BrightnessContrast_m100_0", bc(-100, 0), 0xE47253006D2B3E2Eull},
      {"BrightnessContrast_0_100", bc(0, 100), 0xCBB2B8A519CA9008ull},
      {"BrightnessContrast_37_m12", bc(37, -12), 0x6536A5536E9F1AA9ull},
      {"BrightnessContrast_m55_80", bc(-55, 80), 0xB03B4D44F67DCC78ull},
      {"BrightnessContrast_m100_m100", bc(-100, -100), 0x143D29A55CBF38D3ull},
      {"HueSaturation_30_10_0_300_60", hs(30, 10, 0, 300, 60), 0xC73C4A542CC7A04Cull},
      {"HueSaturation_m180_255_m255", hs(-180, 255, -255, 0, 0), 0x07964144FF3C0A4Cull},
      {"HueSaturation_180_m255_255", hs(180, -255, 255, 0, 0), 0xBB791A48C8508F60ull},
      {"HueSaturation_90_40_m20_60_300", hs(90, 40, -20, 60, 300), 0x4205377BDEDCAB71ull},
      {"HueSaturation_m7_3_3_359_1", hs(-7, 3, 3, 359, 1), 0xACF52E22F3DBE2CAull},
      {"CmykLevels_100", cmyk(100, 100, 100, 100), 0x1ADDBF423AF8A589ull},
      {"CmykLevels_m100", cmyk(-100, -100, -100, -100), 0xBB791A48C8508F60ull},
      {"CmykLevels_50_m30_70_0", cmyk(50, -30, 70, 0), 0x4CA0F9E770592516ull},
      {"CmykLevels_m1_1_99_m99", cmyk(-1, 1, 99, -99), 0x8B78475F172D89B5ull},
      {"Desaturate", [](MemHandle h) { return Desaturate(h, 0, nullptr); }, 0x21C6353539344F78ull},
      {"Gamma_10_50_500", gamma(10, 50, 500), 0x1A3935236E480840ull},
      {"Gamma_200_123_11", gamma(200, 123, 11), 0x415C4959C8CBF185ull},
      {"Replace_808080_404040_60_20_m10", replace(0x00808080, 0x00404040, 60, 20, -10),
       0xAFA4E0BE7C61C36Dull},
      {"Replace_all_m180_m255_255", replace(0x00FFFFFF, 0x00FFFFFF, -180, -255, 255),
       0xBB791A48C8508F60ull},
      {"Replace_10FF20_050A7F_1", replace(0x0010FF20, 0x00050A7F, 1, 0, 0), 0x0B2E75AC0AE87ED8ull},
      {"Replace_303030_FF0000_m10_255_m255", replace(0x00303030, 0x00FF0000, -10, 255, -255),
       0xED10E49889BFE6B0ull},
  };
}

// Awkward sizes, and a 24-bit image with a colour table and image size 0 (its
// rows start behind the table, and the size is worked out from the rows).
// 300 pixels: rows longer than one batch of the HSI adjustments (256).
std::vector<Bytes> images() {
  std::vector<Bytes> all;
  uint32_t seed = 3;
  for (auto [w, h] : {std::pair{1, 1}, {2, 3}, {5, 7}, {13, 4}, {33, 3}, {64, 2}, {300, 2}})
    all.push_back(test::image24(w, h, seed++));
  Bytes withTable = test::makeDib({7, 5, 24, 3, 3, test::Fill::Noise, 41});
  test::put<uint32_t>(withTable, 20, 0);
  all.push_back(withTable);
  return all;
}

TEST(Adjustments, EverySettingMatchesItsDigest) {
  const std::vector<Bytes> inputs = images();
  for (const Setting& s : settings()) {
    uint64_t h = test::digest({});
    for (const Bytes& image : inputs) {
      test::ImageHandle in(image);
      test::ImageHandle out(s.run(in.get()));
      ASSERT_TRUE(out) << s.name;
      h = test::digest(test::blockBytes(out.get()), h);
    }
    EXPECT_EQ(test::hex(h), test::hex(s.digest)) << s.name;
  }
}

// Settings outside their ranges, each next to the last value accepted. They
// are checked before the image is read (an 8-bit image, refused later
// without a code, gets the same code); brightness and contrast report in the
// pixel status, the others in the last error.
TEST(Adjustments, SettingsOutOfRangeAreRefused) {
  struct Range {
    const char* name;
    std::function<MemHandle(MemHandle, int32_t edge)> call;  // edge 0 accepted, 1 refused
    bool pixelStatus;
  };
  const Range ranges[] = {
      {"brightness",
       [](MemHandle h, int32_t e) { return ColorBrightnessContrast(h, 100 + e, 0, 0); }, true},
      {"contrast",
       [](MemHandle h, int32_t e) { return ColorBrightnessContrast(h, 0, -100 - e, 0); }, true},
      {"hue",
       [](MemHandle h, int32_t e) {
         return ColorHueSaturation(h, -180 - e, 0, 0, 0, 0, 0, nullptr);
       },
       false},
      {"saturation",
       [](MemHandle h, int32_t e) {
         return ColorHueSaturation(h, 0, 255 + e, 0, 0, 0, 0, nullptr);
       },
       false},
      {"range end",
       [](MemHandle h, int32_t e) {
         return ColorHueSaturation(h, 0, 0, 0, 0, 360u + e, 0, nullptr);
       },
       false},
      {"equal range ends",
       [](MemHandle h, int32_t e) {
         return ColorHueSaturation(h, 0, 0, 0, 90, 91u - e, 0, nullptr);
       },
       false},
      {"ink",
       [](MemHandle h, int32_t e) { return ColorCMYKLevels(h, 0, 0, 0, -100 - e, 0, nullptr); },
       false},
      {"gamma low",
       [](MemHandle h, int32_t e) { return GammaCorrection(h, 100, 10u - e, 100, 0, nullptr); },
       false},
      {"gamma high",
       [](MemHandle h, int32_t e) { return GammaCorrection(h, 100, 100, 500u + e, 0, nullptr); },
       false},
      {"replace hue",
       [](MemHandle h, int32_t e) { return ReplaceColor(h, 0, 0, 180 + e, 0, 0, 0, nullptr); },
       false},
      {"replace intensity",
       [](MemHandle h, int32_t e) { return ReplaceColor(h, 0, 0, 0, 0, -255 - e, 0, nullptr); },
       false},
  };
  const Bytes rgb = test::image24(5, 3), grey = test::makeDib({5, 3, 8});
  for (const Range& r : ranges) {
    test::ImageHandle in(rgb), palette(grey);
    test::ImageHandle accepted(r.call(in.get(), 0));
    EXPECT_TRUE(accepted) << r.name;
    for (MemHandle image : {in.get(), palette.get()}) {
      test::resetCodes();
      EXPECT_EQ(r.call(image, 1), nullptr) << r.name;
      EXPECT_EQ(r.pixelStatus ? test::pixelStatus() : test::lastError(), 8u - 4u * !r.pixelStatus)
          << r.name;
    }
  }
}

// Brightness and contrast on palette images changes the colour table only;
// 16 and 32-bit images come back with zeroed pixels.
TEST(BrightnessContrast, OtherDepths) {
  for (uint16_t bits : {uint16_t{4}, uint16_t{8}, uint16_t{16}, uint16_t{32}}) {
    const Bytes src = test::makeDib({9, 4, bits, bits <= 8 ? 5u : 0u, bits <= 8 ? 5u : 0u});
    test::ImageHandle in(src);
    test::resetCodes(0, 0);
    test::ImageHandle out(ColorBrightnessContrast(in.get(), 100, 0, 0));
    ASSERT_TRUE(out) << bits;
    EXPECT_EQ(test::pixelStatus(), 0u);
    const Bytes got = test::blockBytes(out.get());
    ASSERT_EQ(got.size(), src.size());
    const size_t pixels = bits <= 8 ? 40 + 20 : 40;
    for (size_t i = 0; i < got.size(); ++i) {
      const bool tableColour = i >= 40 && i < pixels && (i - 40) % 4 != 3;
      const uint8_t want = i < 40 || (i < pixels && !tableColour) ? src[i]
                           : tableColour ? uint8_t(src[i] < 128 ? src[i] + 128 : 255)
                           : bits <= 8   ? src[i]
                                         : 0;
      ASSERT_EQ(got[i], want) << bits << " bits, byte " << i;
    }
  }
}

}  // namespace
}  // namespace nadiro
