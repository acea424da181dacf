#include "dither/ordered.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <optional>

#include "frame/dib.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using dib::load;

// A plain, pixel-at-a-time statement of ordered dithering, written from the
// documented rules rather than from the library's row kernels.
std::optional<std::vector<uint8_t>> referenceOrdered(const std::vector<uint8_t>& in,
                                                     uint32_t type) {
  if (type > 6 || load<uint16_t>(in.data(), 14) != 8) return std::nullopt;
  if (load<uint16_t>(in.data(), 14) * load<uint16_t>(in.data(), 12) != 8) return std::nullopt;
  const int w = load<int32_t>(in.data(), 4), h = load<int32_t>(in.data(), 8);
  const uint32_t used = load<uint32_t>(in.data(), 32);
  const size_t pix = 40 + 4 * size_t{used ? used : 256};
  const size_t stride = (static_cast<size_t>(w) + 3) / 4 * 4;
  auto at = [&](int x, int y) { return in[pix + static_cast<size_t>(h - 1 - y) * stride + x]; };
  const auto& m = dither::orderedMatrix(type);
  int largest = 0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) largest = std::max<int>(largest, at(x, y));

  const size_t s1 = (static_cast<size_t>(w) + 31) / 32 * 4;
  std::vector<uint8_t> out(static_cast<size_t>(h) * s1 + 48, 0);
  dib::Header oh;
  oh.width = w;
  oh.height = h;
  oh.bitCount = 1;
  oh.sizeImage = static_cast<uint32_t>(s1 * static_cast<size_t>(h));
  oh.xPelsPerMeter = load<int32_t>(in.data(), 24);
  oh.yPelsPerMeter = load<int32_t>(in.data(), 28);
  oh.clrUsed = 2;
  dib::writeHeader(out.data(), oh);
  out[44] = out[45] = out[46] = 255;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int t = m.cells[(x % m.n) * m.n + (y % m.n)];
      const float s = static_cast<float>(at(x, y) * static_cast<int>(m.largest)) /
                      static_cast<float>(largest);
      const bool less = std::isnan(s) || s < static_cast<float>(t);
      if (!less) out[48 + static_cast<size_t>(h - 1 - y) * s1 + x / 8] |= uint8_t(0x80 >> (x % 8));
    }
  }
  return out;
}

struct Shape {
  int32_t width, height;
};

class OrderedMatchesReference
    : public testing::TestWithParam<std::tuple<uint32_t, Shape, test::Fill>> {};

TEST_P(OrderedMatchesReference, WholeBlock) {
  const auto [type, shape, fill] = GetParam();
  for (uint32_t seed = 1; seed <= 3; ++seed) {
    const auto bytes = test::makeDib(
        {.width = shape.width, .height = shape.height, .bits = 8, .fill = fill, .seed = seed});
    test::ImageHandle img(bytes);
    test::ImageHandle out(DitherOrdered(img.get(), type));
    ASSERT_TRUE(out);
    EXPECT_EQ(test::blockBytes(out.get()), *referenceOrdered(bytes, type));
    EXPECT_EQ(test::blockBytes(img.get()), bytes) << "the caller's image is unchanged";
    EXPECT_TRUE(test::notLocked(img.get()));
  }
}

std::string orderedCaseName(
    const testing::TestParamInfo<std::tuple<uint32_t, Shape, test::Fill>>& info) {
  const char* fills[] = {"flat", "gradient", "noise"};
  const Shape shape = std::get<1>(info.param);
  return "type" + std::to_string(std::get<0>(info.param)) + "_" + std::to_string(shape.width) +
         "x" + std::to_string(shape.height) + "_" + fills[static_cast<int>(std::get<2>(info.param))];
}

INSTANTIATE_TEST_SUITE_P(
    AwkwardSizes, OrderedMatchesReference,
    testing::Combine(testing::Range(0u, 7u),
                     testing::Values(Shape{1, 1}, Shape{7, 3}, Shape{31, 2}, Shape{33, 7},
                                     Shape{1, 17}, Shape{64, 5}, Shape{1000, 3}, Shape{0, 4},
                                     Shape{5, 0}),
                     testing::Values(test::Fill::Flat, test::Fill::Gradient, test::Fill::Noise)),
    orderedCaseName);

