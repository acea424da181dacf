// The convolution against its closed form (every output pixel on its own,
// no ring buffer), the kernel rules, files and dialogs; split as the
// channels of the converted image and merge as the pixel conversions back
// to RGB, with their refusals and the locks they leave.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>

#include "channels/convolution_reference.h"
#include "companions/changed_values.h"
#include "companions/test_companion.h"
#include "support/images.h"
#include "support/pixel_family.h"

namespace nadiro {
namespace {

using test::Bytes;

size_t stride8(int w) {
  return (static_cast<size_t>(w) + 3) / 4 * 4;
}
size_t stride24(int w) {
  return (static_cast<size_t>(w) * 3 + 3) / 4 * 4;
}

Bytes rgbImage(int32_t w, int32_t h, uint32_t seed = 1) {
  return test::makeDib({w, h, 24, 0, 0, test::Fill::Noise, seed});
}

// ---- the closed form ----------------------------------------------------------------

// The whole expected block: filtered rows in place, or for a new image the
// same with zero row padding.
Bytes expected(const Bytes& image, int w, int h, const test::RefKernel& k, bool luma, bool fresh) {
  const int stride = static_cast<int>(stride24(w));
  const auto rows =
      test::referenceConvolve({image.begin() + 40, image.end()}, w, h, stride, k, luma);
  Bytes out = image;
  std::copy(rows.begin(), rows.end(), out.begin() + 40);
  if (fresh)
    for (int y = 0; y < h; ++y)
      for (int p = w * 3; p < stride; ++p) out[40 + size_t(y) * stride + p] = 0;
  return out;
}

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

TEST(Convolution, CallerKernelsMatchTheClosedForm) {
  for (int n : {3, 5, 7}) {
    std::mt19937 rng(1234u + static_cast<unsigned>(n));
    for (auto [w, h] : {std::pair{1, 1}, {1, 7}, {7, 1}, {2, 2}, {5, 3}, {33, 17}})
      for (int divisor : {0, 1, 3, 4, 16, -1, -3, -44}) {
        const Bytes image = rgbImage(w, h, static_cast<uint32_t>(rng()));
        const test::RefKernel k{n, randomWeights(n, rng), divisor, true};
        std::vector<int16_t> array(k.flat.begin(), k.flat.end());
        array.push_back(static_cast<int16_t>(divisor));
        for (bool luma : {false, true})
          for (bool fresh : {false, true}) {
            test::ImageHandle source(image);
            uint32_t error = 77;
            const MemHandle out = ColorConvolutionW(source.get(), fresh, luma, 1, n, nullptr,
                                                    array.data(), &error, 0, nullptr);
            ASSERT_NE(out, nullptr);
            test::ImageHandle made(fresh ? out : nullptr);
            EXPECT_EQ(out == source.get(), !fresh);
            EXPECT_EQ(error, 0u);
            ASSERT_EQ(test::blockBytes(out), expected(image, w, h, k, luma, fresh))
                << w << "x" << h << " n=" << n << " divisor " << divisor
                << (luma ? " luma" : " mean") << (fresh ? " new image" : " in place");
            if (fresh) {
              EXPECT_EQ(test::blockBytes(source.get()), image) << "source kept";
            }
          }
      }
  }
}

// The built-in 3x3 filters as documented against the closed form; the larger
// ones are frozen as digests (computed once from the library when they
// agreed with a second, independent implementation).
TEST(Convolution, BuiltinFilters) {
  const std::vector<int> documented[] = {std::vector<int>(9, 1),
                                         {1, 2, 1, 2, 4, 2, 1, 2, 1},
                                         {0, -1, 0, -1, 5, -1, 0, -1, 0},
                                         {-1, -1, -1, -1, 9, -1, -1, -1, -1}};
  struct Larger {
    uint32_t source;
    int n;
    uint64_t digest;
  };
  const Larger larger[] = {
      {3, 5, 0x5C6E515C6D3D471Eull}, {3, 7, 0x5142E0CEACEDAD41ull}, {4, 5, 0xD4A990868C1F7390ull},
      {5, 5, 0x4A66C7475DD17B51ull}, {6, 5, 0xFED1AC75DBA5EE56ull},
  };
  auto filtered = [](uint32_t source, int n, const Bytes& image, bool luma) {
    test::ImageHandle in(image);
    uint32_t error = 5;
    test::ImageHandle out(
        ColorConvolutionW(in.get(), 1, luma, source, n, nullptr, nullptr, &error, 4, nullptr));
    EXPECT_EQ(error, 0u);
    return test::blockBytes(out.get());
  };
  for (uint32_t source = 3; source <= 6; ++source) {
    const int divisors[] = {9, 16, 1, 1};
    const test::RefKernel k{3, documented[source - 3], divisors[source - 3], false};
    for (auto [w, h] : {std::pair{1, 1}, {7, 1}, {5, 3}, {33, 17}})
      for (bool luma : {false, true}) {
        const Bytes image = rgbImage(w, h, 77u + source);
        EXPECT_EQ(filtered(source, 3, image, luma), expected(image, w, h, k, luma, true))
            << "source " << source << ", " << w << "x" << h;
      }
  }
  for (const Larger& l : larger) {
    uint64_t h = test::digest({});
    for (bool luma : {false, true})
      h = test::digest(filtered(l.source, l.n, rgbImage(33, 17, 77u + l.source), luma), h);
    EXPECT_EQ(test::hex(h), test::hex(l.digest)) << "source " << l.source << ", size " << l.n;
  }
}

// A 5x5 caller kernel whose only weight is value 1 * 5 + 4 sees the last
// pixel everywhere but at column width - 2, where that weight slips.
TEST(Convolution, FiveByFiveDropsOneWeightAtColumnWidthMinusTwo) {
  const int w = 6, h = 4, stride = static_cast<int>(stride24(w));
  Bytes image = test::makeDib({w, h, 24, 0, 0, test::Fill::Flat});
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      for (int ch = 0; ch < 3; ++ch)
        image[40 + size_t(y) * stride + 3 * x + ch] = x == w - 1 ? 70 : 10;
  std::vector<int16_t> array(26, 0);
  array[1 * 5 + 4] = 1;  // one column to the right, two rows down
  array[25] = 1;
  test::ImageHandle source(image);
  uint32_t error = 0;
  ASSERT_EQ(ColorConvolutionW(source.get(), 0, 0, 1, 5, nullptr, array.data(), &error, 0, nullptr),
            source.get());
  const Bytes got = test::blockBytes(source.get());
  for (int y = 0; y < h; ++y) {
    const uint8_t* row = got.data() + 40 + size_t(y) * stride;
    EXPECT_EQ(row[3 * (w - 3)], 10);
    EXPECT_EQ(row[3 * (w - 2)], 0) << "column w-2 loses that weight: 10 + (0 - 10)";
    EXPECT_EQ(row[3 * (w - 1)], 70) << "the last column sees itself";
  }
}

// Worked examples on a 1x1 picture: the luma weights, and a shift for a
// power-of-two divisor rounds down while a division truncates.
TEST(Convolution, ScalarsAndNormalisation) {
  struct Case {
    const char* rule;
    uint8_t b, g, r;
    int32_t luma;
    int16_t weight, divisor;
    uint8_t outB, outG, outR;
  };
  const Case cases[] = {
      {"luma of blue 255 is 78", 255, 0, 0, 1, 0, 1, 177, 0, 0},
      {"luma of red 255 is 29", 0, 0, 255, 1, 0, 1, 0, 0, 226},
      {"luma of green 255 is 147", 0, 255, 0, 1, 0, 1, 0, 108, 0},
      {"-7 div 3 = -2", 0, 0, 5, 0, -7, 3, 0, 0, 2},
      {"-5 >> 2 = -2", 0, 0, 5, 0, -5, 4, 0, 0, 2},
      {"-5 div 3 = -1", 0, 0, 5, 0, -5, 3, 0, 0, 3},
      {"-6 >> 2 = -2", 0, 0, 5, 0, -6, 4, 0, 0, 2},
      {"-6 div 5 = -1", 0, 0, 5, 0, -6, 5, 0, 0, 3},
      {"7 >> 2 = 1", 0, 0, 5, 0, 7, 4, 0, 0, 5},
      {"7 div 3 = 2, added to every byte", 0, 0, 5, 0, 7, 3, 1, 1, 6},
      {"divisor 1 keeps the sum", 0, 0, 5, 0, 9, 1, 8, 8, 13},
  };
  for (const Case& c : cases) {
    Bytes image = test::makeDib({1, 1, 24});
    image[40] = c.b;
    image[41] = c.g;
    image[42] = c.r;
    std::vector<int16_t> array(10, 0);
    array[4] = c.weight;
    array[9] = c.divisor;
    test::ImageHandle source(image);
    uint32_t error = 0;
    ASSERT_TRUE(ColorConvolutionW(source.get(), 0, c.luma, 1, 3, nullptr, array.data(), &error, 0,
                                  nullptr));
    const Bytes got = test::blockBytes(source.get());
    EXPECT_EQ(Bytes(got.begin() + 40, got.begin() + 43), (Bytes{c.outB, c.outG, c.outR})) << c.rule;
  }
}

// ---- the kernel rules ----------------------------------------------------------------------

struct Call {
  uint32_t newImage = 1;
  uint32_t source = 1;
  int32_t size = 3;
  const wchar_t* fileName = nullptr;
  const int16_t* kernel = nullptr;
};
const int16_t kBlur[10] = {1, 1, 1, 1, 2, 1, 1, 1, 1, 0};

// The code a call leaves, or 0 with a result; the caller's image must come
// back unchanged after every refusal.
uint32_t codeOf(const Bytes& image, Call c) {
  test::ImageHandle source(image);
  uint32_t error = 99;
  const MemHandle out = ColorConvolutionW(source.get(), c.newImage, 0, c.source, c.size, c.fileName,
                                          c.kernel ? c.kernel : kBlur, &error, 0, nullptr);
  if (!out) {
    EXPECT_EQ(test::blockBytes(source.get()), image) << "a refusal changed the image";
  }
  if (out && out != source.get()) memFree(out);
  return out ? error : error + 1000;  // refusals are told apart from successes
}

TEST(Convolution, ImageChecksInOrder) {
  const Bytes good = rgbImage(5, 3);
  auto with = [&](size_t at, uint32_t v, uint16_t bits = 24) {
    Bytes b = good;
    test::put<uint32_t>(b, at, v);
    if (bits != 24) test::put<uint16_t>(b, 14, bits);
    return b;
  };
  struct Case {
    const char* what;
    Bytes image;
    uint32_t code;
  };
  const Case cases[] = {
      {"header size 12", with(0, 12), 8},
      {"compressed", with(16, 1), 18},
      {"compressed before 8-bit", with(16, 3, 8), 18},
      {"8 bits", with(16, 0, 8), 13},
      {"width 0", with(4, 0), 19},
      {"height 0", with(8, 0), 19},
      {"negative height", with(8, uint32_t(-3)), 8},
      {"image size too small", with(20, 8), 8},
  };
  for (const Case& c : cases) EXPECT_EQ(codeOf(c.image, {}), c.code + 1000) << c.what;
  EXPECT_EQ(codeOf(with(20, 8), {.newImage = 0}), 0u) << "the size matters only for a new image";
}

TEST(Convolution, KernelSourceSizeAndLimits) {
  const Bytes image = rgbImage(6, 6);
  std::vector<int16_t> big(50, 0), positives128(50, 0), positives127(50, 0);
  for (int i = 0; i < 49; ++i) {
    positives128[size_t(i)] = i < 30 ? 4 : (i == 30 ? 8 : 0);  // 120 + 8 = 128
    positives127[size_t(i)] = i < 30 ? 4 : (i == 30 ? 7 : 0);
  }
  auto k3 = [](std::initializer_list<std::pair<int, int16_t>> values) {
    static std::vector<std::vector<int16_t>> keep;
    std::vector<int16_t> k(10, 0);
    for (auto [i, v] : values) k[static_cast<size_t>(i)] = v;
    k[9] = 1;
    keep.push_back(k);
    return keep.back().data();
  };
  struct Case {
    const char* what;
    Call call;
    bool ok;
  };
  const Case cases[] = {
      {"source 0", {.source = 0}, false},
      {"source 7", {.source = 7}, false},
      {"file without name", {.source = 2}, false},
      {"size 2", {.size = 2}, false},
      {"size 8", {.size = 8}, false},
      {"size 4", {.size = 4, .kernel = big.data()}, false},
      {"size 6 with the array", {.size = 6, .kernel = big.data()}, false},
      {"size 7 Gaussian", {.source = 4, .size = 7}, false},
      {"size 6 sharpen", {.source = 6, .size = 6}, false},
      {"size 7 file", {.source = 2, .size = 7, .fileName = L"x"}, false},
      {"size 7 array", {.size = 7, .kernel = big.data()}, true},
      {"size 7 mean", {.source = 3, .size = 7}, true},
      {"source with high bits", {.source = 0x10003}, true},
      {"size with high bits", {.size = 0x70005, .kernel = big.data()}, true},
      {"one weight 127", {.kernel = k3({{4, 127}})}, true},
      {"one weight -128", {.kernel = k3({{4, -128}})}, false},
      {"positives 127 and negatives 127", {.kernel = k3({{0, 100}, {1, 27}, {2, -127}})}, true},
      {"positives summing 128", {.kernel = k3({{0, 64}, {1, 64}})}, false},
      {"negatives summing -128", {.kernel = k3({{0, -100}, {8, -28}})}, false},
      {"small positives summing 128", {.size = 7, .kernel = positives128.data()}, false},
      {"small positives summing 127", {.size = 7, .kernel = positives127.data()}, true},
  };
  for (const Case& c : cases) EXPECT_EQ(codeOf(image, c.call), c.ok ? 0u : 1008u) << c.what;
  test::ImageHandle source(image);
  EXPECT_EQ(ColorConvolutionW(source.get(), 0, 0, 3, 3, nullptr, nullptr, nullptr, 0, nullptr),
            source.get())
      << "the error variable is optional";
}

// ---- kernel files ------------------------------------------------------------------------

std::string writeFile(const std::string& name, const std::vector<int16_t>& values, size_t cut = 0) {
  Bytes bytes;
  for (int16_t v : values)
    bytes.insert(bytes.end(), {uint8_t(v & 0xFF), uint8_t(uint16_t(v) >> 8)});
  bytes.resize(bytes.size() - cut);
  const std::string path = testing::TempDir() + name;
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  return path;
}

// Little-endian values as the array holds them, the divisor last; through
// the wide and the narrow name alike.
TEST(Convolution, KernelFilesActLikeTheArray) {
  const Bytes image = rgbImage(9, 6, 4);
  const std::vector<int16_t> values = {3, -2, 1, 0, 5, -4, 2, 1, -1, -2};
  const std::string path = writeFile("nadiro-kernel.bin", values);
  const std::wstring wide(path.begin(), path.end());
  test::ImageHandle byArray(image), byWide(image), byNarrow(image);
  uint32_t e1 = 9, e2 = 9, e3 = 9;
  ASSERT_TRUE(
      ColorConvolutionW(byArray.get(), 0, 1, 1, 3, nullptr, values.data(), &e1, 0, nullptr));
  EXPECT_TRUE(ColorConvolutionW(byWide.get(), 0, 1, 2, 3, wide.c_str(), nullptr, &e2, 0, nullptr));
  EXPECT_TRUE(
      ColorConvolutionA(byNarrow.get(), 0, 1, 2, 3, path.c_str(), nullptr, &e3, 0, nullptr));
  EXPECT_EQ(e2 + e3, 0u);
  EXPECT_EQ(test::blockBytes(byWide.get()), test::blockBytes(byArray.get()));
  EXPECT_EQ(test::blockBytes(byNarrow.get()), test::blockBytes(byArray.get()));
  // Short, empty, missing and too small for the size: refused with 8.
  const std::string shortFile = writeFile("nadiro-short.bin", values, 1);
  const std::string empty = writeFile("nadiro-empty.bin", {});
  for (const std::string& p : {shortFile, empty, testing::TempDir() + "no-such-kernel.bin"}) {
    const std::wstring w(p.begin(), p.end());
    EXPECT_EQ(codeOf(image, {.source = 2, .fileName = w.c_str()}), 1008u) << p;
  }
  EXPECT_EQ(codeOf(image, {.source = 2, .size = 5, .fileName = wide.c_str()}), 1008u);
  // The narrow name is read for file kernels only.
  test::ImageHandle source(image);
  uint32_t error = 9;
  EXPECT_EQ(ColorConvolutionA(source.get(), 0, 0, 1, 3, "", kBlur, &error, 0, nullptr),
            source.get());
  EXPECT_EQ(ColorConvolutionA(source.get(), 1, 0, 2, 3, nullptr, nullptr, &error, 0, nullptr),
            nullptr);
  EXPECT_EQ(error, 8u);
  for (const std::string& p : {path, shortFile, empty}) std::remove(p.c_str());
}

// ---- dialogs and progress -------------------------------------------------------------------

// The dialog gets the arguments as passed, the file name (or null) read
// only; its answer changes nothing the filter uses, and what it leaves in
// the error variable stays there when the filter succeeds.
TEST(Convolution, DialogSeesTheArguments) {
  test::TestCompanion change(test::Companion::Change);
  ASSERT_TRUE(change);
  const Bytes image = rgbImage(6, 4);
  for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L"edges.krn"}) {
    test::ImageHandle source(image);
    uint32_t error = 99;
    test::ImageHandle out(
        ColorConvolutionW(source.get(), 1, 1, 3, 5, name, nullptr, &error, 2, nullptr));
    ASSERT_TRUE(out);
    EXPECT_EQ(error, test::changed::convolutionEcho(1, 1, 3, 5)) << "what the dialog wrote stays";
    EXPECT_EQ(change.lastNameLength(), name ? 9 : -1);
    EXPECT_EQ(change.lastImage(), source.get());
  }
}

