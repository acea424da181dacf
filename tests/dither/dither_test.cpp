// The dithering exports. The digests were computed once from the library
// when its outputs agreed byte for byte with a second, independent
// implementation.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "dither/kernels.h"
#include "dither/sharp_smooth.h"
#include "support/images.h"

namespace nadiro {
namespace {

using test::Bytes;
using Export = NadiroHandle (*)(NadiroHandle, int32_t);

Bytes flatImage(int32_t width, int32_t height, uint16_t bits, uint8_t value) {
  Bytes b = test::makeDib({width, height, bits, 0, 0, test::Fill::Flat});
  std::fill(b.begin() + 40 + (bits <= 8 ? 4 << bits : 0), b.end(), value);
  return b;
}

// ---- error diffusion and the two-by-two window ------------------------------------------

// Each export behind a plain caller (on Windows the exports use their own
// calling convention), with the digest of its outputs.
#define CALL(F, ...) [](NadiroHandle h, int32_t b) { return F(h, b __VA_OPT__(, ) __VA_ARGS__); }
struct Variant {
  const char* name;
  Export call;
  bool window;  // the two-by-two window: 1 and 4 bits only
  uint64_t digest;
};

const Variant kVariants[] = {
    {"FS4", CALL(DitherFS4), false, 0xEABCD0154FF2418Aull},
    {"FS4ExFlag1", CALL(DitherFS4Ex, 1), false, 0x4ED7C107D5A902F4ull},
    {"FS4ExFlagMinus9", CALL(DitherFS4Ex, -9), false, 0x4ED7C107D5A902F4ull},  // any flag but 0
    {"JJN", CALL(DitherJJN), false, 0x101A83EB15062858ull},
    {"JJNExFlag1", CALL(DitherJJNEx, 1), false, 0xE575E2C3559A3EDFull},
    {"Stucki", CALL(DitherStucki), false, 0xC86FC12495C484F3ull},
    {"Burkes", CALL(DitherBurkes), false, 0x33B4FF7289071178ull},
    {"Sierra", CALL(DitherSierra), false, 0xB4B95497C8DDE76Aull},
    {"SA", CALL(DitherSA), false, 0x8E2D3465A07DEEDBull},
    {"Sharp", CALL(DitherSharp), true, 0x9C69E25FE237B1F9ull},
    {"Smooth", CALL(DitherSmooth), true, 0xB80C610680D3EBF3ull},
};

class Dither : public testing::TestWithParam<Variant> {};

// Awkward sizes and fills; palette images whose header lists fewer colours
// or is 12 bytes long (their pixels are at 1064 and 104 all the same); then
// white, which drives the 8-bit quantiser's error (255 still carries 31),
// in runs long enough that the accumulating kernels' entries wrap at 16
// bits.
TEST_P(Dither, OutputsMatchTheirDigest) {
  const Variant& v = GetParam();
  uint64_t digest = test::digest({});
  uint32_t seed = 1;
  for (auto [depth, bits] :
       {std::pair<uint16_t, int32_t>{4, 1}, {8, 1}, {8, 4}, {24, 1}, {24, 4}, {24, 8}}) {
    if (v.window && bits == 8) continue;
    std::vector<Bytes> images;
    for (test::Fill fill : {test::Fill::Flat, test::Fill::Gradient, test::Fill::Noise})
      for (int32_t height : {1, 2, 3, 7})
        for (int32_t width : {1, 2, 3, 5, 7, 8, 9, 15, 17, 33})
          images.push_back(test::makeDib({width, height, depth, 0, 0, fill, ++seed}));
    for (uint32_t headerSize : {40u, 12u}) {
      images.push_back(test::makeDib({11, 5, depth, 3}));
      test::put<uint32_t>(images.back(), 0, headerSize);
    }
    if (depth == 24)
      for (int32_t width : {5, 40}) images.push_back(flatImage(width, 160, 24, 255));
    for (const Bytes& in : images) {
      test::ImageHandle img(in);
      test::ImageHandle out(v.call(img.get(), bits));
      ASSERT_TRUE(out) << depth << " to " << bits << " bits";
      EXPECT_EQ(test::pixelStatus(), 0u);
      digest = test::digest(test::blockBytes(out.get()), digest);
    }
  }
  EXPECT_EQ(test::hex(digest), test::hex(v.digest));
}

INSTANTIATE_TEST_SUITE_P(Exports, Dither, testing::ValuesIn(kVariants),
                         [](const testing::TestParamInfo<Variant>& i) { return i.param.name; });

void expectRefused(const Variant& v, MemHandle image, int32_t bits, uint32_t code) {
  test::resetCodes(12345, 0);
  EXPECT_EQ(v.call(image, bits), nullptr) << v.name << ", bits " << bits;
  EXPECT_EQ(test::pixelStatus(), code) << v.name << ", bits " << bits;
}

// bits is checked before the handle; then the source depth, which must be 4,
// 8 or 24 and deeper than the target. The window takes 1 and 4 bits only,
// and a source depth it refuses leaves the caller's image locked once.
TEST(DitherExports, RefuseWithTheirCodes) {
  for (const Variant& v : kVariants) {
    for (int32_t bits : {0, 2, 3, 5, 16, 24, -1, v.window ? 8 : -4})
      expectRefused(v, test::garbageHandle(3), bits, NADIRO_PIXEL_BAD_ARGUMENT);
    for (auto [depth, bits] :
         {std::pair<uint16_t, int32_t>{4, 4}, {8, 8}, {1, 1}, {16, 1}, {32, 4}}) {
      if (v.window && bits == 8) continue;
      test::ImageHandle h(test::makeDib({6, 3, depth}));
      expectRefused(v, h.get(), bits, NADIRO_PIXEL_BAD_SOURCE_DEPTH);
      EXPECT_EQ(test::notLocked(h.get()), !v.window) << v.name << ", depth " << depth;
      if (v.window) {
        EXPECT_FALSE(memUnlock(h.get())) << "exactly one lock left standing";
      }
    }
    test::ImageHandle empty(test::makeDib({0, 4, 24}));
    expectRefused(v, empty.get(), 1, NADIRO_PIXEL_NO_MEMORY);
  }
}

TEST(DiffusionExamples, DocumentedCases) {
  // Uniform grey 128 to 1 bit: the first pixel is black (128 is not above
  // 128), about half the pixels white, and the two Floyd-Steinberg forms differ.
  test::ImageHandle grey(flatImage(32, 8, 24, 128));
  test::ImageHandle accumulating(DitherFS4Ex(grey.get(), 1, 1));
  test::ImageHandle overwriting(DitherFS4(grey.get(), 1));
  const Bytes a = test::blockBytes(accumulating.get());
  ASSERT_EQ(a.size(), 48u + 4 * 8);
  EXPECT_EQ(a[48] & 0x80, 0);
  int white = 0;
  for (size_t i = 48; i < a.size(); ++i) white += __builtin_popcount(a[i]);
  EXPECT_NEAR(white, 128, 16);
  EXPECT_NE(a, test::blockBytes(overwriting.get()));
  // 255 to 8 bits is level 7 (palette 255) and still carries 31 (63 for
  // blue) to its neighbour: 220 + 7*31/16 = 233 is level 7, not 6, and
  // 180 + 7*63/16 = 207 is blue level 3, not 2.
  Bytes pair = flatImage(2, 1, 24, 0);
  const uint8_t px[6] = {255, 255, 255, 180, 220, 220};
  std::copy(px, px + 6, pair.begin() + 40);
  test::ImageHandle p(pair);
  test::ImageHandle out(DitherFS4(p.get(), 8));
  const Bytes b = test::blockBytes(out.get());
  EXPECT_EQ(b[1064], 0xFF);
  EXPECT_EQ(b[1065], 0xFF) << "the neighbour of 255 got its error";
  EXPECT_EQ(b[40 + 4 * 0xFF + 2], 255);
}

// ---- the two-by-two window --------------------------------------------------------------

struct Window {
  std::vector<int16_t> a, b;
  uint8_t bits;
};
Window runWindow(std::vector<int16_t> a, std::vector<int16_t> b, bool sharp) {
  uint8_t bits[8] = {};
  dither::windowRow(a.data(), b.data(), static_cast<uint32_t>(a.size() - 1), bits, sharp);
  return {a, b, bits[0]};
}

TEST(Window, DocumentedWindows) {
  for (bool sharp : {true, false}) {
    // Four entries of 255: k = 4, all stay 255, the pixel is white.
    Window w = runWindow({255, 255}, {255, 255}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{255, 255}));
    EXPECT_EQ(w.bits, 0x80);
    // Sum 300: k = 1, rem = 45; largest 255, second 45, the others 0.
    w = runWindow({100, 50}, {80, 70}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{255, 0}));
    EXPECT_EQ(w.b, (std::vector<int16_t>{45, 0}));
    // Ties: the earlier entry in a[x], a[x+1], b[x], b[x+1] ranks higher.
    w = runWindow({100, 100}, {100, 100}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{255, 145}));
    EXPECT_EQ(w.b, (std::vector<int16_t>{0, 0}));
    // k = 0: only the largest keeps the sum; the pixel is black.
    w = runWindow({10, 20}, {5, 40}, sharp);
    EXPECT_EQ(w.b, (std::vector<int16_t>{0, 75}));
    EXPECT_EQ(w.bits, 0);
  }
  // a[0] keeps 100 and is carried on: whole for smooth, halved for sharp.
  EXPECT_EQ(runWindow({100, 0, 0}, {0, 0, 0}, false).a[1], 100);
  EXPECT_EQ(runWindow({100, 0, 0}, {0, 0, 0}, true).a[1], 50);
}

