#include "dither/sharp_smooth.h"

#include <gtest/gtest.h>

#include <string>

#include "dither/dither_reference.h"
#include "frame/dib.h"
#include "frame/memory.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using Export = NadiroHandle (*)(NadiroHandle, int32_t);

struct Case {
  bool sharp;
  uint16_t depth;
  int32_t bits;
};

Export exportOf(bool sharp) {
  if (sharp) return [](NadiroHandle h, int32_t b) { return DitherSharp(h, b); };
  return [](NadiroHandle h, int32_t b) { return DitherSmooth(h, b); };
}

std::vector<Case> allCases() {
  std::vector<Case> cases;
  for (bool sharp : {true, false})
    for (auto [depth, bits] : {std::pair<uint16_t, int32_t>{4, 1}, {8, 1}, {8, 4}, {24, 1}, {24, 4}})
      cases.push_back({sharp, depth, bits});
  return cases;
}

class WindowMatchesReference : public testing::TestWithParam<Case> {};

TEST_P(WindowMatchesReference, WholeBlockOnAwkwardSizes) {
  const Case& c = GetParam();
  test::expectMatchOnAwkwardImages(
      c.depth, 100, [&](MemHandle h) { return exportOf(c.sharp)(h, c.bits); },
      [&](const std::vector<uint8_t>& in) { return test::refWindow(in, c.bits, c.sharp); });
}

INSTANTIATE_TEST_SUITE_P(Exports, WindowMatchesReference, testing::ValuesIn(allCases()),
                         [](const testing::TestParamInfo<Case>& p) {
                           return std::string(p.param.sharp ? "Sharp_" : "Smooth_") +
                                  std::to_string(p.param.depth) + "to" +
                                  std::to_string(p.param.bits);
                         });

// Runs the library's window core on one pair of rows and checks it against
// the reference core on the same rows.
struct Window {
  std::vector<int16_t> a, b;
  std::vector<uint8_t> bits;
};

Window runWindow(std::vector<int> a, std::vector<int> b, bool sharp) {
  const int width = static_cast<int>(a.size()) - 1;
  Window w{{a.begin(), a.end()}, {b.begin(), b.end()}, std::vector<uint8_t>((width + 7) / 8)};
  dither::windowRow(w.a.data(), w.b.data(), static_cast<uint32_t>(width), w.bits.data(), sharp);
  const auto white = test::refWindowRow(a, b, width, sharp);
  EXPECT_EQ(std::vector<int>(w.a.begin(), w.a.end()), a);
  EXPECT_EQ(std::vector<int>(w.b.begin(), w.b.end()), b);
  for (int x = 0; x < width; ++x)
    EXPECT_EQ((w.bits[static_cast<size_t>(x / 8)] >> (7 - x % 8)) & 1, white[static_cast<size_t>(x)]) << x;
  return w;
}

TEST(WindowCore, DocumentedWindows) {
  for (bool sharp : {true, false}) {
    // Four entries of 255: k = 4, all stay 255, the pixel is white.
    auto w = runWindow({255, 255}, {255, 255}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{255, 255}));
    EXPECT_EQ(w.b, (std::vector<int16_t>{255, 255}));
    EXPECT_EQ(w.bits[0], 0x80);
    // Sum 300: k = 1, rem = 45; largest 255, second 45, the others 0.
    w = runWindow({100, 50}, {80, 70}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{255, 0}));
    EXPECT_EQ(w.b, (std::vector<int16_t>{45, 0}));
    EXPECT_EQ(w.bits[0], 0x80);
    // Ties: the earlier entry in a[x], a[x+1], b[x], b[x+1] ranks higher.
    w = runWindow({100, 100}, {100, 100}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{255, 145}));
    EXPECT_EQ(w.b, (std::vector<int16_t>{0, 0}));
    // k = 0: only the largest keeps the sum; the pixel is black.
    w = runWindow({10, 20}, {5, 40}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{0, 0}));
    EXPECT_EQ(w.b, (std::vector<int16_t>{0, 75}));
    EXPECT_EQ(w.bits[0], 0);
  }
}

TEST(WindowCore, SharpHalvesTheResidual) {
  // a[0] keeps 100 and is carried on: whole for smooth, halved for sharp.
  auto smooth = runWindow({100, 0, 0}, {0, 0, 0}, false);
  auto sharp = runWindow({100, 0, 0}, {0, 0, 0}, true);
  EXPECT_EQ(smooth.a[1], 100);
  EXPECT_EQ(sharp.a[1], 50);
  // Longer rows against the reference core.
  std::vector<int> a, b;
  for (int x = 0; x <= 40; ++x) {
    a.push_back((x * 37) % 256);
    b.push_back((x * 91 + 13) % 256);
  }
  runWindow(a, b, true);
  runWindow(a, b, false);
}

class WindowRefuses : public testing::TestWithParam<bool> {};

TEST_P(WindowRefuses, WithItsOwnCodes) {
  const Export call = exportOf(GetParam());
  for (int32_t bits : {8, 0, 2, 24, -4})
    test::expectRefused(call, test::garbageHandle(2), bits, NADIRO_PIXEL_BAD_ARGUMENT, "bits");
  test::expectRefused(call, nullptr, 1, NADIRO_PIXEL_CANNOT_LOCK, "null handle");
  test::expectRefused(call, test::garbageHandle(9), 4, NADIRO_PIXEL_NO_MEMORY, "garbage handle");

  // A refused source depth leaves the caller's image locked.
  const std::pair<uint16_t, int32_t> badDepths[] = {{4, 4}, {1, 1}, {16, 1}, {32, 4}};
  for (auto [depth, bits] : badDepths) {
    const auto in = test::makeDib({.width = 6, .height = 3, .bits = depth});
    test::ImageHandle h(in);
    test::expectRefused(call, h.get(), bits, NADIRO_PIXEL_BAD_SOURCE_DEPTH, "depth");
    EXPECT_FALSE(test::notLocked(h.get())) << "left locked";
    EXPECT_FALSE(memUnlock(h.get())) << "exactly one lock left standing";
    EXPECT_EQ(test::blockBytes(h.get()), in);
  }

  const auto good = test::makeDib({.width = 9, .height = 4, .bits = 8});
  test::expectMalformedBlocksRefused(call, good);

  auto empty = test::makeDib({.width = 0, .height = 3, .bits = 24});
  test::ImageHandle e(empty);
  test::expectRefused(call, e.get(), 4, NADIRO_PIXEL_NO_MEMORY, "empty image");
  EXPECT_TRUE(test::notLocked(e.get()));

  test::ImageHandle img(good);
  test::ImageHandle out(call(img.get(), 4));
  EXPECT_TRUE(out);
  EXPECT_EQ(threadErrorBlock()->pixelStatus, NADIRO_PIXEL_OK);
}

INSTANTIATE_TEST_SUITE_P(Exports, WindowRefuses, testing::Bool(),
                         [](const auto& p) { return p.param ? "Sharp" : "Smooth"; });

}  // namespace
}  // namespace nadiro
