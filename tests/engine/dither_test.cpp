// The engine's call end to end: indices and palettes, serpentine scanning,
// strength, linear light, pixel formats and chosen palettes.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "engine/engine_support.h"

namespace nadiro::test {
namespace {

Pixels greyPicture(uint32_t width, std::vector<uint8_t> values) {
  return {width, static_cast<uint32_t>(values.size() / width), 1, std::move(values)};
}

Pixels noisePicture(uint32_t width, uint32_t height, uint32_t seed) {
  Pixels p{width, height, 3, std::vector<uint8_t>(size_t{width} * height * 3)};
  std::mt19937 rng(seed);
  for (uint8_t& b : p.bytes) b = static_cast<uint8_t>(rng());
  return p;
}

// The nearest entry of `palette` (R, G, B triples) by plain Euclidean
// distance of the bytes, lowest index among equals.
uint8_t nearestByHand(const uint8_t* rgb, const std::vector<uint8_t>& palette) {
  size_t best = 0;
  long bestDistance = -1;
  for (size_t i = 0; i < palette.size() / 3; ++i) {
    long d = 0;
    for (size_t k = 0; k < 3; ++k)
      d += long{rgb[k] - palette[3 * i + k]} * (rgb[k] - palette[3 * i + k]);
    if (bestDistance < 0 || d < bestDistance) {
      bestDistance = d;
      best = i;
    }
  }
  return static_cast<uint8_t>(best);
}

TEST(Engine, CallerPaletteKeepsItsOrder) {
  // A shuffled palette with a duplicate: the picture made of its colours
  // maps each pixel to the colour's first position, whatever the method.
  const std::vector<uint8_t> palette = {200, 10,  10,  0, 0, 0, 10, 200, 90,
                                        255, 255, 255, 0, 0, 0, 30, 30,  220};
  const uint8_t expected[] = {0, 1, 2, 3, 1, 5};
  Pixels picture{6, 4, 3, {}};
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 0; x < 6; ++x)
      for (size_t k = 0; k < 3; ++k) picture.bytes.push_back(palette[3 * ((x + y) % 6) + k]);
  for (uint32_t method : {NADIRO_METHOD_DIFFUSION, NADIRO_METHOD_NEAREST}) {
    NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_CUSTOM, method);
    o.paletteCount = 6;
    o.paletteColors = palette.data();
    const Dithered d = ditherToIndices(picture, o);
    ASSERT_EQ(d.status, NADIRO_DITHER_OK);
    EXPECT_EQ(d.palette, palette);
    for (uint32_t y = 0; y < 4; ++y)
      for (uint32_t x = 0; x < 6; ++x) EXPECT_EQ(d.indices[y * 6 + x], expected[(x + y) % 6]);
  }
}

TEST(Engine, SerpentineMirrorsTheKernelOnOddRows) {
  // Grey, black and white, Floyd-Steinberg; worked by hand.
  // Picture 1, row 1 = 100 100 0. Left to right: x0 takes 100 (black, error
  // 100), x1 gets 7/16 of it: 143.75, white. Right to left: x2 is 0, x1
  // is black and sends 43.75 to x0 (its left, mirrored): 143.75, white.
  // Picture 2, row 1 = 0 160 0: x1 turns white with error -95 either way;
  // mirrored, the row below gets 1/16 at x0, 5/16 at x1, 3/16 at x2, so
  // row 2's 137 at x0 is 137 - 5.94 = 131.06, white; unmirrored it gets
  // 3/16: 119.19, black.
  struct Case {
    std::vector<uint8_t> rows;
    bool serpentine;
    std::vector<uint8_t> expected;
  } cases[] = {
      {{0, 0, 0, 100, 100, 0}, true, {0, 0, 0, 1, 0, 0}},
      {{0, 0, 0, 100, 100, 0}, false, {0, 0, 0, 0, 1, 0}},
      {{0, 0, 0, 0, 160, 0, 137, 0, 0}, true, {0, 0, 0, 0, 1, 0, 1, 0, 0}},
      {{0, 0, 0, 0, 160, 0, 137, 0, 0}, false, {0, 0, 0, 0, 1, 0, 0, 0, 0}},
  };
  for (const Case& c : cases) {
    NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_BLACK_WHITE);
    o.serpentine = c.serpentine;
    const Dithered d = ditherToIndices(greyPicture(3, c.rows), o);
    ASSERT_EQ(d.status, NADIRO_DITHER_OK);
    EXPECT_EQ(d.indices, c.expected) << "serpentine " << c.serpentine;
  }
}

