// The colour models: worked examples, the 72 pixel conversions frozen as
// digests, and the buffer and image conversions held to the pixel
// conversions they are made of (the under-colour-removal CMYK form, which has
// no pixel conversion, frozen as digests of its own).
//
// The digests were computed once from the library when every pixel
// conversion agreed byte for byte with a second, independent implementation
// of the models; a change to a formula changes them.
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
      {"hue 0 is red", 6, 1, {0, 255, 255}, {255, 0, 0, 0}},
      {"red and green tie: the green rule, 60 degrees", 1, 7, {255, 255, 0}, {42, 255, 127, 0}},
      {"green and blue tie: the blue rule, 180 degrees", 1, 7, {0, 255, 255}, {127, 255, 127, 0}},
      {"blue and red tie: the red rule, 300 degrees", 1, 7, {255, 0, 255}, {212, 255, 127, 0}},
      {"grey has no saturation", 1, 7, {128, 128, 128}, {0, 0, 128, 0}},
      {"CMYK sums wrap modulo 256", 4, 3, {200, 0, 0, 100}, {44, 100, 100, 0}},
      {"255 - wrapped sum", 4, 1, {200, 0, 0, 100}, {211, 155, 155, 0}},
      {"white has no ink", 1, 4, {255, 255, 255}, {0, 0, 0, 0}},
      {"black is all K", 1, 4, {0, 0, 0}, {0, 0, 0, 255}},
      {"K is the smallest ink", 3, 4, {10, 20, 30}, {0, 10, 20, 10}},
      {"complement", 1, 3, {0, 100, 255}, {255, 155, 0, 0}},
      {"complement back", 3, 1, {0, 100, 255}, {255, 155, 0, 0}},
      {"0.299 + 0.587 + 0.114 < 1 in doubles", 1, 5, {255, 255, 255}, {254, 127, 127, 0}},
  };
  for (const auto& e : examples) EXPECT_EQ(member(e.from, e.to)->run(e.in.data()), e.out) << e.rule;
  const NadiroColor3 cmy{{10, 20, 30}};
  EXPECT_EQ(CMYtoCMYK(&cmy), 0x0A140A00u) << "C in the lowest byte, K in the highest";
}

// Every input whose components are corner values, then a seeded sample.
std::vector<Record> inputs(int n, uint32_t seed) {
  static const uint8_t corners[] = {0, 1, 127, 128, 254, 255};
  std::vector<Record> out;
  const int combos = n == 4 ? 6 * 6 * 6 * 6 : 6 * 6 * 6;
  for (int c = 0; c < combos; ++c) {
    Record v{};
    for (int j = 0, k = c; j < n; ++j, k /= 6) v[static_cast<size_t>(j)] = corners[k % 6];
    out.push_back(v);
  }
  std::mt19937 rng(seed);
  for (int s = 0; s < 4000; ++s) {
    Record v{};
    for (int j = 0; j < n; ++j) v[static_cast<size_t>(j)] = static_cast<uint8_t>(rng());
    out.push_back(v);
  }
  return out;
}

