// ConvertDIBColorSpace: every source/target pair on awkward widths against a
// pixel-at-a-time statement of the conversion, the refusals and their codes,
// the quirks, progress and cancel.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>

#include "color/reference.h"
#include "frame/dib.h"
#include "frame/progress.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using dib::load;
using dib::store;
using test::ref::Model;

const uint32_t kTag[11] = {0, 0, 10, 11, 12, 13, 14, 15, 16, 17, 12};

// The converted colour of one pixel in model order, or nothing when the pair
// has no conversion function.
std::optional<test::ref::Record> convertPixel(int from, int to, const uint8_t* in) {
  Model f, t;
  if (from == 1 && to == 10) return test::ref::ucrFromRgb(in);
  if (!test::ref::modelOfId(from, f) || !test::ref::modelOfId(to, t) || f == t) return std::nullopt;
  return test::ref::convert(f, t, in);
}

struct Expected {
  std::vector<uint8_t> output;  // empty: no image returned
  std::vector<uint8_t> source;  // the caller's block afterwards
};

// The conversion written pixel by pixel from its description: a three-byte
// source is read at row y, column x of 24-bit rows (whatever its depth),
// reversed, converted, and written reversed into a copy of the image, or as
// K, Y, M, C into a new 32-bit image; a CMYK source goes into a new 24-bit
// image and leaves its pixel size in its own biSizeImage.
Expected referenceConvert(const std::vector<uint8_t>& in, int from, int to) {
  Expected e{{}, in};
  const int32_t w = load<int32_t>(in.data(), 4), h = load<int32_t>(in.data(), 8);
  const uint32_t used = load<uint32_t>(in.data(), 32);
  const uint16_t depth = load<uint16_t>(in.data(), 14);
  const size_t table = 4 * size_t{used ? used : (depth <= 8 ? 1u << depth : 0u)};
  const size_t pix = 40 + table;
  const size_t s24 = (3 * static_cast<size_t>(w) + 3) / 4 * 4;
  const size_t s32 = 4 * static_cast<size_t>(w);
  if (from == 4) {
    std::vector<uint8_t> out(40 + s24 * static_cast<size_t>(h), 0);
    std::copy(in.begin(), in.begin() + 40, out.begin());
    store<uint16_t>(out.data(), 14, 24);
    store<uint32_t>(out.data(), 16, kTag[to]);
    store<uint32_t>(e.source.data(), 20, static_cast<uint32_t>(s24 * static_cast<size_t>(h)));
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const uint8_t* p = in.data() + pix + static_cast<size_t>(y) * s32 + 4 * size_t(x);
        const uint8_t cmyk[4] = {p[3], p[2], p[1], p[0]};
        if (auto r = convertPixel(4, to, cmyk)) {
          uint8_t* q = out.data() + 40 + static_cast<size_t>(y) * s24 + 3 * size_t(x);
          q[0] = (*r)[2];
          q[1] = (*r)[1];
          q[2] = (*r)[0];
        }
      }
    e.output = out;
    return e;
  }
  std::vector<uint8_t> out;
  const bool four = to == 4 || to == 10;
  if (four) {
    out.assign(40 + s32 * static_cast<size_t>(h), 0);
    std::copy(in.begin(), in.begin() + 40, out.begin());
    store<uint16_t>(out.data(), 14, 32);
    store<uint32_t>(out.data(), 20, static_cast<uint32_t>(s32 * static_cast<size_t>(h)));
  } else {
    out = in;
  }
  store<uint32_t>(out.data(), 16, kTag[to]);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const uint8_t* p = in.data() + pix + static_cast<size_t>(y) * s24 + 3 * size_t(x);
      const uint8_t px[3] = {p[2], p[1], p[0]};
      const auto r = convertPixel(from, to, px);
      if (!r) continue;
      if (four) {
        uint8_t* q = out.data() + 40 + static_cast<size_t>(y) * s32 + 4 * size_t(x);
        for (int j = 0; j < 4; ++j) q[j] = (*r)[static_cast<size_t>(3 - j)];
      } else {
        uint8_t* q = out.data() + pix + static_cast<size_t>(y) * s24 + 3 * size_t(x);
        for (int j = 0; j < 3; ++j) q[j] = (*r)[static_cast<size_t>(2 - j)];
      }
    }
  e.output = out;
  return e;
}

