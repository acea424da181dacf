// The convolution against its closed form (every output pixel on its own);
// split and merge against the colour conversions they are made of.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>

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

// Flat weights: value i * n + j weighs the scalar at horizontal offset c - i
// and stored-row offset c - j, c = n / 2.
struct Kernel {
  uint32_t source;  // 1: the caller's array; 3 to 6: built in
  int n;
  std::vector<int> flat;
  int divisor;
};

// The whole block as the call must leave it (a new image has zero row padding).
Bytes closedForm(const Bytes& image, int w, int h, Kernel k, bool luma, bool fresh) {
  int d = k.divisor;
  if (k.source == 1) {  // 0: the weight sum, then 1; negative: the weights flipped
    int sum = 0;
    for (int v : k.flat) sum += v;
    if (d == 0) d = static_cast<int16_t>(sum) ? static_cast<int16_t>(sum) : 1;
    if (d < 0) {
      d = -d;
      for (int& v : k.flat) v = -v;
    }
  }
  const int n = k.n, c = n / 2, stride = static_cast<int>(stride24(w));
  auto s = [&](int x, int y) {  // the scalar at clamped coordinates; B is byte 0
    const uint8_t* p = &image[40 + size_t(std::clamp(y, 0, h - 1)) * size_t(stride) +
                              3 * size_t(std::clamp(x, 0, w - 1))];
    return luma ? (3 * p[2] + 15 * p[1] + 8 * p[0]) / 26 : (p[0] + p[1] + p[2]) / 3;
  };
  Bytes out = image;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      int sum = 0;
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) sum += k.flat[size_t(i * n + j)] * s(x + c - i, y + c - j);
      // 5x5 caller kernels leave out, at column w - 2, the weight of value
      // 1 * 5 + 4 for the last pixel (its stored-row offset is c - 4).
      if (n == 5 && k.source == 1 && w >= 2 && x == w - 2) sum -= k.flat[9] * s(w - 1, y + c - 4);
      sum = static_cast<int16_t>(sum);
      // Powers of two up to 64 shift (rounding down), other divisors truncate.
      const bool shift = d > 1 && d <= 64 && (d & (d - 1)) == 0;
      const int norm = shift && sum < 0 ? -((-sum + d - 1) / d) : sum / d;
      const int change = static_cast<int16_t>(norm - s(x, y));
      for (size_t ch = 0; ch < 3; ++ch) {
        uint8_t& b = out[40 + size_t(y) * size_t(stride) + 3 * size_t(x) + ch];
        b = static_cast<uint8_t>(std::clamp(b + change, 0, 255));
      }
    }
    for (int p = w * 3; fresh && p < stride; ++p) out[40 + size_t(y * stride + p)] = 0;
  }
  return out;
}

// Random weights whose positive and negative sums each stay within 127;
// now and then one weight takes a large share.
std::vector<int> randomWeights(int n, std::mt19937& rng) {
  std::vector<int> flat(static_cast<size_t>(n * n), 0);
  int positive = 0, negative = 0;
  std::uniform_int_distribution<int> small(-12, 12), big(-127, 127), pick(0, 9);
  for (int& v : flat) {
    v = pick(rng) == 0 ? big(rng) : small(rng);
    v = std::clamp(v, -(127 - negative), 127 - positive);
    (v > 0 ? positive : negative) += std::abs(v);
  }
  return flat;
}

// The block a successful call leaves: its new image, or the source changed.
Bytes convolved(const Bytes& image, uint32_t fresh, int32_t luma, uint32_t source, int32_t n,
                const int16_t* kernel, const wchar_t* name = nullptr, uint32_t flags = 0) {
  test::ImageHandle in(image);
  uint32_t error = 77;
  const MemHandle out =
      ColorConvolutionW(in.get(), fresh, luma, source, n, name, kernel, &error, flags, nullptr);
  const test::ImageHandle made(out != in.get() ? out : nullptr);
  EXPECT_EQ(out == in.get(), !fresh);
  EXPECT_EQ(error, 0u);
  return out ? test::blockBytes(out) : Bytes{};
}