// In the order of the family table.
const uint64_t kMemberDigests[72] = {
    0xCFA199FF20EFBBA3ull, 0x72CC8B8C75BAFF35ull, 0x858CD7720A80CE88ull, 0xB38DA04FB488798Cull,
    0xAFD2E4D210B4C45Full, 0x3CE5105656C5CC51ull, 0x694549D1AE70FC6Bull, 0xAEC724D8DDF3E7A6ull,
    0xCFA199FF20EFBBA3ull, 0xC205D83601223995ull, 0xBE13EE8B19D24BE7ull, 0x379D87F15E55A0FCull,
    0x42B025DC6743593Full, 0xC8A35B8D662B6DC3ull, 0x78A2BC6926968768ull, 0xADC09DD49F947FB3ull,
    0x7EFBF33F8EA71A57ull, 0x5B1D083DEBC3A78Bull, 0x381FD0996702E49Dull, 0x5E071CE498C88653ull,
    0xD7D7DBA1DF70A428ull, 0xD3585578F02AD346ull, 0x67AB0910032D28B7ull, 0xABCC282B37858BE4ull,
    0xF50BA7B2CAE46A17ull, 0xC6CE3E45C85214B6ull, 0xCEA3E1E7B18C49DCull, 0xF24E1D5BE85A3A68ull,
    0xA4E6F53D3FDF3BBEull, 0xDA4A4185BA1946A3ull, 0x9325F8A730A421F5ull, 0xBF6CCDE99434B422ull,
    0xFE545EB6F959B1AAull, 0x0D5BEBF55E41C36Full, 0x31D7EB7AA56BBEB9ull, 0xEC6F9E573C021240ull,
    0xA87404A38222DFF5ull, 0xBD55C23C38B184AAull, 0x7A30904F86EFF8D1ull, 0x3A1099D0DEF063D2ull,
    0x5538282125D9C8D3ull, 0x129137DCD2F4E237ull, 0x7370B1D3C01A225Full, 0xAD4E8B729597530Full,
    0x8370F19E845B957Aull, 0x81F11281ECC424A9ull, 0x3847115C81F17566ull, 0x330122292306924Aull,
    0x36E74D025EF5D11Aull, 0x090DB0F106708C0Cull, 0xF7B2BCF26F3DD009ull, 0x343977347F63AE26ull,
    0xB34869C0FA14A2AEull, 0xDC752A9991DF9F31ull, 0x3796E26501870BDCull, 0xE0D1DC2A551F0F89ull,
    0xCC229C3ECD3E5375ull, 0xF16A9CBF98D8EF10ull, 0x62B5935DD3ACAC20ull, 0x5C035D062B14DD09ull,
    0x4AFBDBDAD25C6C2Cull, 0x7DAEFD819787630Dull, 0xB41D723B4F640B68ull, 0x1060D73C71FF5D4Full,
    0xFFBBF34C24810CF0ull, 0xB3AB36C326739616ull, 0x80694D30E304DC40ull, 0x53E3E847AE6ABC7Full,
    0x5135D496DB2B79F0ull, 0x411C1C4603D7D814ull, 0xFA17947C4FB634A9ull, 0x8A681004FCE6A0DEull,
};

TEST(PixelConversions, EveryMemberMatchesItsDigest) {
  size_t i = 0;
  for (const auto& m : test::kPixelFamily) {
    uint64_t h = test::digest({});
    for (const Record& in : inputs(test::recordBytes(m.from), 0xC0105u)) {
      const Record out = m.run(in.data());
      h = test::digest({out.data(), static_cast<size_t>(test::recordBytes(m.to))}, h);
    }
    EXPECT_EQ(test::hex(h), test::hex(kMemberDigests[i++])) << m.name;
  }
}

constexpr uint8_t kUntouched = 0xA5;

// The buffer conversion pixel by pixel: pixel n starts at n * in-size for
// every start below length, is read whole, and its result goes to
// n * out-size in model order. A pair without a pixel conversion (model 10
// but from RGB) writes nothing.
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
        const Bytes original = src;
        Bytes dst(static_cast<size_t>(length) * 2 + 8, kUntouched);
        test::resetCodes(0, 31);
        ASSERT_EQ(ConvertColorSpace(src.data(), dst.data(), length, from, to, 0, nullptr), length);
        EXPECT_EQ(test::lastError(), 0u);
        EXPECT_EQ(src, original);
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
  struct Refusal {
    const char* name;
    bool nullSource, nullTarget;
    int32_t length;
    int from, to;
    uint32_t code;
  };
  const Refusal refusals[] = {
      {"source id 0", false, false, 6, 0, 1, 2},
      {"target id 11", false, false, 6, 1, 11, 2},
      {"id before length", false, false, 0, 12, 1, 2},
      {"id before null buffers", true, true, 6, 1, -3, 2},
      {"length 0", false, false, 0, 1, 6, 4},
      {"null source", true, false, 6, 1, 6, 4},
  };
  for (const Refusal& r : refusals) {
    Bytes src(16, 1), dst(16, kUntouched);
    test::resetCodes(0, 99);
    EXPECT_EQ(
        ConvertColorSpace(r.nullSource ? nullptr : src.data(), r.nullTarget ? nullptr : dst.data(),
                          r.length, r.from, r.to, 1, nullptr),
        -1)
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

// Every target from one source model, 24 and 32-bit sources (the latter
// walked with 24-bit rows all the same) on awkward widths: the output block
// and the source block afterwards (a CMYK source takes its pixel size into
// its own header).
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
          EXPECT_TRUE(test::notLocked(out.get()));
          h = test::digest(test::blockBytes(out.get()),
                           test::digest(test::blockBytes(img.get()), h));
        }
    }
    EXPECT_EQ(test::hex(h), test::hex(kImageDigests[from - 1])) << "from model " << from;
  }
}