TEST(Engine, EachChannelCarriesItsOwnError) {
  // Black, blue, green. Pixel 0 (0, 0, 200) takes blue and sends 7/16 of
  // (0, 0, -55) right: pixel 1 (0, 160, 0) stays green. Green error taken
  // from the blue channel (-255) would pull it to black.
  const std::vector<uint8_t> palette = {0, 0, 0, 0, 0, 255, 0, 255, 0};
  NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_CUSTOM);
  o.paletteCount = 3;
  o.paletteColors = palette.data();
  EXPECT_EQ(ditherToIndices({2, 1, 3, {0, 0, 200, 0, 160, 0}}, o).indices,
            (std::vector<uint8_t>{1, 2}));
}

TEST(Engine, StrengthZeroIsPlainNearestColour) {
  const Pixels noise = noisePicture(41, 29, 9);
  const std::vector<uint8_t> palette = {0,   0,   0,   255, 0,   0,   0,   255, 0,  0,  0,
                                        255, 128, 128, 128, 255, 255, 255, 90,  40, 200};
  std::vector<uint8_t> byHand;
  for (size_t i = 0; i < noise.bytes.size(); i += 3)
    byHand.push_back(nearestByHand(&noise.bytes[i], palette));
  for (uint32_t method : {NADIRO_METHOD_DIFFUSION, NADIRO_METHOD_ORDERED})
    for (uint32_t variant = 0; variant < NADIRO_KERNEL_CUSTOM; ++variant) {
      NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_CUSTOM, method);
      o.paletteCount = 7;
      o.paletteColors = palette.data();
      o.strength = 0;
      o.kernel = variant;
      o.matrix = variant % 3;  // Bayer, clustered, blue noise
      const Dithered d = ditherToIndices(noise, o);
      ASSERT_EQ(d.status, NADIRO_DITHER_OK);
      EXPECT_EQ(d.indices, byHand) << "method " << method << " variant " << variant;
    }
}

TEST(Engine, LinearLightMovesTheMiddleGreyToByte188) {
  // Halfway between black and white lies byte 128 in sRGB bytes (127 just
  // below) and byte 188 in linear light (187 just below: 126.7 of 255).
  const Pixels greys = greyPicture(4, {127, 128, 187, 188});
  NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_BLACK_WHITE, NADIRO_METHOD_NEAREST);
  EXPECT_EQ(ditherToIndices(greys, o).indices, (std::vector<uint8_t>{0, 1, 1, 1}));
  o.space = NADIRO_SPACE_LINEAR;
  EXPECT_EQ(ditherToIndices(greys, o).indices, (std::vector<uint8_t>{0, 0, 0, 1}));
}

TEST(Engine, EveryFormatGivesTheSameIndicesAndColours) {
  const Pixels rgb = noisePicture(19, 11, 2);
  NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_RGB332);
  const Dithered reference = ditherToIndices(rgb, o);
  ASSERT_EQ(reference.status, NADIRO_DITHER_OK);
  struct Format {
    uint32_t format, bytes, r, g, b;
    int alpha;
  } formats[] = {{NADIRO_PIXELS_RGB24, 3, 0, 1, 2, -1},
                 {NADIRO_PIXELS_BGR24, 3, 2, 1, 0, -1},
                 {NADIRO_PIXELS_RGBA32, 4, 0, 1, 2, 3},
                 {NADIRO_PIXELS_BGRA32, 4, 2, 1, 0, 3}};
  const uint32_t pad = 5;
  for (const Format& f : formats) {
    // The same picture in this layout, with padded rows and a varying alpha.
    const uint32_t stride = rgb.width * f.bytes + pad;
    std::vector<uint8_t> in(size_t{stride} * rgb.height, 0xEE);
    for (uint32_t i = 0; i < rgb.width * rgb.height; ++i) {
      uint8_t* p = &in[(i / rgb.width) * stride + (i % rgb.width) * f.bytes];
      p[f.r] = rgb.bytes[3 * i];
      p[f.g] = rgb.bytes[3 * i + 1];
      p[f.b] = rgb.bytes[3 * i + 2];
      if (f.alpha >= 0) p[f.alpha] = static_cast<uint8_t>(i * 7);
    }
    const std::vector<uint8_t> before = in;
    const NadiroDitherSource source{in.data(), rgb.width, rgb.height, stride, f.format};
    std::vector<uint8_t> out(in.size(), 0x11);
    NadiroDitherTarget target{};
    target.pixels = out.data();
    target.stride = stride;
    target.format = f.format;
    ASSERT_EQ(NadiroDither(&source, &target, &o), NADIRO_DITHER_OK);
    EXPECT_EQ(in, before) << "the source is only read";
    for (uint32_t i = 0; i < rgb.width * rgb.height; ++i) {
      const uint8_t* q = &out[(i / rgb.width) * stride + (i % rgb.width) * f.bytes];
      const uint8_t* colour = &reference.palette[3 * reference.indices[i]];
      ASSERT_EQ(q[f.r], colour[0]) << f.format << " pixel " << i;
      ASSERT_EQ(q[f.g], colour[1]);
      ASSERT_EQ(q[f.b], colour[2]);
      if (f.alpha >= 0) {
        ASSERT_EQ(q[f.alpha], static_cast<uint8_t>(i * 7));
      }
    }
    for (uint32_t y = 0; y < rgb.height; ++y)
      for (uint32_t k = rgb.width * f.bytes; k < stride; ++k)
        ASSERT_EQ(out[y * stride + k], 0x11) << "padding untouched";
    // In place, the same again.
    target.pixels = in.data();
    ASSERT_EQ(NadiroDither(&source, &target, &o), NADIRO_DITHER_OK);
    for (uint32_t y = 0; y < rgb.height; ++y)
      for (uint32_t k = 0; k < rgb.width * f.bytes; ++k)
        ASSERT_EQ(in[y * stride + k], out[y * stride + k]) << "in place " << f.format;
  }
}

