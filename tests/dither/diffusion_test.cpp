#include "dither/diffusion.h"

#include <gtest/gtest.h>

#include <string>

#include "dither/dither_reference.h"
#include "frame/dib.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using Export = NadiroHandle (*)(NadiroHandle, int32_t);

// Each export as a host calls it, with the reference kernel and form it must follow.
struct Variant {
  const char* name;
  Export call;
  const test::RefKernel& (*kernel)();
  bool overwriting;  // before the 8-bit target forces it
};

const Variant kVariants[] = {
    {"FS4", [](NadiroHandle h, int32_t b) { return DitherFS4(h, b); }, test::refFloydSteinberg, true},
    {"FS4ExFlag0", [](NadiroHandle h, int32_t b) { return DitherFS4Ex(h, b, 0); }, test::refFloydSteinberg, true},
    {"FS4ExFlag1", [](NadiroHandle h, int32_t b) { return DitherFS4Ex(h, b, 1); }, test::refFloydSteinberg, false},
    {"FS4ExFlagMinus9", [](NadiroHandle h, int32_t b) { return DitherFS4Ex(h, b, -9); }, test::refFloydSteinberg, false},
    {"JJN", [](NadiroHandle h, int32_t b) { return DitherJJN(h, b); }, test::refJarvisJudiceNinke, true},
    {"JJNExFlag0", [](NadiroHandle h, int32_t b) { return DitherJJNEx(h, b, 0); }, test::refJarvisJudiceNinke, true},
    {"JJNExFlag1", [](NadiroHandle h, int32_t b) { return DitherJJNEx(h, b, 1); }, test::refJarvisJudiceNinke, false},
    {"Stucki", [](NadiroHandle h, int32_t b) { return DitherStucki(h, b); }, test::refStucki, false},
    {"Burkes", [](NadiroHandle h, int32_t b) { return DitherBurkes(h, b); }, test::refBurkes, false},
    {"Sierra", [](NadiroHandle h, int32_t b) { return DitherSierra(h, b); }, test::refSierra, false},
    {"SA", [](NadiroHandle h, int32_t b) { return DitherSA(h, b); }, test::refStevensonArce, false},
};

struct Case {
  const Variant* variant;
  uint16_t depth;
  int32_t bits;
};

std::vector<Case> allCases() {
  std::vector<Case> cases;
  for (const Variant& v : kVariants)
    for (auto [depth, bits] : {std::pair<uint16_t, int32_t>{4, 1}, {8, 1}, {8, 4}, {24, 1}, {24, 4}, {24, 8}})
      cases.push_back({&v, depth, bits});
  return cases;
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
  return std::string(info.param.variant->name) + "_" + std::to_string(info.param.depth) + "to" +
         std::to_string(info.param.bits);
}

std::vector<uint8_t> expected(const Case& c, const std::vector<uint8_t>& in, test::RefStats* stats = nullptr) {
  return test::refDiffuse(in, c.bits, c.variant->kernel(), c.variant->overwriting || c.bits == 8, stats);
}

class DiffusionMatchesReference : public testing::TestWithParam<Case> {};

TEST_P(DiffusionMatchesReference, WholeBlockOnAwkwardSizes) {
  const Case& c = GetParam();
  test::expectMatchOnAwkwardImages(
      c.depth, 1, [&](MemHandle h) { return c.variant->call(h, c.bits); },
      [&](const std::vector<uint8_t>& in) { return expected(c, in); });
}

// Saturated images drive the 8-bit quantiser's error (255 still carries 31)
// and long 1-bit runs far enough that entries wrap at 16 bits.
class DiffusionOfSaturatedImages : public testing::TestWithParam<Case> {};