#if !defined(_WIN32)
// A step before every source row whose number (from -n/2) is a multiple of
// 5; flags 1 and 3 only (compared, not bit-tested).
TEST(Convolution, ProgressStepsEveryFifthRow) {
  for (int height : {1, 4, 5, 23})
    for (int n : {3, 7}) {
      int steps = 0;
      for (int r = -n / 2; r < height + n / 2; ++r) steps += r % 5 == 0;
      test::ProgressRecorder log;
      test::ImageHandle in(rgbImage(5, height));
      for (uint32_t flags : {1u, 5u, 7u}) {
        uint32_t error = 0;
        test::ImageHandle out(
            ColorConvolutionW(in.get(), 1, 0, 3, n, nullptr, nullptr, &error, flags, nullptr));
      }
      EXPECT_EQ(log.creates, 1) << "5 and 7 carry the bit and show nothing";
      EXPECT_EQ(log.total, (height - n + 4) / 5 * 5);
      EXPECT_EQ(log.divisor, 5);
      EXPECT_EQ(log.steps, steps) << height << " rows, n=" << n;
    }
}
#endif

// ---- split and merge --------------------------------------------------------------------------

struct Channels {
  NadiroHandle h[4] = {};
  uint32_t count = 0;
  ~Channels() {
    for (int i = 3; i >= 0; --i)
      if (h[i]) memFree(h[i]);
  }
};