TEST(Ordered, MatricesHaveTheirSizesAndLargestEntries) {
  const uint32_t sizes[] = {6, 6, 5, 5, 8, 8, 16};
  const uint32_t largest[] = {36, 36, 25, 242, 63, 64, 255};
  for (uint32_t t = 0; t < 7; ++t) {
    const auto& m = dither::orderedMatrix(t);
    EXPECT_EQ(m.n, sizes[t]);
    EXPECT_EQ(m.largest, largest[t]);
    const auto used = m.cells.begin() + m.n * m.n;
    EXPECT_EQ(*std::max_element(m.cells.begin(), used), m.largest);
    EXPECT_TRUE(std::all_of(used, m.cells.end(), [](uint8_t c) { return c == 0; }));
  }
  // Types 0, 1, 2 and 4 are permutations of a run of integers.
  for (auto [t, first] : {std::pair{0u, 1}, {1u, 1}, {2u, 1}, {4u, 0}}) {
    const auto& m = dither::orderedMatrix(t);
    std::vector<int> v(m.cells.begin(), m.cells.begin() + m.n * m.n);
    std::sort(v.begin(), v.end());
    std::vector<int> run(v.size());
    std::iota(run.begin(), run.end(), first);
    EXPECT_EQ(v, run) << "type " << t;
  }
  EXPECT_EQ(dither::orderedMatrix(0).cells[3 * 6 + 2], 1);
  EXPECT_EQ(dither::orderedMatrix(3).cells[4 * 5 + 4], 51);
  EXPECT_EQ(dither::orderedMatrix(6).cells[6 * 16 + 7], 255);
  EXPECT_EQ(dither::orderedMatrix(6).cells[15 * 16 + 15], 85);
}

// Builds an 8-bit w x 1 image from values and returns its 1-bit row's bits.
std::vector<int> ditherRow(const std::vector<uint8_t>& values, uint32_t type) {
  auto bytes = test::makeDib({.width = static_cast<int32_t>(values.size()), .height = 1});
  std::copy(values.begin(), values.end(), bytes.begin() + 1064);
  test::ImageHandle img(bytes);
  test::ImageHandle out(DitherOrdered(img.get(), type));
  const auto b = test::blockBytes(out.get());
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
}

TEST(Ordered, Refusals) {
  const auto good = test::makeDib({.width = 9, .height = 4});
  test::ImageHandle img(good);
  EXPECT_EQ(DitherOrdered(nullptr, 0), nullptr);
  EXPECT_EQ(DitherOrdered(img.get(), 7), nullptr);
  EXPECT_EQ(DitherOrdered(img.get(), 0xFFFFFFFFu), nullptr);
  EXPECT_EQ(DitherOrdered(test::garbageHandle(11), 0), nullptr);

  auto variant = [&](auto edit) {
    auto bytes = good;
    edit(bytes);
    test::ImageHandle h(bytes);
    EXPECT_EQ(DitherOrdered(h.get(), 3), nullptr);
    EXPECT_EQ(test::blockBytes(h.get()), bytes);
    EXPECT_TRUE(test::notLocked(h.get()));
  };
  variant([](auto& b) { dib::store(b.data(), 14, uint16_t{24}); });
  variant([](auto& b) { dib::store(b.data(), 14, uint16_t{4}); });
  variant([](auto& b) { dib::store(b.data(), 12, uint16_t{2}); });  // planes x bits must be 8
  variant([](auto& b) { dib::store(b.data(), 12, uint16_t{0}); });
  variant([](auto& b) { b.resize(b.size() - 1); });                // truncated rows
  variant([](auto& b) { b.resize(30); });                           // truncated header
  variant([](auto& b) { dib::store(b.data(), 4, int32_t{0x7FFFFFFF}); });
  variant([](auto& b) { dib::store(b.data(), 8, int32_t{0x40000000}); });
  variant([](auto& b) { dib::store(b.data(), 8, int32_t{-4}); });
  variant([](auto& b) { dib::store(b.data(), 32, uint32_t{0xFFFFFFF0u}); });
}

TEST(Ordered, HonoursTheHeadersColourCount) {
  auto bytes = test::makeDib({.width = 13, .height = 5, .clrUsed = 17, .tableEntries = 17});
  test::ImageHandle img(bytes);
  test::ImageHandle out(DitherOrdered(img.get(), 5));
  ASSERT_TRUE(out);
  EXPECT_EQ(test::blockBytes(out.get()), *referenceOrdered(bytes, 5));
}

}  // namespace
}  // namespace nadiro
