// Every instruction-set level of the convolution, split and merge against
// the scalar level, through the exports.
#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "channels/channel_rows.h"
#include "channels/convolution_rows.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using test::Bytes;

// Pictures of every width from 1 to 70 and one 4K-wide strip.
std::vector<Bytes> pictures(int32_t (*height)(int32_t width)) {
  std::vector<Bytes> out;
  std::vector<int32_t> widths(70);
  std::iota(widths.begin(), widths.end(), 1);
  widths.push_back(3840);
  for (int32_t width : widths)
    out.push_back(test::makeDib({width, height(width), 24, 0, 0,
                                 width % 7 == 3 ? test::Fill::Gradient : test::Fill::Noise,
                                 500u + static_cast<uint32_t>(width)}));
  return out;
}

template <typename F>
void expectEveryLevelAgrees(F at, const std::string& what) {
  const auto scalar = at(CpuLevel::Scalar);
  for (int level = 1; level <= static_cast<int>(cpuBestLevel()); ++level)
    ASSERT_EQ(at(static_cast<CpuLevel>(level)), scalar)
        << what << " at " << cpuLevelName(static_cast<CpuLevel>(level));
}

struct Filter {
  uint32_t source;
  int32_t size;
  std::vector<int16_t> kernel;  // caller kernels: n * n weights and the divisor
};

// Caller kernels with weights at the limits or random small ones.
std::vector<Filter> filters() {
  std::mt19937 rng(13);
  std::vector<Filter> out = {{3, 3, {}}, {3, 5, {}}, {3, 7, {}}, {4, 3, {}}, {4, 5, {}},
                             {5, 3, {}}, {5, 5, {}}, {6, 3, {}}, {6, 5, {}}};
  for (const int32_t n : {3, 5, 7})
    for (const int16_t divisor : {0, 1, 4, 64, -3, 7, 44, 32767, -32768}) {
      const auto count = static_cast<size_t>(n * n);
      std::vector<int16_t> k(count + 1, 0);
      std::uniform_int_distribution<int> weight(-5, 5);
      for (size_t i = 0; i < count && divisor % 2 != 0; ++i)
        k[i] = static_cast<int16_t>(weight(rng));
      if (divisor % 2 == 0) {
        k[rng() % count] = 127;
        k[rng() % count] = -127;
      }
      k[count] = divisor;
      out.push_back({1, n, k});
    }
  return out;
}

TEST(ConvolutionLevels, EveryLevelGivesTheScalarBytes) {
  const std::vector<Filter> all = filters();
  for (const Bytes& image : pictures([](int32_t w) { return w > 70 ? 8 : 1 + w % 9; })) {
    const int32_t width = image[4] | image[5] << 8;
    const bool inPlace = width % 2 == 0;
    for (const Filter& f : all)
      for (const int32_t luma : {0, 1})
        expectEveryLevelAgrees(
            [&](CpuLevel level) {
              channels::ScopedConvolutionLevel scoped(level);
              test::ImageHandle source(image);
              uint32_t error = 99;
              const test::ImageHandle made(ColorConvolutionA(
                  source.get(), inPlace ? 0 : 1, luma, f.source, f.size, "",
                  f.kernel.empty() ? nullptr : f.kernel.data(), &error, 0, nullptr));
              EXPECT_EQ(error, 0u);
              return test::blockBytes(inPlace ? source.get() : made.get());
            },
            "source " + std::to_string(f.source) + " size " + std::to_string(f.size) + " divisor " +
                std::to_string(f.kernel.empty() ? 0 : f.kernel.back()) + " luma " +
                std::to_string(luma) + ", width " + std::to_string(width));
  }
}

TEST(ChannelLevels, SplitAndMergeGiveTheScalarBytesAtEveryLevel) {
  for (const Bytes& image : pictures([](int32_t w) { return w > 70 ? 3 : 2; }))
    for (uint32_t model = 1; model <= 10; ++model)
      expectEveryLevelAgrees(
          [&](CpuLevel level) {
            channels::ScopedChannelLevel scoped(level);
            const test::ImageHandle source(image), dest(image);
            NadiroHandle made[4] = {};
            const uint32_t count = SplitColorChannels(source.get(), made, model);
            EXPECT_TRUE(count == 3 || count == 4) << "model " << model;
            std::vector<test::ImageHandle> owned(made, made + count);
            std::vector<Bytes> out;
            for (uint32_t i = 0; i < count; ++i) out.push_back(test::blockBytes(made[i]));
            EXPECT_EQ(MergeColorChannels(made[0], made[1], made[2], made[3], dest.get(), model),
                      1u);
            out.push_back(test::blockBytes(dest.get()));
            return out;
          },
          "model " + std::to_string(model) + ", width " + std::to_string(image[4] | image[5] << 8));
}

}  // namespace
}  // namespace nadiro
