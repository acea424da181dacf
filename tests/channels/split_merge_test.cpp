// SplitColorChannels and MergeColorChannels: channel images byte for byte,
// every model, the round trips, every refusal and the locks it leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "frame/dib.h"
#include "frame/memory.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using dib::load;

size_t stride8(int w) { return (static_cast<size_t>(w) + 3) / 4 * 4; }
size_t stride24(int w) { return (static_cast<size_t>(w) * 3 + 3) / 4 * 4; }

// The documented channel image: header, grey table, then byte `byteIndex`
// of every pixel of `image` (rows start behind its header and table).
std::vector<uint8_t> referenceChannel(const std::vector<uint8_t>& image, int byteIndex) {
  const int w = load<int32_t>(image.data(), 4), h = load<int32_t>(image.data(), 8);
  const int bits = load<uint16_t>(image.data(), 14);
  const uint32_t used = load<uint32_t>(image.data(), 32);
  const size_t offset = 40 + 4 * size_t{bits <= 8 ? (used ? used : 1u << bits) : used};
  const size_t srcStride = bits == 32 ? size_t(w) * 4 : stride24(w);
  std::vector<uint8_t> out(40 + 1024 + stride8(w) * size_t(h), 0);
  dib::Header hd;
  hd.width = w;
  hd.height = h;
  hd.planes = 1;
  hd.bitCount = 8;
  hd.sizeImage = static_cast<uint32_t>(stride8(w) * size_t(h));
  hd.xPelsPerMeter = load<int32_t>(image.data(), 24);
  hd.yPelsPerMeter = load<int32_t>(image.data(), 28);
  hd.clrUsed = 256;
  hd.clrImportant = 256;
  dib::writeHeader(out.data(), hd);
  for (int i = 0; i < 256; ++i)
    for (int c = 0; c < 3; ++c) out[40 + 4 * size_t(i) + size_t(c)] = static_cast<uint8_t>(i);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      out[1064 + size_t(y) * stride8(w) + size_t(x)] =
          image[offset + size_t(y) * srcStride + size_t(x) * (bits / 8) + size_t(byteIndex)];
  return out;
}

struct Channels {
  NadiroHandle h[4] = {nullptr, nullptr, nullptr, nullptr};
  uint32_t count = 0;
  ~Channels() {
    for (uint32_t i = 0; i < count; ++i) memFree(h[i]);
  }
};

// ---------------------------------------------------------------------------
// Split
// ---------------------------------------------------------------------------

struct Shape {
  int32_t w, h;
};
constexpr Shape kShapes[] = {{1, 1}, {1, 4}, {2, 3}, {3, 2}, {5, 5}, {17, 9}};

TEST(Split, RgbImagesGiveRedGreenBlue) {
  for (const Shape s : kShapes) {
    for (const uint16_t bits : {uint16_t{24}, uint16_t{32}}) {
      auto image = test::makeDib({.width = s.w, .height = s.h, .bits = bits, .seed = 3});
      // The image-size field is recomputed whatever the source says.
      std::memset(image.data() + 20, 0, 4);
      test::ImageHandle source(image);
      Channels ch;
      setLastError(9);
      ch.count = SplitColorChannels(source.get(), ch.h, 1);
      const uint32_t n = bits == 32 ? 4 : 3;
      ASSERT_EQ(ch.count, n);
      EXPECT_EQ(GetLastColorConvertError(), 0u);
      const int order[4] = {2, 1, 0, 3};
      for (uint32_t i = 0; i < n; ++i) {
        EXPECT_EQ(test::blockBytes(ch.h[i]), referenceChannel(image, order[i]))
            << s.w << "x" << s.h << " " << bits << " bits, channel " << i + 1;
        EXPECT_TRUE(test::notLocked(ch.h[i]));
      }
      if (n == 3) {
        EXPECT_EQ(ch.h[3], nullptr) << "the fourth slot is left alone";
      }
      EXPECT_EQ(test::blockBytes(source.get()), image);
      EXPECT_TRUE(test::notLocked(source.get()));
    }
  }
}

class SplitModels : public testing::TestWithParam<uint32_t> {};

