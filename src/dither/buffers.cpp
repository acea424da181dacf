// What the dithering exports share: geometry of the scratch blocks, channel
// expansion, grey rows, the fixed palettes, bit-plane merging and the run
// from the source to the output around a method's image core.
#include "dither/buffers.h"

#include <array>
#include <cstring>
#include <memory>

#include "frame/dib.h"
#include "frame/scratch.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"

namespace nadiro::dither {
namespace {

constexpr std::array<uint8_t, 8> kPalette1 = {0, 0, 0, 0, 255, 255, 255, 0};

// Entry i: blue from bit 1, green from bit 2, red from bit 3, reserved from
// bit 0, so odd entries repeat the even one below with reserved 255.
constexpr std::array<uint8_t, 64> makePalette4() {
  std::array<uint8_t, 64> p{};
  for (uint32_t i = 0; i < 16; ++i) {
    p[4 * i + 0] = (i & 2) ? 255 : 0;
    p[4 * i + 1] = (i & 4) ? 255 : 0;
    p[4 * i + 2] = (i & 8) ? 255 : 0;
    p[4 * i + 3] = (i & 1) ? 255 : 0;
  }
  return p;
}

// The 3-3-2 table: red and green levels trunc(level * 255/7), blue level * 85.
constexpr std::array<uint8_t, 1024> makePalette8() {
  constexpr double kStep = 36.42857142857143;  // 255/7 as a double
  std::array<uint8_t, 1024> p{};
  for (uint32_t i = 0; i < 256; ++i) {
    p[4 * i + 0] = static_cast<uint8_t>((i & 3) * 85);
    p[4 * i + 1] = static_cast<uint8_t>(static_cast<double>((i >> 2) & 7) * kStep);
    p[4 * i + 2] = static_cast<uint8_t>(static_cast<double>(i >> 5) * kStep);
    p[4 * i + 3] = 0;
  }
  return p;
}

constexpr std::array<uint8_t, 64> kPalette4 = makePalette4();
constexpr std::array<uint8_t, 1024> kPalette8 = makePalette8();

// Bit 7 - j of a plane byte (pixel j of its group) moved to bit 0 of pixel
// j's nibble: byte j / 2 of the result, the high nibble for even j.
constexpr std::array<uint32_t, 256> makeNibbleSpread() {
  std::array<uint32_t, 256> t{};
  for (uint32_t v = 0; v < 256; ++v)
    for (uint32_t j = 0; j < 8; ++j)
      if (v >> (7 - j) & 1) t[v] |= 1u << (8 * (j / 2) + ((j & 1) ? 0 : 4));
  return t;
}
constexpr std::array<uint32_t, 256> kNibbleSpread = makeNibbleSpread();

uint64_t pixelOffsetFor(uint16_t depth) {
  switch (depth) {
    case 4:
      return kPixelOffset4;
    case 8:
      return kPixelOffset8;
    default:
      return kPixelOffset24;
  }
}

// Scratch of `bytes` zeroed bytes. None for 0 bytes: the module has always
// failed there (a zero-byte movable block has no address on Windows), so an
// empty image fails the same way on every platform.
std::unique_ptr<uint8_t[]> allocateNonEmpty(uint64_t bytes) {
  return bytes == 0 ? nullptr : allocateScratch<uint8_t>(bytes);
}

}  // namespace

uint32_t channelRowLength(uint16_t depth, uint32_t width) {
  if (depth == 4) return ((width * 4 + 31) >> 5) << 3;
  return ((width * 8 + 31) >> 5) << 2;
}

uint32_t planeStride(uint32_t bits, uint32_t width) {
  if (bits == 8) return ((width * 8 + 31) >> 5) << 2;
  return ((width + 31) >> 5) << 2;
}

uint64_t planeBlockBytes(uint32_t bits, uint32_t width, uint32_t height) {
  const uint64_t one = uint64_t{planeStride(bits, width)} * height;
  return bits == 4 ? 3 * one : one;
}

uint64_t errorBlockBytes(uint32_t bits, uint32_t rowsPerChannel, uint32_t rowLength) {
  const uint64_t channels = bits == 1 ? 1 : 3;
  return channels * rowsPerChannel * (uint64_t{rowLength} + kRowPadding) * 2 + 100;
}

uint32_t outputStride(uint32_t bits, uint32_t width) {
  return ((width * bits + 31) >> 5) << 2;
}

void expandRowToChannels(const SourceRows& source, uint32_t y, const ChannelRows& out) {
  const uint8_t* row = source.row(y);
  const uint32_t width = source.width;
  uint8_t* r = out.red;
  uint8_t* g = out.green;
  uint8_t* b = out.blue;
  const uint8_t* table = source.colorTable;
  if (source.depth == 24) {
    for (uint32_t k = 0; k < width; ++k) {
      b[k] = row[3 * k];
      g[k] = row[3 * k + 1];
      r[k] = row[3 * k + 2];
    }
  } else if (source.depth == 8) {
    for (uint32_t k = 0; k < width; ++k) {
      const uint8_t* entry = table + 4 * size_t{row[k]};
      b[k] = entry[0];
      g[k] = entry[1];
      r[k] = entry[2];
    }
  } else {
    for (uint32_t k = 0; k < width; ++k) {
      const unsigned byte = row[k / 2];
      const unsigned index = (k & 1) ? (byte & 15) : (byte >> 4);
      const uint8_t* entry = table + 4 * index;
      b[k] = entry[0];
      g[k] = entry[1];
      r[k] = entry[2];
    }
  }
}

void greyRow(const ChannelRows& rows, uint32_t width) {
  for (uint32_t k = 0; k < width; ++k) {
    const uint32_t grey = (rows.red[k] * 30u + rows.green[k] * 59u + rows.blue[k] * 11u) / 100u;
    rows.red[k] = static_cast<uint8_t>(grey);
  }
}

std::span<const uint8_t> ditherPalette(uint32_t bits) {
  if (bits == 1) return kPalette1;
  if (bits == 4) return kPalette4;
  return kPalette8;
}

void mergeBitPlanes(std::span<const uint8_t> planes, uint32_t width, uint32_t height,
                    std::span<uint8_t> out) {
  const size_t s1 = planeStride(4, width);
  const size_t so = outputStride(4, width);
  const size_t planeBytes = s1 * height;
  const uint32_t groups = (width * 4 + 31) >> 5;
  // Each group of 8 pixels: one byte of each plane, most significant bit
  // first, becomes 4 bytes of two pixels each, high nibble first. A plane
  // byte's bits spread to bit 0 of their pixels' nibbles in one lookup.
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* red = planes.data() + y * s1;
    const uint8_t* green = red + planeBytes;
    const uint8_t* blue = green + planeBytes;
    uint8_t* dst = out.data() + y * so;
    for (uint32_t gidx = 0; gidx < groups; ++gidx) {
      const uint32_t nibbles = kNibbleSpread[red[gidx]] << 3 | kNibbleSpread[green[gidx]] << 2 |
                               kNibbleSpread[blue[gidx]] << 1;
      for (unsigned pair = 0; pair < 4; ++pair)
        dst[4 * gidx + pair] = static_cast<uint8_t>(nibbles >> (8 * pair));
    }
  }
}

