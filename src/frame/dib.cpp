// Geometry and helpers of packed DIBs.
#include "frame/dib.h"

#include <array>

#include "frame/guards.h"

namespace nadiro::dib {

Header readHeader(const uint8_t* p) {
  Header h;
  h.size = load<uint32_t>(p, kSize);
  h.width = load<int32_t>(p, kWidth);
  h.height = load<int32_t>(p, kHeight);
  h.planes = load<uint16_t>(p, kPlanes);
  h.bitCount = load<uint16_t>(p, kBitCount);
  h.compression = load<uint32_t>(p, kCompression);
  h.sizeImage = load<uint32_t>(p, kSizeImage);
  h.xPelsPerMeter = load<int32_t>(p, kXPelsPerMeter);
  h.yPelsPerMeter = load<int32_t>(p, kYPelsPerMeter);
  h.clrUsed = load<uint32_t>(p, kClrUsed);
  h.clrImportant = load<uint32_t>(p, kClrImportant);
  return h;
}

void writeHeader(uint8_t* p, const Header& h) {
  store(p, kSize, h.size);
  store(p, kWidth, h.width);
  store(p, kHeight, h.height);
  store(p, kPlanes, h.planes);
  store(p, kBitCount, h.bitCount);
  store(p, kCompression, h.compression);
  store(p, kSizeImage, h.sizeImage);
  store(p, kXPelsPerMeter, h.xPelsPerMeter);
  store(p, kYPelsPerMeter, h.yPelsPerMeter);
  store(p, kClrUsed, h.clrUsed);
  store(p, kClrImportant, h.clrImportant);
}

void writeNewImageHeader(uint8_t* p, Header h, std::span<const uint8_t> palette) {
  h.size = kInfoHeaderSize;
  h.planes = 1;
  h.compression = 0;
  writeHeader(p, h);
  if (!palette.empty()) std::memcpy(p + kInfoHeaderSize, palette.data(), palette.size());
}

std::span<const uint8_t> greyPalette() {
  static constexpr auto kTable = [] {
    std::array<uint8_t, 4 * kGreyEntries> t{};
    for (uint32_t i = 0; i < kGreyEntries; ++i)
      t[4 * i] = t[4 * i + 1] = t[4 * i + 2] = static_cast<uint8_t>(i);
    return t;
  }();
  return kTable;
}

uint32_t dibColorCount(const uint8_t* header) {
  const uint32_t size = load<uint32_t>(header, kSize);
  if (size == kInfoHeaderSize) {
    const uint32_t used = load<uint32_t>(header, kClrUsed);
    if (used != 0) return used;
  }
  // The core header keeps its bit count at offset 10.
  const size_t bitCountAt = size == kInfoHeaderSize ? size_t{kBitCount} : size_t{10};
  const uint16_t bits = load<uint16_t>(header, bitCountAt);
  switch (bits) {
    case 1:
      return 2;
    case 4:
      return 16;
    case 8:
      return 256;
    default:
      return 0;
  }
}

uint64_t dibColorTableBytes(const uint8_t* header) {
  const uint64_t entry = load<uint32_t>(header, kSize) == kInfoHeaderSize ? 4 : 3;
  return uint64_t{dibColorCount(header)} * entry;
}

int32_t dibCompression(MemHandle image) {
  if (!image) return -1;
  LockedBlock block(image);
  if (!block) return -1;
  // A block too short to hold the field cannot be an uncompressed image.
  if (block.size() < kCompression + 4) return -1;
  return static_cast<int32_t>(load<uint32_t>(block.data(), kCompression));
}

MemHandle dibDuplicate(MemHandle image) {
  if (!image) return nullptr;
  const size_t size = memSize(image);
  OwnedBlock copy = OwnedBlock::allocate(size);
  if (!copy) return nullptr;
  {
    LockedBlock from(image);
    LockedBlock to(copy.get());
    // Only when both locks succeed is anything copied; a failed lock still
    // hands back the zero-filled copy and the caller finds out on locking.
    if (from && to) std::memcpy(to.data(), from.data(), size);
  }
  return copy.release();
}

namespace {

// Shared body of dibNew24From / dibNew32From. The 24-bit form stores the
// new pixel size into the *source* header (its own header keeps the source's
// value) and the 32-bit form into its own: both slips are long-standing
// behaviour that callers see, so they stay.
MemHandle newFrom(MemHandle image, uint16_t bits) {
  LockedBlock source(image);
  if (!source || source.size() < kInfoHeaderSize) return nullptr;
  const int32_t width = load<int32_t>(source.data(), kWidth);
  const int32_t height = load<int32_t>(source.data(), kHeight);
  const auto stride = rowStride(width, bits);
  if (!stride || height < 0 || !blockHolds(kMaxBlockBytes, kInfoHeaderSize, *stride, height))
    return nullptr;
  const auto pixelBytes = static_cast<uint32_t>(uint64_t{*stride} * static_cast<uint64_t>(height));
  OwnedBlock made = OwnedBlock::allocate(uint64_t{pixelBytes} + kInfoHeaderSize);
  if (!made) {
    // The 32-bit form has always left the source locked when it runs out of
    // memory; hosts that count locks see it, so it stays.
    if (bits == 32) source.release();
    return nullptr;
  }
  LockedBlock out(made.get());
  if (!out) return nullptr;  // `made` frees the new block
  std::memcpy(out.data(), source.data(), kInfoHeaderSize);
  store(out.data(), kBitCount, bits);
  store(out.data(), kCompression, uint32_t{0});
  store(bits == 24 ? source.data() : out.data(), kSizeImage, pixelBytes);
  out.unlock();
  return made.release();
}

}  // namespace

MemHandle dibNew24From(MemHandle image) {
  return newFrom(image, 24);
}
MemHandle dibNew32From(MemHandle image) {
  return newFrom(image, 32);
}

std::optional<uint32_t> rowStride(int32_t width, uint32_t bits) {
  if (width < 0) return std::nullopt;
  const uint64_t rowBits = uint64_t{static_cast<uint32_t>(width)} * bits + 31;
  if (rowBits > 0x7FFFFFFFu) return std::nullopt;
  return static_cast<uint32_t>(rowBits / 32 * 4);
}

bool blockHolds(size_t blockSize, uint64_t offset, uint64_t stride, int64_t rows) {
  if (rows < 0 || offset > kMaxBlockBytes || stride > kMaxBlockBytes) return false;
  if (stride > 0 && static_cast<uint64_t>(rows) > kMaxBlockBytes / stride) return false;
  const uint64_t end = offset + stride * static_cast<uint64_t>(rows);  // both < 2^31: no wrap
  return end <= kMaxBlockBytes && end <= blockSize;
}

std::optional<Layout> measureAt(const uint8_t* block, size_t blockSize, uint64_t pixelOffset) {
  if (!block || blockSize < kInfoHeaderSize) return std::nullopt;
  Layout l;
  l.header = readHeader(block);
  if (l.header.width < 0 || l.header.height < 0) return std::nullopt;
  const auto stride = rowStride(l.header.width, l.header.bitCount);
  if (!stride || !blockHolds(blockSize, pixelOffset, *stride, l.header.height)) return std::nullopt;
  l.pixelOffset = pixelOffset;
  l.stride = *stride;
  l.width = static_cast<uint32_t>(l.header.width);
  l.height = static_cast<uint32_t>(l.header.height);
  return l;
}

std::optional<Layout> measure(const uint8_t* block, size_t blockSize) {
  if (!block || blockSize < kInfoHeaderSize) return std::nullopt;
  return measureAt(block, blockSize, kInfoHeaderSize + dibColorTableBytes(block));
}

}  // namespace nadiro::dib