// The channel image: header, grey table, then byte `byteIndex` of every
// pixel of `image`.
Bytes channelOf(const Bytes& image, int byteIndex) {
  const int w = static_cast<int>(image[4] | image[5] << 8),
            h = static_cast<int>(image[8] | image[9] << 8);
  const int bits = image[14];
  const size_t srcStride = bits == 32 ? size_t(w) * 4 : stride24(w);
  Bytes out(40 + 1024 + stride8(w) * size_t(h), 0);
  std::copy_n(image.begin(), 40, out.begin());
  test::put<uint16_t>(out, 14, 8);
  test::put<uint32_t>(out, 16, 0);
  test::put<uint32_t>(out, 20, static_cast<uint32_t>(stride8(w) * size_t(h)));
  test::put<uint32_t>(out, 32, 256);
  test::put<uint32_t>(out, 36, 256);
  for (int i = 0; i < 256; ++i)
    for (int c = 0; c < 3; ++c) out[40 + 4 * size_t(i) + size_t(c)] = static_cast<uint8_t>(i);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      out[1064 + size_t(y) * stride8(w) + size_t(x)] =
          image[40 + size_t(y) * srcStride + size_t(x) * (bits / 8) + size_t(byteIndex)];
  return out;
}

// Channel 1 takes byte 2, channel 2 byte 1, channel 3 byte 0, channel 4
// byte 3 of the converted image's pixels.
TEST(Split, ChannelsOfTheConvertedImage) {
  const int order[4] = {2, 1, 0, 3};
  for (uint32_t model = 1; model <= 10; ++model)
    for (auto [w, h] : {std::pair{1, 1}, {1, 4}, {3, 2}, {17, 9}})
      for (uint16_t bits : {uint16_t{24}, uint16_t{32}}) {
        if (bits == 32 && model != 1) continue;
        Bytes image = test::makeDib({w, h, bits, 0, 0, test::Fill::Noise, model});
        test::put<uint32_t>(image, 20, 0);  // the size is worked out whatever the source says
        test::ImageHandle source(image);
        test::ImageHandle converted(
            model == 1
                ? nullptr
                : ConvertDIBColorSpace(source.get(), 1, static_cast<int32_t>(model), 0, nullptr));
        const Bytes convertedBytes = model == 1 ? image : test::blockBytes(converted.get());
        Channels ch;
        test::resetCodes(0, 9);
        ch.count =
            SplitColorChannels(source.get(), ch.h, model | 0x100);  // only the low 8 bits count
        ASSERT_EQ(ch.count, convertedBytes[14] == 32 ? 4u : 3u) << "model " << model;
        EXPECT_EQ(test::lastError(), 0u);
        for (uint32_t i = 0; i < ch.count; ++i)
          EXPECT_EQ(test::blockBytes(ch.h[i]), channelOf(convertedBytes, order[i]))
              << "model " << model << ", " << bits << " bits, channel " << i + 1;
        if (ch.count == 3) {
          EXPECT_EQ(ch.h[3], nullptr) << "the fourth slot is left alone";
        }
      }
}

