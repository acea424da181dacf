#include "support/images.h"

#include <cstring>

#include "frame/dib.h"

namespace nadiro::test {

std::vector<uint8_t> makeDib(const DibSpec& s, bool greyTable) {
  std::mt19937 rng(s.seed);
  const uint32_t entries =
      s.tableEntries ? s.tableEntries : (s.bits <= 8 ? (1u << s.bits) : 0u);
  const uint32_t stride = ((static_cast<uint32_t>(s.width) * s.bits + 31) / 32) * 4;
  const size_t pixelBytes = size_t{stride} * static_cast<uint32_t>(s.height);
  std::vector<uint8_t> b(40 + entries * 4 + pixelBytes);
  dib::Header h;
  h.width = s.width;
  h.height = s.height;
  h.bitCount = s.bits;
  h.sizeImage = static_cast<uint32_t>(pixelBytes);
  h.xPelsPerMeter = s.xRes;
  h.yPelsPerMeter = s.yRes;
  h.clrUsed = s.clrUsed;
  dib::writeHeader(b.data(), h);
  for (uint32_t i = 0; i < entries; ++i) {
    uint8_t* e = b.data() + 40 + 4 * i;
    for (int c = 0; c < 3; ++c)
      e[c] = greyTable ? static_cast<uint8_t>(i * 255 / (entries > 1 ? entries - 1 : 1))
                       : static_cast<uint8_t>(rng());
    e[3] = 0;
  }
  uint8_t* px = b.data() + 40 + entries * 4;
  const uint8_t flat = static_cast<uint8_t>(rng());
  for (size_t i = 0; i < pixelBytes; ++i) {
    const size_t row = i / stride, col = i % stride;
    switch (s.fill) {
      case Fill::Flat: px[i] = flat; break;
      case Fill::Gradient: px[i] = static_cast<uint8_t>((col * 7 + row * 13) & 0xFF); break;
      case Fill::Noise: px[i] = static_cast<uint8_t>(rng()); break;
    }
  }
  return b;
}

ImageHandle::ImageHandle(std::span<const uint8_t> bytes) {
  h_ = memAlloc(kMemMoveableZero, bytes.size());
  if (void* p = memLock(h_)) {
    if (!bytes.empty()) std::memcpy(p, bytes.data(), bytes.size());
    memUnlock(h_);
  }
}

ImageHandle::~ImageHandle() {
  if (h_) memFree(h_);
}

std::vector<uint8_t> blockBytes(MemHandle h) {
  const auto* p = static_cast<const uint8_t*>(memLock(h));
  if (!p) return {};
  std::vector<uint8_t> out(p, p + memSize(h));
  memUnlock(h);
  return out;
}

bool notLocked(MemHandle h) {
  if (!memLock(h)) return false;
  return !memUnlock(h);
}

MemHandle garbageHandle(uint32_t salt) {
  const uintptr_t high = uintptr_t{salt + 1} << (sizeof(uintptr_t) * 4);
  return reinterpret_cast<MemHandle>(high | uintptr_t{0x5A5A0000u + salt * 7919u});
}

}  // namespace nadiro::test
