// The dithering exports: error diffusion against the plain engine (on
// awkward sizes, and on saturated images whose working entries wrap at 16
// bits), ordered dithering against its per-pixel rule, the two-by-two
// window's documented windows with its outputs frozen as digests, the
// documented cases, the refusal codes, and every instruction-set level
// against the scalar level.
//
// The window digests were computed once from the library when its outputs
// agreed byte for byte with a second, independent implementation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "dither/dither_reference.h"
#include "dither/kernels.h"
#include "dither/sharp_smooth.h"
#include "support/images.h"

namespace nadiro {
namespace {

using test::Bytes;
using Export = NadiroHandle (*)(NadiroHandle, int32_t);

template <typename T>
T get(const Bytes& b, size_t at) {
  T v = 0;
  for (size_t i = 0; i < sizeof v; ++i) v = static_cast<T>(v | (T(b[at + i]) << (8 * i)));
  return v;
}

Bytes flatImage(int32_t width, int32_t height, uint16_t bits, uint8_t value) {
  Bytes b = test::makeDib({width, height, bits, 0, 0, test::Fill::Flat});
  std::fill(b.begin() + 40 + (bits <= 8 ? 4 << bits : 0), b.end(), value);
  return b;
}

// ---- error diffusion and the two-by-two window ------------------------------------------

// Each export behind a plain caller (on Windows the exports use their own
// calling convention), the diffusion ones with the kernel and form they
// must follow.
#define CALL(F, ...) [](NadiroHandle h, int32_t b) { return F(h, b __VA_OPT__(, ) __VA_ARGS__); }
struct Variant {
  const char* name;
  Export call;
  const test::RefKernel* kernel;  // null for the window
  bool overwriting;               // before the 8-bit target forces it
};

const Variant kVariants[] = {
    {"FS4", CALL(DitherFS4), &test::kRefFloydSteinberg, true},
    {"FS4ExFlag1", CALL(DitherFS4Ex, 1), &test::kRefFloydSteinberg, false},
    {"FS4ExFlagMinus9", CALL(DitherFS4Ex, -9), &test::kRefFloydSteinberg, false},
    {"JJN", CALL(DitherJJN), &test::kRefJarvisJudiceNinke, true},
    {"JJNExFlag1", CALL(DitherJJNEx, 1), &test::kRefJarvisJudiceNinke, false},
    {"Stucki", CALL(DitherStucki), &test::kRefStucki, false},
    {"Burkes", CALL(DitherBurkes), &test::kRefBurkes, false},
    {"Sierra", CALL(DitherSierra), &test::kRefSierra, false},
    {"SA", CALL(DitherSA), &test::kRefStevensonArce, false},
    {"Sharp", CALL(DitherSharp), nullptr, false},
    {"Smooth", CALL(DitherSmooth), nullptr, false},
};
const std::vector<Variant> kDiffusion(kVariants, kVariants + 9);

class Diffusion : public testing::TestWithParam<Variant> {};

// Awkward sizes and fills; palette images whose header lists fewer colours
// or is 12 bytes long (their pixels are at 1064 and 104 all the same); then
// white, which drives the 8-bit quantiser's error (255 still carries 31),
// in runs long enough that the accumulating kernels' entries wrap at 16
// bits. The caller's image stays as it was.
TEST_P(Diffusion, MatchesTheEngine) {
  const Variant& v = GetParam();
  uint32_t seed = 1;
  for (auto [depth, bits] :
       {std::pair<uint16_t, int32_t>{4, 1}, {8, 1}, {8, 4}, {24, 1}, {24, 4}, {24, 8}}) {
    std::vector<Bytes> images;
    for (test::Fill fill : {test::Fill::Flat, test::Fill::Gradient, test::Fill::Noise})
      for (int32_t height : {1, 2, 3, 7})
        for (int32_t width : {1, 2, 3, 5, 7, 8, 9, 15, 17, 33})
          images.push_back(test::makeDib({width, height, depth, 0, 0, fill, ++seed}));
    for (uint32_t headerSize : {40u, 12u}) {
      images.push_back(test::makeDib({11, 5, depth, 3}));
      test::put<uint32_t>(images.back(), 0, headerSize);
    }
    if (depth == 24)
      for (int32_t width : {5, 40}) images.push_back(flatImage(width, 160, 24, 255));
    for (const Bytes& in : images) {
      SCOPED_TRACE(testing::Message() << depth << " to " << bits << " bits, " << get<int32_t>(in, 4)
                                      << "x" << get<int32_t>(in, 8));
      test::ImageHandle img(in);
      test::ImageHandle out(v.call(img.get(), bits));
      ASSERT_TRUE(out);
      EXPECT_EQ(test::pixelStatus(), 0u);
      ASSERT_EQ(test::blockBytes(out.get()),
                test::refDiffuse(in, bits, *v.kernel, v.overwriting || bits == 8));
      ASSERT_EQ(test::blockBytes(img.get()), in) << "the caller's image changed";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, Diffusion, testing::ValuesIn(kDiffusion),
                         [](const testing::TestParamInfo<Variant>& i) { return i.param.name; });

void expectRefused(const Variant& v, MemHandle image, int32_t bits, uint32_t code) {
  test::resetCodes(12345, 0);
  EXPECT_EQ(v.call(image, bits), nullptr) << v.name << ", bits " << bits;
  EXPECT_EQ(test::pixelStatus(), code) << v.name << ", bits " << bits;
}

// bits is checked before the handle; then the source depth, which must be 4,
// 8 or 24 and deeper than the target. The window takes 1 and 4 bits only,
// and a source depth it refuses leaves the caller's image locked once.
TEST(DitherExports, RefuseWithTheirCodes) {
  for (const Variant& v : kVariants) {
    const bool window = v.kernel == nullptr;
    for (int32_t bits : {0, 2, 3, 5, 16, 24, -1, window ? 8 : -4})
      expectRefused(v, test::garbageHandle(3), bits, NADIRO_PIXEL_BAD_ARGUMENT);
    for (auto [depth, bits] :
         {std::pair<uint16_t, int32_t>{4, 4}, {8, 8}, {1, 1}, {16, 1}, {32, 4}}) {
      if (window && bits == 8) continue;
      test::ImageHandle h(test::makeDib({6, 3, depth}));
      expectRefused(v, h.get(), bits, NADIRO_PIXEL_BAD_SOURCE_DEPTH);
      EXPECT_EQ(test::notLocked(h.get()), !window) << v.name << ", depth " << depth;
      if (window) {
        EXPECT_FALSE(memUnlock(h.get())) << "exactly one lock left standing";
      }
    }
    test::ImageHandle empty(test::makeDib({0, 4, 24}));
    expectRefused(v, empty.get(), 1, NADIRO_PIXEL_NO_MEMORY);
  }
}

TEST(DiffusionExamples, DocumentedCases) {
  // Uniform grey 128 to 1 bit: the first pixel is black (128 is not above
  // 128), about half the pixels white, and the two Floyd-Steinberg forms differ.
  test::ImageHandle grey(flatImage(32, 8, 24, 128));
  test::ImageHandle accumulating(DitherFS4Ex(grey.get(), 1, 1));
  test::ImageHandle overwriting(DitherFS4(grey.get(), 1));
  const Bytes a = test::blockBytes(accumulating.get());
  ASSERT_EQ(a.size(), 48u + 4 * 8);
  EXPECT_EQ(a[48] & 0x80, 0);
  int white = 0;
  for (size_t i = 48; i < a.size(); ++i) white += __builtin_popcount(a[i]);
  EXPECT_NEAR(white, 128, 16);
  EXPECT_NE(a, test::blockBytes(overwriting.get()));
  // 255 to 8 bits is level 7 (palette 255) and still carries 31 (63 for
  // blue) to its neighbour: 220 + 7*31/16 = 233 is level 7, not 6, and
  // 180 + 7*63/16 = 207 is blue level 3, not 2.
  Bytes pair = flatImage(2, 1, 24, 0);
  const uint8_t px[6] = {255, 255, 255, 180, 220, 220};
  std::copy(px, px + 6, pair.begin() + 40);
  test::ImageHandle p(pair);
  test::ImageHandle out(DitherFS4(p.get(), 8));
  const Bytes b = test::blockBytes(out.get());
  EXPECT_EQ(b[1064], 0xFF);
  EXPECT_EQ(b[1065], 0xFF) << "the neighbour of 255 got its error";
  EXPECT_EQ(b[40 + 4 * 0xFF + 2], 255);
}

// ---- the two-by-two window --------------------------------------------------------------

struct Window {
  std::vector<int16_t> a, b;
  uint8_t bits;
};
Window runWindow(std::vector<int16_t> a, std::vector<int16_t> b, bool sharp) {
  uint8_t bits[8] = {};
  dither::windowRow(a.data(), b.data(), static_cast<uint32_t>(a.size() - 1), bits, sharp);
  return {a, b, bits[0]};
}

TEST(Window, DocumentedWindows) {
  for (bool sharp : {true, false}) {
    // Four entries of 255: k = 4, all stay 255, the pixel is white.
    Window w = runWindow({255, 255}, {255, 255}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{255, 255}));
    EXPECT_EQ(w.bits, 0x80);
    // Sum 300: k = 1, rem = 45; largest 255, second 45, the others 0.
    w = runWindow({100, 50}, {80, 70}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{255, 0}));
    EXPECT_EQ(w.b, (std::vector<int16_t>{45, 0}));
    // Ties: the earlier entry in a[x], a[x+1], b[x], b[x+1] ranks higher.
    w = runWindow({100, 100}, {100, 100}, sharp);
    EXPECT_EQ(w.a, (std::vector<int16_t>{255, 145}));
    EXPECT_EQ(w.b, (std::vector<int16_t>{0, 0}));
    // k = 0: only the largest keeps the sum; the pixel is black.
    w = runWindow({10, 20}, {5, 40}, sharp);
    EXPECT_EQ(w.b, (std::vector<int16_t>{0, 75}));
    EXPECT_EQ(w.bits, 0);
  }
  // a[0] keeps 100 and is carried on: whole for smooth, halved for sharp.
  EXPECT_EQ(runWindow({100, 0, 0}, {0, 0, 0}, false).a[1], 100);
  EXPECT_EQ(runWindow({100, 0, 0}, {0, 0, 0}, true).a[1], 50);
}

// Sharp then Smooth, sources 4, 8, 24 bits to 1 and 4 bits.
const uint64_t kWindowDigests[2] = {
    0x86ED3ED70D6D5972ull,
    0x60CA31B37DB95D03ull,
};

TEST(Window, AwkwardImagesMatchTheirDigests) {
  for (bool sharp : {true, false}) {
    uint64_t h = test::digest({});
    uint32_t seed = 100;
    for (auto [depth, bits] :
         {std::pair<uint16_t, int32_t>{4, 1}, {8, 1}, {8, 4}, {24, 1}, {24, 4}})
      for (test::Fill fill : {test::Fill::Flat, test::Fill::Gradient, test::Fill::Noise})
        for (int32_t height : {1, 2, 3, 7})
          for (int32_t width : {1, 2, 3, 5, 8, 9, 17, 33}) {
            test::ImageHandle in(test::makeDib({width, height, depth, 0, 0, fill, ++seed}));
            test::ImageHandle out(sharp ? DitherSharp(in.get(), bits)
                                        : DitherSmooth(in.get(), bits));
            ASSERT_TRUE(out);
            h = test::digest(test::blockBytes(out.get()), h);
          }
    EXPECT_EQ(test::hex(h), test::hex(kWindowDigests[sharp ? 0 : 1]))
        << (sharp ? "Sharp" : "Smooth");
  }
}

// ---- ordered dithering ----------------------------------------------------------------------

// The seven threshold matrices as documented, row by row.
// clang-format off
const std::vector<std::vector<int>> kDocumentedMatrices[7] = {
    {{35, 30, 18, 22, 31, 36}, {29, 15, 10, 17, 21, 32}, {14, 9, 5, 6, 16, 20},
     {13, 4, 1, 2, 11, 19}, {28, 8, 3, 7, 24, 25}, {34, 27, 12, 23, 26, 33}},
    {{36, 34, 32, 31, 33, 35}, {24, 22, 20, 19, 21, 23}, {12, 10, 8, 7, 9, 11}, {6, 4, 2, 1, 3, 5},
     {18, 16, 14, 13, 15, 17}, {30, 28, 26, 25, 27, 29}},
    {{21, 22, 23, 24, 25}, {20, 7, 8, 9, 10}, {19, 6, 1, 2, 11}, {18, 5, 4, 3, 12},
     {17, 16, 15, 14, 13}},
    {{167, 200, 230, 216, 181}, {94, 72, 193, 242, 232}, {36, 52, 222, 167, 200},
     {181, 126, 210, 94, 72}, {232, 153, 111, 36, 51}},
    {{0, 32, 8, 40, 2, 34, 10, 42}, {48, 16, 56, 24, 50, 18, 58, 26},
     {12, 44, 4, 36, 14, 46, 6, 38}, {60, 28, 52, 20, 62, 30, 54, 22},
     {3, 35, 11, 43, 1, 33, 9, 41}, {51, 19, 59, 27, 49, 17, 57, 25},
     {15, 47, 7, 39, 13, 45, 5, 37}, {63, 31, 55, 23, 61, 29, 53, 21}},
    {{2, 60, 16, 56, 3, 57, 13, 53}, {34, 18, 48, 32, 35, 19, 45, 29},
     {10, 50, 6, 64, 11, 51, 7, 61}, {42, 26, 38, 22, 43, 27, 39, 23},
     {4, 58, 14, 54, 1, 59, 15, 55}, {36, 20, 46, 30, 33, 17, 47, 31},
     {12, 52, 8, 62, 9, 49, 5, 63}, {44, 28, 40, 24, 41, 25, 37, 21}},
    {{2, 236, 60, 220, 16, 232, 56, 216, 3, 233, 57, 217, 13, 229, 53, 213},
     {130, 66, 188, 124, 144, 80, 184, 120, 131, 67, 185, 121, 141, 77, 181, 117},
     {34, 194, 18, 252, 48, 208, 32, 248, 35, 195, 19, 249, 45, 205, 29, 245},
     {162, 98, 146, 82, 176, 112, 160, 96, 163, 99, 147, 83, 173, 109, 157, 93},
     {10, 226, 50, 210, 6, 240, 64, 224, 11, 227, 51, 211, 7, 237, 61, 221},
     {138, 74, 178, 114, 134, 70, 192, 128, 139, 75, 179, 115, 135, 71, 189, 125},
     {42, 202, 26, 242, 38, 198, 22, 255, 43, 203, 27, 243, 39, 199, 23, 253},
     {170, 106, 154, 90, 166, 102, 150, 86, 171, 107, 155, 91, 167, 103, 151, 87},
     {4, 234, 58, 218, 14, 230, 54, 214, 1, 235, 59, 219, 15, 231, 55, 215},
     {132, 68, 186, 122, 142, 78, 182, 118, 129, 65, 187, 123, 143, 79, 183, 119},
     {36, 196, 20, 250, 46, 206, 30, 246, 33, 193, 17, 251, 47, 207, 31, 247},
     {164, 100, 148, 84, 174, 110, 158, 94, 161, 97, 145, 81, 175, 111, 159, 95},
     {12, 228, 52, 212, 8, 238, 62, 222, 9, 225, 49, 209, 5, 239, 63, 223},
     {140, 76, 180, 116, 136, 72, 190, 126, 137, 73, 177, 113, 133, 69, 191, 127},
     {44, 204, 28, 244, 40, 200, 24, 254, 41, 201, 25, 241, 37, 197, 21, 255},
     {172, 108, 156, 92, 168, 104, 152, 88, 169, 105, 153, 89, 165, 101, 149, 85}},
};
// clang-format on

// Ordered dithering pixel at a time from the documented rules: the column
// picks the matrix row, the picture row its column; a value scaled by the
// matrix's largest entry over the picture's largest value (in floats) is
// white unless below the threshold.
Bytes orderedByRule(const Bytes& in, uint32_t type) {
  const int w = get<int32_t>(in, 4), h = get<int32_t>(in, 8);
  const uint32_t used = get<uint32_t>(in, 32);
  const size_t pix = 40 + 4 * size_t{used ? used : 256};
  const size_t stride = (static_cast<size_t>(w) + 3) / 4 * 4;
  auto at = [&](int x, int y) { return in[pix + static_cast<size_t>(h - 1 - y) * stride + x]; };
  const auto& m = kDocumentedMatrices[type];
  const int n = static_cast<int>(m.size());
  int largestEntry = 0, largest = 0;
  for (const auto& r : m)
    largestEntry = std::max(largestEntry, *std::max_element(r.begin(), r.end()));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) largest = std::max<int>(largest, at(x, y));
  const size_t s1 = (static_cast<size_t>(w) + 31) / 32 * 4;
  Bytes out(static_cast<size_t>(h) * s1 + 48, 0);
  std::copy_n(in.begin(), 40, out.begin());
  test::put<uint16_t>(out, 14, 1);
  test::put<uint32_t>(out, 20, static_cast<uint32_t>(s1 * static_cast<size_t>(h)));
  test::put<uint32_t>(out, 32, 2);
  test::put<uint32_t>(out, 36, 0);
  out[44] = out[45] = out[46] = 255;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int t = m[static_cast<size_t>(x % n)][static_cast<size_t>(y % n)];
      const float s = static_cast<float>(at(x, y) * largestEntry) / static_cast<float>(largest);
      if (!(std::isnan(s) || s < static_cast<float>(t)))
        out[48 + static_cast<size_t>(h - 1 - y) * s1 + x / 8] |= uint8_t(0x80 >> (x % 8));
    }
  return out;
}

