// Every instruction-set level of the dithering kernels against the scalar
// level, through the exports, on random pictures of every source depth and
// of widths 1 to 70 (every vector tail) plus one 4K-wide strip.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dither/kernels.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using Call = NadiroHandle (*)(NadiroHandle, int32_t);

struct Export {
  const char* name;
  Call call;
  std::vector<int32_t> targets;
};

const std::vector<Export>& exports() {
  static const std::vector<Export> list = {
      {"FS4", [](NadiroHandle h, int32_t b) { return DitherFS4(h, b); }, {1, 4, 8}},
      {"FS4Ex1", [](NadiroHandle h, int32_t b) { return DitherFS4Ex(h, b, 1); }, {1, 4, 8}},
      {"JJN", [](NadiroHandle h, int32_t b) { return DitherJJN(h, b); }, {1, 4, 8}},
      {"JJNEx1", [](NadiroHandle h, int32_t b) { return DitherJJNEx(h, b, 1); }, {1, 4, 8}},
      {"Stucki", [](NadiroHandle h, int32_t b) { return DitherStucki(h, b); }, {1, 4, 8}},
      {"Burkes", [](NadiroHandle h, int32_t b) { return DitherBurkes(h, b); }, {1, 4, 8}},
      {"Sierra", [](NadiroHandle h, int32_t b) { return DitherSierra(h, b); }, {1, 4, 8}},
      {"SA", [](NadiroHandle h, int32_t b) { return DitherSA(h, b); }, {1, 4, 8}},
      {"Sharp", [](NadiroHandle h, int32_t b) { return DitherSharp(h, b); }, {1, 4}},
      {"Smooth", [](NadiroHandle h, int32_t b) { return DitherSmooth(h, b); }, {1, 4}},
  };
  return list;
}

// DitherOrdered's matrix type rides in the bits argument.
const Export kOrdered{
    "Ordered",
    [](NadiroHandle h, int32_t type) { return DitherOrdered(h, static_cast<uint32_t>(type)); },
    {0, 1, 2, 3, 4, 5, 6}};

// The output image of `e` at `level`, or empty when the export refuses.
std::vector<uint8_t> runAt(CpuLevel level, const Export& e, NadiroHandle image, int32_t arg) {
  dither::ScopedDitherLevel scoped(level);
  const test::ImageHandle out(e.call(image, arg));
  return test::blockBytes(out.get());
}

// Checks every level above scalar against scalar for one picture.
void expectLevelsAgree(const test::ImageShape& shape, const Export& e) {
  const test::ImageHandle image(test::makeDib(shape));
  for (const int32_t arg : e.targets) {
    if (arg >= shape.bits && &e != &kOrdered) continue;
    const auto scalar = runAt(CpuLevel::Scalar, e, image.get(), arg);
    ASSERT_FALSE(scalar.empty()) << e.name << " refused " << shape.width << "x" << shape.height;
    for (int level = 1; level <= static_cast<int>(cpuBestLevel()); ++level) {
      const auto at = static_cast<CpuLevel>(level);
      ASSERT_EQ(runAt(at, e, image.get(), arg), scalar)
          << e.name << " " << arg << " at " << cpuLevelName(at) << ", " << shape.bits << "-bit "
          << shape.width << "x" << shape.height << " seed " << shape.seed;
    }
  }
}

class DitherLevels : public testing::TestWithParam<uint16_t> {};

TEST_P(DitherLevels, EveryLevelGivesTheScalarBytesForWidthsOneToSeventyAndAStrip) {
  const uint16_t depth = GetParam();
  for (int32_t width = 1; width <= 70; ++width) {
    // Noise for the error paths, flat and gradient pictures for the runs of
    // equal and saturated values.
    const test::Fill fill = width % 7 == 3   ? test::Fill::Flat
                            : width % 7 == 5 ? test::Fill::Gradient
                                             : test::Fill::Noise;
    const test::ImageShape shape{.width = width,
                             .height = 1 + width % 5,
                             .bits = depth,
                             .fill = fill,
                             .seed = 1000u + static_cast<uint32_t>(width)};
    if (depth == 8) expectLevelsAgree(shape, kOrdered);
    for (const Export& e : exports()) expectLevelsAgree(shape, e);
  }
  const test::ImageShape strip{.width = 3840, .height = 6, .bits = depth, .seed = 77};
  if (depth == 8) expectLevelsAgree(strip, kOrdered);
  for (const Export& e : exports()) expectLevelsAgree(strip, e);
}

INSTANTIATE_TEST_SUITE_P(Depths, DitherLevels, testing::Values<uint16_t>(4, 8, 24),
                         [](const testing::TestParamInfo<uint16_t>& depth) {
                           return "from" + std::to_string(depth.param);
                         });

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