TEST(Split, Refusals) {
  const Bytes rgb = rgbImage(3, 2);
  Bytes compressed = rgb, shortBlock = rgb;
  compressed[16] = 1;
  shortBlock.resize(50);
  struct Case {
    const char* what;
    Bytes image;
    uint32_t model;
    bool nullArray;
    uint32_t code;
  };
  const Case cases[] = {
      {"model 0", rgb, 0, false, 4},
      {"model 11", rgb, 11, false, 4},
      {"null array", rgb, 1, true, 4},
      {"compressed", compressed, 1, false, 2},
      {"rows past the block", shortBlock, 1, false, 2},
      {"8 bits", test::makeDib({3, 2, 8}), 1, false, 0},
  };
  for (const Case& c : cases) {
    test::ImageHandle source(c.image);
    NadiroHandle slots[4] = {};
    EXPECT_EQ(SplitColorChannels(source.get(), c.nullArray ? nullptr : slots, c.model), 0u)
        << c.what;
    EXPECT_EQ(test::lastError(), c.code) << c.what;
    EXPECT_EQ(slots[0], nullptr) << c.what;
  }
  // A 32-bit source takes model 1 only, and this refusal leaves it locked.
  test::ImageHandle source(test::makeDib({3, 2, 32}));
  NadiroHandle slots[4] = {};
  EXPECT_EQ(SplitColorChannels(source.get(), slots, 6), 0u);
  EXPECT_EQ(test::lastError(), 4u);
  EXPECT_FALSE(test::notLocked(source.get()));
  EXPECT_FALSE(memUnlock(source.get())) << "exactly one lock left standing";
}

