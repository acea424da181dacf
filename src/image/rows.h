// The pixel copies of the convenience layer: a caller's rows (any stride,
// top-down or bottom-up, grey/RGB/BGR/RGBA) to and from the bottom-up rows
// of an image block. Pure functions on spans; the shells have checked every
// size, so these assert instead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace nadiro::image {

enum class Format : int32_t { kGrey = 1, kRgb = 2, kBgr = 3, kRgba = 4 };

// Bytes of one pixel of a valid format.
size_t pixelBytes(Format format);
bool validFormat(int32_t format);

// The caller's buffer: `height` rows of `width` pixels, `stride` bytes apart.
struct BufferShape {
  uint32_t width = 0;
  uint32_t height = 0;
  size_t stride = 0;
  Format format = Format::kRgb;
  bool bottomUp = false;
};

// Bytes from the first buffer row's start to the last row's end.
uint64_t spannedBytes(const BufferShape& shape);

// An image block's rows, bottom row first.
struct ImageRows {
  std::span<uint8_t> bytes;  // from the first stored row to the end of the last
  uint32_t stride = 0;
  uint16_t bits = 0;  // 1, 4, 8, 24 or 32
};

// How the stored bytes of one pixel (or palette entry) become the four
// components in model order that the formats pick from.
enum class StoredOrder {
  kBgr,   // 3 bytes reversed, fourth component 255 (24 bits, palettes)
  kBgra,  // 3 bytes reversed, the fourth byte kept (32-bit RGB)
  kKymc,  // all 4 bytes reversed (32-bit CMYK)
};

// Fills the rows of an 8-bit (grey) or 24-bit image from the buffer.
void packRows(std::span<const uint8_t> pixels, const BufferShape& shape, const ImageRows& rows);

// Fills the buffer from an image's rows; `palette` holds 4-byte entries
// (blue, green, red, reserved) of palette images. `order` applies to
// 32-bit rows.
void unpackRows(const ImageRows& rows, StoredOrder order, std::span<const uint8_t> palette,
                const BufferShape& shape, std::span<uint8_t> pixels);

}  // namespace nadiro::image
