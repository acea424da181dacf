// Bad arguments are refused with their code and leave the target as it
// was; progress and Cancel go through the library's progress hook; random
// arguments never crash.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>

#include "engine/engine_support.h"

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
    EXPECT_EQ(pixels, std::vector<uint8_t>(pixels.size(), 90)) << bad.what;
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

TEST(EngineArguments, RandomArgumentsNeverCrash) {
  // Small pictures with random sizes, strides, formats and options, each
  // usually sensible and now and then wild; the call either succeeds or
  // says why, and never touches bytes outside the blocks (the address
  // sanitizer build watches that).
  std::mt19937 rng(2024);
  const auto pick = [&rng](uint32_t below) { return static_cast<uint32_t>(rng() % below); };
  const auto mostly = [&](uint32_t sensible, uint32_t wildBelow) {
    return pick(8) ? sensible : pick(wildBelow);
  };
  int succeeded = 0;
  for (int round = 0; round < 1500; ++round) {
    const uint32_t width = mostly(1 + pick(12), 14), height = mostly(1 + pick(9), 11);
    const uint32_t inFormat = mostly(1 + pick(5), 9), outFormat = mostly(1 + pick(6), 9);
    const uint32_t inStride = mostly(width * 4 + pick(3), 50);
    const uint32_t outStride = mostly(width * 4 + pick(3), 50);
    std::vector<uint8_t> in(size_t{inStride} * (height ? height : 1) + 1),
        out(size_t{outStride} * (height ? height : 1) + 1);
    for (uint8_t& b : in) b = static_cast<uint8_t>(rng());
    std::vector<uint8_t> colours(3 * 300);
    for (uint8_t& b : colours) b = static_cast<uint8_t>(rng());
    uint16_t matrix[64];
    for (uint16_t& v : matrix) v = static_cast<uint16_t>(rng());
    NadiroDitherOptions o;
    NadiroDitherOptionsInit(&o);
    o.method = mostly(pick(3), 5);
    o.kernel = mostly(pick(10), 12);
    o.matrix = mostly(pick(4), 6);
    o.matrixSize = mostly(1u << (1 + pick(4)), 20);
    o.palette = mostly(pick(7), 9);
    o.paletteCount = mostly(1 + pick(256), 300);
    o.paletteColors = mostly(1, 2) ? colours.data() : nullptr;
    o.serpentine = pick(2);
    o.strength = mostly(pick(101), 200);
    o.clampError = pick(2);
    o.space = mostly(pick(2), 3);
    o.distance = mostly(pick(2), 3);
    o.customKernel = {
        1 + pick(9), 1 + pick(5), 0, static_cast<int32_t>(mostly(1 + pick(40), 3)), {}};
    o.customKernel.origin = mostly(pick(o.customKernel.columns), 10);
    for (uint32_t r = 0; r < NADIRO_KERNEL_MAX_ROWS; ++r)
      for (uint32_t c = 0; c < NADIRO_KERNEL_MAX_COLUMNS; ++c)
        if (r > 0 || c > o.customKernel.origin || !pick(8))
          o.customKernel.weights[r * NADIRO_KERNEL_MAX_COLUMNS + c] =
              static_cast<int32_t>(pick(9)) - 1;
    o.customMatrix = {mostly(1 + pick(8), 70), mostly(1 + pick(8), 70),
                      mostly(1, 2) ? matrix : nullptr};
    if (o.customMatrix.width * o.customMatrix.height > 64) o.customMatrix.values = nullptr;
    const NadiroDitherSource source{in.data(), width, height, inStride, inFormat};
    NadiroDitherTarget target{out.data(), outStride, outFormat, 0, {}};
    const std::vector<uint8_t> before = in;
    const int32_t status = NadiroDither(&source, &target, &o);
    ASSERT_GE(status, NADIRO_DITHER_OK);
    ASSERT_LE(status, NADIRO_DITHER_CANCELLED);
    ASSERT_EQ(in, before);
    if (status != NADIRO_DITHER_OK) continue;
    ++succeeded;
    ASSERT_GE(target.paletteCount, 1u);
    if (target.format == NADIRO_PIXELS_INDEX8) {
      for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) ASSERT_LT(out[y * outStride + x], target.paletteCount);
    }
  }
  EXPECT_GT(succeeded, 300) << "the random calls reach the dithering itself";
}