struct MergeInputs {
  Bytes channel[4];
  Bytes dest;
};
MergeInputs mergeInputs(int w, int h, uint32_t seed) {
  MergeInputs in;
  for (uint32_t i = 0; i < 4; ++i)  // a short colour table moves the rows of channel 2
    in.channel[i] = test::makeDib(
        {w, h, 8, i == 1 ? 17u : 0u, i == 1 ? 17u : 0u, test::Fill::Noise, seed * 7 + i});
  in.dest = rgbImage(w, h, seed + 100);
  in.dest[16] = 12;  // merge writes compression 0
  return in;
}

// Each pixel's channel bytes through the model's pixel conversion to RGB;
// model 10 complements the four bytes and takes CMYK's way back.
TEST(Merge, EveryPixelThroughThePixelConversion) {
  for (uint32_t model = 1; model <= 10; ++model) {
    const bool four = model == 4 || model == 10;
    const int32_t from = model == 10 ? 4 : static_cast<int32_t>(model);
    for (auto [w, h] : {std::pair{1, 1}, {2, 3}, {5, 5}, {17, 9}}) {
      const MergeInputs in = mergeInputs(w, h, model);
      Bytes want = in.dest;
      want[16] = 0;
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          uint8_t c[4];
          for (int i = 0; i < 4; ++i) {
            const size_t table = i == 1 ? 17 : 256;
            c[i] = in.channel[i][40 + 4 * table + size_t(y) * stride8(w) + size_t(x)];
            if (model == 10) c[i] = static_cast<uint8_t>(255 - c[i]);
          }
          test::Record rgb = {c[0], c[1], c[2], 0};
          if (from != 1) {
            for (const auto& m : test::kPixelFamily)
              if (m.from == from && m.to == 1) rgb = m.run(c);
          }
          uint8_t* px = &want[40 + size_t(y) * stride24(w) + 3 * size_t(x)];
          px[0] = rgb[2];
          px[1] = rgb[1];
          px[2] = rgb[0];
        }
      test::ImageHandle h1(in.channel[0]), h2(in.channel[1]), h3(in.channel[2]), h4(in.channel[3]),
          dest(in.dest);
      test::resetCodes(0, 9);
      // Models other than 4 and 10 ignore the fourth channel, which may be 0.
      EXPECT_EQ(MergeColorChannels(h1.get(), h2.get(), h3.get(), four ? h4.get() : nullptr,
                                   dest.get(), model),
                1u);
      EXPECT_EQ(test::lastError(), 0u);
      EXPECT_EQ(test::blockBytes(dest.get()), want) << "model " << model << " " << w << "x" << h;
      for (const auto* hd : {&h1, &h2, &h3, &h4, &dest}) EXPECT_TRUE(test::notLocked(hd->get()));
    }
  }
}