TEST(Convolution, KernelsMatchTheClosedForm) {
  std::mt19937 rng(1234);
  std::vector<Kernel> kernels = {{3, 3, std::vector<int>(9, 1), 9},
                                 {4, 3, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 16},
                                 {5, 3, {0, -1, 0, -1, 5, -1, 0, -1, 0}, 1},
                                 {6, 3, {-1, -1, -1, -1, 9, -1, -1, -1, -1}, 1}};
  for (int n : {3, 5, 7})
    for (int divisor : {0, 1, 3, 4, 16, 64, -1, -3, -44})
      kernels.push_back({1, n, randomWeights(n, rng), divisor});
  for (const Kernel& k : kernels) {
    std::vector<int16_t> array(k.flat.begin(), k.flat.end());
    array.push_back(static_cast<int16_t>(k.divisor));  // built-in filters ignore the array
    for (auto [w, h] : {std::pair{1, 1}, {1, 7}, {7, 1}, {2, 2}, {5, 3}, {33, 17}})
      for (bool luma : {false, true})
        for (bool fresh : {false, true}) {
          const Bytes image = test::image24(w, h, static_cast<uint32_t>(rng()));
          ASSERT_EQ(convolved(image, fresh, luma, k.source, k.n, array.data()),
                    closedForm(image, w, h, k, luma, fresh))
              << w << "x" << h << " source " << k.source << " n=" << k.n << " divisor " << k.divisor
              << (luma ? " luma" : " mean") << (fresh ? " new image" : " in place");
        }
  }
}

// Digests computed once from the library when it agreed with a second,
// independent implementation; flags 4 shows nothing.
TEST(Convolution, LargerBuiltinFiltersMatchTheirDigests) {
  const struct {
    uint32_t source;
    int n;
    uint64_t digest;
  } larger[] = {
      {3, 5, 0x5C6E515C6D3D471Eull}, {3, 7, 0x5142E0CEACEDAD41ull}, {4, 5, 0xD4A990868C1F7390ull},
      {5, 5, 0x4A66C7475DD17B51ull}, {6, 5, 0xFED1AC75DBA5EE56ull},
  };
  for (const auto& l : larger) {
    uint64_t h = test::digest({});
    for (bool luma : {false, true})
      h = test::digest(convolved(test::image24(33, 17, 77u + l.source), 1, luma, l.source, l.n,
                                 nullptr, nullptr, 4),
                       h);
    EXPECT_EQ(test::hex(h), test::hex(l.digest)) << "source " << l.source << ", size " << l.n;
  }
}

// A shift for a power-of-two divisor rounds down, a division truncates.
TEST(Convolution, ScalarsAndNormalisation) {
  const struct {
    const char* rule;
    Bytes in;
    int32_t luma;
    int16_t weight, divisor;
    Bytes out;
  } cases[] = {
      {"luma of blue 255 is 78", {255, 0, 0}, 1, 0, 1, {177, 0, 0}},
      {"luma of red 255 is 29", {0, 0, 255}, 1, 0, 1, {0, 0, 226}},
      {"-7 div 3 = -2", {0, 0, 5}, 0, -7, 3, {0, 0, 2}},
      {"-7 >> 2 = -2", {0, 0, 5}, 0, -7, 4, {0, 0, 2}},
      {"7 div 3 = 2, added to every byte", {0, 0, 5}, 0, 7, 3, {1, 1, 6}},
  };
  for (const auto& c : cases) {
    Bytes image = test::makeDib({1, 1, 24});
    std::copy(c.in.begin(), c.in.end(), image.begin() + 40);
    std::vector<int16_t> array(10, 0);
    array[4] = c.weight;
    array[9] = c.divisor;
    const Bytes got = convolved(image, 0, c.luma, 1, 3, array.data());
    EXPECT_EQ(Bytes(got.begin() + 40, got.begin() + 43), c.out) << c.rule;
  }
}