// ---- ordered dithering ----------------------------------------------------------------------

// Per matrix type; the last image's rows start behind the header's colour
// count.
const uint64_t kOrderedDigests[7] = {
    0xEF97DE507F0B821Dull, 0x105BE5177345C9A7ull, 0xC1547AB0047ED619ull, 0x61BB20E61A3A39CBull,
    0x7DD9962316FBAEFCull, 0x06368B91DE6E21D6ull, 0x4C02D66B66B23BE3ull,
};

TEST(Ordered, EveryTypeMatchesItsDigest) {
  for (uint32_t type = 0; type < 7; ++type) {
    std::vector<Bytes> images;
    for (auto [w, h] : {std::pair{1, 1}, {7, 3}, {33, 7}, {1, 17}, {1000, 3}, {0, 4}, {5, 0}})
      for (test::Fill fill : {test::Fill::Flat, test::Fill::Gradient, test::Fill::Noise})
        images.push_back(test::makeDib({w, h, 8, 0, 0, fill, type + 1}));
    images.push_back(test::makeDib({13, 5, 8, 17, 17}));
    uint64_t digest = test::digest({});
    for (const Bytes& in : images) {
      test::ImageHandle img(in);
      test::ImageHandle out(DitherOrdered(img.get(), type));
      ASSERT_TRUE(out) << "type " << type;
      digest = test::digest(test::blockBytes(out.get()), digest);
    }
    EXPECT_EQ(test::hex(digest), test::hex(kOrderedDigests[type])) << "type " << type;
  }
}

