// Bad arguments in the order they are checked, the target left as it was.
#include <gtest/gtest.h>

#include <functional>

#include "nadiro/dither_engine.h"
#include "support/images.h"

namespace nadiro::test {
namespace {

struct Call {
  NadiroDitherSource source;
  NadiroDitherTarget target;
  NadiroDitherOptions options;
};

struct BadCase {
  const char* what;
  std::function<void(Call&)> spoil;
  int32_t code;
};

void kernel(Call& c, NadiroCustomKernel k) {
  c.options.kernel = NADIRO_KERNEL_CUSTOM;
  c.options.customKernel = k;
}
void ordered(Call& c, uint32_t matrix, uint32_t side, NadiroCustomMatrix custom = {}) {
  c.options.method = NADIRO_METHOD_ORDERED;
  c.options.matrix = matrix;
  c.options.matrixSize = side;
  c.options.customMatrix = custom;
}
void custom(Call& c, uint32_t count, const uint8_t* colours) {
  c.options.palette = NADIRO_PALETTE_CUSTOM;
  c.options.paletteCount = count;
  c.options.paletteColors = colours;
}

TEST(EngineArguments, RefusedWithTheirCodeAndTargetUntouched) {
  std::vector<uint8_t> pixels(8 * 6 * 4, 90);
  static const uint16_t kMatrix[4] = {0, 1, 2, 3};
  static const uint8_t kColours[6] = {0, 0, 0, 255, 255, 255};
  // clang-format off
  const BadCase cases[] = {
      {"source pixels", [](Call& c) { c.source.pixels = nullptr; }, NADIRO_DITHER_NULL_ARGUMENT},
      {"target pixels", [](Call& c) { c.target.pixels = nullptr; }, NADIRO_DITHER_NULL_ARGUMENT},
      {"options size", [](Call& c) { c.options.size = 12; }, NADIRO_DITHER_BAD_OPTIONS_SIZE},
      {"options size first", [](Call& c) { c.options.size = 0, c.source.width = 0; }, NADIRO_DITHER_BAD_OPTIONS_SIZE},
      {"width 0", [](Call& c) { c.source.width = 0; }, NADIRO_DITHER_BAD_SIZE},
      {"height 0", [](Call& c) { c.source.height = 0; }, NADIRO_DITHER_BAD_SIZE},
      {"huge width", [](Call& c) { c.source.width = 70000; }, NADIRO_DITHER_BAD_SIZE},
      {"size before format", [](Call& c) { c.source.height = 0, c.source.format = 0; }, NADIRO_DITHER_BAD_SIZE},
      {"source format", [](Call& c) { c.source.format = 0; }, NADIRO_DITHER_BAD_FORMAT},
      {"indices as source", [](Call& c) { c.source.format = NADIRO_PIXELS_INDEX8; }, NADIRO_DITHER_BAD_FORMAT},
      {"target format", [](Call& c) { c.target.format = 99; }, NADIRO_DITHER_BAD_FORMAT},
      {"source stride", [](Call& c) { c.source.stride = 23; }, NADIRO_DITHER_BAD_STRIDE},
      {"target stride", [](Call& c) { c.target.stride = 7; }, NADIRO_DITHER_BAD_STRIDE},
      {"method", [](Call& c) { c.options.method = 3; }, NADIRO_DITHER_BAD_METHOD},
      {"kernel", [](Call& c) { c.options.kernel = 10; }, NADIRO_DITHER_BAD_METHOD},
      {"matrix", [](Call& c) { ordered(c, 4, 8); }, NADIRO_DITHER_BAD_METHOD},
      {"kernel tap on a done pixel", [](Call& c) { kernel(c, {3, 2, 1, 16, {7}}); }, NADIRO_DITHER_BAD_KERNEL},
      {"kernel divisor 0", [](Call& c) { kernel(c, {3, 2, 1, 0, {}}); }, NADIRO_DITHER_BAD_KERNEL},
      {"kernel too wide", [](Call& c) { kernel(c, {10, 2, 1, 16, {}}); }, NADIRO_DITHER_BAD_KERNEL},
      {"bayer 6", [](Call& c) { ordered(c, NADIRO_MATRIX_BAYER, 6); }, NADIRO_DITHER_BAD_MATRIX},
      {"clustered 2", [](Call& c) { ordered(c, NADIRO_MATRIX_CLUSTERED, 2); }, NADIRO_DITHER_BAD_MATRIX},
      {"matrix values null", [](Call& c) { ordered(c, NADIRO_MATRIX_CUSTOM, 0, {2, 2, nullptr}); }, NADIRO_DITHER_BAD_MATRIX},
      {"matrix too tall", [](Call& c) { ordered(c, NADIRO_MATRIX_CUSTOM, 0, {2, 65, kMatrix}); }, NADIRO_DITHER_BAD_MATRIX},
      {"palette", [](Call& c) { c.options.palette = 7; }, NADIRO_DITHER_BAD_PALETTE},
      {"palette colours null", [](Call& c) { custom(c, 2, nullptr); }, NADIRO_DITHER_BAD_PALETTE},
      {"palette of 257", [](Call& c) { custom(c, 257, kColours); }, NADIRO_DITHER_BAD_PALETTE},
      {"no colours wanted", [](Call& c) { c.options.paletteCount = 0; }, NADIRO_DITHER_BAD_PALETTE},
      {"strength 101", [](Call& c) { c.options.strength = 101; }, NADIRO_DITHER_BAD_SETTING},
      {"space", [](Call& c) { c.options.space = 2; }, NADIRO_DITHER_BAD_SETTING},
      {"distance", [](Call& c) { c.options.distance = 2; }, NADIRO_DITHER_BAD_SETTING},
  };
  // clang-format on
  for (const BadCase& bad : cases) {
    std::vector<uint8_t> out(8 * 6 * 4, 0x5A);
    Call c{{pixels.data(), 8, 6, 32, NADIRO_PIXELS_RGBA32},
           {out.data(), 24, NADIRO_PIXELS_RGB24, 77, {}},
           {}};
    NadiroDitherOptionsInit(&c.options);
    bad.spoil(c);
    EXPECT_EQ(NadiroDither(&c.source, &c.target, &c.options), bad.code) << bad.what;
    EXPECT_EQ(out, std::vector<uint8_t>(out.size(), 0x5A)) << bad.what;
    EXPECT_EQ(c.target.paletteCount, 77u) << bad.what;
  }
  // Null blocks themselves.
  Call c{{pixels.data(), 8, 6, 32, NADIRO_PIXELS_RGBA32},
         {pixels.data(), 32, NADIRO_PIXELS_RGBA32, 0, {}},
         {}};
  EXPECT_EQ(NadiroDither(nullptr, &c.target, nullptr), NADIRO_DITHER_NULL_ARGUMENT);
  EXPECT_EQ(NadiroDither(&c.source, nullptr, nullptr), NADIRO_DITHER_NULL_ARGUMENT);
  EXPECT_EQ(NadiroDitherOptionsInit(nullptr), NADIRO_DITHER_NULL_ARGUMENT);
  EXPECT_STREQ(NadiroDitherStatusText(NADIRO_DITHER_BAD_STRIDE), "a stride is shorter than a row");
  EXPECT_STREQ(NadiroDitherStatusText(-1), "unknown status");
  EXPECT_STREQ(NadiroDitherStatusText(NADIRO_DITHER_CANCELLED + 1), "unknown status");
}

#if !defined(_WIN32)
TEST(EngineArguments, ProgressAndCancelThroughTheHook) {
  // One step every 16 rows of 100; Cancel leaves the target untouched, and
  // a hook that cannot show progress is refused before any work.
  const std::vector<uint8_t> pixels(40 * 100 * 3, 120);
  struct Case {
    uint32_t method;
    int cancelAt;
    bool refuse;
    int32_t status;
    int steps;
  } cases[] = {{NADIRO_METHOD_DIFFUSION, 0, false, NADIRO_DITHER_OK, 7},
               {NADIRO_METHOD_ORDERED, 0, false, NADIRO_DITHER_OK, 7},
               {NADIRO_METHOD_DIFFUSION, 3, false, NADIRO_DITHER_CANCELLED, 3},
               {NADIRO_METHOD_NEAREST, 1, false, NADIRO_DITHER_CANCELLED, 1},
               {NADIRO_METHOD_DIFFUSION, 0, true, NADIRO_DITHER_NO_PROGRESS, 0}};
  for (const Case& c : cases) {
    ProgressRecorder r;
    r.cancelAtStep = c.cancelAt;
    r.refuse = c.refuse;
    std::vector<uint8_t> out(pixels.size(), 0x21);
    NadiroDitherOptions o;
    NadiroDitherOptionsInit(&o);
    o.method = c.method;
    o.showProgress = 1;
    const NadiroDitherSource source{pixels.data(), 40, 100, 120, NADIRO_PIXELS_RGB24};
    NadiroDitherTarget target{out.data(), 120, NADIRO_PIXELS_RGB24, 0, {}};
    EXPECT_EQ(NadiroDither(&source, &target, &o), c.status);
    EXPECT_EQ(r.creates, 1);
    EXPECT_EQ(r.steps, c.steps);
    EXPECT_EQ(r.destroys, c.refuse ? 0 : 1);
    if (c.status != NADIRO_DITHER_OK) {
      EXPECT_EQ(out, std::vector<uint8_t>(out.size(), 0x21)) << "nothing written";
    }
  }
}
#endif

}  // namespace
}  // namespace nadiro::test