struct Call {
  uint32_t newImage = 1, source = 1;
  int32_t size = 3;
  const wchar_t* fileName = nullptr;
  std::vector<int16_t> kernel = {1, 1, 1, 1, 2, 1, 1, 1, 1, 0};
};

// The code a call leaves; refusals as 1000 + code.
uint32_t codeOf(const Bytes& image, const Call& c) {
  test::ImageHandle source(image);
  uint32_t error = 99;
  const MemHandle out = ColorConvolutionW(source.get(), c.newImage, 0, c.source, c.size, c.fileName,
                                          c.kernel.data(), &error, 0, nullptr);
  if (out && out != source.get()) memFree(out);
  return out ? error : error + 1000;
}

// The image checks in their order, then the kernel's source, size and weights.
TEST(Convolution, RefusalsWithTheirCodes) {
  const Bytes good = test::image24(6, 6);
  auto with = [&](size_t at, uint32_t v, uint16_t bits = 24) {
    Bytes b = good;
    test::put<uint32_t>(b, at, v);
    test::put<uint16_t>(b, 14, bits);
    return b;
  };
  auto k3 = [](std::initializer_list<std::pair<int, int16_t>> values) {
    std::vector<int16_t> k(10, 0);
    for (auto [i, v] : values) k[static_cast<size_t>(i)] = v;
    k[9] = 1;
    return k;
  };
  auto spread = [](int16_t last) {  // 7x7: 31 weights of 4 and one more
    std::vector<int16_t> k(50, 0);
    std::fill_n(k.begin(), 31, int16_t{4});
    k[31] = last;
    k[49] = 1;
    return k;
  };
  const std::vector<int16_t> zeros(50, 0);
  const struct {
    const char* what;
    Bytes image;
    Call call;
    uint32_t code;  // 0: accepted
  } cases[] = {
      {"header size 12", with(0, 12), {}, 8},
      {"compressed", with(16, 1), {}, 18},
      {"compressed before 8-bit", with(16, 3, 8), {}, 18},
      {"8 bits", with(16, 0, 8), {}, 13},
      {"width 0", with(4, 0), {}, 19},
      {"height 0", with(8, 0), {}, 19},
      {"negative height", with(8, uint32_t(-3)), {}, 8},
      {"image size too small", with(20, 8), {}, 8},
      {"image size too small, in place", with(20, 8), {.newImage = 0}, 0},
      {"source 0", good, {.source = 0}, 8},
      {"source 7", good, {.source = 7}, 8},
      {"file without name", good, {.source = 2}, 8},
      {"size 2", good, {.size = 2}, 8},
      {"size 8", good, {.size = 8}, 8},
      {"size 4", good, {.size = 4, .kernel = zeros}, 8},
      {"size 7 Gaussian", good, {.source = 4, .size = 7}, 8},
      {"size 7 file", good, {.source = 2, .size = 7, .fileName = L"x"}, 8},
      {"size 7 array", good, {.size = 7, .kernel = zeros}, 0},
      {"size 7 mean", good, {.source = 3, .size = 7}, 0},
      {"source with high bits", good, {.source = 0x10003}, 0},
      {"size with high bits", good, {.size = 0x70005, .kernel = zeros}, 0},
      {"one weight 127", good, {.kernel = k3({{4, 127}})}, 0},
      {"one weight -128", good, {.kernel = k3({{4, -128}})}, 8},
      {"positives and negatives 127", good, {.kernel = k3({{0, 100}, {1, 27}, {2, -127}})}, 0},
      {"positives summing 128", good, {.kernel = k3({{0, 64}, {1, 64}})}, 8},
      {"negatives summing -128", good, {.kernel = k3({{0, -100}, {8, -28}})}, 8},
      {"small positives summing 128", good, {.size = 7, .kernel = spread(4)}, 8},
      {"small positives summing 127", good, {.size = 7, .kernel = spread(3)}, 0},
  };
  for (const auto& c : cases)
    EXPECT_EQ(codeOf(c.image, c.call), c.code ? c.code + 1000 : 0) << c.what;
  test::ImageHandle source(good);
  EXPECT_EQ(ColorConvolutionW(source.get(), 0, 0, 3, 3, nullptr, nullptr, nullptr, 0, nullptr),
            source.get())
      << "the error variable is optional";
}

