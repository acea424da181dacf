#include "frame/dib.h"

#include <gtest/gtest.h>

#include "frame/guards.h"
#include "support/images.h"

namespace nadiro::dib {
namespace {

std::vector<uint8_t> header(uint32_t size, uint16_t bits, uint32_t clrUsed) {
  std::vector<uint8_t> h(40, 0);
  store(h.data(), kSize, size);
  if (size == kInfoHeaderSize) {
    store(h.data(), kBitCount, bits);
    store(h.data(), kClrUsed, clrUsed);
  } else {
    store(h.data(), 10, bits);  // core header keeps it at offset 10
  }
  return h;
}

struct ColourCase {
  uint32_t headerSize;
  uint16_t bits;
  uint32_t clrUsed;
  uint32_t colours;
  uint64_t tableBytes;
};

class ColourTable : public testing::TestWithParam<ColourCase> {};

TEST_P(ColourTable, CountAndBytes) {
  const auto& c = GetParam();
  const auto h = header(c.headerSize, c.bits, c.clrUsed);
  EXPECT_EQ(dibColorCount(h.data()), c.colours);
  EXPECT_EQ(dibColorTableBytes(h.data()), c.tableBytes);
}

INSTANTIATE_TEST_SUITE_P(
    Dib, ColourTable,
    testing::Values(ColourCase{40, 8, 0, 256, 1024}, ColourCase{40, 8, 17, 17, 68},
                    ColourCase{40, 1, 0, 2, 8}, ColourCase{40, 4, 0, 16, 64},
                    ColourCase{12, 4, 0, 16, 48}, ColourCase{12, 8, 0, 256, 768},
                    ColourCase{40, 16, 0, 0, 0}, ColourCase{40, 24, 0, 0, 0},
                    ColourCase{40, 32, 0, 0, 0}, ColourCase{12, 24, 0, 0, 0},
                    // colours-used is honoured whatever the depth, and never wraps
                    ColourCase{40, 24, 5, 5, 20},
                    ColourCase{40, 8, 0x40000001u, 0x40000001u, 0x100000004ull}));

TEST(Dib, StrideFollowsTheGeneralRule) {
  struct S {
    int32_t width;
    uint32_t bits, stride;
  };
  for (S s : {S{1, 24, 4}, S{5, 24, 16}, S{1, 1, 4}, S{33, 1, 8}, S{7, 4, 4}, S{9, 4, 8},
              S{3, 8, 4}, S{5, 8, 8}, S{3, 32, 12}, S{0, 24, 0}}) {
    ASSERT_TRUE(rowStride(s.width, s.bits).has_value());
    EXPECT_EQ(*rowStride(s.width, s.bits), s.stride) << s.width << "x" << s.bits;
    const int w = s.width;
    if (s.bits == 24) {
      EXPECT_EQ(*rowStride(w, 24), static_cast<uint32_t>((3 * (w + 1)) / 4 * 4));
    }
    if (s.bits == 32) {
      EXPECT_EQ(*rowStride(w, 32), static_cast<uint32_t>((4 * w + 3) / 4 * 4));
    }
  }
  EXPECT_FALSE(rowStride(-1, 8));
  EXPECT_FALSE(rowStride(0x7FFFFFFF, 24));  // would overflow 32-bit size arithmetic
}

TEST(Dib, MeasureRefusesBlocksThatDoNotHoldTheirRows) {
  test::DibSpec spec{.width = 7, .height = 3, .bits = 8};
  auto bytes = test::makeDib(spec);
  ASSERT_TRUE(measure(bytes.data(), bytes.size()));
  EXPECT_EQ(measure(bytes.data(), bytes.size())->pixelOffset, 1064u);
  EXPECT_FALSE(measure(bytes.data(), bytes.size() - 1));
  EXPECT_FALSE(measure(bytes.data(), 39));
  store(bytes.data(), kHeight, int32_t{0x7FFFFFFF});
  EXPECT_FALSE(measure(bytes.data(), bytes.size()));
  store(bytes.data(), kHeight, int32_t{-3});
  EXPECT_FALSE(measure(bytes.data(), bytes.size()));
  store(bytes.data(), kHeight, int32_t{3});
  store(bytes.data(), kClrUsed, uint32_t{0xFFFFFFFF});
  EXPECT_FALSE(measure(bytes.data(), bytes.size()));
}

TEST(Dib, CompressionProbe) {
  EXPECT_EQ(dibCompression(nullptr), -1);
  EXPECT_EQ(dibCompression(test::garbageHandle(3)), -1);
  auto bytes = test::makeDib({.width = 2, .height = 2, .bits = 24});
  store(bytes.data(), kCompression, uint32_t{12});
  test::ImageHandle img(bytes);
  EXPECT_EQ(dibCompression(img.get()), 12);
  EXPECT_TRUE(test::notLocked(img.get()));
}

TEST(Dib, DuplicateCopiesTheWholeBlock) {
  EXPECT_EQ(dibDuplicate(nullptr), nullptr);
  const auto bytes = test::makeDib({.width = 5, .height = 3, .bits = 24});
  test::ImageHandle img(bytes);
  test::ImageHandle copy(dibDuplicate(img.get()));
  ASSERT_TRUE(copy);
  EXPECT_NE(copy.get(), img.get());
  EXPECT_EQ(test::blockBytes(copy.get()), bytes);
  EXPECT_TRUE(test::notLocked(img.get()));
  EXPECT_TRUE(test::notLocked(copy.get()));
}

TEST(Dib, New24WritesTheSizeIntoTheSourceHeader) {
  auto bytes = test::makeDib({.width = 5, .height = 3, .bits = 32});
  store(bytes.data(), kSizeImage, uint32_t{777});
  store(bytes.data(), kCompression, uint32_t{14});
  test::ImageHandle img(bytes);
  test::ImageHandle made(dibNew24From(img.get()));
  ASSERT_TRUE(made);
  const auto out = test::blockBytes(made.get());
  ASSERT_EQ(out.size(), 40u + 16 * 3);
  EXPECT_EQ(load<uint16_t>(out.data(), kBitCount), 24);
  EXPECT_EQ(load<uint32_t>(out.data(), kCompression), 0u);
  EXPECT_EQ(load<uint32_t>(out.data(), kSizeImage), 777u);  // keeps the source's value
  EXPECT_EQ(load<uint32_t>(test::blockBytes(img.get()).data(), kSizeImage), 48u);
  EXPECT_EQ(std::count(out.begin() + 40, out.end(), 0), 48);
  EXPECT_TRUE(test::notLocked(img.get()));
}

TEST(Dib, New32WritesItsOwnHeader) {
  auto bytes = test::makeDib({.width = 3, .height = 2, .bits = 24});
  store(bytes.data(), kSizeImage, uint32_t{777});
  test::ImageHandle img(bytes);
  test::ImageHandle made(dibNew32From(img.get()));
  ASSERT_TRUE(made);
  const auto out = test::blockBytes(made.get());
  ASSERT_EQ(out.size(), 40u + 12 * 2);
  EXPECT_EQ(load<uint16_t>(out.data(), kBitCount), 32);
  EXPECT_EQ(load<uint32_t>(out.data(), kSizeImage), 24u);
  EXPECT_EQ(load<uint32_t>(test::blockBytes(img.get()).data(), kSizeImage), 777u);
}

TEST(Dib, NewFromRefusesAbsurdSizes) {
  auto bytes = test::makeDib({.width = 3, .height = 2, .bits = 24});
  store(bytes.data(), kWidth, int32_t{0x20000000});
  store(bytes.data(), kHeight, int32_t{0x20000000});
  test::ImageHandle img(bytes);
  EXPECT_EQ(dibNew24From(img.get()), nullptr);
  EXPECT_EQ(dibNew24From(test::garbageHandle(5)), nullptr);
}

TEST(Dib, Store24From32IndexVariants) {
  const uint8_t px[3] = {1, 2, 3};
  std::vector<uint8_t> rows(64, 0);
  // Width 3: 32-bit rows of 12 bytes, 24-bit rows of 12 bytes. Byte 16 is
  // row 1, pixel 1: target 12 + 3, bytes reversed.
  EXPECT_EQ(dibStore24From32IndexSwapped(rows.data(), 16, px, 3), 1);
  EXPECT_EQ((std::vector<uint8_t>(rows.begin() + 15, rows.begin() + 18)),
            (std::vector<uint8_t>{3, 2, 1}));
  // Width 5: 32-bit rows of 20 bytes, 24-bit rows of 16 bytes.
  std::fill(rows.begin(), rows.end(), 0);
  dibStore24From32IndexSwapped(rows.data(), 20 + 4 * 4, px, 5);
  EXPECT_EQ(rows[16 + 12], 3);
  EXPECT_EQ(rows[16 + 14], 1);
}

TEST(Guards, OwnedBlockFreesUnlessReleased) {
  MemHandle kept;
  MemHandle dropped;
  {
    OwnedBlock a = OwnedBlock::allocate(8);
    OwnedBlock b = OwnedBlock::allocate(8);
    dropped = a.get();
    kept = b.release();
  }
  EXPECT_EQ(memLock(dropped), nullptr);
  EXPECT_NE(memLock(kept), nullptr);
  memUnlock(kept);
  memFree(kept);
}

}  // namespace
}  // namespace nadiro::dib
