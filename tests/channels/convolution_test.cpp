// The convolution exports end to end against the closed form: random
// caller kernels within the limits, every size and divisor kind, both
// scalars, in place and into a new image, on awkward image sizes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include "channels/convolution_reference.h"
#include "channels/convolution_engine.h"
#include "frame/dib.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using test::RefKernel;

struct Size2 {
  int32_t width, height;
};
constexpr Size2 kSizes[] = {{1, 1}, {1, 7}, {7, 1}, {2, 2}, {5, 3}, {33, 17}};
constexpr int kDivisors[] = {0, 1, 2, 3, 4, 16, 64, -1, -3, -4, -44};

// Random weights whose positive and negative sums each stay within 127;
// now and then one weight takes a large share.
std::vector<int> randomWeights(int n, std::mt19937& rng) {
  std::vector<int> flat(static_cast<size_t>(n * n), 0);
  int positive = 0, negative = 0;
  std::uniform_int_distribution<int> small(-12, 12), big(-127, 127), pick(0, 9);
  for (int& v : flat) {
    int want = pick(rng) == 0 ? big(rng) : small(rng);
    if (want > 0) want = std::min(want, 127 - positive);
    if (want < 0) want = std::max(want, -(127 - negative));
    v = want;
    (want > 0 ? positive : negative) += want > 0 ? want : -want;
  }
  return flat;
}

std::vector<uint8_t> pixelsOf(const std::vector<uint8_t>& block) {
  return {block.begin() + 40, block.end()};
}

struct Expectation {
  std::vector<uint8_t> inPlace;   // the whole block after filtering in place
  std::vector<uint8_t> newImage;  // the whole new block
};

Expectation expected(const std::vector<uint8_t>& image, Size2 size, const RefKernel& k,
                     bool luma) {
  const int stride = (size.width * 3 + 3) / 4 * 4;
  const auto rows =
      test::referenceConvolve(pixelsOf(image), size.width, size.height, stride, k, luma);
  Expectation e;
  e.inPlace = image;
  std::copy(rows.begin(), rows.end(), e.inPlace.begin() + 40);
  // The new image: header copy, the filtered pixels, zero padding.
  e.newImage = e.inPlace;
  for (int y = 0; y < size.height; ++y)
    for (int p = size.width * 3; p < stride; ++p) e.newImage[40 + size_t(y) * stride + p] = 0;
  return e;
}

class CallerKernels : public testing::TestWithParam<int> {};

TEST_P(CallerKernels, MatchTheClosedFormForEverySizeDivisorScalarAndOutput) {
  const int n = GetParam();
  std::mt19937 rng(1234u + static_cast<unsigned>(n));
  int calls = 0;
  for (const Size2 size : kSizes) {
    for (const int divisor : kDivisors) {
      const auto image = test::makeDib({.width = size.width, .height = size.height, .bits = 24,
                                        .seed = static_cast<uint32_t>(rng())});
      RefKernel k{n, randomWeights(n, rng), divisor, true};
      std::vector<int16_t> array;
      for (int v : k.flat) array.push_back(static_cast<int16_t>(v));
      array.push_back(static_cast<int16_t>(divisor));
      for (const bool luma : {false, true}) {
        const Expectation e = expected(image, size, k, luma);
        const std::string where = std::to_string(size.width) + "x" + std::to_string(size.height) +
                                  " n=" + std::to_string(n) + " divisor " +
                                  std::to_string(divisor) + (luma ? " luma" : " mean");
        for (const bool fresh : {false, true}) {
          test::ImageHandle source(image);
          uint32_t error = 77;
          const MemHandle out =
              ColorConvolutionW(source.get(), fresh, luma ? 1 : 0, 1, n, nullptr, array.data(),
                                &error, 0, nullptr);
          ++calls;
          ASSERT_NE(out, nullptr) << where;
          EXPECT_EQ(error, 0u) << where;
          if (fresh) {
            test::ImageHandle made(out);
            EXPECT_NE(out, source.get());
            EXPECT_EQ(test::blockBytes(out), e.newImage) << where << " new image";
            EXPECT_EQ(test::blockBytes(source.get()), image) << where << " source kept";
            EXPECT_TRUE(test::notLocked(out));
          } else {
            EXPECT_EQ(out, source.get());
            EXPECT_EQ(test::blockBytes(out), e.inPlace) << where << " in place";
          }
          EXPECT_TRUE(test::notLocked(source.get()));
        }
      }
    }
  }
  EXPECT_EQ(calls, 6 * 11 * 4);
}

std::string sizeName(const testing::TestParamInfo<int>& p) {
  std::string name = "n";
  name += static_cast<char>('0' + p.param);
  return name;
}
INSTANTIATE_TEST_SUITE_P(Sizes, CallerKernels, testing::Values(3, 5, 7), sizeName);

