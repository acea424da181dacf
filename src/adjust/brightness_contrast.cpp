// ColorBrightnessContrast: a new image whose colour bytes have all gone
// through one 256-entry table built from a brightness and a contrast. Palette
// images (4 and 8 bits) change their colour table only; 24-bit images every
// pixel byte. Other depths get header and colour table with zeroed pixels.
// Results go to the pixel status, except code 7 of a missing dialog.
#include <algorithm>
#include <cstring>

#include "adjust/adjust.h"
#include "frame/companion.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "frame/open_image.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"

namespace nadiro::adjust {
namespace {

// The signed value behind a 16-bit offset setting (-100..100 when in range).
int16_t settingValue(uint16_t offset) {
  return static_cast<int16_t>(offset - 100);
}

// setting * 128 / 100 on a 16-bit product, truncated toward zero.
int32_t scaledSetting(int16_t setting) {
  return static_cast<int16_t>(setting * 128) / 100;
}

// Rows occupy the first (height - 1) strides plus the data of the last row.
bool rowsFit(uint64_t area, uint32_t stride, uint64_t rowBytes, uint32_t height) {
  return height == 0 || uint64_t{height - 1} * stride + rowBytes <= area;
}

// Output pixel area: biSizeImage, or whole rows when it is 0.
uint64_t outputPixelBytes(const dib::Header& h) {
  if (h.sizeImage != 0) return h.sizeImage;
  const uint64_t rowBits = uint64_t{h.bitCount} * static_cast<uint32_t>(h.width) + 31;
  return rowBits / 32 * 4 * static_cast<uint32_t>(h.height);
}

}  // namespace

ByteTable brightnessContrastTable(int32_t brightness, int32_t contrast) {
  const uint16_t contrastOffset = offsetSetting(contrast);
  const int32_t b = scaledSetting(settingValue(offsetSetting(brightness)));
  const double c = scaledSetting(settingValue(contrastOffset));
  ByteTable table{};
  for (int32_t i = 0; i < 256; ++i) {
    const int32_t x = std::clamp(i + b, 0, 255);
    double v = (x * int32_t{contrastOffset}) / 100.0 - c;
    v = std::clamp(v, 0.0, 255.0);
    table[static_cast<size_t>(i)] = static_cast<uint8_t>(v);
  }
  return table;
}

void mapPalette(uint8_t* table, uint64_t entries, const ByteTable& map) {
  for (uint64_t e = 0; e < entries; ++e) {
    uint8_t* entry = table + e * 4;
    entry[0] = map[entry[0]];
    entry[1] = map[entry[1]];
    entry[2] = map[entry[2]];
  }
}

void mapRows(const uint8_t* src, uint8_t* dst, uint32_t stride, uint64_t rowBytes, uint32_t height,
             const ByteTable& map) {
  for (uint32_t r = 0; r < height; ++r) {
    const uint8_t* in = src + size_t{r} * stride;
    uint8_t* out = dst + size_t{r} * stride;
    for (uint64_t i = 0; i < rowBytes; ++i) out[i] = map[in[i]];
  }
}

namespace {

// Checks and fills the new image; returns the pixel status to leave.
uint32_t brightnessContrastInto(const OpenImage& source, MemHandle image, int32_t& brightness,
                                int32_t& contrast, bool showDialog, OwnedBlock& made) {
  if (!source.hasHeader()) return NADIRO_PIXEL_BAD_ARGUMENT;
  const dib::Header& h = source.header();
  if (h.size != dib::kInfoHeaderSize) return NADIRO_PIXEL_BAD_ARGUMENT;
  if (h.compression != 0) return NADIRO_PIXEL_COMPRESSED;
  if (h.bitCount == 1) return NADIRO_PIXEL_ONE_BIT;
  if (h.width == 0 || h.height == 0) return NADIRO_PIXEL_EMPTY;

  if (showDialog && showCompanionDialog(companion::kContrastUi, image, &brightness, &contrast) ==
                        DialogResult::Cancelled)
    return NADIRO_PIXEL_OK;  // nothing made, no code
  if (!contrastSettingsInRange(brightness, contrast)) return NADIRO_PIXEL_BAD_ARGUMENT;

  // The colour table and, for the depths whose pixels are read, every row
  // must lie inside the block; a block that does not is a bad image.
  const uint64_t tableBytes = dib::dibColorTableBytes(source.data());
  const bool readsRows = h.bitCount == 4 || h.bitCount == 8 || h.bitCount == 24;
  dib::Layout rows;
  if (readsRows) {
    const auto measured = source.layout();
    if (!measured) return NADIRO_PIXEL_BAD_ARGUMENT;
    rows = *measured;
  } else if (h.width < 0 || h.height < 0 ||
             !dib::blockHolds(source.size(), dib::kInfoHeaderSize, tableBytes, 1)) {
    return NADIRO_PIXEL_BAD_ARGUMENT;
  }

  const uint64_t pixelOffset = dib::kInfoHeaderSize + tableBytes;
  const uint64_t pixelBytes = outputPixelBytes(h);
  // A 24-bit image whose stated image size cannot hold its rows is refused
  // rather than written past the new block.
  if (h.bitCount == 24 && !rowsFit(pixelBytes, rows.stride, uint64_t{rows.width} * 3, rows.height))
    return NADIRO_PIXEL_BAD_ARGUMENT;

  made = OwnedBlock::allocateTwice(pixelOffset + pixelBytes);
  if (!made) return NADIRO_PIXEL_NO_MEMORY;
  LockedBlock out(made.get());
  if (!out) {
    made.reset();
    return NADIRO_PIXEL_CANNOT_LOCK;
  }
  std::memcpy(out.data(), source.data(), static_cast<size_t>(pixelOffset));

  const ByteTable map = brightnessContrastTable(brightness, contrast);
  if (h.bitCount == 4 || h.bitCount == 8) {
    mapPalette(out.data() + dib::kInfoHeaderSize, tableBytes / 4, map);
    const uint64_t available = source.size() - pixelOffset;
    std::memcpy(out.data() + pixelOffset, source.data() + pixelOffset,
                static_cast<size_t>(std::min(pixelBytes, available)));
  } else if (h.bitCount == 24) {
    mapRows(source.data() + pixelOffset, out.data() + pixelOffset, rows.stride,
            uint64_t{rows.width} * 3, rows.height, map);
  }
  return NADIRO_PIXEL_OK;
}

}  // namespace
}  // namespace nadiro::adjust

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL ColorBrightnessContrast(NadiroHandle image,
                                                                       int32_t brightness,
                                                                       int32_t contrast,
                                                                       int32_t showDialog) {
  setPixelStatus(NADIRO_PIXEL_OK);
  if (!image) {
    setPixelStatus(NADIRO_PIXEL_BAD_ARGUMENT);
    return nullptr;
  }
  const OpenImage source(image);
  if (!source) {
    setPixelStatus(NADIRO_PIXEL_CANNOT_LOCK);
    return nullptr;
  }
  OwnedBlock made;
  const uint32_t status =
      adjust::brightnessContrastInto(source, image, brightness, contrast, showDialog != 0, made);
  setPixelStatus(status);
  if (status != NADIRO_PIXEL_OK) return nullptr;
  return made.release();  // empty after a cancelled dialog
}
