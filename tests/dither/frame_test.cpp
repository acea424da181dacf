#include "dither/buffers.h"

#include <gtest/gtest.h>

#include <set>

#include "dither/diffusion.h"
#include "frame/dib.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using dib::load;

TEST(DitherFrame, RowLengthsAndStrides) {
  struct Row {
    uint16_t depth;
    uint32_t width, rowLength;
  };
  // 4-bit: twice the source stride; 8 and 24-bit: the width rounded up to 4.
  for (const Row& r : {Row{4, 1, 8}, Row{4, 8, 8}, Row{4, 9, 16}, Row{4, 17, 24}, Row{8, 1, 4},
                       Row{8, 4, 4}, Row{8, 5, 8}, Row{24, 13, 16}, Row{24, 64, 64}})
    EXPECT_EQ(dither::channelRowLength(r.depth, r.width), r.rowLength) << r.depth << " " << r.width;
  EXPECT_EQ(dither::planeStride(1, 33), 8u);
  EXPECT_EQ(dither::planeStride(4, 33), 8u);
  EXPECT_EQ(dither::planeStride(8, 33), 36u);
  EXPECT_EQ(dither::planeBlockBytes(4, 33, 5), 3u * 8 * 5);
  EXPECT_EQ(dither::outputStride(4, 9), 8u);
}

TEST(DitherFrame, WorkingRowBlockSizes) {
  // The sizes each export allocates, for a 1-bit and a 4 or 8-bit target.
  struct Size {
    uint32_t rows;
    uint64_t (*one)(uint64_t), (*three)(uint64_t);
  };
  const Size sizes[] = {
      {2, [](uint64_t l) { return l * 4 + 180; }, [](uint64_t l) { return l * 12 + 340; }},
      {3, [](uint64_t l) { return l * 6 + 220; }, [](uint64_t l) { return l * 18 + 460; }},
      {4, [](uint64_t l) { return l * 8 + 260; }, [](uint64_t l) { return l * 24 + 580; }},
  };
  for (const Size& s : sizes) {
    for (uint32_t l : {4u, 8u, 36u, 1000u}) {
      EXPECT_EQ(dither::errorBlockBytes(1, s.rows, l), s.one(l));
      EXPECT_EQ(dither::errorBlockBytes(4, s.rows, l), s.three(l));
      EXPECT_EQ(dither::errorBlockBytes(8, s.rows, l), s.three(l));
    }
  }
}

TEST(DitherFrame, WorkingRowsAreDisjointAndPadded) {
  const uint32_t l = 12, rows = 3;
  std::vector<uint8_t> block(dither::errorBlockBytes(4, rows, l));
  const dither::WorkRows work(block.data(), l, rows);
  auto* base = reinterpret_cast<int16_t*>(block.data());
  EXPECT_EQ(work.row(0, 0), base + 6);
  EXPECT_EQ(work.row(0, 1), base + 6 + (l + 20));
  EXPECT_EQ(work.row(1, 0), base + 6 + 3 * (l + 20));
  // The last row's entry L + 13 is still inside the block.
  const int16_t* last = work.row(2, rows - 1) + l + 13;
  EXPECT_LT(reinterpret_cast<const uint8_t*>(last) + 1, block.data() + block.size());
}

TEST(DitherFrame, Palettes) {
  const auto p1 = dither::ditherPalette(1);
  EXPECT_EQ(std::vector<uint8_t>(p1.begin(), p1.end()),
            (std::vector<uint8_t>{0, 0, 0, 0, 255, 255, 255, 0}));

  const auto p4 = dither::ditherPalette(4);
  ASSERT_EQ(p4.size(), 64u);
  const uint8_t even[8][3] = {{0, 0, 0},     {255, 0, 0},   {0, 255, 0},   {255, 255, 0},
                              {0, 0, 255},   {255, 0, 255}, {0, 255, 255}, {255, 255, 255}};
  for (size_t i = 0; i < 16; ++i) {
    // blue, green, red of entries 0 black, 2 blue, 4 green, ... 14 white.
    for (size_t c = 0; c < 3; ++c) EXPECT_EQ(p4[4 * i + c], even[i / 2][c]) << i;
    EXPECT_EQ(p4[4 * i + 3], i % 2 ? 255 : 0) << i;
  }

  const auto p8 = dither::ditherPalette(8);
  ASSERT_EQ(p8.size(), 1024u);
  const int levels[8] = {0, 36, 72, 109, 145, 182, 218, 255};
  for (size_t i = 0; i < 256; ++i) {
    EXPECT_EQ(p8[4 * i + 2], levels[i >> 5]);
    EXPECT_EQ(p8[4 * i + 1], levels[(i >> 2) & 7]);
    EXPECT_EQ(p8[4 * i + 0], (i & 3) * 85);
    EXPECT_EQ(p8[4 * i + 3], 0);
  }
}