// Little-endian 16-bit values (as the processor stores them), less `cut` bytes.
std::string writeFile(const std::string& name, const std::vector<int16_t>& values, size_t cut = 0) {
  const std::string path = testing::TempDir() + name;
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(values.data()),
             std::streamsize(values.size() * 2 - cut));
  return path;
}

TEST(Convolution, KernelFilesActLikeTheArray) {
  const Bytes image = test::image24(9, 6, 4);
  const std::vector<int16_t> values = {3, -2, 1, 0, 5, -4, 2, 1, -1, -2};
  const std::string path = writeFile("nadiro-kernel.bin", values);
  const std::wstring wide(path.begin(), path.end());
  const Bytes byArray = convolved(image, 0, 1, 1, 3, values.data());
  EXPECT_EQ(convolved(image, 0, 1, 2, 3, nullptr, wide.c_str()), byArray);
  test::ImageHandle byNarrow(image);
  uint32_t error = 9;
  EXPECT_TRUE(
      ColorConvolutionA(byNarrow.get(), 0, 1, 2, 3, path.c_str(), nullptr, &error, 0, nullptr));
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(test::blockBytes(byNarrow.get()), byArray);
  // Short, empty, missing and too small for the size: refused with 8.
  const std::string shortFile = writeFile("nadiro-short.bin", values, 1);
  const std::string empty = writeFile("nadiro-empty.bin", {});
  for (const std::string& p : {shortFile, empty, testing::TempDir() + "no-such-kernel.bin"}) {
    const std::wstring w(p.begin(), p.end());
    EXPECT_EQ(codeOf(image, {.source = 2, .fileName = w.c_str()}), 1008u) << p;
  }
  EXPECT_EQ(codeOf(image, {.source = 2, .size = 5, .fileName = wide.c_str()}), 1008u);
  EXPECT_EQ(ColorConvolutionA(byNarrow.get(), 1, 0, 2, 3, nullptr, nullptr, &error, 0, nullptr),
            nullptr);
  EXPECT_EQ(error, 8u);
  for (const std::string& p : {path, shortFile, empty}) std::remove(p.c_str());
}