bool openDitherSource(MemHandle image, int32_t bits, const DitherChecks& checks, LockedBlock& block,
                      SourceRows& source) {
  if (bits != 1 && bits != 4 && !(bits == 8 && checks.eightBitTarget)) {
    setPixelStatus(NADIRO_PIXEL_BAD_ARGUMENT);
    return false;
  }
  setPixelStatus(NADIRO_PIXEL_OK);
  if (!image) {
    setPixelStatus(checks.nullHandle);
    return false;
  }
  block = LockedBlock(image);
  if (!block) {
    setPixelStatus(checks.cannotLock);
    return false;
  }
  // A block too short for a header is not an image.
  if (block.size() < dib::kInfoHeaderSize) {
    setPixelStatus(NADIRO_PIXEL_BAD_ARGUMENT);
    return false;
  }
  const uint16_t depth = dib::load<uint16_t>(block.data(), dib::kBitCount);
  if (depth <= bits || (depth != 4 && depth != 8 && depth != 24)) {
    setPixelStatus(NADIRO_PIXEL_BAD_SOURCE_DEPTH);
    if (checks.badDepthKeepsLock) block.release();
    return false;
  }
  const auto layout = dib::measureAt(block.data(), block.size(), pixelOffsetFor(depth));
  if (!layout) {
    setPixelStatus(NADIRO_PIXEL_BAD_ARGUMENT);
    return false;
  }
  source.pixels = block.data() + layout->pixelOffset;
  source.colorTable = block.data() + kColorTableOffset;
  source.stride = layout->stride;
  source.width = layout->width;
  source.height = layout->height;
  source.depth = depth;
  return true;
}