TEST(DitherFrame, ExpandsFourBitRowsHighNibbleFirst) {
  auto in = test::makeDib({.width = 3, .height = 1, .bits = 4});
  in[104] = 0x5C;
  in[105] = 0x3F;  // the low nibble is past the width
  dither::SourceRows source{in.data() + 104, in.data() + 40, 4, 3, 1, 4};
  uint8_t r[8] = {}, g[8] = {}, b[8] = {};
  dither::expandRowToChannels(source, 0, {r, g, b});
  for (int k = 0; k < 3; ++k) {
    const int index = k == 0 ? 5 : k == 1 ? 12 : 3;
    EXPECT_EQ(b[k], in[40 + 4 * index]);
    EXPECT_EQ(g[k], in[40 + 4 * index + 1]);
    EXPECT_EQ(r[k], in[40 + 4 * index + 2]);
  }
  EXPECT_EQ(r[3], 0) << "the expansion stops at the width";
  dither::greyRow({r, g, b}, 3);
  const int index = 12;
  EXPECT_EQ(r[1], (in[42 + 4 * index] * 30 + in[41 + 4 * index] * 59 + in[40 + 4 * index] * 11) / 100);
}

TEST(DitherFrame, MergesBitPlanes) {
  // width 11: S1 = 4, So = 8; two groups per row.
  const uint32_t width = 11, height = 2;
  std::vector<uint8_t> planes(3 * 4 * height, 0);
  const uint8_t red[2] = {0xA5, 0xE0}, green[2] = {0x0F, 0x20}, blue[2] = {0x81, 0xC0};
  for (uint32_t y = 0; y < height; ++y) {
    for (int g = 0; g < 2; ++g) {
      planes[y * 4 + g] = red[g];
      planes[8 + y * 4 + g] = green[g];
      planes[16 + y * 4 + g] = blue[g];
    }
  }
  std::vector<uint8_t> out(8 * height, 0xEE);
  dither::mergeBitPlanes(planes, width, height, out);
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < 16; ++x) {
      const uint32_t g = x / 8, bit = 7 - x % 8;
      const int want = ((red[g] >> bit) & 1) * 8 + ((green[g] >> bit) & 1) * 4 + ((blue[g] >> bit) & 1) * 2;
      const uint8_t byte = out[y * 8 + x / 2];
      EXPECT_EQ(x % 2 ? byte & 15 : byte >> 4, want) << x;
    }
  }
}

TEST(DitherFrame, OutputImages) {
  // 24-bit to 8 bits: 256 entries of the 3-3-2 table, colours used 256, the
  // source's resolution; 4-bit results use only even palette indices.
  const auto in = test::makeDib({.width = 21, .height = 6, .bits = 24, .xRes = 1234, .yRes = -77});
  test::ImageHandle img(in);
  for (int32_t bits : {1, 4, 8}) {
    test::ImageHandle out(DitherSierra(img.get(), bits));
    const auto b = test::blockBytes(out.get());
    const uint32_t so = dither::outputStride(static_cast<uint32_t>(bits), 21);
    ASSERT_EQ(b.size(), 40 + (4u << bits) + so * 6);
    EXPECT_EQ(load<uint32_t>(b.data(), 0), 40u);
    EXPECT_EQ(load<int32_t>(b.data(), 4), 21);
    EXPECT_EQ(load<int32_t>(b.data(), 8), 6);
    EXPECT_EQ(load<uint16_t>(b.data(), 12), 1);
    EXPECT_EQ(load<uint16_t>(b.data(), 14), bits);
    EXPECT_EQ(load<uint32_t>(b.data(), 16), 0u);
    EXPECT_EQ(load<uint32_t>(b.data(), 20), so * 6);
    EXPECT_EQ(load<int32_t>(b.data(), 24), 1234);
    EXPECT_EQ(load<int32_t>(b.data(), 28), -77);
    EXPECT_EQ(load<uint32_t>(b.data(), 32), 1u << bits);
    EXPECT_EQ(load<uint32_t>(b.data(), 36), 0u);
    const auto palette = dither::ditherPalette(static_cast<uint32_t>(bits));
    EXPECT_TRUE(std::equal(palette.begin(), palette.end(), b.begin() + 40));
    if (bits == 4) {
      std::set<int> used;
      for (size_t i = 40 + 64; i < b.size(); ++i) {
        used.insert(b[i] >> 4);
        used.insert(b[i] & 15);
      }
      for (int v : used) EXPECT_EQ(v % 2, 0) << v;
      EXPECT_GT(used.size(), 3u) << "a noise image uses several colours";
    }
  }
}

}  // namespace
}  // namespace nadiro