TEST(Merge, Refusals) {
  const MergeInputs in = mergeInputs(4, 3, 5);
  Bytes compressed = in.channel[0], shortChannel = in.channel[0], smallDest = in.dest;
  compressed[16] = 1;
  shortChannel.resize(1064 + 4);
  smallDest.resize(smallDest.size() - 1);
  struct Case {
    const char* what;
    int slot;           // 0..3 channels, 4 the destination, -1 none
    Bytes replacement;  // empty: a null handle
    uint32_t model, code;
  };
  const Case cases[] = {
      {"h1 null", 0, {}, 1, 4},
      {"h3 null", 2, {}, 9, 4},
      {"model 0", -1, {}, 0, 4},
      {"model 11", -1, {}, 11, 4},
      {"h3 compressed", 2, compressed, 6, 2},
      {"h2 rows past its block", 1, shortChannel, 1, 2},
      {"h1 24-bit", 0, rgbImage(4, 3), 1, 0},
      {"h2 taller", 1, test::makeDib({4, 4, 8}), 1, 0},
      {"h3 wider", 2, test::makeDib({5, 3, 8}), 1, 0},
      {"h4 taller", 3, test::makeDib({4, 4, 8}), 4, 0},
      {"destination too small", 4, smallDest, 1, 4},
  };
  for (const Case& c : cases) {
    std::vector<test::ImageHandle> handles;
    for (int i = 0; i < 5; ++i) {
      if (i == c.slot && c.replacement.empty())
        handles.emplace_back(MemHandle{nullptr});
      else
        handles.emplace_back(i == c.slot ? c.replacement : i == 4 ? in.dest : in.channel[i]);
    }
    const Bytes destBefore = test::blockBytes(handles[4].get());
    test::resetCodes(0, 99);
    EXPECT_EQ(MergeColorChannels(handles[0].get(), handles[1].get(), handles[2].get(),
                                 handles[3].get(), handles[4].get(), c.model),
              0u)
        << c.what;
    EXPECT_EQ(test::lastError(), c.code) << c.what;
    EXPECT_EQ(test::blockBytes(handles[4].get()), destBefore) << c.what;
    for (const auto& h : handles)
      if (h.get()) {
        EXPECT_TRUE(test::notLocked(h.get())) << c.what;
      }
  }
  // A missing or compressed fourth channel leaves the others and the
  // destination locked.
  compressed = in.channel[3];
  compressed[16] = 2;
  for (bool missing : {true, false}) {
    test::ImageHandle h1(in.channel[0]), h2(in.channel[1]), h3(in.channel[2]), h4(compressed),
        dest(in.dest);
    EXPECT_EQ(MergeColorChannels(h1.get(), h2.get(), h3.get(), missing ? nullptr : h4.get(),
                                 dest.get(), 10),
              0u);
    EXPECT_EQ(test::lastError(), missing ? 4u : 2u);
    for (const auto* h : {&h1, &h2, &h3, &dest}) {
      EXPECT_FALSE(test::notLocked(h->get()));
      EXPECT_FALSE(memUnlock(h->get())) << "exactly one lock left standing";
    }
  }
}

}  // namespace
}  // namespace nadiro