TEST(Ordered, EveryTypeFollowsThePerPixelRule) {
  for (uint32_t type = 0; type < 7; ++type)
    for (auto [w, h] : {std::pair{1, 1}, {7, 3}, {33, 7}, {1, 17}, {1000, 3}, {0, 4}, {5, 0}})
      for (test::Fill fill : {test::Fill::Flat, test::Fill::Gradient, test::Fill::Noise}) {
        const Bytes bytes = test::makeDib({w, h, 8, 0, 0, fill, type + 1});
        test::ImageHandle img(bytes);
        test::ImageHandle out(DitherOrdered(img.get(), type));
        ASSERT_TRUE(out);
        ASSERT_EQ(test::blockBytes(out.get()), orderedByRule(bytes, type))
            << "type " << type << ", " << w << "x" << h << " fill " << int(fill);
      }
  // Rows start behind the header's colour count.
  const Bytes few = test::makeDib({13, 5, 8, 17, 17});
  test::ImageHandle img(few);
  test::ImageHandle out(DitherOrdered(img.get(), 5));
  EXPECT_EQ(test::blockBytes(out.get()), orderedByRule(few, 5));
}

// Builds an 8-bit w x 1 image from values and returns its 1-bit row's bits.
std::vector<int> ditherRow(const Bytes& values, uint32_t type) {
  Bytes bytes = test::makeDib({static_cast<int32_t>(values.size()), 1, 8});
  std::copy(values.begin(), values.end(), bytes.begin() + 1064);
  test::ImageHandle img(bytes);
  test::ImageHandle out(DitherOrdered(img.get(), type));
  const Bytes b = test::blockBytes(out.get());
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
  // Types past 6, other depths and planes x bits other than 8 give nothing.
  const Bytes good = test::makeDib({9, 4, 8});
  test::ImageHandle img(good);
  EXPECT_EQ(DitherOrdered(img.get(), 7), nullptr);
  for (auto [at, value] : {std::pair<size_t, uint16_t>{14, 24}, {14, 4}, {12, 2}, {12, 0}}) {
    Bytes b = good;
    test::put<uint16_t>(b, at, value);
    test::ImageHandle h(b);
    EXPECT_EQ(DitherOrdered(h.get(), 3), nullptr) << at << " = " << value;
  }
}