// Builds an 8-bit w x 1 image from values and returns its 1-bit row's bits.
std::vector<int> ditherRow(const Bytes& values, uint32_t type) {
  Bytes bytes = test::makeDib({static_cast<int32_t>(values.size()), 1, 8});
  std::copy(values.begin(), values.end(), bytes.begin() + 1064);
  test::ImageHandle img(bytes);
  test::ImageHandle out(DitherOrdered(img.get(), type));
  const Bytes b = test::blockBytes(out.get());
  std::vector<int> bits;
  for (size_t x = 0; x < values.size(); ++x) bits.push_back((b[48 + x / 8] >> (7 - x % 8)) & 1);
  return bits;
}

TEST(Ordered, DocumentedCases) {
  // Zero against the Bayer matrix's zero entry is white; the largest value
  // is always white; an all-zero image is all black.
  EXPECT_EQ(ditherRow({0, 9}, 4), (std::vector<int>{1, 1}));
  EXPECT_EQ(ditherRow({0, 0, 0}, 4), (std::vector<int>{0, 0, 0}));
  for (uint32_t t = 0; t < 7; ++t) EXPECT_EQ(ditherRow({77, 200, 200}, t)[1], 1) << t;
  // Columns pick matrix rows: a 7-wide row of equal mid values uses rows
  // 0..5 and then row 0 again at column 6 (first column entries of type 1:
  // 36, 24, 12, 6, 18, 30 against a scaled value of 18).
  EXPECT_EQ(ditherRow({100, 100, 100, 100, 100, 100, 100, 200}, 1),
            (std::vector<int>{0, 0, 1, 1, 1, 0, 0, 1}));
  // Types past 6, other depths and planes x bits other than 8 give nothing.
  const Bytes good = test::makeDib({9, 4, 8});
  test::ImageHandle img(good);
  EXPECT_EQ(DitherOrdered(img.get(), 7), nullptr);
  for (auto [at, value] : {std::pair<size_t, uint16_t>{14, 24}, {14, 4}, {12, 2}, {12, 0}}) {
    Bytes b = good;
    test::put<uint16_t>(b, at, value);
    test::ImageHandle h(b);
    EXPECT_EQ(DitherOrdered(h.get(), 3), nullptr) << at << " = " << value;
  }
}

// ---- instruction-set levels ----------------------------------------------------------------

// Every level above scalar gives the scalar level's bytes for one picture.
void expectLevelsAgree(const test::ImageShape& shape, const char* name, Export call,
                       const std::vector<int32_t>& args) {
  const test::ImageHandle image(test::makeDib(shape));
  const auto outputAt = [&](CpuLevel level, int32_t arg) {
    dither::ScopedDitherLevel scoped(level);
    return test::blockBytes(test::ImageHandle(call(image.get(), arg)).get());
  };
  for (const int32_t arg : args) {
    const Bytes scalar = outputAt(CpuLevel::Scalar, arg);
    ASSERT_FALSE(scalar.empty()) << name << " refused " << shape.width << "x" << shape.height;
    for (int level = 1; level <= static_cast<int>(cpuBestLevel()); ++level) {
      const auto at = static_cast<CpuLevel>(level);
      ASSERT_EQ(outputAt(at, arg), scalar)
          << name << " " << arg << " at " << cpuLevelName(at) << ", " << shape.bits << "-bit "
          << shape.width << "x" << shape.height << " seed " << shape.seed;
    }
  }
}

