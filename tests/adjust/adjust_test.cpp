// The colour adjustments. The digests were computed once from the library
// when every output agreed byte for byte with a second, independent
// implementation of the adjustments; a change to a core changes them.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>

#include "support/images.h"

namespace nadiro {
namespace {

using test::Bytes;
using Call = std::function<MemHandle(MemHandle)>;

Call bc(int32_t brightness, int32_t contrast) {
  return [=](MemHandle h) { return ColorBrightnessContrast(h, brightness, contrast, 0); };
}
Call hs(int32_t hue, int32_t sat, int32_t in, uint32_t start = 0, uint32_t end = 0) {
  return [=](MemHandle h) { return ColorHueSaturation(h, hue, sat, in, start, end, 0, nullptr); };
}
Call cmyk(int32_t c, int32_t m, int32_t y, int32_t k) {
  return [=](MemHandle h) { return ColorCMYKLevels(h, c, m, y, k, 0, nullptr); };
}
Call gamma(uint32_t r, uint32_t g, uint32_t b) {
  return [=](MemHandle h) { return GammaCorrection(h, r, g, b, 0, nullptr); };
}
Call replace(uint32_t colour, uint32_t tolerance, int32_t hue, int32_t sat = 0, int32_t in = 0) {
  return [=](MemHandle h) { return ReplaceColor(h, colour, tolerance, hue, sat, in, 0, nullptr); };
}
const Call desaturate = [](MemHandle h) { return Desaturate(h, 0, nullptr); };

// The adjusted pixels of a one-row 24-bit image of `bgr` (B, G, R each).
Bytes adjusted(const Call& call, const Bytes& bgr) {
  Bytes image = test::makeDib({int32_t(bgr.size() / 3), 1, 24, 0, 0, test::Fill::Flat});
  std::copy(bgr.begin(), bgr.end(), image.begin() + 40);
  test::ImageHandle in(image);
  test::ImageHandle out(call(in.get()));
  const Bytes got = test::blockBytes(out.get());
  if (got.size() < 40 + bgr.size()) return {};
  return Bytes(got.begin() + 40, got.begin() + 40 + ptrdiff_t(bgr.size()));
}

TEST(Gamma, CurvePoints) {
  const std::tuple<uint8_t, uint32_t, uint8_t> points[] = {
      // value, gamma, result
      {255, 10, 15},  {100, 10, 10},   {50, 10, 7}, {100, 50, 49}, {255, 50, 110}, {100, 200, 199},
      {50, 500, 196}, {100, 100, 100}, {0, 37, 0},  {1, 37, 1},    {128, 200, 255}};
  for (auto [v, g, out] : points)
    EXPECT_EQ(adjusted(gamma(g, g, g), {v, v, v}), (Bytes{out, out, out}))
        << int(v) << " at gamma " << g;
  // Red, green and blue each take their own curve.
  EXPECT_EQ(adjusted(gamma(10, 100, 500), {50, 100, 255}), (Bytes{196, 100, 15}));
}

TEST(BrightnessContrast, TableRules) {
  Bytes every(256 * 3), bright(256 * 3);
  for (size_t i = 0; i < every.size(); ++i) {
    every[i] = static_cast<uint8_t>(i / 3);
    bright[i] = every[i] < 128 ? every[i] + 128 : 255;
  }
  EXPECT_EQ(adjusted(bc(0, 0), every), every) << "0, 0 keeps every byte";
  EXPECT_EQ(adjusted(bc(65536, 65536), every), every) << "only the low 16 bits of value+100";
  EXPECT_EQ(adjusted(bc(100, 0), every), bright) << "brightness 100 adds 128";
  EXPECT_EQ(adjusted(bc(0, -100), every), Bytes(every.size(), 128)) << "contrast -100: grey";
}

// On palette images only the colour table changes (brightness 100 as
// above); 16 and 32-bit images come back with zeroed pixels.
TEST(BrightnessContrast, OtherDepths) {
  for (uint16_t bits : {uint16_t{4}, uint16_t{8}, uint16_t{16}, uint16_t{32}}) {
    const uint32_t entries = bits <= 8 ? 5 : 0;
    const Bytes src = test::makeDib({9, 4, bits, entries, entries});
    Bytes want = src;
    for (size_t i = 40; i < want.size(); ++i) {
      if (i >= 40 + 4 * entries) {
        want[i] = bits <= 8 ? src[i] : 0;
      } else if ((i - 40) % 4 != 3) {
        want[i] = src[i] < 128 ? src[i] + 128 : 255;
      }
    }
    test::ImageHandle in(src);
    test::resetCodes(0, 0);
    test::ImageHandle out(bc(100, 0)(in.get()));
    EXPECT_EQ(test::pixelStatus(), 0u);
    EXPECT_EQ(test::blockBytes(out.get()), want) << bits << " bits";
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
  const struct {
    uint8_t hue, expected;
    Call call;
  } cases[] = {{10, 245, hs(-29, 0, 0)}, {5, 250, replace(0, 0x00FFFFFF, -15)}};
  for (const auto& c : cases) {
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
  const Call call = replace(0x00302010, 0x00030201, 90);
  const Bytes inside = {0x10 + 3, 0x20 - 2, 0x30 + 1}, outside = {0x10 + 4, 0x20, 0x30},
              redOut = {0x10, 0x20, 0x30 + 2};
  EXPECT_NE(adjusted(call, inside), inside);
  EXPECT_EQ(adjusted(call, outside), outside);
  EXPECT_EQ(adjusted(call, redOut), redOut);
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
  EXPECT_EQ(adjusted(desaturate, pixels), want);
}

TEST(Adjustments, EverySettingMatchesItsDigest) {
  const struct {
    const char* name;
    Call run;
    uint64_t digest;
  } settings[] = {
      {"BrightnessContrast_m100_0", bc(-100, 0), 0xE47253006D2B3E2Eull},
      {"BrightnessContrast_0_100", bc(0, 100), 0xCBB2B8A519CA9008ull},
      {"BrightnessContrast_37_m12", bc(37, -12), 0x6536A5536E9F1AA9ull},
      {"BrightnessContrast_m55_80", bc(-55, 80), 0xB03B4D44F67DCC78ull},
      {"BrightnessContrast_m100_m100", bc(-100, -100), 0x143D29A55CBF38D3ull},
      {"HueSaturation_30_10_0_300_60", hs(30, 10, 0, 300, 60), 0xC73C4A542CC7A04Cull},
      {"HueSaturation_m180_255_m255", hs(-180, 255, -255), 0x07964144FF3C0A4Cull},
      {"HueSaturation_180_m255_255", hs(180, -255, 255), 0xBB791A48C8508F60ull},
      {"HueSaturation_90_40_m20_60_300", hs(90, 40, -20, 60, 300), 0x4205377BDEDCAB71ull},
      {"CmykLevels_100", cmyk(100, 100, 100, 100), 0x1ADDBF423AF8A589ull},
      {"CmykLevels_m100", cmyk(-100, -100, -100, -100), 0xBB791A48C8508F60ull},
      {"CmykLevels_50_m30_70_0", cmyk(50, -30, 70, 0), 0x4CA0F9E770592516ull},
      {"Desaturate", desaturate, 0x21C6353539344F78ull},
      {"Gamma_10_50_500", gamma(10, 50, 500), 0x1A3935236E480840ull},
      {"Gamma_200_123_11", gamma(200, 123, 11), 0x415C4959C8CBF185ull},
      {"Replace_808080_404040_60_20_m10", replace(0x00808080, 0x00404040, 60, 20, -10),
       0xAFA4E0BE7C61C36Dull},
      {"Replace_all_m180_m255_255", replace(0x00FFFFFF, 0x00FFFFFF, -180, -255, 255),
       0xBB791A48C8508F60ull},
      {"Replace_10FF20_050A7F_1", replace(0x0010FF20, 0x00050A7F, 1), 0x0B2E75AC0AE87ED8ull},
      {"Replace_303030_FF0000_m10_255_m255", replace(0x00303030, 0x00FF0000, -10, 255, -255),
       0xED10E49889BFE6B0ull},
  };
  // Awkward sizes, and a 24-bit image with a colour table and image size 0
  // (its rows start behind the table, and the size is worked out from the
  // rows). 300 pixels: rows longer than one batch of the HSI adjustments.
  std::vector<Bytes> images;
  uint32_t seed = 3;
  for (auto [w, h] : {std::pair{1, 1}, {2, 3}, {5, 7}, {13, 4}, {33, 3}, {64, 2}, {300, 2}})
    images.push_back(test::image24(w, h, seed++));
  images.push_back(test::makeDib({7, 5, 24, 3, 3, test::Fill::Noise, 41}));
  test::put<uint32_t>(images.back(), 20, 0);
  for (const auto& s : settings) {
    uint64_t h = test::digest({});
    for (const Bytes& image : images) {
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
// without a code, gets the same code); brightness and contrast report 8 in
// the pixel status, the others 4 in the last error.
TEST(Adjustments, SettingsOutOfRangeAreRefused) {
  const struct {
    const char* name;
    Call accepted, refused;
    bool pixelStatus;
  } ranges[] = {
      {"brightness", bc(100, 0), bc(101, 0), true},
      {"contrast", bc(0, -100), bc(0, -101), true},
      {"hue", hs(-180, 0, 0), hs(-181, 0, 0), false},
      {"saturation", hs(0, 255, 0), hs(0, 256, 0), false},
      {"range end", hs(0, 0, 0, 0, 360), hs(0, 0, 0, 0, 361), false},
      {"equal range ends", hs(0, 0, 0, 90, 91), hs(0, 0, 0, 90, 90), false},
      {"ink", cmyk(0, 0, 0, -100), cmyk(0, 0, 0, -101), false},
      {"gamma low", gamma(100, 10, 100), gamma(100, 9, 100), false},
      {"gamma high", gamma(100, 100, 500), gamma(100, 100, 501), false},
      {"replace hue", replace(0, 0, 180), replace(0, 0, 181), false},
      {"replace intensity", replace(0, 0, 0, 0, -255), replace(0, 0, 0, 0, -256), false},
  };
  const Bytes rgb = test::image24(5, 3), grey = test::makeDib({5, 3, 8});
  for (const auto& r : ranges) {
    test::ImageHandle in(rgb), palette(grey);
    test::ImageHandle accepted(r.accepted(in.get()));
    EXPECT_TRUE(accepted) << r.name;
    for (MemHandle image : {in.get(), palette.get()}) {
      test::resetCodes();
      EXPECT_EQ(r.refused(image), nullptr) << r.name;
      EXPECT_EQ(r.pixelStatus ? test::pixelStatus() : test::lastError(), r.pixelStatus ? 8u : 4u)
          << r.name;
    }
  }
}

}  // namespace
}  // namespace nadiro