#if !defined(_WIN32)
// A host hook that counts steps and presses Cancel at a given step.
struct HookState {
  int created = 0, steps = 0, destroyed = 0;
  int cancelAt = -1;
};
NadiroProgressHook hookFor(HookState& s) {
  return {&s,
          [](void* c, NadiroWindow, int32_t, int32_t) -> int32_t {
            ++static_cast<HookState*>(c)->created;
            return 1;
          },
          [](void* c, int32_t) -> int32_t {
            auto* state = static_cast<HookState*>(c);
            return ++state->steps == state->cancelAt ? 1 : 0;
          },
          [](void* c) { ++static_cast<HookState*>(c)->destroyed; }};
}

TEST(EngineArguments, ProgressAndCancelThroughTheHook) {
  std::vector<uint8_t> pixels(40 * 100 * 3, 120);
  struct Case {
    uint32_t method;
    int cancelAt;
    int32_t status;
    int steps;  // one every 16 rows of 100
  } cases[] = {{NADIRO_METHOD_DIFFUSION, -1, NADIRO_DITHER_OK, 7},
               {NADIRO_METHOD_ORDERED, -1, NADIRO_DITHER_OK, 7},
               {NADIRO_METHOD_DIFFUSION, 3, NADIRO_DITHER_CANCELLED, 3},
               {NADIRO_METHOD_NEAREST, 1, NADIRO_DITHER_CANCELLED, 1}};
  for (const Case& c : cases) {
    HookState state;
    state.cancelAt = c.cancelAt;
    const NadiroProgressHook hook = hookFor(state);
    NadiroSetProgressHook(&hook);
    std::vector<uint8_t> out(pixels.size(), 0x21);
    NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_RGB_CORNERS, c.method);
    o.showProgress = 1;
    const NadiroDitherSource source{pixels.data(), 40, 100, 120, NADIRO_PIXELS_RGB24};
    NadiroDitherTarget target{out.data(), 120, NADIRO_PIXELS_RGB24, 0, {}};
    EXPECT_EQ(NadiroDither(&source, &target, &o), c.status);
    NadiroSetProgressHook(nullptr);
    EXPECT_EQ(state.created, 1);
    EXPECT_EQ(state.steps, c.steps);
    EXPECT_EQ(state.destroyed, 1);
    if (c.status != NADIRO_DITHER_OK) {
      EXPECT_EQ(out, std::vector<uint8_t>(out.size(), 0x21)) << "cancelled: nothing written";
    }
  }
  // A hook that cannot show progress: refused before any work.
  NadiroProgressHook refusing{nullptr,
                              [](void*, NadiroWindow, int32_t, int32_t) -> int32_t { return 0; },
                              nullptr, nullptr};
  NadiroSetProgressHook(&refusing);
  NadiroDitherOptions o = optionsWith(NADIRO_PALETTE_BLACK_WHITE);
  o.showProgress = 1;
  std::vector<uint8_t> out(40 * 100, 0);
  const NadiroDitherSource source{pixels.data(), 40, 100, 120, NADIRO_PIXELS_RGB24};
  NadiroDitherTarget target{out.data(), 40, NADIRO_PIXELS_INDEX8, 0, {}};
  EXPECT_EQ(NadiroDither(&source, &target, &o), NADIRO_DITHER_NO_PROGRESS);
  NadiroSetProgressHook(nullptr);
}
#endif

}  // namespace
}  // namespace nadiro::test