// Each export to every target its source depth allows, and ordered
// dithering (8-bit sources) with every matrix type.
void expectEveryExportAgrees(const test::ImageShape& shape) {
  for (const Variant& v : kVariants) {
    std::vector<int32_t> targets;
    for (int32_t bits : {1, 4, 8})
      if (bits < shape.bits && (!v.window || bits < 8)) targets.push_back(bits);
    expectLevelsAgree(shape, v.name, v.call, targets);
  }
  if (shape.bits == 8)
    expectLevelsAgree(
        shape, "Ordered",
        [](NadiroHandle h, int32_t type) { return DitherOrdered(h, static_cast<uint32_t>(type)); },
        {0, 1, 2, 3, 4, 5, 6});
}

TEST(DitherLevels, EveryLevelGivesTheScalarBytesForWidthsOneToSeventyAndAStrip) {
  for (uint16_t depth : {4, 8, 24}) {
    for (int32_t width = 1; width <= 70; ++width) {
      // Noise for the error paths, flat and gradient pictures for the runs
      // of equal and saturated values.
      const test::Fill fill = width % 7 == 3   ? test::Fill::Flat
                              : width % 7 == 5 ? test::Fill::Gradient
                                               : test::Fill::Noise;
      expectEveryExportAgrees({.width = width,
                               .height = 1 + width % 5,
                               .bits = depth,
                               .fill = fill,
                               .seed = 1000u + static_cast<uint32_t>(width)});
    }
    expectEveryExportAgrees({.width = 3840, .height = 6, .bits = depth, .seed = 77});
  }
}

// The kernels themselves on inputs the pictures above rarely reach: every
// grey sum and every pixel against every threshold.
TEST(DitherKernelLevels, RowPassesAndOrderedKernelsAgreeOnEveryValue) {
  // 256 x 3 pixels cover blue, green and red from 0 to 255 in turn, the
  // others at the opposite end.
  std::vector<uint8_t> bgr;
  for (int ch = 0; ch < 3; ++ch)
    for (int v = 0; v < 256; ++v)
      for (int c = 0; c < 3; ++c) bgr.push_back(static_cast<uint8_t>(c == ch ? v : 255 - v));
  const auto count = static_cast<uint32_t>(bgr.size() / 3);
  // Pixels 0..255 against thresholds rotated by each offset.
  std::vector<uint8_t> px(256 * 64), pattern(256 * 64);
  for (size_t k = 0; k < px.size(); ++k) {
    px[k] = static_cast<uint8_t>(k);
    pattern[k] = static_cast<uint8_t>(k * 7 + k / 256);
  }
  const dither::DitherKernels& scalar = dither::ditherKernelsAt(CpuLevel::Scalar);
  // Grey added to and stored over a row, and the channels added to three.
  using Rows = std::vector<std::vector<int16_t>>;
  auto passes = [&](const dither::DitherKernels& k) {
    Rows rows(5, std::vector<int16_t>(count, -3));
    rows[4][count - 1] = 32767;  // wraps
    k.addGrey24(bgr.data(), count, rows[0].data());
    k.setGrey24(bgr.data(), count, rows[1].data());
    k.addChannels24(bgr.data(), count, rows[2].data(), rows[3].data(), rows[4].data());
    return rows;
  };
  const Rows scalarRows = passes(scalar);
  for (int level = 1; level <= static_cast<int>(cpuBestLevel()); ++level) {
    const dither::DitherKernels& k = dither::ditherKernelsAt(static_cast<CpuLevel>(level));
    EXPECT_EQ(passes(k), scalarRows) << cpuLevelName(static_cast<CpuLevel>(level));
    for (const uint32_t n : {1u, 64u, 200u, 16384u}) {
      std::vector<uint8_t> bits(n / 8 + 1, 0xAA), bitsScalar(n / 8 + 1, 0xAA);
      scalar.orderedBits(px.data(), pattern.data(), n, bitsScalar.data());
      k.orderedBits(px.data(), pattern.data(), n, bits.data());
      EXPECT_EQ(bits, bitsScalar) << cpuLevelName(static_cast<CpuLevel>(level)) << " " << n;
    }
  }
}

}  // namespace
}  // namespace nadiro