// ---- instruction-set levels ----------------------------------------------------------------

// The output of `call` with the kernels of `level`.
Bytes outputAt(CpuLevel level, Export call, NadiroHandle image, int32_t arg) {
  dither::ScopedDitherLevel scoped(level);
  const test::ImageHandle out(call(image, arg));
  return test::blockBytes(out.get());
}

// Every level above scalar gives the scalar level's bytes for one picture.
void expectLevelsAgree(const test::ImageShape& shape, const char* name, Export call,
                       const std::vector<int32_t>& args) {
  const test::ImageHandle image(test::makeDib(shape));
  for (const int32_t arg : args) {
    const Bytes scalar = outputAt(CpuLevel::Scalar, call, image.get(), arg);
    ASSERT_FALSE(scalar.empty()) << name << " refused " << shape.width << "x" << shape.height;
    for (int level = 1; level <= static_cast<int>(cpuBestLevel()); ++level) {
      const auto at = static_cast<CpuLevel>(level);
      ASSERT_EQ(outputAt(at, call, image.get(), arg), scalar)
          << name << " " << arg << " at " << cpuLevelName(at) << ", " << shape.bits << "-bit "
          << shape.width << "x" << shape.height << " seed " << shape.seed;
    }
  }
}

// Each export to every target its source depth allows, and ordered
// dithering (8-bit sources) with every matrix type.
void expectEveryExportAgrees(const test::ImageShape& shape) {
  for (const Variant& v : kVariants) {
    std::vector<int32_t> targets;
    for (int32_t bits : {1, 4, 8})
      if (bits < shape.bits && (v.kernel || bits < 8)) targets.push_back(bits);
    expectLevelsAgree(shape, v.name, v.call, targets);
  }
  if (shape.bits == 8)
    expectLevelsAgree(
        shape, "Ordered",
        [](NadiroHandle h, int32_t type) { return DitherOrdered(h, static_cast<uint32_t>(type)); },
        {0, 1, 2, 3, 4, 5, 6});
}

