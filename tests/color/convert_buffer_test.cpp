// ConvertColorSpace: raw buffers in model order, the length-7 example, the
// codes, pairs without a function, progress and cancel.
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "color/reference.h"
#include "frame/progress.h"
#include "nadiro/nadiro.h"

namespace nadiro {
namespace {

using test::ref::Model;

constexpr uint8_t kUntouched = 0xA5;

std::optional<test::ref::Record> convertPixel(int from, int to, const uint8_t* in) {
  Model f, t;
  if (from == 1 && to == 10) return test::ref::ucrFromRgb(in);
  if (!test::ref::modelOfId(from, f) || !test::ref::modelOfId(to, t) || f == t) return std::nullopt;
  return test::ref::convert(f, t, in);
}

// The buffer conversion pixel by pixel: pixel n starts at n * in-size for
// every start below length, is read whole, and its result goes to
// n * out-size in model order.
std::vector<uint8_t> referenceBuffer(const std::vector<uint8_t>& src, int length, int from, int to,
                                     size_t targetSize) {
  std::vector<uint8_t> dst(targetSize, kUntouched);
  const int in = from == 4 ? 4 : 3;
  const size_t out = from != 4 && (to == 4 || to == 10) ? 4 : 3;
  for (int start = 0, n = 0; start < length; start += in, ++n) {
    const auto r = convertPixel(from, to, src.data() + start);
    if (!r) continue;
    for (size_t j = 0; j < out; ++j) dst[static_cast<size_t>(n) * out + j] = (*r)[j];
  }
  return dst;
}

struct Pair {
  int from, to;
};

class BufferPair : public testing::TestWithParam<Pair> {};

TEST_P(BufferPair, MatchesPixelReference) {
  const auto [from, to] = GetParam();
  std::mt19937 rng(static_cast<uint32_t>(from * 16 + to));
  for (int length : {1, 2, 3, 4, 5, 7, 8, 12, 99, 100}) {
    // Room for the pixel that starts below length and reads past it.
    std::vector<uint8_t> src(static_cast<size_t>(length) + 4);
    for (auto& b : src) b = static_cast<uint8_t>(rng());
    const auto original = src;
    const size_t targetSize = static_cast<size_t>(length) * 2 + 8;
    std::vector<uint8_t> dst(targetSize, kUntouched);
    setLastError(31);
    EXPECT_EQ(ConvertColorSpace(src.data(), dst.data(), length, from, to, 0, nullptr), length);
    EXPECT_EQ(GetLastColorConvertError(), 0u);
    EXPECT_EQ(dst, referenceBuffer(src, length, from, to, targetSize)) << "length " << length;
    EXPECT_EQ(src, original);
  }
}

std::vector<Pair> everyPair() {
  std::vector<Pair> pairs;
  for (int f = 1; f <= 10; ++f)
    for (int t = 1; t <= 10; ++t) pairs.push_back({f, t});
  return pairs;
}

INSTANTIATE_TEST_SUITE_P(Models, BufferPair, testing::ValuesIn(everyPair()),
                         [](const testing::TestParamInfo<Pair>& i) {
                           return std::to_string(i.param.from) + "to" +
                                  std::to_string(i.param.to);
                         });

// Length 7 converts three pixels (0, 3, 6); the last reads source[6..8] and
// writes target[6..8]; the result is 7.
TEST(ConvertBuffer, LengthSevenConvertsThreePixels) {
  const std::vector<uint8_t> src = {255, 0, 0, 0, 255, 255, 0, 0, 0};
  std::vector<uint8_t> dst(12, kUntouched);
  EXPECT_EQ(ConvertColorSpace(src.data(), dst.data(), 7, 1, 6, 0, nullptr), 7);
  EXPECT_EQ(dst, (std::vector<uint8_t>{0, 255, 255, 127, 255, 255, 0, 0, 0, kUntouched, kUntouched,
                                       kUntouched}));
}

TEST(ConvertBuffer, FourByteTargetsArePackedInModelOrder) {
  const std::vector<uint8_t> src = {10, 20, 30, 0, 0, 0};
  std::vector<uint8_t> dst(8, kUntouched);
  EXPECT_EQ(ConvertColorSpace(src.data(), dst.data(), 6, 1, 4, 0, nullptr), 6);
  // C 245 M 235 Y 225 K 225 -> 20, 10, 0, 225; black -> 0, 0, 0, 255.
  EXPECT_EQ(dst, (std::vector<uint8_t>{20, 10, 0, 225, 0, 0, 0, 255}));
}

TEST(ConvertBuffer, CmykSourceReadsFourBytesInStoredOrder) {
  const std::vector<uint8_t> src = {200, 0, 0, 100, 0, 0, 0, 0};
  std::vector<uint8_t> dst(7, kUntouched);
  EXPECT_EQ(ConvertColorSpace(src.data(), dst.data(), 8, 4, 1, 0, nullptr), 8);
  EXPECT_EQ(dst, (std::vector<uint8_t>{211, 155, 155, 255, 255, 255, kUntouched}));
}

struct Refusal {
  const char* name;
  bool nullSource, nullTarget;
  int32_t length;
  int from, to;
  uint32_t code;
};

class BufferRefused : public testing::TestWithParam<Refusal> {};

TEST_P(BufferRefused, ReturnsMinusOneWithCode) {
  const Refusal& r = GetParam();
  std::vector<uint8_t> src(16, 1), dst(16, kUntouched);
  setLastError(99);
  EXPECT_EQ(ConvertColorSpace(r.nullSource ? nullptr : src.data(), r.nullTarget ? nullptr : dst.data(),
                              r.length, r.from, r.to, 1, nullptr),
            -1);
  EXPECT_EQ(GetLastColorConvertError(), r.code);
  EXPECT_EQ(dst, std::vector<uint8_t>(16, kUntouched));
}

INSTANTIATE_TEST_SUITE_P(
    Codes, BufferRefused,
    testing::Values(Refusal{"SourceId0", false, false, 6, 0, 1, 2},
                    Refusal{"TargetId11", false, false, 6, 1, 11, 2},
                    Refusal{"BadIdBeforeBadLength", false, false, 0, 12, 1, 2},
                    Refusal{"BadIdBeforeNullBuffer", true, true, 6, 1, -3, 2},
                    Refusal{"LengthZero", false, false, 0, 1, 6, 4},
                    Refusal{"LengthNegative", false, false, -5, 1, 6, 4},
                    Refusal{"NullSource", true, false, 6, 1, 6, 4},
                    Refusal{"NullTarget", false, true, 6, 1, 6, 4},
                    Refusal{"NullCmykSource", true, false, 8, 4, 1, 4}),
    [](const testing::TestParamInfo<Refusal>& i) { return i.param.name; });

#if !defined(_WIN32)
// Counts the progress steps through the hook and presses Cancel on the n-th
// (never when 0) for as long as it lives.
int gCancelAt = 0;
int gSteps = 0;
struct StepCounter {
  StepCounter() {
    static const NadiroProgressHook hook{
        nullptr, nullptr, [](void*, int32_t) -> int32_t { return ++gSteps == gCancelAt ? 1 : 0; },
        nullptr};
    gSteps = 0;
    NadiroSetProgressHook(&hook);
  }
  ~StepCounter() { NadiroSetProgressHook(nullptr); }
};

// Cancel stops the walk at the byte after the step that saw it: the pixel at
// that step is still converted, nothing after it; the result is the index.
TEST(ConvertBuffer, CancelReturnsTheIndexReached) {
  const StepCounter counter;
  for (int from : {1, 4}) {
    const int length = 6000;
    std::mt19937 rng(3);
    std::vector<uint8_t> src(length + 4);
    for (auto& b : src) b = static_cast<uint8_t>(rng());
    for (int cancelAt : {1, 2, 4}) {
      std::vector<uint8_t> dst(length * 2, kUntouched);
      gSteps = 0;
      gCancelAt = cancelAt;
      const int32_t stopped = (cancelAt - 1) * 1500 + 1;
      EXPECT_EQ(ConvertColorSpace(src.data(), dst.data(), length, from, 7, 1, nullptr), stopped);
      EXPECT_EQ(GetLastColorConvertError(), 0u);
      EXPECT_EQ(dst, referenceBuffer(src, stopped, from, 7, dst.size()));
    }
  }
}

TEST(ConvertBuffer, ProgressRangeAndSteps) {
  const StepCounter counter;
  gCancelAt = 0;
  for (auto [length, steps] : {std::pair{1, 1}, std::pair{1500, 1}, std::pair{1501, 2},
                               std::pair{4500, 3}, std::pair{4501, 4}}) {
    std::vector<uint8_t> src(static_cast<size_t>(length) + 4, 7);
    std::vector<uint8_t> dst(static_cast<size_t>(length) * 2 + 4, 0);
    gSteps = 0;
    EXPECT_EQ(ConvertColorSpace(src.data(), dst.data(), length, 1, 2, 1, nullptr), length);
    EXPECT_EQ(gSteps, steps) << length;
    EXPECT_EQ(threadErrorBlock()->progressTotal, length + 1);
    EXPECT_EQ(threadErrorBlock()->progressDivisor, 1500);
    EXPECT_FALSE(progressOpen());
  }
}
#endif

}  // namespace
}  // namespace nadiro