TEST_P(DiffusionOfSaturatedImages, MatchReference) {
  const Case& c = GetParam();
  for (int32_t width : {5, 40}) {
    auto in = test::makeDib({.width = width, .height = 160, .bits = 24, .fill = test::Fill::Flat});
    std::fill(in.begin() + 40, in.end(), uint8_t{255});
    test::ImageHandle img(in);
    test::ImageHandle out(c.variant->call(img.get(), c.bits));
    ASSERT_TRUE(out);
    EXPECT_EQ(test::blockBytes(out.get()), expected(c, in)) << width;
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, DiffusionMatchesReference, testing::ValuesIn(allCases()), caseName);
INSTANTIATE_TEST_SUITE_P(Exports, DiffusionOfSaturatedImages, testing::ValuesIn([] {
                           auto cases = allCases();
                           std::erase_if(cases, [](const Case& c) { return c.depth != 24; });
                           return cases;
                         }()),
                         caseName);

TEST(Diffusion, SaturatedEightBitTargetsWrapTheirEntries) {
  // A white image keeps adding 31 per channel per pixel; the accumulating
  // kernels pile it up until 16-bit entries wrap. The reference counts the
  // wraps, so this shows the comparison above covers them.
  auto in = test::makeDib({.width = 40, .height = 160, .bits = 24, .fill = test::Fill::Flat});
  std::fill(in.begin() + 40, in.end(), uint8_t{255});
  test::RefStats stats;
  test::refDiffuse(in, 8, test::refStucki(), false, &stats);
  EXPECT_GT(stats.wraps, 0);
}

TEST(Diffusion, DocumentedCases) {
  // Uniform grey 128 to 1 bit: the first pixel is black (128 is not above
  // 128), about half the pixels white, and the two Floyd-Steinberg forms differ.
  auto grey = test::makeDib({.width = 32, .height = 8, .bits = 24, .fill = test::Fill::Flat});
  std::fill(grey.begin() + 40, grey.end(), uint8_t{128});
  test::ImageHandle img(grey);
  test::ImageHandle accumulating(DitherFS4Ex(img.get(), 1, 1));
  test::ImageHandle overwriting(DitherFS4(img.get(), 1));
  const auto a = test::blockBytes(accumulating.get());
  const auto o = test::blockBytes(overwriting.get());
  ASSERT_EQ(a.size(), 48u + 4 * 8);
  EXPECT_EQ(a[48] & 0x80, 0);
  int white = 0;
  for (size_t i = 48; i < a.size(); ++i) white += __builtin_popcount(a[i]);
  EXPECT_NEAR(white, 128, 16);
  EXPECT_NE(a, o);

  // Pure white is all set bits and pure black all clear, with the unused
  // low bits of each row's last byte clear (width 13).
  for (uint8_t value : {uint8_t{255}, uint8_t{0}}) {
    auto flat = test::makeDib({.width = 13, .height = 3, .bits = 24, .fill = test::Fill::Flat});
    std::fill(flat.begin() + 40, flat.end(), value);
    test::ImageHandle f(flat);
    for (Export call : {kVariants[0].call, kVariants[4].call, kVariants[10].call}) {
      test::ImageHandle out(call(f.get(), 1));
      const auto b = test::blockBytes(out.get());
      for (int y = 0; y < 3; ++y) {
        EXPECT_EQ(b[48 + 4 * y], value ? 0xFF : 0);
        EXPECT_EQ(b[48 + 4 * y + 1], value ? 0xF8 : 0);
        EXPECT_EQ(b[48 + 4 * y + 2], 0);
      }
    }
  }

  // 255 to 8 bits is level 7 (palette 255) and still carries 31 (63 for
  // blue) to its neighbour: 220 + 7*31/16 = 233 is level 7, not 6, and
  // 180 + 7*63/16 = 207 is blue level 3, not 2.
  auto pair = test::makeDib({.width = 2, .height = 1, .bits = 24, .fill = test::Fill::Flat});
  const uint8_t px[6] = {255, 255, 255, 180, 220, 220};
  std::copy(px, px + 6, pair.begin() + 40);
  test::ImageHandle p(pair);
  test::ImageHandle out(DitherFS4(p.get(), 8));
  const auto b = test::blockBytes(out.get());
  EXPECT_EQ(b[1064], 0xFF);
  EXPECT_EQ(b[1065], 0xFF) << "the neighbour of 255 got its error";
  EXPECT_EQ(b[40 + 4 * 0xFF + 2], 255);
}

TEST(Diffusion, KernelShapes) {
  using dither::Diffusion;
  EXPECT_EQ(dither::diffusionRowsPerChannel(Diffusion::FloydSteinberg), 2u);
  EXPECT_EQ(dither::diffusionRowsPerChannel(Diffusion::Burkes), 2u);
  EXPECT_EQ(dither::diffusionRowsPerChannel(Diffusion::Sierra), 2u);
  EXPECT_EQ(dither::diffusionRowsPerChannel(Diffusion::JarvisJudiceNinke), 3u);
  EXPECT_EQ(dither::diffusionRowsPerChannel(Diffusion::Stucki), 3u);
  EXPECT_EQ(dither::diffusionRowsPerChannel(Diffusion::StevensonArce), 4u);
  // The reference kernels' weights sum to their divisors.
  for (auto k : {test::refFloydSteinberg, test::refJarvisJudiceNinke, test::refStucki,
                 test::refBurkes, test::refSierra, test::refStevensonArce}) {
    int sum = 0;
    for (const auto& t : k().taps) sum += t.weight;
    EXPECT_EQ(sum, k().divisor);
  }
}

TEST(Diffusion, ReadsPaletteImagesAtTheirFixedOffsets) {
  // Fewer colours in the header, or a 12-byte header, change nothing: the
  // pixel bits are taken at 1064 (8-bit) and 104 (4-bit) all the same.
  for (uint16_t depth : {uint16_t{8}, uint16_t{4}}) {
    auto in = test::makeDib({.width = 11, .height = 5, .bits = depth, .clrUsed = 3});
    for (uint32_t headerSize : {40u, 12u}) {
      dib::store(in.data(), 0, headerSize);
      test::ImageHandle img(in);
      test::ImageHandle out(DitherBurkes(img.get(), 1));
      ASSERT_TRUE(out);
      EXPECT_EQ(test::blockBytes(out.get()), test::refDiffuse(in, 1, test::refBurkes(), false));
    }
  }
}

// ---- Refusals --------------------------------------------------------

class DiffusionRefuses : public testing::TestWithParam<const Variant*> {};

TEST_P(DiffusionRefuses, WithTheDocumentedCodes) {
  const Export call = GetParam()->call;
  const auto good = test::makeDib({.width = 9, .height = 4, .bits = 24});
  test::ImageHandle img(good);
  // bits is checked before the handle is looked at.
  for (int32_t bits : {0, 2, 3, 5, 16, 24, -1})
    test::expectRefused(call, test::garbageHandle(3), bits, NADIRO_PIXEL_BAD_ARGUMENT, "bits");
  test::expectRefused(call, nullptr, 1, NADIRO_PIXEL_BAD_ARGUMENT, "null handle");
  test::expectRefused(call, test::garbageHandle(5), 4, NADIRO_PIXEL_CANNOT_LOCK, "garbage handle");

  // Source depth: deeper than the target and 4, 8 or 24.
  const std::pair<uint16_t, int32_t> badDepths[] = {{4, 4}, {4, 8}, {8, 8}, {1, 1},
                                                    {16, 1}, {16, 4}, {32, 1}, {32, 8}};
  for (auto [depth, bits] : badDepths) {
    const auto in = test::makeDib({.width = 6, .height = 3, .bits = depth});
    test::ImageHandle h(in);
    test::expectRefused(call, h.get(), bits, NADIRO_PIXEL_BAD_SOURCE_DEPTH, "depth");
    EXPECT_EQ(test::blockBytes(h.get()), in);
    EXPECT_TRUE(test::notLocked(h.get()));
  }

  // Malformed blocks: refused as bad arguments, never read past, unchanged.
  test::expectMalformedBlocksRefused(call, good);

  // An empty image has no rows to allocate: the scratch blocks fail.
  for (auto [w, h] : {std::pair{0, 4}, {5, 0}}) {
    auto bytes = test::makeDib({.width = w, .height = h, .bits = 24});
    test::ImageHandle e(bytes);
    test::expectRefused(call, e.get(), 1, NADIRO_PIXEL_NO_MEMORY, "empty image");
    EXPECT_TRUE(test::notLocked(e.get()));
  }

  // A success after all of that leaves 0.
  test::ImageHandle out(call(img.get(), 4));
  EXPECT_TRUE(out);
  EXPECT_EQ(threadErrorBlock()->pixelStatus, NADIRO_PIXEL_OK);
}

INSTANTIATE_TEST_SUITE_P(Exports, DiffusionRefuses,
                         testing::ValuesIn([] {
                           std::vector<const Variant*> v;
                           for (const Variant& x : kVariants) v.push_back(&x);
                           return v;
                         }()),
                         [](const auto& p) { return std::string(p.param->name); });

}  // namespace
}  // namespace nadiro