// A source image for model `from`: 32-bit for CMYK, else 24-bit (or the
// given depth), tagged with the model's tag.
std::vector<uint8_t> sourceImage(int from, int32_t width, int32_t height, uint16_t bits,
                                 uint32_t seed) {
  auto bytes = test::makeDib({.width = width, .height = height, .bits = bits, .seed = seed});
  store<uint32_t>(bytes.data(), 16, kTag[from]);
  return bytes;
}

struct Pair {
  int from, to;
};

std::vector<Pair> everyPair() {
  std::vector<Pair> pairs;
  for (int f = 1; f <= 9; ++f)
    for (int t = 1; t <= 10; ++t)
      if (f != t) pairs.push_back({f, t});
  return pairs;
}

class EveryPair : public testing::TestWithParam<Pair> {};

TEST_P(EveryPair, MatchesPixelReferenceOnAwkwardWidths) {
  const auto [from, to] = GetParam();
  std::vector<uint16_t> depths = {uint16_t(from == 4 ? 32 : 24)};
  if (from != 4) depths.push_back(32);  // walked with 24-bit rows all the same
  for (uint16_t bits : depths)
    for (int32_t width : {1, 2, 3, 5, 7, 33}) {
      SCOPED_TRACE("bits " + std::to_string(bits) + " width " + std::to_string(width));
      const auto bytes = sourceImage(from, width, 3, bits, static_cast<uint32_t>(width * 31 + to));
      const Expected want = referenceConvert(bytes, from, to);
      test::ImageHandle img(bytes);
      setLastError(77);
      test::ImageHandle out(ConvertDIBColorSpace(img.get(), from, to, 0, nullptr));
      ASSERT_TRUE(out);
      EXPECT_EQ(GetLastColorConvertError(), 0u);
      EXPECT_EQ(test::blockBytes(out.get()), want.output);
      EXPECT_EQ(test::blockBytes(img.get()), want.source);
      EXPECT_TRUE(test::notLocked(img.get()));
      EXPECT_TRUE(test::notLocked(out.get()));
    }
}

INSTANTIATE_TEST_SUITE_P(Models, EveryPair, testing::ValuesIn(everyPair()),
                         [](const testing::TestParamInfo<Pair>& i) {
                           return std::to_string(i.param.from) + "to" +
                                  std::to_string(i.param.to);
                         });

// Converting there and back restores the tags and byte orders: RGB to CMY
// and back is exact, and so is RGB to CMYK and back (integer members).
TEST(ConvertImage, RoundTripsThroughIntegerModels) {
  for (int32_t width : {1, 2, 3, 5, 7, 33}) {
    const auto bytes = sourceImage(1, width, 4, 24, 9);
    test::ImageHandle img(bytes);
    for (int via : {3, 4}) {
      test::ImageHandle there(ConvertDIBColorSpace(img.get(), 1, via, 0, nullptr));
      ASSERT_TRUE(there);
      const auto mid = test::blockBytes(there.get());
      EXPECT_EQ(load<uint32_t>(mid.data(), 16), kTag[via]);
      test::ImageHandle back(ConvertDIBColorSpace(there.get(), via, 1, 0, nullptr));
      ASSERT_TRUE(back);
      const auto got = test::blockBytes(back.get());
      EXPECT_EQ(load<uint32_t>(got.data(), 16), 0u);
      const size_t s24 = (3 * static_cast<size_t>(width) + 3) / 4 * 4;
      for (size_t y = 0; y < 4; ++y)
        for (size_t b = 0; b < 3 * static_cast<size_t>(width); ++b)
          ASSERT_EQ(got[40 + y * s24 + b], bytes[40 + y * s24 + b]) << via << " " << y << " " << b;
    }
  }
}