// Indices written over the source itself, or one row below it (over rows
// not read yet), match those written beside it.
TEST(Engine, IndicesOverTheSourceMatchThoseBesideIt) {
  const uint32_t width = 23, height = 13;
  Pixels grey{width, height, 1, std::vector<uint8_t>(size_t{width} * height)};
  std::mt19937 rng(4);
  for (uint8_t& b : grey.bytes) b = static_cast<uint8_t>(rng());
  const NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_RGB332);
  const Dithered reference = ditherToIndices(grey, o);
  ASSERT_EQ(reference.status, NADIRO_DITHER_OK);
  for (uint32_t below : {0u, 1u}) {
    std::vector<uint8_t> block(size_t{width} * (height + 1));
    std::copy(grey.bytes.begin(), grey.bytes.end(), block.begin());
    const NadiroDitherSource source{block.data(), width, height, width, NADIRO_PIXELS_GREY8};
    NadiroDitherTarget target{};
    target.pixels = block.data() + width * below;
    target.stride = width;
    target.format = NADIRO_PIXELS_INDEX8;
    ASSERT_EQ(NadiroDither(&source, &target, &o), NADIRO_DITHER_OK);
    EXPECT_TRUE(std::equal(reference.indices.begin(), reference.indices.end(),
                           block.begin() + width * below))
        << "rows below the source: " << below;
  }
}

TEST(Engine, ChosenPalettesAreDeterministicAndExactForFewColours) {
  // Five colours, wanted eight: exactly those five come back.
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
    ASSERT_EQ(d.status, NADIRO_DITHER_OK);
    ASSERT_EQ(d.palette.size(), 15u);
    for (size_t i = 0; i < 200; ++i)
      for (size_t k = 0; k < 3; ++k)
        EXPECT_EQ(d.palette[3 * d.indices[i] + k], five.bytes[3 * i + k]);
    // Noise, 16 wanted: 16 given, the same on a second run.
    o.paletteCount = 16;
    const Dithered first = ditherToIndices(noise, o), second = ditherToIndices(noise, o);
    EXPECT_EQ(first.palette.size(), 48u);
    EXPECT_EQ(first.palette, second.palette);
    EXPECT_EQ(first.indices, second.indices);
    // The colours are counted from the caller's rows in their layout:
    // the noise as BGRA with padded rows gives the same palette.
    const uint32_t stride = noise.width * 4 + 3;
    std::vector<uint8_t> bgra(size_t{stride} * noise.height, 0x77);
    for (uint32_t i = 0; i < noise.width * noise.height; ++i)
      for (size_t k = 0; k < 3; ++k)
        bgra[(i / noise.width) * stride + (i % noise.width) * 4 + 2 - k] = noise.bytes[3 * i + k];
    const NadiroDitherSource source{bgra.data(), noise.width, noise.height, stride,
                                    NADIRO_PIXELS_BGRA32};
    std::vector<uint8_t> indices(size_t{noise.width} * noise.height);
    NadiroDitherTarget target{indices.data(), noise.width, NADIRO_PIXELS_INDEX8, 0, {}};
    ASSERT_EQ(NadiroDither(&source, &target, &o), NADIRO_DITHER_OK);
    EXPECT_EQ(std::vector<uint8_t>(&target.palette[0][0], &target.palette[0][0] + 48),
              first.palette);
  }
}

}  // namespace
}  // namespace nadiro::test