// Other models: the channels of the image that the whole-image conversion
// makes, three or four of them.
TEST_P(SplitModels, ChannelsOfTheConvertedImage) {
  const uint32_t model = GetParam();
  for (const Shape s : kShapes) {
    const auto image = test::makeDib({.width = s.w, .height = s.h, .bits = 24, .seed = model});
    test::ImageHandle source(image);
    test::ImageHandle converted(
        ConvertDIBColorSpace(source.get(), 1, static_cast<int32_t>(model), 0, nullptr));
    ASSERT_TRUE(converted);
    const auto convertedBytes = test::blockBytes(converted.get());
    const uint32_t n = load<uint16_t>(convertedBytes.data(), 14) == 32 ? 4 : 3;
    EXPECT_EQ(n, model == 4 || model == 10 ? 4u : 3u);
    Channels ch;
    ch.count = SplitColorChannels(source.get(), ch.h, model);
    ASSERT_EQ(ch.count, n);
    const int order[4] = {2, 1, 0, 3};
    for (uint32_t i = 0; i < n; ++i)
      EXPECT_EQ(test::blockBytes(ch.h[i]), referenceChannel(convertedBytes, order[i]))
          << "model " << model << " channel " << i + 1;
    EXPECT_EQ(test::blockBytes(source.get()), image);
  }
}

INSTANTIATE_TEST_SUITE_P(All, SplitModels, testing::Range(2u, 11u));