TEST(ConvertImage, RgbToCmykStoresKYMC) {
  auto bytes = sourceImage(1, 1, 1, 24, 1);
  bytes[40] = 30;  // B
  bytes[41] = 20;  // G
  bytes[42] = 10;  // R
  test::ImageHandle img(bytes);
  test::ImageHandle out(ConvertDIBColorSpace(img.get(), 1, 4, 0, nullptr));
  const auto got = test::blockBytes(out.get());
  ASSERT_EQ(got.size(), 44u);
  EXPECT_EQ(load<uint16_t>(got.data(), 14), 32);
  EXPECT_EQ(load<uint32_t>(got.data(), 16), 12u);
  // C 245, M 235, Y 225 -> K 225: C 20, M 10, Y 0; stored K, Y, M, C.
  EXPECT_EQ(std::vector<uint8_t>(got.begin() + 40, got.end()),
            (std::vector<uint8_t>{225, 0, 10, 20}));
}

TEST(ConvertImage, NonRgbSourceToModel10GivesZeroPixelsTagged12) {
  const auto bytes = sourceImage(6, 5, 2, 24, 3);
  test::ImageHandle img(bytes);
  test::ImageHandle out(ConvertDIBColorSpace(img.get(), 6, 10, 0, nullptr));
  const auto got = test::blockBytes(out.get());
  ASSERT_EQ(got.size(), 40u + 20 * 2);
  EXPECT_EQ(load<uint32_t>(got.data(), 16), 12u);
  for (size_t i = 40; i < got.size(); ++i) ASSERT_EQ(got[i], 0) << i;
}

TEST(ConvertImage, SameModelReturnsTheSameHandle) {
  for (int m = 1; m <= 9; ++m) {
    const auto bytes = sourceImage(m, 3, 2, m == 4 ? 32 : 24, 5);
    test::ImageHandle img(bytes);
    EXPECT_EQ(ConvertDIBColorSpace(img.get(), m, m, 0, nullptr), img.get()) << m;
    EXPECT_EQ(GetLastColorConvertError(), 0u);
    EXPECT_TRUE(test::notLocked(img.get()));
    EXPECT_EQ(test::blockBytes(img.get()), bytes);
  }
}

struct Refusal {
  const char* name;
  int from, to;
  uint16_t bits;
  uint32_t tag;
  uint32_t code;
};

class Refused : public testing::TestWithParam<Refusal> {};

TEST_P(Refused, ReturnsNullWithCode) {
  const Refusal& r = GetParam();
  auto bytes = test::makeDib({.width = 5, .height = 3, .bits = r.bits, .seed = 2});
  store<uint32_t>(bytes.data(), 16, r.tag);
  test::ImageHandle img(bytes);
  setLastError(55);
  EXPECT_EQ(ConvertDIBColorSpace(img.get(), r.from, r.to, 1, nullptr), nullptr);
  EXPECT_EQ(GetLastColorConvertError(), r.code);
  EXPECT_EQ(test::blockBytes(img.get()), bytes);
  EXPECT_TRUE(test::notLocked(img.get()));
}

INSTANTIATE_TEST_SUITE_P(
    Codes, Refused,
    testing::Values(Refusal{"SourceIdZero", 0, 1, 24, 0, 2}, Refusal{"SourceId11", 11, 1, 24, 0, 2},
                    Refusal{"TargetIdZero", 1, 0, 24, 0, 2}, Refusal{"TargetId11", 1, 11, 24, 0, 2},
                    Refusal{"NegativeId", -1, 1, 24, 0, 2},
                    Refusal{"RgbTaggedHsv", 1, 6, 24, 14, 2},
                    Refusal{"RgbCompressed", 1, 6, 24, 1, 2},
                    Refusal{"HsvUntagged", 6, 1, 24, 0, 2},
                    Refusal{"Model10NeverASource", 10, 1, 32, 12, 2},
                    Refusal{"Model10SameModel", 10, 10, 32, 12, 2},
                    Refusal{"EightBitRgb", 1, 6, 8, 0, 0}, Refusal{"SixteenBit", 1, 6, 16, 0, 0},
                    Refusal{"EightBitTaggedWrong", 2, 6, 8, 0, 0}),
    [](const testing::TestParamInfo<Refusal>& i) { return i.param.name; });

TEST(ConvertImage, NullAndUnknownHandlesReturnNullWithoutCode) {
  setLastError(9);
  EXPECT_EQ(ConvertDIBColorSpace(nullptr, 1, 6, 0, nullptr), nullptr);
  EXPECT_EQ(GetLastColorConvertError(), 0u);
  EXPECT_EQ(ConvertDIBColorSpace(test::garbageHandle(3), 1, 6, 0, nullptr), nullptr);
  EXPECT_EQ(GetLastColorConvertError(), 0u);
}

