// The engine's call end to end: indices and palettes, serpentine scanning,
// strength, linear light, kernels' tone, pixel formats and chosen palettes.
#include <gtest/gtest.h>

#include <cmath>
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

TEST(Engine, CallerPaletteKeepsItsOrderAndIndicesStayInside) {
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
  // Noise to every palette size: no index past the palette.
  const Pixels noise = noisePicture(37, 23, 5);
  for (uint32_t count : {1u, 2u, 5u, 17u, 256u}) {
    std::vector<uint8_t> colours(count * 3);
    std::mt19937 rng(count);
    for (uint8_t& c : colours) c = static_cast<uint8_t>(rng());
    for (uint32_t kernel = 0; kernel < NADIRO_KERNEL_CUSTOM; ++kernel) {
      NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_CUSTOM);
      o.kernel = kernel;
      o.paletteCount = count;
      o.paletteColors = colours.data();
      const Dithered d = ditherToIndices(noise, o);
      ASSERT_EQ(d.status, NADIRO_DITHER_OK);
      for (uint8_t i : d.indices) ASSERT_LT(i, count) << "kernel " << kernel;
    }
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

double linearOf(double byte) {
  const double c = byte / 255;
  return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

// Mean over 16-column bands of |light shown - light of the original|, the
// light shown being the share of white pixels in the band.
double toneError(const Pixels& ramp, const Dithered& d) {
  double total = 0;
  int bands = 0;
  for (uint32_t x0 = 0; x0 < ramp.width; x0 += 16, ++bands) {
    double shown = 0, wanted = 0;
    for (uint32_t y = 0; y < ramp.height; ++y)
      for (uint32_t x = x0; x < x0 + 16; ++x) {
        shown += d.indices[y * ramp.width + x];
        wanted += linearOf(ramp.bytes[y * ramp.width + x]);
      }
    total += std::abs(shown - wanted) / (16.0 * ramp.height);
  }
  return total / bands;
}

TEST(Engine, LinearLightKeepsTheToneOfAGreyRamp) {
  Pixels ramp{256, 64, 1, {}};
  for (uint32_t y = 0; y < 64; ++y)
    for (uint32_t x = 0; x < 256; ++x) ramp.bytes.push_back(static_cast<uint8_t>(x));
  for (uint32_t kernel : {NADIRO_KERNEL_FLOYD_STEINBERG, NADIRO_KERNEL_STUCKI}) {
    NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_BLACK_WHITE);
    o.kernel = kernel;
    const double srgb = toneError(ramp, ditherToIndices(ramp, o));
    o.space = NADIRO_SPACE_LINEAR;
    const double linear = toneError(ramp, ditherToIndices(ramp, o));
    // Measured: sRGB about 0.13 (mid-greys shown far too light), linear
    // under 0.01.
    EXPECT_GT(srgb, 0.08) << kernel;
    EXPECT_LT(linear, 0.25 * srgb) << kernel;
  }
}

TEST(Engine, KernelsKeepTheMeanTone) {
  // A flat grey to black and white keeps its share of white, within the
  // error lost at the picture's edges. Atkinson drops a quarter of every
  // error, which pushes greys towards the nearer end: its share lies past
  // the grey's, on the side of that end.
  for (uint8_t grey : {40, 100, 170}) {
    const Pixels flat = greyPicture(128, std::vector<uint8_t>(128 * 96, grey));
    const double wanted = grey / 255.0;
    for (uint32_t kernel = 0; kernel < NADIRO_KERNEL_CUSTOM; ++kernel) {
      NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_BLACK_WHITE);
      o.kernel = kernel;
      const Dithered d = ditherToIndices(flat, o);
      double white = 0;
      for (uint8_t i : d.indices) white += i;
      const double share = white / static_cast<double>(d.indices.size());
      if (kernel == NADIRO_KERNEL_ATKINSON) {
        EXPECT_GT((share - wanted) * (grey - 127.5), 0.0) << "grey " << int{grey};
        EXPECT_LT(std::abs(share - wanted), 0.15) << "grey " << int{grey};
      } else {
        EXPECT_NEAR(share, wanted, 0.01) << "kernel " << kernel << " grey " << int{grey};
      }
    }
  }
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