// The slip is visible: a 5x5 kernel whose only weight is value 1 * 5 + 4
// sees the last pixel everywhere but at column width - 2.
TEST(CallerKernels, FiveByFiveDropsOneWeightAtColumnWidthMinusTwo) {
  const int w = 6, h = 4;
  auto image = test::makeDib({.width = w, .height = h, .bits = 24, .fill = test::Fill::Flat});
  const int stride = (w * 3 + 3) / 4 * 4;
  // Grey pixels of value 10 everywhere, the last column 70.
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      for (int ch = 0; ch < 3; ++ch)
        image[40 + size_t(y) * stride + 3 * x + ch] = x == w - 1 ? 70 : 10;
  std::vector<int16_t> array(26, 0);
  array[1 * 5 + 4] = 1;  // weighs the pixel one column to the right, two rows down
  array[25] = 1;
  test::ImageHandle source(image);
  uint32_t error = 0;
  const MemHandle out = ColorConvolutionW(source.get(), 0, 0, 1, 5, nullptr, array.data(), &error,
                                          0, nullptr);
  ASSERT_EQ(out, source.get());
  const auto got = test::blockBytes(out);
  for (int y = 0; y < h; ++y) {
    const uint8_t* row = got.data() + 40 + size_t(y) * stride;
    EXPECT_EQ(row[3 * (w - 4)], 10) << "column w-4 sees a pixel of 10";
    EXPECT_EQ(row[3 * (w - 3)], 10) << "column w-3 sees a pixel of 10";
    EXPECT_EQ(row[3 * (w - 2)], 0) << "column w-2 loses that weight: 10 + (0 - 10)";
    EXPECT_EQ(row[3 * (w - 1)], 70) << "the last column sees itself";
  }
}

// Value i * n + j weighs the pixel (c - i) columns to the right and (c - j)
// stored rows up: on grey pixels a single weight of 1 copies that pixel.
TEST(CallerKernels, FlatValueIndexMapsToOffsets) {
  const int w = 7, h = 7, n = 3, c = 1;
  auto image = test::makeDib({.width = w, .height = h, .bits = 24, .seed = 9});
  const int stride = (w * 3 + 3) / 4 * 4;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      uint8_t* p = &image[40 + size_t(y) * stride + 3 * x];
      p[1] = p[2] = p[0];
    }
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      std::vector<int16_t> array(10, 0);
      array[size_t(i * n + j)] = 1;
      test::ImageHandle source(image);
      uint32_t error = 0;
      test::ImageHandle out(
          ColorConvolutionW(source.get(), 1, 0, 1, n, nullptr, array.data(), &error, 0, nullptr));
      ASSERT_TRUE(out);
      const auto got = test::blockBytes(out.get());
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          const int sx = std::clamp(x + c - i, 0, w - 1), sy = std::clamp(y + c - j, 0, h - 1);
          EXPECT_EQ(got[40 + size_t(y) * stride + 3 * x], image[40 + size_t(sy) * stride + 3 * sx])
              << "value " << i * n + j << " at " << x << "," << y;
        }
    }
  }
}

// The worked examples of the scalars and the two rounding rules.
TEST(Scalars, LumaWeighsTheFirstByteMore) {
  struct Case {
    uint8_t b, g, r;
    int luma;
  };
  for (const Case cs : {Case{255, 0, 0, 78}, Case{0, 0, 255, 29}, Case{0, 255, 0, 147}}) {
    auto image = test::makeDib({.width = 1, .height = 1, .bits = 24});
    image[40] = cs.b;
    image[41] = cs.g;
    image[42] = cs.r;
    // An all-zero kernel turns every scalar into 0: each byte loses s.
    std::vector<int16_t> zero(10, 0);
    test::ImageHandle source(image);
    uint32_t error = 0;
    ASSERT_TRUE(ColorConvolutionW(source.get(), 0, 1, 1, 3, nullptr, zero.data(), &error, 0,
                                  nullptr));
    const auto got = test::blockBytes(source.get());
    EXPECT_EQ(got[40], std::max(0, cs.b - cs.luma));
    EXPECT_EQ(got[41], std::max(0, cs.g - cs.luma));
    EXPECT_EQ(got[42], std::max(0, cs.r - cs.luma));
  }
}

TEST(Normalisation, ShiftsFloorAndDivisionsTruncate) {
  // A 1x1 picture B = 0, G = 0, R = 5 has the mean scalar 1, so a centre
  // weight w makes the sum w and the red byte 5 + (w normalised) - 1.
  const struct {
    int16_t weight, divisor;
    uint8_t red;
  } cases[] = {
      {-7, 3, 2},  // -7 div 3 = -2
      {-7, 4, 2},  // -7 >> 2 = -2
      {-5, 4, 2},  // -5 >> 2 = -2
      {-5, 3, 3},  // -5 div 3 = -1
      {-6, 4, 2},  // a shift rounds down: -2
      {-6, 5, 3},  // a division toward zero: -1
      {7, 4, 5},   // 7 >> 2 = 1
      {7, 3, 6},   // 7 div 3 = 2
      {9, 1, 13},  // divisor 1 leaves the sum
  };
  for (const auto& c : cases) {
    auto image = test::makeDib({.width = 1, .height = 1, .bits = 24});
    image[40] = 0;
    image[41] = 0;
    image[42] = 5;
    std::vector<int16_t> array(10, 0);
    array[4] = c.weight;
    array[9] = c.divisor;
    test::ImageHandle source(image);
    uint32_t error = 0;
    ASSERT_TRUE(ColorConvolutionW(source.get(), 0, 0, 1, 3, nullptr, array.data(), &error, 0,
                                  nullptr));
    EXPECT_EQ(test::blockBytes(source.get())[42], c.red) << c.weight << " / " << c.divisor;
  }
}