// A CMYK source is accepted at any depth and walked as 32-bit rows behind its
// colour table: an 8-bit image one pixel wide has 4-byte rows either way.
TEST(ConvertImage, CmykSourceOfAnyDepthIsWalkedAs32Bit) {
  auto bytes = test::makeDib({.width = 1, .height = 3, .bits = 8, .seed = 4});
  store<uint32_t>(bytes.data(), 16, 12);
  const Expected want = referenceConvert(bytes, 4, 6);
  test::ImageHandle img(bytes);
  test::ImageHandle out(ConvertDIBColorSpace(img.get(), 4, 6, 0, nullptr));
  ASSERT_TRUE(out);
  EXPECT_EQ(test::blockBytes(out.get()), want.output);
  EXPECT_EQ(test::blockBytes(img.get()), want.source);
}

// Blocks too short for the rows they claim are refused before anything is
// read, made or written.
TEST(ConvertImage, ShortBlocksAreRefused) {
  for (int from : {1, 4}) {
    for (int to : {3, 4, 10, 1}) {
      if (from == to) continue;
      auto bytes = sourceImage(from, 7, 4, from == 4 ? 32 : 24, 8);
      for (size_t cut : {size_t{1}, size_t{5}, bytes.size() - 39}) {
        std::vector<uint8_t> shortBlock(bytes.begin(), bytes.end() - static_cast<long>(cut));
        test::ImageHandle img(shortBlock);
        EXPECT_EQ(ConvertDIBColorSpace(img.get(), from, to, 0, nullptr), nullptr);
        EXPECT_EQ(test::blockBytes(img.get()), shortBlock);
        EXPECT_TRUE(test::notLocked(img.get()));
      }
    }
  }
  std::vector<uint8_t> tiny(20, 0);
  test::ImageHandle img(tiny);
  EXPECT_EQ(ConvertDIBColorSpace(img.get(), 1, 2, 0, nullptr), nullptr);
}

TEST(ConvertImage, EmptyImagesConvertToEmptyImages) {
  for (auto [w, h] : {std::pair{0, 3}, std::pair{4, 0}}) {
    const auto bytes = sourceImage(1, w, h, 24, 1);
    test::ImageHandle img(bytes);
    test::ImageHandle out(ConvertDIBColorSpace(img.get(), 1, 9, 0, nullptr));
    ASSERT_TRUE(out);
    EXPECT_EQ(test::blockBytes(out.get()), referenceConvert(bytes, 1, 9).output);
  }
}

#if !defined(_WIN32)
// Counts the progress steps through the hook and presses Cancel on the n-th
// (never when 0) for as long as it lives.
int gStepsBeforeCancel = 0;
int gSteps = 0;
struct StepCounter {
  StepCounter() {
    static const NadiroProgressHook hook{
        nullptr, nullptr,
        [](void*, int32_t) -> int32_t { return ++gSteps == gStepsBeforeCancel ? 1 : 0; }, nullptr};
    gSteps = 0;
    NadiroSetProgressHook(&hook);
  }
  ~StepCounter() { NadiroSetProgressHook(nullptr); }
};

TEST(ConvertImage, CancelFreesTheOutputAndReturnsNull) {
  const StepCounter counter;
  for (int from : {1, 4}) {
    // 40 x 30 pixels: 3600 (24-bit) or 4800 (32-bit) bytes, so 3 or 4 steps.
    const auto bytes = sourceImage(from, 40, 30, from == 4 ? 32 : 24, 6);
    for (int cancelAt : {1, 2, 3}) {
      test::ImageHandle img(bytes);
      gSteps = 0;
      gStepsBeforeCancel = cancelAt;
      const auto expectedSource = referenceConvert(bytes, from, 9).source;
      EXPECT_EQ(ConvertDIBColorSpace(img.get(), from, 9, 1, nullptr), nullptr);
      EXPECT_EQ(gSteps, cancelAt) << "the walk stops at the next byte";
      EXPECT_EQ(GetLastColorConvertError(), 0u) << "cancel is not an error code";
      EXPECT_EQ(test::blockBytes(img.get()), expectedSource);
      EXPECT_TRUE(test::notLocked(img.get()));
      EXPECT_FALSE(progressOpen());
    }
  }
}