// What the dialog leaves in the error variable stays when the filter succeeds.
TEST(Convolution, DialogSeesTheArguments) {
  test::TestCompanion change(test::Companion::Change);
  ASSERT_TRUE(change);
  for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L"edges.krn"}) {
    test::ImageHandle source(test::image24(6, 4));
    uint32_t error = 99;
    test::ImageHandle out(
        ColorConvolutionW(source.get(), 1, 1, 3, 5, name, nullptr, &error, 2, nullptr));
    ASSERT_TRUE(out);
    EXPECT_EQ(error, test::changed::convolutionEcho(1, 1, 3, 5)) << "what the dialog wrote stays";
    EXPECT_EQ(change.lastNameLength(), name ? 9 : -1);
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
      test::ImageHandle in(test::image24(5, height));
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

// Header, grey table, then byte `byteIndex` of every pixel of `image`.
Bytes channelOf(const Bytes& image, int w, int h, int byteIndex) {
  const int bits = image[14];
  const size_t srcStride = bits == 32 ? size_t(w) * 4 : stride24(w);
  Bytes out(40 + 1024 + stride8(w) * size_t(h), 0);
  std::copy_n(image.begin(), 40, out.begin());
  out[14] = 8;
  test::put<uint32_t>(out, 16, 0);
  test::put<uint32_t>(out, 20, static_cast<uint32_t>(stride8(w) * size_t(h)));
  test::put<uint32_t>(out, 32, 256);
  test::put<uint32_t>(out, 36, 256);
  for (size_t i = 0; i < 256; ++i) std::fill_n(out.begin() + 40 + 4 * ptrdiff_t(i), 3, uint8_t(i));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      out[1064 + size_t(y) * stride8(w) + size_t(x)] =
          image[40 + size_t(y) * srcStride + size_t(x) * size_t(bits / 8) + size_t(byteIndex)];
  return out;
}

TEST(Split, ChannelsOfTheConvertedImage) {
  const int order[4] = {2, 1, 0, 3};
  for (uint32_t model = 1; model <= 10; ++model)
    for (auto [w, h] : {std::pair{1, 4}, {3, 2}, {17, 9}})
      for (uint16_t bits : {uint16_t{24}, uint16_t{32}}) {
        if (bits == 32 && model != 1) continue;
        Bytes image = test::makeDib({w, h, bits, 0, 0, test::Fill::Noise, model});
        test::put<uint32_t>(image, 20, 0);  // the size is worked out whatever the source says
        test::ImageHandle source(image);
        test::ImageHandle converted(
            model == 1 ? nullptr
                       : ConvertDIBColorSpace(source.get(), 1, int32_t(model), 0, nullptr));
        const Bytes convertedBytes = model == 1 ? image : test::blockBytes(converted.get());
        NadiroHandle made[4] = {};
        test::resetCodes(0, 9);
        const uint32_t count = SplitColorChannels(source.get(), made, model | 0x100);  // low 8 bits
        std::vector<test::ImageHandle> owned(made, made + count);
        ASSERT_EQ(count, convertedBytes[14] == 32 ? 4u : 3u) << "model " << model;
        EXPECT_EQ(test::lastError(), 0u);
        for (uint32_t i = 0; i < count; ++i)
          EXPECT_EQ(test::blockBytes(made[i]), channelOf(convertedBytes, w, h, order[i]))
              << "model " << model << ", " << bits << " bits, channel " << i + 1;
        EXPECT_TRUE(count == 4 || made[3] == nullptr) << "the fourth slot is left alone";
      }
}

TEST(Split, Refusals) {
  const Bytes rgb = test::image24(3, 2);
  Bytes compressed = rgb, shortBlock = rgb;
  compressed[16] = 1;
  shortBlock.resize(50);
  const struct {
    const char* what;
    Bytes image;
    uint32_t model;
    bool nullArray;
    uint32_t code;
  } cases[] = {
      {"model 0", rgb, 0, false, 4},
      {"model 11", rgb, 11, false, 4},
      {"null array", rgb, 1, true, 4},
      {"compressed", compressed, 1, false, 2},
      {"rows past the block", shortBlock, 1, false, 2},
      {"8 bits", test::makeDib({3, 2, 8}), 1, false, 0},
      {"32 bits takes model 1 only", test::makeDib({3, 2, 32}), 6, false, 4},
  };
  for (const auto& c : cases) {
    test::ImageHandle source(c.image);
    NadiroHandle slots[4] = {};
    EXPECT_EQ(SplitColorChannels(source.get(), c.nullArray ? nullptr : slots, c.model), 0u)
        << c.what;
    EXPECT_EQ(test::lastError(), c.code) << c.what;
    EXPECT_EQ(slots[0], nullptr) << c.what;
    const bool quirk = c.image[14] == 32;  // this refusal leaves the source locked
    EXPECT_EQ(test::notLocked(source.get()), !quirk) << c.what;
    EXPECT_FALSE(quirk && memUnlock(source.get())) << "exactly one lock left standing";
  }
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
  in.dest = test::image24(w, h, seed + 100);
  in.dest[16] = 12;  // merge writes compression 0
  return in;
}

// Model 10 complements the four bytes and takes CMYK's way back.
TEST(Merge, EveryPixelThroughThePixelConversion) {
  for (uint32_t model = 1; model <= 10; ++model) {
    const bool four = model == 4 || model == 10;
    const int32_t from = model == 10 ? 4 : static_cast<int32_t>(model);
    for (auto [w, h] : {std::pair{1, 1}, {2, 3}, {17, 9}}) {
      const MergeInputs in = mergeInputs(w, h, model);
      Bytes want = in.dest;
      want[16] = 0;
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          uint8_t c[4];
          for (size_t i = 0; i < 4; ++i) {
            c[i] = in.channel[i][40 + (i == 1 ? 68 : 1024) + size_t(y) * stride8(w) + size_t(x)];
            if (model == 10) c[i] = static_cast<uint8_t>(255 - c[i]);
          }
          test::Record rgb = {c[0], c[1], c[2], 0};
          for (const auto& m : test::kPixelFamily)
            if (m.from == from && m.to == 1) rgb = m.run(c);
          uint8_t* px = &want[40 + size_t(y) * stride24(w) + 3 * size_t(x)];
          std::copy(rgb.rbegin() + 1, rgb.rend(), px);  // B, G, R
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
    }
  }
}

// Refusals leave the destination as it was; a missing or compressed fourth
// channel leaves the others and the destination locked.
TEST(Merge, Refusals) {
  const MergeInputs in = mergeInputs(4, 3, 5);
  Bytes compressed = in.channel[0], shortChannel = in.channel[0], smallDest = in.dest;
  compressed[16] = 1;
  shortChannel.resize(1064 + 4);
  smallDest.resize(smallDest.size() - 1);
  const struct {
    const char* what;
    int slot;           // 0..3 channels, 4 the destination, -1 none
    Bytes replacement;  // empty: a null handle
    uint32_t model, code;
    bool locksStay;
  } cases[] = {
      {"h3 null", 2, {}, 9, 4, false},
      {"model 0", -1, {}, 0, 4, false},
      {"model 11", -1, {}, 11, 4, false},
      {"h3 compressed", 2, compressed, 6, 2, false},
      {"h2 rows past its block", 1, shortChannel, 1, 2, false},
      {"h1 24-bit", 0, test::image24(4, 3), 1, 0, false},
      {"h2 taller", 1, test::makeDib({4, 4, 8}), 1, 0, false},
      {"h3 wider", 2, test::makeDib({5, 3, 8}), 1, 0, false},
      {"h4 taller", 3, test::makeDib({4, 4, 8}), 4, 0, false},
      {"destination too small", 4, smallDest, 1, 4, false},
      {"h4 null", 3, {}, 10, 4, true},
      {"h4 compressed", 3, compressed, 10, 2, true},
  };
  for (const auto& c : cases) {
    std::vector<test::ImageHandle> handles;
    for (int i = 0; i < 5; ++i) {
      const Bytes& b = i == c.slot ? c.replacement : i == 4 ? in.dest : in.channel[i];
      handles.push_back(b.empty() ? test::ImageHandle(MemHandle{}) : test::ImageHandle(b));
    }
    const Bytes destBefore = test::blockBytes(handles[4].get());
    test::resetCodes(0, 99);
    EXPECT_EQ(MergeColorChannels(handles[0].get(), handles[1].get(), handles[2].get(),
                                 handles[3].get(), handles[4].get(), c.model),
              0u)
        << c.what;
    EXPECT_EQ(test::lastError(), c.code) << c.what;
    EXPECT_EQ(test::blockBytes(handles[4].get()), destBefore) << c.what;
    for (size_t i = 0; i < 5; ++i) {
      if (!handles[i].get() || (c.locksStay && i == 3)) continue;
      EXPECT_EQ(test::notLocked(handles[i].get()), !c.locksStay) << c.what << ", image " << i;
      EXPECT_FALSE(c.locksStay && memUnlock(handles[i].get())) << "exactly one lock left standing";
    }
  }
}

}  // namespace
}  // namespace nadiro