// The new image is written row by row, not copied whole first: every byte
// the walk does not write (header, colour table, row padding, whatever lies
// behind the 24-bit rows of a 32-bit source, bytes after the rows) still
// comes from the source, whatever the freshly taken block held (the large
// freed block it reuses is filled with 0xEE first).
TEST(ConvertImage, BytesOutsideTheWalkedRowsComeFromTheSource) {
  struct Case {
    int32_t width;
    uint16_t bits;
    uint32_t tableEntries;
    size_t tail;
  };
  for (const Case c : {Case{1001, 24, 5, 7}, Case{700, 32, 0, 0}, Case{333, 24, 0, 13}}) {
    Bytes bytes = test::makeDib(
        {c.width, 400, c.bits, c.tableEntries, c.tableEntries, test::Fill::Noise, 9, 0});
    for (size_t i = 0; i < c.tail; ++i) bytes.push_back(static_cast<uint8_t>(0x51 + i));
    test::ImageHandle img(bytes);
    { test::ImageHandle poison(Bytes(bytes.size(), 0xEE)); }
    test::ImageHandle out(ConvertDIBColorSpace(img.get(), 1, 6, 0, nullptr));
    const Bytes got = test::blockBytes(out.get());
    ASSERT_EQ(got.size(), bytes.size()) << c.width;
    const size_t offset = 40 + 4 * size_t{c.tableEntries};
    const size_t stride = (size_t(c.width) * 3 + 3) / 4 * 4;
    size_t differing = 0;
    for (size_t i = 0; i < got.size(); ++i) {
      const bool walked =
          i >= offset && i < offset + 400 * stride && (i - offset) % stride < size_t(c.width) * 3;
      if (i == 16) continue;  // the new tag
      if (!walked) differing += got[i] != bytes[i];
    }
    EXPECT_EQ(differing, 0u) << c.width << " pixels, " << c.bits << " bits";
  }
}

// RGB to CMYK is stored K, Y, M, C in a 32-bit image tagged 12; a source
// that is not RGB gives model 10 zero pixels; equal models return the very
// handle passed in.
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
  for (int m = 1; m <= 9; ++m) {
    test::ImageHandle same(sourceImage(m, 3, 2, m == 4 ? 32 : 24, 5));
    EXPECT_EQ(ConvertDIBColorSpace(same.get(), m, m, 0, nullptr), same.get()) << m;
  }
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
    const Bytes bytes = test::makeDib({5, 3, r.bits, 0, 0, test::Fill::Noise, 2, r.tag});
    test::ImageHandle img(bytes);
    test::resetCodes(0, 55);
    EXPECT_EQ(ConvertDIBColorSpace(img.get(), r.from, r.to, 1, nullptr), nullptr) << r.name;
    EXPECT_EQ(test::lastError(), r.code) << r.name;
    EXPECT_EQ(test::blockBytes(img.get()), bytes) << r.name;
    EXPECT_TRUE(test::notLocked(img.get())) << r.name;
  }
}

#if !defined(_WIN32)
TEST(ConvertImage, ProgressStepsEvery1500BytesOfTheWalk) {
  struct Case {
    int from;
    int32_t width, height;
    uint16_t bits;
    int steps;
    int32_t total;
  };
  for (const Case c : {Case{1, 40, 30, 24, 3, 3601}, Case{1, 40, 30, 32, 3, 3601},
                       Case{4, 40, 30, 32, 4, 4801}, Case{1, 500, 1, 24, 1, 1501}}) {
    test::ImageHandle img(sourceImage(c.from, c.width, c.height, c.bits, 6));
    test::ProgressRecorder r;
    test::ImageHandle out(ConvertDIBColorSpace(img.get(), c.from, 7, 1, nullptr));
    ASSERT_TRUE(out);
    EXPECT_EQ(r.steps, c.steps);
    EXPECT_EQ(r.total, c.total);
    EXPECT_EQ(r.divisor, 1500);
  }
}
#endif

}  // namespace
}  // namespace nadiro