#endif

TEST(ConvertImage, CancelFlagIsClearedOnEntry) {
  const auto bytes = sourceImage(1, 5, 5, 24, 6);
  test::ImageHandle img(bytes);
  threadErrorBlock()->cancel = 1;
  test::ImageHandle out(ConvertDIBColorSpace(img.get(), 1, 2, 0, nullptr));
  EXPECT_TRUE(out);
  EXPECT_EQ(threadErrorBlock()->cancel, 0u);
}

#if !defined(_WIN32)
// One step before every 1500th byte of the walk: 3600 bytes -> steps at
// 0, 1500 and 3000; the dialog's range is bytes + 1.
TEST(ConvertImage, ProgressStepsEvery1500Bytes) {
  struct Case {
    int from;
    int32_t width, height;
    uint16_t bits;
    int steps;
    int32_t total;
  };
  for (const Case c : {Case{1, 40, 30, 24, 3, 3601}, Case{1, 40, 30, 32, 3, 3601},
                       Case{4, 40, 30, 32, 4, 4801}, Case{1, 500, 1, 24, 1, 1501},
                       Case{1, 500, 2, 24, 2, 3001}}) {
    const auto bytes = sourceImage(c.from, c.width, c.height, c.bits, 6);
    test::ImageHandle img(bytes);
    const StepCounter counter;
    gStepsBeforeCancel = 0;
    test::ImageHandle out(ConvertDIBColorSpace(img.get(), c.from, 7, 5, nullptr));
    ASSERT_TRUE(out);
    EXPECT_EQ(gSteps, c.steps);
    EXPECT_EQ(threadErrorBlock()->progressTotal, c.total);
    EXPECT_EQ(threadErrorBlock()->progressDivisor, 1500);
    EXPECT_FALSE(progressOpen()) << "destroyed at the end";
    // With progress off nothing steps.
    gSteps = 0;
    test::ImageHandle quiet(ConvertDIBColorSpace(img.get(), c.from, 7, 0, nullptr));
    EXPECT_EQ(gSteps, 0);
    // Equal but for biSizeImage, which a CMYK source's first conversion
    // rewrote in the source header that the second one copies.
    auto loud = test::blockBytes(out.get()), calm = test::blockBytes(quiet.get());
    ASSERT_EQ(loud.size(), calm.size());
    std::fill_n(loud.begin() + 20, 4, 0);
    std::fill_n(calm.begin() + 20, 4, 0);
    EXPECT_EQ(calm, loud);
  }
}

struct HookLog {
  int32_t total = 0, divisor = 0, steps = 0, destroys = 0;
};

TEST(ConvertImage, ExportShowsProgressThroughTheHook) {
  const auto bytes = sourceImage(1, 40, 30, 24, 6);
  test::ImageHandle img(bytes);
  HookLog log;
  const NadiroProgressHook hook{
      &log,
      [](void* c, NadiroWindow, int32_t total, int32_t divisor) -> int32_t {
        static_cast<HookLog*>(c)->total = total;
        static_cast<HookLog*>(c)->divisor = divisor;
        return 1;
      },
      [](void* c, int32_t) -> int32_t { return ++static_cast<HookLog*>(c)->steps, 0; },
      [](void* c) { ++static_cast<HookLog*>(c)->destroys; }};
  NadiroSetProgressHook(&hook);
  test::ImageHandle out(ConvertDIBColorSpace(img.get(), 1, 6, 1, nullptr));
  NadiroSetProgressHook(nullptr);
  ASSERT_TRUE(out);
  // 40 x 30 pixels in 120-byte rows: 3600 bytes, a step at 0, 1500 and 3000.
  EXPECT_EQ(log.total, 3601);
  EXPECT_EQ(log.divisor, 1500);
  EXPECT_EQ(log.steps, 3);
  EXPECT_EQ(log.destroys, 1);
  EXPECT_FALSE(progressOpen());
}
#endif

}  // namespace
}  // namespace nadiro