MemHandle runDitherFrame(LockedBlock& sourceBlock, const SourceRows& source, uint32_t bits,
                         uint64_t workBytes, ImageCore core, const void* context) {
  setPixelStatus(NADIRO_PIXEL_NO_MEMORY);
  const uint32_t width = source.width, height = source.height;
  const uint32_t rowLength = channelRowLength(source.depth, width);
  const int32_t xRes = dib::load<int32_t>(sourceBlock.data(), dib::kXPelsPerMeter);
  const int32_t yRes = dib::load<int32_t>(sourceBlock.data(), dib::kYPelsPerMeter);

  const uint64_t planeBytes = planeBlockBytes(bits, width, height);
  // An empty block fails: known before anything is allocated.
  if (rowLength == 0 || planeBytes == 0 || workBytes == 0) return nullptr;
  std::unique_ptr<uint8_t[]> channels, planes, work;
  if (!(channels = allocateNonEmpty(3 * uint64_t{rowLength})) ||
      !(planes = allocateNonEmpty(planeBytes)) || !(work = allocateNonEmpty(workBytes)))
    return nullptr;

  DitherBuffers buffers;
  buffers.channels = {channels.get(), channels.get() + rowLength,
                      channels.get() + 2 * size_t{rowLength}};
  buffers.planes = planes.get();
  buffers.work = work.get();
  buffers.rowLength = rowLength;
  core(source, bits, buffers, context);
  sourceBlock.unlock();

  const uint32_t so = outputStride(bits, width);
  const uint64_t imageBytes = uint64_t{so} * height;
  const uint64_t paletteBytes = 4u << bits;
  OwnedBlock result = OwnedBlock::allocate(dib::kInfoHeaderSize + paletteBytes + imageBytes);
  if (!result) return nullptr;
  LockedBlock out(result.get());
  if (!out) return nullptr;
  dib::writeNewImageHeader(out.data(),
                           {.width = static_cast<int32_t>(width),
                            .height = static_cast<int32_t>(height),
                            .bitCount = static_cast<uint16_t>(bits),
                            .sizeImage = static_cast<uint32_t>(imageBytes),
                            .xPelsPerMeter = xRes,
                            .yPelsPerMeter = yRes,
                            .clrUsed = 1u << bits},
                           ditherPalette(bits));
  const auto rows = out.bytes().subspan(static_cast<size_t>(dib::kInfoHeaderSize + paletteBytes));
  if (bits == 4)
    mergeBitPlanes({planes.get(), static_cast<size_t>(planeBytes)}, width, height, rows);
  else
    std::memcpy(rows.data(), planes.get(), static_cast<size_t>(imageBytes));
  out.unlock();
  setPixelStatus(NADIRO_PIXEL_OK);
  return result.release();
}

}  // namespace nadiro::dither
