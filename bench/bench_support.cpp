#include "bench_support.h"

#include <cstring>
#include <random>

#include "frame/dib.h"

namespace nadiro::bench {

std::vector<uint8_t> make4KImage(uint16_t bits) {
  const uint32_t entries = bits <= 8 ? (1u << bits) : 0u;
  const uint32_t stride = *dib::rowStride(k4KWidth, bits);
  std::vector<uint8_t> b(40 + entries * 4 + size_t{stride} * k4KHeight);
  dib::Header h;
  h.width = k4KWidth;
  h.height = k4KHeight;
  h.bitCount = bits;
  h.sizeImage = stride * k4KHeight;
  dib::writeHeader(b.data(), h);
  for (uint32_t i = 0; i < entries; ++i)
    std::memset(&b[40 + 4 * i], int(i * 255 / (entries - 1)), 3);
  std::mt19937 rng(7);
  uint8_t* px = b.data() + 40 + entries * 4;
  for (int32_t y = 0; y < k4KHeight; ++y)
    for (uint32_t i = 0; i < stride; ++i)
      px[size_t(y) * stride + i] =
          static_cast<uint8_t>((i / 3 + uint32_t(y) / 2 + (rng() & 15)) & 0xFF);
  return b;
}

BenchHandle::BenchHandle(const std::vector<uint8_t>& bytes)
    : h_(memAlloc(kMemMoveableZero, bytes.size())) {
  std::memcpy(memLock(h_), bytes.data(), bytes.size());
  memUnlock(h_);
}

BenchHandle::~BenchHandle() {
  memFree(h_);
}

const BenchHandle& shared4KImage(uint16_t bits) {
  if (bits == 8) {
    static const BenchHandle grey(make4KImage(8));
    return grey;
  }
  static const BenchHandle colour(make4KImage(24));
  return colour;
}

}  // namespace nadiro::bench