TEST(DitherLevels, EveryLevelGivesTheScalarBytesForWidthsOneToSeventyAndAStrip) {
  for (uint16_t depth : {4, 8, 24}) {
    for (int32_t width = 1; width <= 70; ++width) {
      // Noise for the error paths, flat and gradient pictures for the runs
      // of equal and saturated values.
      const test::Fill fill = width % 7 == 3   ? test::Fill::Flat
                              : width % 7 == 5 ? test::Fill::Gradient
                                               : test::Fill::Noise;
      expectEveryExportAgrees({.width = width,
                               .height = 1 + width % 5,
                               .bits = depth,
                               .fill = fill,
                               .seed = 1000u + static_cast<uint32_t>(width)});
    }
    expectEveryExportAgrees({.width = 3840, .height = 6, .bits = depth, .seed = 77});
  }
}

// The kernels themselves on inputs the pictures above rarely reach: every
// grey sum and every pixel against every threshold.
TEST(DitherKernelLevels, RowPassesAndOrderedKernelsAgreeOnEveryValue) {
  // 256 x 3 pixels cover blue, green and red from 0 to 255 in turn, the
  // others at the opposite end.
  std::vector<uint8_t> bgr;
  for (int ch = 0; ch < 3; ++ch)
    for (int v = 0; v < 256; ++v)
      for (int c = 0; c < 3; ++c) bgr.push_back(static_cast<uint8_t>(c == ch ? v : 255 - v));
  const auto count = static_cast<uint32_t>(bgr.size() / 3);
  // Pixels 0..255 against thresholds rotated by each offset.
  std::vector<uint8_t> px(256 * 64), pattern(256 * 64);
  for (size_t k = 0; k < px.size(); ++k) {
    px[k] = static_cast<uint8_t>(k);
    pattern[k] = static_cast<uint8_t>(k * 7 + k / 256);
  }
  const dither::DitherKernels& scalar = dither::ditherKernelsAt(CpuLevel::Scalar);
  // Grey added to and stored over a row, and the channels added to three.
  using Rows = std::vector<std::vector<int16_t>>;
  auto passes = [&](const dither::DitherKernels& k) {
    Rows rows(5, std::vector<int16_t>(count, -3));
    rows[4][count - 1] = 32767;  // wraps
    k.addGrey24(bgr.data(), count, rows[0].data());
    k.setGrey24(bgr.data(), count, rows[1].data());
    k.addChannels24(bgr.data(), count, rows[2].data(), rows[3].data(), rows[4].data());
    return rows;
  };
  const Rows scalarRows = passes(scalar);
  for (int level = 1; level <= static_cast<int>(cpuBestLevel()); ++level) {
    const dither::DitherKernels& k = dither::ditherKernelsAt(static_cast<CpuLevel>(level));
    EXPECT_EQ(passes(k), scalarRows) << cpuLevelName(static_cast<CpuLevel>(level));
    for (const uint32_t n : {1u, 64u, 200u, 16384u}) {
      std::vector<uint8_t> bits(n / 8 + 1, 0xAA), bitsScalar(n / 8 + 1, 0xAA);
      scalar.orderedBits(px.data(), pattern.data(), n, bitsScalar.data());
      k.orderedBits(px.data(), pattern.data(), n, bits.data());
      EXPECT_EQ(bits, bitsScalar) << cpuLevelName(static_cast<CpuLevel>(level)) << " " << n;
    }
  }
}

}  // namespace
}  // namespace nadiro
