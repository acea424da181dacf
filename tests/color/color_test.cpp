// The digests were computed once from the library when every conversion
// agreed byte for byte with a second, independent implementation.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/images.h"
#include "support/pixel_family.h"

namespace nadiro {
namespace {

using test::Bytes;
using test::Record;

const test::PixelMember* member(int32_t from, int32_t to) {
  for (const auto& m : test::kPixelFamily)
    if (m.from == from && m.to == to) return &m;
  return nullptr;
}

TEST(PixelConversions, WorkedExamples) {
  const struct {
    const char* rule;
    int32_t from, to;
    Bytes in;
    Record out;
  } examples[] = {
      {"black has no hue: -1 degrees clamps to 0", 1, 6, {0, 0, 0}, {0, 0, 0, 0}},
      {"pure red", 1, 6, {255, 0, 0}, {0, 255, 255, 0}},
      {"180 degrees is 127.5, truncated", 1, 6, {0, 255, 255}, {127, 255, 255, 0}},
      {"hue byte 255 is 360 degrees, red", 6, 1, {255, 255, 255}, {255, 0, 0, 0}},
      {"red and green tie: the green rule, 60 degrees", 1, 7, {255, 255, 0}, {42, 255, 127, 0}},
      {"green and blue tie: the blue rule, 180 degrees", 1, 7, {0, 255, 255}, {127, 255, 127, 0}},
      {"blue and red tie: the red rule, 300 degrees", 1, 7, {255, 0, 255}, {212, 255, 127, 0}},
      {"grey has no saturation", 1, 7, {128, 128, 128}, {0, 0, 128, 0}},
      {"CMYK sums wrap modulo 256", 4, 3, {200, 0, 0, 100}, {44, 100, 100, 0}},
      {"255 - wrapped sum", 4, 1, {200, 0, 0, 100}, {211, 155, 155, 0}},
      {"white has no ink", 1, 4, {255, 255, 255}, {0, 0, 0, 0}},
      {"black is all K", 1, 4, {0, 0, 0}, {0, 0, 0, 255}},
      {"K is the smallest ink", 3, 4, {10, 20, 30}, {0, 10, 20, 10}},
      {"0.299 + 0.587 + 0.114 < 1 in doubles", 1, 5, {255, 255, 255}, {254, 127, 127, 0}},
  };
  for (const auto& e : examples) EXPECT_EQ(member(e.from, e.to)->run(e.in.data()), e.out) << e.rule;
  const NadiroColor3 cmy{{10, 20, 30}};
  EXPECT_EQ(CMYtoCMYK(&cmy), 0x0A140A00u) << "C in the lowest byte, K in the highest";
  // A chained member keeps doubles: HSV to HSI is not RGBtoHSI of HSVtoRGB's bytes.
  int differs = 0;
  for (int v = 0; v < 256; ++v) {
    const uint8_t hsv[3] = {uint8_t(v), 200, uint8_t(255 - v)};
    differs += member(6, 7)->run(hsv) != member(1, 7)->run(member(6, 1)->run(hsv).data());
  }
  EXPECT_GT(differs, 0);
}

// Every input whose components are corner values, then a seeded sample.
std::vector<Record> inputs(int n) {
  static const uint8_t corners[] = {0, 1, 127, 128, 254, 255};
  const int combos = n == 4 ? 6 * 6 * 6 * 6 : 6 * 6 * 6;
  std::mt19937 rng(0xC0105u);
  std::vector<Record> out(static_cast<size_t>(combos + 4000));
  for (int c = 0; c < combos + 4000; ++c)
    for (int j = 0, k = c; j < n; ++j, k /= 6)
      out[size_t(c)][size_t(j)] = c < combos ? corners[k % 6] : static_cast<uint8_t>(rng());
  return out;
}

// The eight members from each source model, by model id.
const uint64_t kSourceDigests[9] = {
    0xDA77B46F1D24F72Cull, 0x354E5275039B9FAEull, 0x8341E11591055563ull,
    0x910B7426418DD8D2ull, 0x6E5B73AEE1BA564Eull, 0x0CDAC685C9AAD0AAull,
    0xAC90311046EE4F65ull, 0xC316E6A59A945C2Full, 0xA5A4FF1D8A050B0Full,
};

TEST(PixelConversions, EveryMemberMatchesItsDigest) {
  for (int32_t from = 1; from <= 9; ++from) {
    uint64_t h = test::digest({});
    for (const auto& m : test::kPixelFamily) {
      if (m.from != from) continue;
      for (const Record& in : inputs(test::recordBytes(m.from))) {
        const Record out = m.run(in.data());
        h = test::digest({out.data(), static_cast<size_t>(test::recordBytes(m.to))}, h);
      }
    }
    EXPECT_EQ(test::hex(h), test::hex(kSourceDigests[from - 1])) << "the members from " << from;
  }
}

constexpr uint8_t kUntouched = 0xA5;

// Pixel n starts at n * in-size for every start below length and is read
// whole. A pair without a pixel conversion (model 10 but from RGB) writes
// nothing.
Bytes bufferFromMembers(const Bytes& src, int length, int from, int to, size_t size) {
  Bytes dst(size, kUntouched);
  const test::PixelMember* m = member(from, to);
  const int in = test::recordBytes(from);
  const size_t out = static_cast<size_t>(test::recordBytes(to));
  for (int start = 0, n = 0; m && start < length; start += in, ++n) {
    const Record r = m->run(src.data() + start);
    for (size_t j = 0; j < out; ++j) dst[static_cast<size_t>(n) * out + j] = r[j];
  }
  return dst;
}

TEST(ConvertBuffer, EveryPairIsItsPixelConversionPerPixel) {
  uint64_t ucr = test::digest({});  // RGB to model 10, which has no pixel conversion
  for (int from = 1; from <= 10; ++from)
    for (int to = 1; to <= 10; ++to) {
      std::mt19937 rng(static_cast<uint32_t>(from * 16 + to));
      for (int length : {1, 2, 3, 4, 5, 7, 8, 12, 99}) {
        Bytes src(static_cast<size_t>(length) + 4);  // the last pixel reads past length
        for (auto& b : src) b = static_cast<uint8_t>(rng());
        Bytes dst(static_cast<size_t>(length) * 2 + 8, kUntouched);
        test::resetCodes(0, 31);
        ASSERT_EQ(ConvertColorSpace(src.data(), dst.data(), length, from, to, 0, nullptr), length);
        EXPECT_EQ(test::lastError(), 0u);
        if (from == 1 && to == 10) {
          ucr = test::digest(dst, ucr);
        } else {
          EXPECT_EQ(dst, bufferFromMembers(src, length, from, to, dst.size()))
              << from << " to " << to << ", length " << length;
        }
      }
    }
  EXPECT_EQ(test::hex(ucr), test::hex(0xD11585D312CD0ABFull));
}

TEST(ConvertBuffer, WorkedExamples) {
  // Length 7 converts three pixels (0, 3, 6); the last reads past length.
  const Bytes src = {255, 0, 0, 0, 255, 255, 0, 0, 0};
  Bytes dst(12, kUntouched);
  EXPECT_EQ(ConvertColorSpace(src.data(), dst.data(), 7, 1, 6, 0, nullptr), 7);
  EXPECT_EQ(dst, (Bytes{0, 255, 255, 127, 255, 255, 0, 0, 0, kUntouched, kUntouched, kUntouched}));
  // Under-colour removal: white has no ink (stored complements 255); black
  // has k = 1, u = 0.1, K = 0.9: inks 0.9 -> 25.5 -> 25.
  const Bytes whiteBlack = {255, 255, 255, 0, 0, 0};
  Bytes ucr(8, kUntouched);
  EXPECT_EQ(ConvertColorSpace(whiteBlack.data(), ucr.data(), 6, 1, 10, 0, nullptr), 6);
  EXPECT_EQ(ucr, (Bytes{255, 255, 255, 255, 25, 25, 25, 25}));
}

TEST(ConvertBuffer, RefusalsReturnMinusOneWithTheirCodes) {
  Bytes src(16, 1), dst(16, kUntouched);
  const struct {
    const char* name;
    const uint8_t* source;
    uint8_t* target;
    int32_t length, from, to;
    uint32_t code;
  } refusals[] = {
      {"source id 0", src.data(), dst.data(), 6, 0, 1, 2},
      {"target id 11", src.data(), dst.data(), 6, 1, 11, 2},
      {"id before length", src.data(), dst.data(), 0, 12, 1, 2},
      {"id before null buffers", nullptr, nullptr, 6, 1, -3, 2},
      {"length 0", src.data(), dst.data(), 0, 1, 6, 4},
      {"null source", nullptr, dst.data(), 6, 1, 6, 4},
  };
  for (const auto& r : refusals) {
    test::resetCodes(0, 99);
    EXPECT_EQ(ConvertColorSpace(r.source, r.target, r.length, r.from, r.to, 1, nullptr), -1)
        << r.name;
    EXPECT_EQ(test::lastError(), r.code) << r.name;
    EXPECT_EQ(dst, Bytes(16, kUntouched)) << r.name;
  }
}

#if !defined(_WIN32)
// One step before every 1500th byte; Cancel stops the walk at the byte after
// the step that saw it, and the result is that index.
TEST(ConvertBuffer, ProgressStepsEvery1500BytesAndCancelReturnsTheIndex) {
  for (auto [length, steps] : {std::pair{1, 1}, std::pair{1501, 2}, std::pair{4501, 4}}) {
    Bytes src(static_cast<size_t>(length) + 4, 7), dst(static_cast<size_t>(length) * 2 + 4);
    test::ProgressRecorder r;
    EXPECT_EQ(ConvertColorSpace(src.data(), dst.data(), length, 1, 2, 1, nullptr), length);
    EXPECT_EQ(r.steps, steps) << length;
    EXPECT_EQ(r.total, length + 1);
    EXPECT_EQ(r.divisor, 1500);
  }
  Bytes src(6004, 9), dst(12000, kUntouched);
  for (int cancelAt : {1, 2, 4}) {
    test::ProgressRecorder r;
    r.cancelAtStep = cancelAt;
    const int32_t stopped = (cancelAt - 1) * 1500 + 1;
    EXPECT_EQ(ConvertColorSpace(src.data(), dst.data(), 6000, 1, 7, 1, nullptr), stopped);
  }
}
#endif

const uint32_t kTag[11] = {0, 0, 10, 11, 12, 13, 14, 15, 16, 17, 12};

Bytes sourceImage(int from, int32_t width, int32_t height, uint16_t bits, uint32_t seed) {
  return test::makeDib({width, height, bits, 0, 0, test::Fill::Noise, seed, kTag[from]});
}

// The output block and the source block afterwards (a CMYK source takes its
// pixel size into its own header).
const uint64_t kImageDigests[9] = {
    0xE6A2807F35F9E3CDull, 0xF3C38855030A540Dull, 0xAECA4092C7FF99B1ull,
    0xA5F7408985C396A4ull, 0xF54829878AA536F1ull, 0xC0E0AED5410D3A55ull,
    0x6CDBC3BD71E32E75ull, 0x9A68D29A15BA1375ull, 0x178E3B37F3669511ull,
};

TEST(ConvertImage, EveryPairMatchesItsDigest) {
  for (int from = 1; from <= 9; ++from) {
    uint64_t h = test::digest({});
    for (int to = 1; to <= 10; ++to) {
      if (from == to) continue;
      std::vector<uint16_t> depths = {uint16_t(from == 4 ? 32 : 24)};
      if (from != 4) depths.push_back(32);
      for (uint16_t bits : depths)
        for (int32_t width : {1, 2, 3, 5, 33}) {
          test::ImageHandle img(
              sourceImage(from, width, 3, bits, static_cast<uint32_t>(width * 31 + to)));
          test::resetCodes(0, 77);
          test::ImageHandle out(ConvertDIBColorSpace(img.get(), from, to, 0, nullptr));
          ASSERT_TRUE(out) << from << " to " << to;
          EXPECT_EQ(test::lastError(), 0u);
          h = test::digest(test::blockBytes(out.get()),
                           test::digest(test::blockBytes(img.get()), h));
        }
    }
    EXPECT_EQ(test::hex(h), test::hex(kImageDigests[from - 1])) << "from model " << from;
  }
}

// The new image is written row by row, not copied whole first: whatever the
// freshly taken block held (a freed block filled with 0xEE), every byte the
// walk does not write comes from the source.
TEST(ConvertImage, BytesOutsideTheWalkedRowsComeFromTheSource) {
  for (auto [width, bits, entries, tail] :
       {std::tuple{1001, 24, 5u, 7u}, {700, 32, 0u, 0u}, {333, 24, 0u, 13u}}) {
    Bytes bytes = test::makeDib({width, 400, uint16_t(bits), entries, entries});
    for (size_t i = 0; i < tail; ++i) bytes.push_back(static_cast<uint8_t>(0x51 + i));
    test::ImageHandle img(bytes);
    { test::ImageHandle poison(Bytes(bytes.size(), 0xEE)); }
    test::ImageHandle out(ConvertDIBColorSpace(img.get(), 1, 6, 0, nullptr));
    const Bytes got = test::blockBytes(out.get());
    ASSERT_EQ(got.size(), bytes.size()) << width;
    const size_t offset = 40 + 4 * size_t{entries}, row = size_t(width) * 3;
    const size_t stride = (row + 3) / 4 * 4;
    size_t differing = 0;
    for (size_t i = 0; i < got.size(); ++i) {
      const bool walked = i >= offset && i < offset + 400 * stride && (i - offset) % stride < row;
      if (i == 16) continue;  // the new tag
      if (!walked) differing += got[i] != bytes[i];
    }
    EXPECT_EQ(differing, 0u) << width << " pixels, " << bits << " bits";
  }
}

// A source that is not RGB gives model 10 zero pixels.
TEST(ConvertImage, WorkedExamples) {
  Bytes bytes = sourceImage(1, 1, 1, 24, 1);
  bytes[40] = 30;  // B
  bytes[41] = 20;  // G
  bytes[42] = 10;  // R: C 245, M 235, Y 225 -> K 225: C 20, M 10, Y 0
  test::ImageHandle img(bytes), hsv(sourceImage(6, 5, 2, 24, 3));
  test::ImageHandle cmyk(ConvertDIBColorSpace(img.get(), 1, 4, 0, nullptr));
  test::ImageHandle ucr(ConvertDIBColorSpace(hsv.get(), 6, 10, 0, nullptr));
  const Bytes got = test::blockBytes(cmyk.get()), zero = test::blockBytes(ucr.get());
  ASSERT_EQ(got.size(), 44u);
  EXPECT_EQ(Bytes(got.begin() + 14, got.begin() + 20), (Bytes{32, 0, 12, 0, 0, 0}));
  EXPECT_EQ(Bytes(got.begin() + 40, got.end()), (Bytes{225, 0, 10, 20}));
  ASSERT_EQ(zero.size(), 40u + 20 * 2);
  EXPECT_EQ(zero[16], 12);
  EXPECT_EQ(Bytes(zero.begin() + 40, zero.end()), Bytes(40, 0));
  EXPECT_EQ(ConvertDIBColorSpace(hsv.get(), 6, 6, 0, nullptr), hsv.get()) << "equal models";
}

TEST(ConvertImage, RefusalsReturnNullWithTheirCodes) {
  struct Refusal {
    const char* name;
    int from, to;
    uint16_t bits;
    uint32_t tag, code;
  };
  const Refusal refusals[] = {
      {"source id 0", 0, 1, 24, 0, 2},           {"target id 11", 1, 11, 24, 0, 2},
      {"RGB tagged HSV", 1, 6, 24, 14, 2},       {"RGB compressed", 1, 6, 24, 1, 2},
      {"HSV untagged", 6, 1, 24, 0, 2},          {"model 10 is no source", 10, 1, 32, 12, 2},
      {"not even to itself", 10, 10, 32, 12, 2}, {"8-bit RGB", 1, 6, 8, 0, 0},
  };
  for (const Refusal& r : refusals) {
    test::ImageHandle img(test::makeDib({5, 3, r.bits, 0, 0, test::Fill::Noise, 2, r.tag}));
    test::resetCodes(0, 55);
    EXPECT_EQ(ConvertDIBColorSpace(img.get(), r.from, r.to, 1, nullptr), nullptr) << r.name;
    EXPECT_EQ(test::lastError(), r.code) << r.name;
  }
}

#if !defined(_WIN32)
// The walk's bytes plus one: 24-bit rows even for a 32-bit source, 4-byte
// pixels for a CMYK one.
TEST(ConvertImage, ProgressStepsEvery1500BytesOfTheWalk) {
  for (auto [from, bits, total] : {std::tuple{1, 24, 3601}, {1, 32, 3601}, {4, 32, 4801}}) {
    test::ImageHandle img(sourceImage(from, 40, 30, uint16_t(bits), 6));
    test::ProgressRecorder r;
    test::ImageHandle out(ConvertDIBColorSpace(img.get(), from, 7, 1, nullptr));
    ASSERT_TRUE(out);
    EXPECT_EQ(r.steps, (total - 1) / 1500 + 1);
    EXPECT_EQ(r.total, total);
    EXPECT_EQ(r.divisor, 1500);
  }
}
#endif

}  // namespace
}  // namespace nadiro
