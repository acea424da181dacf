#include "dither/ordered.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <optional>
#include <sstream>
#include <string>

#include "frame/dib.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using dib::load;

// The seven threshold matrices as documented, row by row, kept apart from
// the library's own tables so that a slip in either shows up.
const char* const kDocumentedMatrices[7] = {
    // type 0
    "35, 30, 18, 22, 31, 36;"
    "29, 15, 10, 17, 21, 32;"
    "14, 9, 5, 6, 16, 20;"
    "13, 4, 1, 2, 11, 19;"
    "28, 8, 3, 7, 24, 25;"
    "34, 27, 12, 23, 26, 33;",
    // type 1
    "36, 34, 32, 31, 33, 35;"
    "24, 22, 20, 19, 21, 23;"
    "12, 10, 8, 7, 9, 11;"
    "6, 4, 2, 1, 3, 5;"
    "18, 16, 14, 13, 15, 17;"
    "30, 28, 26, 25, 27, 29;",
    // type 2
    "21, 22, 23, 24, 25;"
    "20, 7, 8, 9, 10;"
    "19, 6, 1, 2, 11;"
    "18, 5, 4, 3, 12;"
    "17, 16, 15, 14, 13;",
    // type 3
    "167, 200, 230, 216, 181;"
    "94, 72, 193, 242, 232;"
    "36, 52, 222, 167, 200;"
    "181, 126, 210, 94, 72;"
    "232, 153, 111, 36, 51;",
    // type 4
    "0, 32, 8, 40, 2, 34, 10, 42;"
    "48, 16, 56, 24, 50, 18, 58, 26;"
    "12, 44, 4, 36, 14, 46, 6, 38;"
    "60, 28, 52, 20, 62, 30, 54, 22;"
    "3, 35, 11, 43, 1, 33, 9, 41;"
    "51, 19, 59, 27, 49, 17, 57, 25;"
    "15, 47, 7, 39, 13, 45, 5, 37;"
    "63, 31, 55, 23, 61, 29, 53, 21;",
    // type 5
    "2, 60, 16, 56, 3, 57, 13, 53;"
    "34, 18, 48, 32, 35, 19, 45, 29;"
    "10, 50, 6, 64, 11, 51, 7, 61;"
    "42, 26, 38, 22, 43, 27, 39, 23;"
    "4, 58, 14, 54, 1, 59, 15, 55;"
    "36, 20, 46, 30, 33, 17, 47, 31;"
    "12, 52, 8, 62, 9, 49, 5, 63;"
    "44, 28, 40, 24, 41, 25, 37, 21;",
    // type 6
    "2, 236, 60, 220, 16, 232, 56, 216, 3, 233, 57, 217, 13, 229, 53, 213;"
    "130, 66, 188, 124, 144, 80, 184, 120, 131, 67, 185, 121, 141, 77, 181, 117;"
    "34, 194, 18, 252, 48, 208, 32, 248, 35, 195, 19, 249, 45, 205, 29, 245;"
    "162, 98, 146, 82, 176, 112, 160, 96, 163, 99, 147, 83, 173, 109, 157, 93;"
    "10, 226, 50, 210, 6, 240, 64, 224, 11, 227, 51, 211, 7, 237, 61, 221;"
    "138, 74, 178, 114, 134, 70, 192, 128, 139, 75, 179, 115, 135, 71, 189, 125;"
    "42, 202, 26, 242, 38, 198, 22, 255, 43, 203, 27, 243, 39, 199, 23, 253;"
    "170, 106, 154, 90, 166, 102, 150, 86, 171, 107, 155, 91, 167, 103, 151, 87;"
    "4, 234, 58, 218, 14, 230, 54, 214, 1, 235, 59, 219, 15, 231, 55, 215;"
    "132, 68, 186, 122, 142, 78, 182, 118, 129, 65, 187, 123, 143, 79, 183, 119;"
    "36, 196, 20, 250, 46, 206, 30, 246, 33, 193, 17, 251, 47, 207, 31, 247;"
    "164, 100, 148, 84, 174, 110, 158, 94, 161, 97, 145, 81, 175, 111, 159, 95;"
    "12, 228, 52, 212, 8, 238, 62, 222, 9, 225, 49, 209, 5, 239, 63, 223;"
    "140, 76, 180, 116, 136, 72, 190, 126, 137, 73, 177, 113, 133, 69, 191, 127;"
    "44, 204, 28, 244, 40, 200, 24, 254, 41, 201, 25, 241, 37, 197, 21, 255;"
    "172, 108, 156, 92, 168, 104, 152, 88, 169, 105, 153, 89, 165, 101, 149, 85;",
};

struct RefMatrix {
  int n = 0, largest = 0;
  std::vector<std::vector<int>> rows;  // rows[i][j]: row i, column j as stored
};

RefMatrix documentedMatrix(uint32_t type) {
  RefMatrix m;
  std::istringstream text(kDocumentedMatrices[type]);
  std::string row;
  while (std::getline(text, row, ';')) {
    std::istringstream cells(row);
    std::vector<int> values;
    std::string cell;
    while (std::getline(cells, cell, ',')) values.push_back(std::stoi(cell));
    for (int v : values) m.largest = std::max(m.largest, v);
    m.rows.push_back(values);
  }
  m.n = static_cast<int>(m.rows.size());
  return m;
}

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
  const RefMatrix m = documentedMatrix(type);
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
      // The column picks the matrix row, the picture row its column.
      const int t = m.rows[static_cast<size_t>(x % m.n)][static_cast<size_t>(y % m.n)];
      const float s = static_cast<float>(at(x, y) * m.largest) /
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

TEST(Ordered, MatricesAreTheDocumentedOnes) {
  for (uint32_t t = 0; t < 7; ++t) {
    const RefMatrix want = documentedMatrix(t);
    const auto& m = dither::orderedMatrix(t);
    ASSERT_EQ(static_cast<int>(m.n), want.n) << t;
    EXPECT_EQ(static_cast<int>(m.largest), want.largest) << t;
    for (int i = 0; i < want.n; ++i) {
      ASSERT_EQ(static_cast<int>(want.rows[static_cast<size_t>(i)].size()), want.n) << t;
      for (int j = 0; j < want.n; ++j)
        EXPECT_EQ(m.cells[static_cast<size_t>(i * want.n + j)], want.rows[static_cast<size_t>(i)][static_cast<size_t>(j)])
            << "type " << t << " row " << i << " column " << j;
    }
  }
}

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