// Built-in filters against the closed form with their weights: the 3x3
// ones as documented, the larger ones as the library defines them.
struct Builtin {
  uint32_t source;
  int n;
};

class BuiltinFilters : public testing::TestWithParam<Builtin> {};

std::vector<int> documented3x3(uint32_t source) {
  switch (source) {
    case 3: return std::vector<int>(9, 1);
    case 4: return {1, 2, 1, 2, 4, 2, 1, 2, 1};
    case 5: return {0, -1, 0, -1, 5, -1, 0, -1, 0};
    default: return {-1, -1, -1, -1, 9, -1, -1, -1, -1};
  }
}

TEST_P(BuiltinFilters, MatchTheClosedForm) {
  const Builtin b = GetParam();
  channels::Kernel lib;
  ASSERT_TRUE(channels::builtinKernel(static_cast<channels::KernelSource>(b.source), b.n, lib));
  RefKernel k{b.n, {}, 0, false};
  int sum = 0;
  for (int i = 0; i < b.n; ++i)
    for (int j = 0; j < b.n; ++j) {
      k.flat.push_back(lib.m[j][i]);
      sum += lib.m[j][i];
      EXPECT_EQ(lib.m[j][i], lib.m[i][j]) << "symmetric";
      EXPECT_EQ(lib.m[j][i], lib.m[b.n - 1 - j][b.n - 1 - i]) << "symmetric";
    }
  if (b.n == 3) {
    EXPECT_EQ(k.flat, documented3x3(b.source));
  }
  const int divisors[] = {0, 0, 0, b.n * b.n, b.n == 3 ? 16 : 44, 1, 1};
  k.divisor = divisors[b.source];
  EXPECT_EQ(lib.divisor, k.divisor);
  EXPECT_EQ(sum, b.source >= 5 ? 1 : k.divisor) << "weights sum to the divisor";
  for (const Size2 size : kSizes) {
    const auto image = test::makeDib({.width = size.width, .height = size.height, .bits = 24,
                                      .seed = 77u + b.source});
    for (const bool luma : {false, true}) {
      const Expectation e = expected(image, size, k, luma);
      test::ImageHandle source(image);
      uint32_t error = 5;
      test::ImageHandle out(ColorConvolutionW(source.get(), 1, luma, b.source, b.n, nullptr,
                                              nullptr, &error, 4, nullptr));
      ASSERT_TRUE(out);
      EXPECT_EQ(error, 0u);
      EXPECT_EQ(test::blockBytes(out.get()), e.newImage)
          << size.width << "x" << size.height << (luma ? " luma" : " mean");
    }
  }
}

std::string builtinName(const testing::TestParamInfo<Builtin>& p) {
  static const char* const kNames[] = {"", "", "", "Mean", "Gaussian", "Sharpen4", "Sharpen8"};
  return kNames[p.param.source] + std::to_string(p.param.n);
}
INSTANTIATE_TEST_SUITE_P(All, BuiltinFilters,
                         testing::Values(Builtin{3, 3}, Builtin{3, 5}, Builtin{3, 7},
                                         Builtin{4, 3}, Builtin{4, 5}, Builtin{5, 3},
                                         Builtin{5, 5}, Builtin{6, 3}, Builtin{6, 5}),
                         builtinName);

TEST(CallerKernels, IdentityAndFlatAreas) {
  const auto image = test::makeDib({.width = 9, .height = 4, .bits = 24, .seed = 3});
  for (const int16_t divisor : {int16_t{0}, int16_t{1}}) {
    std::vector<int16_t> identity(26, 0);
    identity[12] = 1;
    identity[25] = divisor;
    test::ImageHandle source(image);
    uint32_t error = 0;
    ASSERT_TRUE(ColorConvolutionW(source.get(), 0, 1, 1, 5, nullptr, identity.data(), &error, 0,
                                  nullptr));
    EXPECT_EQ(test::blockBytes(source.get()), image);
  }
  // An edge kernel (sum 0, divisor 0 so divisor 1) turns flat grey into 0.
  auto flat = test::makeDib({.width = 4, .height = 4, .bits = 24, .fill = test::Fill::Flat});
  const std::vector<int16_t> edge = {-1, -1, -1, -1, 8, -1, -1, -1, -1, 0};
  test::ImageHandle source(flat);
  uint32_t error = 0;
  ASSERT_TRUE(
      ColorConvolutionW(source.get(), 0, 0, 1, 3, nullptr, edge.data(), &error, 0, nullptr));
  const auto got = test::blockBytes(source.get());
  const int stride = 12;
  for (int y = 0; y < 4; ++y)
    for (int p = 0; p < 12; ++p) EXPECT_EQ(got[40 + size_t(y) * stride + p], 0);
}

}  // namespace
}  // namespace nadiro
