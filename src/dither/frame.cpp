// The dithering frame: geometry of the scratch blocks, channel expansion,
// grey rows, the fixed palettes, bit-plane merging and the export frame
// around a method's image core.
#include "dither/frame.h"

#include <array>
#include <cstring>

#include "frame/dib.h"
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

uint64_t pixelOffsetFor(uint16_t depth) {
  switch (depth) {
    case 4: return kPixelOffset4;
    case 8: return kPixelOffset8;
    default: return kPixelOffset24;
  }
}

// A zero-byte movable block has no address on Windows (locking it fails),
// so an empty image fails the same way on every platform.
bool allocateLocked(uint64_t bytes, OwnedBlock& owned, LockedBlock& locked) {
  if (bytes == 0) return false;
  owned = OwnedBlock::allocate(bytes);
  if (!owned) return false;
  locked = LockedBlock(owned.get());
  return static_cast<bool>(locked);
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

uint32_t outputStride(uint32_t bits, uint32_t width) { return ((width * bits + 31) >> 5) << 2; }

void ExpandRowToChannels(const SourceRows& source, uint32_t y, const ChannelRows& out) {
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

void BuildDitherHeader(uint8_t* out, uint32_t bits, int32_t width, int32_t height,
                       uint32_t imageSize) {
  dib::Header h;
  h.width = width;
  h.height = height;
  h.planes = 1;
  h.bitCount = static_cast<uint16_t>(bits);
  h.compression = 0;
  h.sizeImage = imageSize;
  h.clrUsed = 1u << bits;
  h.clrImportant = 0;
  dib::writeHeader(out, h);
  const auto palette = ditherPalette(bits);
  std::memcpy(out + dib::kInfoHeaderSize, palette.data(), palette.size());
}

void MergeBitPlanes(std::span<const uint8_t> planes, uint32_t width, uint32_t height,
                    std::span<uint8_t> out) {
  const size_t s1 = planeStride(4, width);
  const size_t so = outputStride(4, width);
  const size_t planeBytes = s1 * height;
  const uint32_t groups = (width * 4 + 31) >> 5;
  // Each group of 8 pixels: one byte of each plane, most significant bit
  // first, becomes 4 bytes of two pixels each, high nibble first.
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* red = planes.data() + y * s1;
    const uint8_t* green = red + planeBytes;
    const uint8_t* blue = green + planeBytes;
    uint8_t* dst = out.data() + y * so;
    for (uint32_t gidx = 0; gidx < groups; ++gidx) {
      const unsigned r = red[gidx], g = green[gidx], b = blue[gidx];
      for (unsigned pair = 0; pair < 4; ++pair) {
        const unsigned hi = 7 - 2 * pair, lo = hi - 1;
        const unsigned first = ((r >> hi) & 1) << 3 | ((g >> hi) & 1) << 2 | ((b >> hi) & 1) << 1;
        const unsigned second = ((r >> lo) & 1) << 3 | ((g >> lo) & 1) << 2 | ((b >> lo) & 1) << 1;
        dst[4 * gidx + pair] = static_cast<uint8_t>(first << 4 | second);
      }
    }
  }
}

bool openDitherSource(MemHandle image, int32_t bits, const DitherChecks& checks,
                      LockedBlock& block, SourceRows& source) {
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

  const uint64_t channelBytes = 3 * uint64_t{rowLength};
  const uint64_t planeBytes = planeBlockBytes(bits, width, height);
  // An empty block fails (see allocateLocked): known before anything is made.
  if (channelBytes == 0 || planeBytes == 0 || workBytes == 0) return nullptr;
  OwnedBlock channelBlock, planeBlock, workBlock;
  LockedBlock channels, planes, work;
  if (!allocateLocked(channelBytes, channelBlock, channels) ||
      !allocateLocked(planeBytes, planeBlock, planes) ||
      !allocateLocked(workBytes, workBlock, work))
    return nullptr;

  DitherBuffers buffers;
  buffers.channels = {channels.data(), channels.data() + rowLength,
                      channels.data() + 2 * size_t{rowLength}};
  buffers.planes = planes.data();
  buffers.work = work.data();
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
  BuildDitherHeader(out.data(), bits, static_cast<int32_t>(width), static_cast<int32_t>(height),
                    static_cast<uint32_t>(imageBytes));
  dib::store(out.data(), dib::kXPelsPerMeter, xRes);
  dib::store(out.data(), dib::kYPelsPerMeter, yRes);
  const auto rows = out.bytes().subspan(static_cast<size_t>(dib::kInfoHeaderSize + paletteBytes));
  if (bits == 4)
    MergeBitPlanes(planes.bytes(), width, height, rows);
  else
    std::memcpy(rows.data(), planes.data(), static_cast<size_t>(imageBytes));
  out.unlock();
  setPixelStatus(NADIRO_PIXEL_OK);
  return result.release();
}

}  // namespace nadiro::dither
