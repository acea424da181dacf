// Every instruction-set level of the convolution, split and merge against
// the scalar level, through the exports, on random pictures of widths 1 to
// 70 (every vector tail) and one 4K-wide strip: for the convolution every
// built-in filter and size, and caller kernels up to the weight limits with
// every kind of divisor; split and merge in every colour model.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "channels/channel_rows.h"
#include "channels/convolution_rows.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

struct Filter {
  uint32_t source;
  int32_t size;
  std::vector<int16_t> kernel;  // caller kernels: n * n weights and the divisor
};

// Caller kernels of size n: weights at the limits (one tap +127, another
// -127), random small ones, and divisors that shift, divide, flip the sign
// or come from the weight sum.
std::vector<Filter> callerKernels(int32_t n, std::mt19937& rng) {
  const auto count = static_cast<size_t>(n * n);
  std::vector<Filter> out;
  for (const int16_t divisor : {0, 1, 4, 64, -3, 7, 44, 32767, -32768}) {
    std::vector<int16_t> k(count + 1, 0);
    if (divisor % 2 == 0) {
      k[rng() % count] = 127;
      k[rng() % count] = -127;
    } else {
      std::uniform_int_distribution<int> weight(-5, 5);
      for (size_t i = 0; i < count; ++i) k[i] = static_cast<int16_t>(weight(rng));
    }
    k[count] = divisor;
    out.push_back({1, n, k});
  }
  return out;
}

std::vector<Filter> filters() {
  std::mt19937 rng(13);
  std::vector<Filter> out = {{3, 3, {}}, {3, 5, {}}, {3, 7, {}}, {4, 3, {}}, {4, 5, {}},
                             {5, 3, {}}, {5, 5, {}}, {6, 3, {}}, {6, 5, {}}};
  for (const int32_t n : {3, 5, 7})
    for (Filter& f : callerKernels(n, rng)) out.push_back(std::move(f));
  return out;
}

// The filtered image at `level`: a new image, or the source filtered in
// place.
test::Bytes filteredAt(CpuLevel level, const test::Bytes& image, const Filter& f, int32_t luma,
                       bool inPlace) {
  channels::ScopedConvolutionLevel scoped(level);
  test::ImageHandle source(image);
  uint32_t error = 99;
  const NadiroHandle made =
      ColorConvolutionA(source.get(), inPlace ? 0 : 1, luma, f.source, f.size, "",
                        f.kernel.empty() ? nullptr : f.kernel.data(), &error, 0, nullptr);
  EXPECT_EQ(error, 0u) << "source " << f.source << " size " << f.size;
  if (inPlace) return test::blockBytes(source.get());
  const test::ImageHandle out(made);
  return test::blockBytes(out.get());
}

void expectLevelsAgree(const test::ImageShape& shape) {
  const test::Bytes image = test::makeDib(shape);
  const bool inPlace = shape.width % 2 == 0;
  for (const Filter& f : filters())
    for (const int32_t luma : {0, 1}) {
      const auto scalar = filteredAt(CpuLevel::Scalar, image, f, luma, inPlace);
      for (int level = 1; level <= static_cast<int>(cpuBestLevel()); ++level) {
        const auto at = static_cast<CpuLevel>(level);
        ASSERT_EQ(filteredAt(at, image, f, luma, inPlace), scalar)
            << "source " << f.source << " size " << f.size << " divisor "
            << (f.kernel.empty() ? 0 : f.kernel.back()) << " luma " << luma << " at "
            << cpuLevelName(at) << ", " << shape.width << "x" << shape.height;
      }
    }
}

TEST(ConvolutionLevels, EveryLevelGivesTheScalarBytesForWidthsOneToSeventy) {
  for (int32_t width = 1; width <= 70; ++width)
    expectLevelsAgree({.width = width,
                       .height = 1 + width % 9,
                       .bits = 24,
                       .fill = width % 7 == 3 ? test::Fill::Gradient : test::Fill::Noise,
                       .seed = 500u + static_cast<uint32_t>(width)});
}

TEST(ConvolutionLevels, EveryLevelGivesTheScalarBytesForAFourKStrip) {
  expectLevelsAgree({.width = 3840, .height = 8, .bits = 24, .seed = 41});
}

// The channel images of a split at `level` and the merge of them back into
// a copy of the source.
std::vector<test::Bytes> splitAndMergeAt(CpuLevel level, const test::Bytes& image, uint32_t model) {
  channels::ScopedChannelLevel scoped(level);
  const test::ImageHandle source(image);
  NadiroHandle made[4] = {};
  const uint32_t count = SplitColorChannels(source.get(), made, model);
  EXPECT_TRUE(count == 3 || count == 4) << "model " << model;
  std::vector<test::ImageHandle> owned;
  std::vector<test::Bytes> out;
  for (uint32_t i = 0; i < count; ++i) {
    owned.emplace_back(made[i]);
    out.push_back(test::blockBytes(made[i]));
  }
  const test::ImageHandle dest(image);
  EXPECT_EQ(MergeColorChannels(made[0], made[1], made[2], count == 4 ? made[3] : nullptr,
                               dest.get(), model),
            1u)
      << "model " << model;
  out.push_back(test::blockBytes(dest.get()));
  return out;
}

void expectChannelLevelsAgree(const test::ImageShape& shape) {
  const test::Bytes image = test::makeDib(shape);
  for (uint32_t model = 1; model <= 10; ++model) {
    const auto scalar = splitAndMergeAt(CpuLevel::Scalar, image, model);
    for (int level = 1; level <= static_cast<int>(cpuBestLevel()); ++level) {
      const auto at = static_cast<CpuLevel>(level);
      ASSERT_EQ(splitAndMergeAt(at, image, model), scalar)
          << "model " << model << " at " << cpuLevelName(at) << ", " << shape.width << "x"
          << shape.height;
    }
  }
}

TEST(ChannelLevels, SplitAndMergeGiveTheScalarBytesAtEveryLevel) {
  for (int32_t width = 1; width <= 70; ++width)
    expectChannelLevelsAgree(
        {.width = width, .height = 2, .bits = 24, .seed = 900u + static_cast<uint32_t>(width)});
  expectChannelLevelsAgree({.width = 3840, .height = 3, .bits = 24, .seed = 17});
}

}  // namespace
}  // namespace nadiro
