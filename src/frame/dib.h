// Packed device-independent bitmaps: header fields, geometry, and the small
// helpers every export uses to measure, check, duplicate and create images.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

#include "frame/memory.h"

namespace nadiro::dib {

inline constexpr uint32_t kInfoHeaderSize = 40;

// Byte offsets of the 40-byte header's fields.
enum Offset : size_t {
  kSize = 0,
  kWidth = 4,
  kHeight = 8,
  kPlanes = 12,
  kBitCount = 14,
  kCompression = 16,
  kSizeImage = 20,
  kXPelsPerMeter = 24,
  kYPelsPerMeter = 28,
  kClrUsed = 32,
  kClrImportant = 36,
};

// Little-endian field access on unaligned bytes.
template <typename T>
inline T load(const uint8_t* p, size_t offset) {
  T v;
  std::memcpy(&v, p + offset, sizeof v);
  return v;
}
template <typename T>
inline void store(uint8_t* p, size_t offset, T v) {
  std::memcpy(p + offset, &v, sizeof v);
}

struct Header {
  uint32_t size = kInfoHeaderSize;
  int32_t width = 0;
  int32_t height = 0;
  uint16_t planes = 1;
  uint16_t bitCount = 0;
  uint32_t compression = 0;
  uint32_t sizeImage = 0;
  int32_t xPelsPerMeter = 0;
  int32_t yPelsPerMeter = 0;
  uint32_t clrUsed = 0;
  uint32_t clrImportant = 0;
};

// Needs 40 readable bytes.
Header readHeader(const uint8_t* p);
void writeHeader(uint8_t* p, const Header& h);

// The header of an image the library makes, always 40 bytes with one plane
// and no compression whatever `h` says, and its colour table (4 bytes an
// entry) right behind it; `p` holds 40 + palette bytes.
void writeNewImageHeader(uint8_t* p, Header h, std::span<const uint8_t> palette);

// The 256-entry grey colour table of 8-bit images the library makes: entry
// i is (i, i, i, 0).
inline constexpr uint32_t kGreyEntries = 256;
std::span<const uint8_t> greyPalette();

// Colour count: colours-used when the header is 40 bytes and it is non-zero,
// else 2/16/256 for 1/4/8 bits and 0 for every other depth. The bit count is
// read at offset 14 of a 40-byte header and at offset 10 of any other.
uint32_t dibColorCount(const uint8_t* header);
// Colour-table bytes: 4-byte entries behind a 40-byte header, 3-byte entries
// behind any other. 64-bit so that a huge colours-used cannot wrap.
uint64_t dibColorTableBytes(const uint8_t* header);

// -1 for a null or unlockable handle, else the compression field.
int32_t dibCompression(MemHandle image);
// A byte-for-byte copy of the whole block, or null.
MemHandle dibDuplicate(MemHandle image);
// A new zero-filled 24-bit (32-bit) image of the source's size, or null.
MemHandle dibNew24From(MemHandle image);
MemHandle dibNew32From(MemHandle image);

// Row stride ((width * bits + 31) / 32) * 4, or nothing when width is
// negative or width * bits does not fit the 32-bit arithmetic of the format.
std::optional<uint32_t> rowStride(int32_t width, uint32_t bits);

// True when offset + stride * rows bytes lie inside a block of blockSize
// bytes and within the largest block the library handles. Rows may be 0.
bool blockHolds(size_t blockSize, uint64_t offset, uint64_t stride, int64_t rows);

// The checked layout of an image about to be read: where the rows start and
// how long they are. Built only when the whole pixel area lies inside the
// locked block; used by every export before it touches pixels.
struct Layout {
  Header header;
  uint64_t pixelOffset = 0;
  uint32_t stride = 0;
  uint32_t width = 0;
  uint32_t height = 0;
};

// Rows start behind the header's own colour table (the general rule).
std::optional<Layout> measure(const uint8_t* block, size_t blockSize);
// Rows start at a fixed offset whatever the header says.
std::optional<Layout> measureAt(const uint8_t* block, size_t blockSize, uint64_t pixelOffset);

}  // namespace nadiro::dib