TEST(Split, ModelIsAnEightBitValue) {
  const auto image = test::makeDib({.width = 4, .height = 2, .bits = 24});
  test::ImageHandle source(image);
  Channels a, b;
  a.count = SplitColorChannels(source.get(), a.h, 0x101);  // model 1
  b.count = SplitColorChannels(source.get(), b.h, 1);
  ASSERT_EQ(a.count, 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(test::blockBytes(a.h[i]), test::blockBytes(b.h[i]));
  Channels c;
  EXPECT_EQ(SplitColorChannels(source.get(), c.h, 0x100), 0u);  // model 0
  EXPECT_EQ(GetLastColorConvertError(), 4u);
}

TEST(Split, Refusals) {
  const auto rgb = test::makeDib({.width = 3, .height = 2, .bits = 24});
  auto compressed = rgb;
  compressed[16] = 1;
  auto shortBlock = rgb;
  shortBlock.resize(50);
  const auto grey = test::makeDib({.width = 3, .height = 2, .bits = 8});
  const auto sixteen = test::makeDib({.width = 3, .height = 2, .bits = 16});
  struct Case {
    const char* what;
    std::vector<uint8_t> image;
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
      {"8 bits", grey, 1, false, 0},
      {"16 bits", sixteen, 2, false, 0},
  };
  for (const Case& c : cases) {
    test::ImageHandle source(c.image);
    NadiroHandle slots[4] = {};
    EXPECT_EQ(SplitColorChannels(source.get(), c.nullArray ? nullptr : slots, c.model), 0u)
        << c.what;
    EXPECT_EQ(GetLastColorConvertError(), c.code) << c.what;
    EXPECT_EQ(slots[0], nullptr) << c.what;
    EXPECT_TRUE(test::notLocked(source.get())) << c.what;
  }
  NadiroHandle slots[4] = {};
  EXPECT_EQ(SplitColorChannels(nullptr, slots, 1), 0u);
  EXPECT_EQ(GetLastColorConvertError(), 4u);
  EXPECT_EQ(SplitColorChannels(test::garbageHandle(5), slots, 1), 0u);
  EXPECT_EQ(GetLastColorConvertError(), 2u);
}

TEST(Split, ThirtyTwoBitsTakeModelOneOnlyAndStayLocked) {
  const auto image = test::makeDib({.width = 3, .height = 2, .bits = 32});
  test::ImageHandle source(image);
  NadiroHandle slots[4] = {};
  EXPECT_EQ(SplitColorChannels(source.get(), slots, 6), 0u);
  EXPECT_EQ(GetLastColorConvertError(), 4u);
  EXPECT_FALSE(test::notLocked(source.get())) << "this refusal leaves the source locked";
  memUnlock(source.get());
  EXPECT_TRUE(test::notLocked(source.get()));
}

// ---------------------------------------------------------------------------
// Merge
// ---------------------------------------------------------------------------

// Documented per-pixel conversions back to RGB, by model.
void referenceToRgb(uint32_t model, const uint8_t* c, uint8_t* rgb) {
  const NadiroColor3 three{{c[0], c[1], c[2]}};
  const NadiroColor4 four{{c[0], c[1], c[2], c[3]}};
  NadiroColor3 r{};
  switch (model) {
    case 1: r = three; break;
    case 2: r = YUVtoRGB(&three); break;
    case 3: r = CMYtoRGB(&three); break;
    case 4: r = CMYKtoRGB(&four); break;
    case 5: r = YIQtoRGB(&three); break;
    case 6: r = HSVtoRGB(&three); break;
    case 7: r = HSItoRGB(&three); break;
    case 8: r = XYZtoRGB(&three); break;
    case 9: r = LABtoRGB(&three); break;
    case 10: {
      // Each channel complemented, then the byte-wise CMYK way back.
      const NadiroColor4 inks{{uint8_t(255 - c[0]), uint8_t(255 - c[1]), uint8_t(255 - c[2]),
                               uint8_t(255 - c[3])}};
      r = CMYKtoRGB(&inks);
      break;
    }
  }
  std::memcpy(rgb, r.v, 3);
}

struct MergeInputs {
  std::vector<uint8_t> channel[4];
  std::vector<uint8_t> dest;
};

MergeInputs randomInputs(int w, int h, uint32_t seed) {
  MergeInputs in;
  for (int i = 0; i < 4; ++i) {
    test::DibSpec spec{.width = w, .height = h, .bits = 8, .seed = seed * 7 + uint32_t(i)};
    if (i == 1) {  // a short colour table moves the rows
      spec.clrUsed = 17;
      spec.tableEntries = 17;
    }
    in.channel[i] = test::makeDib(spec);
  }
  in.dest = test::makeDib({.width = w, .height = h, .bits = 24, .seed = seed + 100});
  in.dest[16] = 12;  // merge writes compression 0
  return in;
}

uint8_t channelByte(const std::vector<uint8_t>& ch, int x, int y) {
  const uint32_t used = load<uint32_t>(ch.data(), 32);
  const size_t offset = 40 + 4 * size_t{used ? used : 256};
  const int w = load<int32_t>(ch.data(), 4);
  return ch[offset + size_t(y) * stride8(w) + size_t(x)];
}

class MergeModels : public testing::TestWithParam<uint32_t> {};

TEST_P(MergeModels, ConvertsEveryPixelIntoTheDestination) {
  const uint32_t model = GetParam();
  const bool four = model == 4 || model == 10;
  for (const Shape s : kShapes) {
    const MergeInputs in = randomInputs(s.w, s.h, model);
    std::vector<uint8_t> expected = in.dest;
    expected[16] = 0;
    for (int y = 0; y < s.h; ++y)
      for (int x = 0; x < s.w; ++x) {
        uint8_t c[4] = {};
        for (int i = 0; i < 4; ++i) c[i] = channelByte(in.channel[i], x, y);
        uint8_t rgb[3];
        referenceToRgb(model, c, rgb);
        uint8_t* px = &expected[40 + size_t(y) * stride24(s.w) + 3 * size_t(x)];
        px[0] = rgb[2];
        px[1] = rgb[1];
        px[2] = rgb[0];
      }
    test::ImageHandle h1(in.channel[0]), h2(in.channel[1]), h3(in.channel[2]),
        h4(in.channel[3]), dest(in.dest);
    setLastError(9);
    // Models other than 4 and 10 ignore the fourth channel, which may be 0.
    EXPECT_EQ(MergeColorChannels(h1.get(), h2.get(), h3.get(), four ? h4.get() : nullptr,
                                 dest.get(), model),
              1u);
    EXPECT_EQ(GetLastColorConvertError(), 0u);
    EXPECT_EQ(test::blockBytes(dest.get()), expected) << "model " << model << " " << s.w << "x"
                                                      << s.h;
    for (const auto* h : {&h1, &h2, &h3, &h4, &dest}) EXPECT_TRUE(test::notLocked(h->get()));
  }
}

INSTANTIATE_TEST_SUITE_P(All, MergeModels, testing::Range(1u, 11u));

TEST(Merge, InvertedCmykAllWhiteChannels) {
  uint8_t full[4] = {255, 255, 255, 255}, rgb[3];
  referenceToRgb(10, full, rgb);
  std::vector<uint8_t> channel = test::makeDib({.width = 2, .height = 1, .bits = 8});
  channel[1064] = channel[1065] = 255;
  test::ImageHandle c(channel), dest(test::makeDib({.width = 2, .height = 1, .bits = 24}));
  ASSERT_EQ(MergeColorChannels(c.get(), c.get(), c.get(), c.get(), dest.get(), 10), 1u);
  const auto got = test::blockBytes(dest.get());
  // Four channels of 255 convert as CMYK (0, 0, 0, 0): white.
  EXPECT_EQ(got[40], 255);
  EXPECT_EQ(got[41], 255);
  EXPECT_EQ(got[42], 255);
  EXPECT_EQ(got[40], rgb[2]);
}

// Split then merge.
class RoundTrip : public testing::TestWithParam<uint32_t> {};

TEST_P(RoundTrip, MergeOfSplitIsTheModelsWayThereAndBack) {
  const uint32_t model = GetParam();
  for (const Shape s : kShapes) {
    const auto image = test::makeDib({.width = s.w, .height = s.h, .bits = 24, .seed = 40 + model});
    test::ImageHandle source(image);
    Channels ch;
    ch.count = SplitColorChannels(source.get(), ch.h, model);
    ASSERT_GE(ch.count, 3u);
    // Four-channel splits come out M, Y, K, C; merge reads C, M, Y, K.
    NadiroHandle in[4] = {ch.h[0], ch.h[1], ch.h[2], ch.h[3]};
    if (ch.count == 4) {
      in[0] = ch.h[3];
      in[1] = ch.h[0];
      in[2] = ch.h[1];
      in[3] = ch.h[2];
    }
    auto destBytes = test::makeDib({.width = s.w, .height = s.h, .bits = 24, .seed = 1});
    test::ImageHandle dest(destBytes);
    ASSERT_EQ(MergeColorChannels(in[0], in[1], in[2], in[3], dest.get(), model), 1u);
    // Model 10 splits through the under-colour-removal form but merges
    // through the byte-wise CMYK rule, so it does not come back; its merge is
    // checked against the reference above.
    if (model == 10) continue;
    const auto got = test::blockBytes(dest.get());
    for (int y = 0; y < s.h; ++y)
      for (int x = 0; x < s.w; ++x) {
        const size_t at = 40 + size_t(y) * stride24(s.w) + 3 * size_t(x);
        const NadiroColor3 rgb{{image[at + 2], image[at + 1], image[at]}};
        uint8_t back[3] = {rgb.v[0], rgb.v[1], rgb.v[2]};
        const auto there = [&](auto to, auto from) {
          const NadiroColor3 mid = to(&rgb);
          const NadiroColor3 r = from(&mid);
          std::memcpy(back, r.v, 3);
        };
        switch (model) {
          case 2: there(RGBtoYUV, YUVtoRGB); break;
          case 3: there(RGBtoCMY, CMYtoRGB); break;
          case 5: there(RGBtoYIQ, YIQtoRGB); break;
          case 6: there(RGBtoHSV, HSVtoRGB); break;
          case 7: there(RGBtoHSI, HSItoRGB); break;
          case 8: there(RGBtoXYZ, XYZtoRGB); break;
          case 9: there(RGBtoLAB, LABtoRGB); break;
          default: break;  // 1 and 4 come back exactly
        }
        const int tolerance = model == 10 ? 9 : 0;
        for (int c = 0; c < 3; ++c)
          EXPECT_NEAR(got[at + size_t(2 - c)], back[c], tolerance)
              << "model " << model << " pixel " << x << "," << y;
      }
    // Padding bytes of the destination are not written.
    for (int y = 0; y < s.h; ++y)
      for (size_t p = 3 * size_t(s.w); p < stride24(s.w); ++p)
        EXPECT_EQ(got[40 + size_t(y) * stride24(s.w) + p], destBytes[40 + size_t(y) * stride24(s.w) + p]);
  }
}

INSTANTIATE_TEST_SUITE_P(All, RoundTrip, testing::Range(1u, 11u));

TEST(Merge, RgbRoundTripIsExact) {
  const auto image = test::makeDib({.width = 13, .height = 7, .bits = 24, .seed = 8});
  test::ImageHandle source(image);
  Channels ch;
  ch.count = SplitColorChannels(source.get(), ch.h, 1);
  ASSERT_EQ(ch.count, 3u);
  auto blank = image;
  for (size_t i = 40; i < blank.size(); ++i) blank[i] = 0;
  test::ImageHandle dest(blank);
  ASSERT_EQ(MergeColorChannels(ch.h[0], ch.h[1], ch.h[2], nullptr, dest.get(), 1), 1u);
  auto got = test::blockBytes(dest.get());
  // Everything but the row padding (never written) is the original.
  for (int y = 0; y < 7; ++y)
    for (size_t p = 3 * 13; p < stride24(13); ++p) got[40 + size_t(y) * stride24(13) + p] =
        image[40 + size_t(y) * stride24(13) + p];
  EXPECT_EQ(got, image);
}

TEST(Merge, Refusals) {
  const MergeInputs in = randomInputs(4, 3, 5);
  auto compressed = in.channel[0];
  compressed[16] = 1;
  auto shortChannel = in.channel[0];
  shortChannel.resize(1064 + 4);
  const auto rgbChannel = test::makeDib({.width = 4, .height = 3, .bits = 24});
  const auto taller = test::makeDib({.width = 4, .height = 4, .bits = 8});
  const auto wider = test::makeDib({.width = 5, .height = 3, .bits = 8});
  auto smallDest = in.dest;
  smallDest.resize(smallDest.size() - 1);
  enum Slot { kNone = -1, k1 = 0, k2, k3, k4, kDest };
  struct Case {
    const char* what;
    Slot slot;
    std::vector<uint8_t> replacement;  // empty: a null handle
    uint32_t model;
    uint32_t code;
  };
  const Case cases[] = {
      {"h1 null", k1, {}, 1, 4},
      {"h2 null", k2, {}, 2, 4},
      {"h3 null", k3, {}, 9, 4},
      {"model 0", kNone, {}, 0, 4},
      {"model 11", kNone, {}, 11, 4},
      {"h1 compressed", k1, compressed, 1, 2},
      {"h3 compressed", k3, compressed, 6, 2},
      {"h2 rows past its block", k2, shortChannel, 1, 2},
      {"h1 24-bit", k1, rgbChannel, 1, 0},
      {"h2 taller", k2, taller, 1, 0},
      {"h3 wider", k3, wider, 1, 0},
      {"h4 taller", k4, taller, 4, 0},
      {"destination too small", kDest, smallDest, 1, 4},
  };
  for (const Case& c : cases) {
    std::vector<test::ImageHandle> handles;
    for (int i = 0; i < 5; ++i) {
      const auto& bytes = i == 4 ? in.dest : in.channel[i];
      if (i == c.slot && c.replacement.empty())
        handles.emplace_back(MemHandle{nullptr});
      else
        handles.emplace_back(i == c.slot ? c.replacement : bytes);
    }
    const auto destBefore = test::blockBytes(handles[4].get());
    EXPECT_EQ(MergeColorChannels(handles[0].get(), handles[1].get(), handles[2].get(),
                                 handles[3].get(), handles[4].get(), c.model),
              0u)
        << c.what;
    EXPECT_EQ(GetLastColorConvertError(), c.code) << c.what;
    EXPECT_EQ(test::blockBytes(handles[4].get()), destBefore) << c.what;
    for (const auto& h : handles) {
      if (h.get()) {
        EXPECT_TRUE(test::notLocked(h.get())) << c.what;
      }
    }
  }
  test::ImageHandle a(in.channel[0]), dest(in.dest);
  EXPECT_EQ(MergeColorChannels(a.get(), test::garbageHandle(2), a.get(), nullptr, dest.get(), 1),
            0u);
  EXPECT_EQ(GetLastColorConvertError(), 2u);
}

// A missing or compressed fourth channel leaves the other channels and the
// destination locked.
TEST(Merge, FourthChannelRefusalsLeaveLocksStanding) {
  const MergeInputs in = randomInputs(3, 2, 6);
  auto compressed = in.channel[3];
  compressed[16] = 2;
  for (const uint32_t model : {4u, 10u}) {
    for (const bool missing : {true, false}) {
      test::ImageHandle h1(in.channel[0]), h2(in.channel[1]), h3(in.channel[2]),
          h4(compressed), dest(in.dest);
      EXPECT_EQ(MergeColorChannels(h1.get(), h2.get(), h3.get(), missing ? nullptr : h4.get(),
                                   dest.get(), model),
                0u);
      EXPECT_EQ(GetLastColorConvertError(), missing ? 4u : 2u);
      for (const auto* h : {&h1, &h2, &h3, &dest}) {
        EXPECT_FALSE(test::notLocked(h->get()));
        memUnlock(h->get());
        EXPECT_TRUE(test::notLocked(h->get()));
      }
      EXPECT_TRUE(test::notLocked(h4.get()));
    }
  }
}

}  // namespace
}  // namespace nadiro
