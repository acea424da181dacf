#include "image.h"

#include <cstring>

namespace nadiro::cli {
int32_t Dib::width() const {
  return loadField<int32_t>(bytes, 4);
}
int32_t Dib::height() const {
  return loadField<int32_t>(bytes, 8);
}
uint16_t Dib::bits() const {
  return loadField<uint16_t>(bytes, 14);
}
uint32_t Dib::compression() const {
  return loadField<uint32_t>(bytes, 16);
}
uint32_t Dib::colours() const {
  const uint32_t used = loadField<uint32_t>(bytes, 32);
  if (used) return used;
  return bits() <= 8 ? (1u << bits()) : 0u;
}
uint32_t Dib::stride() const {
  return (uint32_t(width()) * bits() + 31) / 32 * 4;
}
size_t Dib::pixelOffset() const {
  return 40 + size_t{colours()} * 4;
}

void Dib::bgr(int32_t r, int32_t x, uint8_t out[3]) const {
  const uint8_t* p = row(r);
  const uint16_t b = bits();
  if (b == 24 || b == 32) {
    std::memcpy(out, p + size_t(x) * (b / 8), 3);
    return;
  }
  const auto ux = static_cast<uint32_t>(x);
  uint32_t index = 0;
  if (b == 8) index = p[ux];
  if (b == 4) index = (p[ux / 2] >> ((ux % 2) ? 0 : 4)) & 0xF;
  if (b == 1) index = (p[ux / 8] >> (7 - ux % 8)) & 1;
  if (index >= colours()) index = 0;
  std::memcpy(out, bytes.data() + 40 + 4 * size_t{index}, 3);
}

Dib Dib::blank(int32_t width, int32_t height, uint16_t bits) {
  Dib d;
  const uint32_t entries = bits <= 8 ? (1u << bits) : 0u;
  const uint32_t stride = (uint32_t(width) * bits + 31) / 32 * 4;
  d.bytes.assign(40 + size_t{entries} * 4 + size_t{stride} * uint32_t(height), 0);
  storeField<uint32_t>(d.bytes, 0, 40);
  storeField<int32_t>(d.bytes, 4, width);
  storeField<int32_t>(d.bytes, 8, height);
  storeField<uint16_t>(d.bytes, 12, 1);
  storeField<uint16_t>(d.bytes, 14, bits);
  storeField<uint32_t>(d.bytes, 20, stride * uint32_t(height));
  storeField<int32_t>(d.bytes, 24, 2835);  // 72 dpi
  storeField<int32_t>(d.bytes, 28, 2835);
  storeField<uint32_t>(d.bytes, 32, entries);
  return d;
}

Handle::Handle(const Dib& dib) {
  h_ = NadiroGlobalAlloc(NADIRO_GMEM_MOVEABLE_ZERO, dib.bytes.size());
  if (void* p = NadiroGlobalLock(h_)) {
    std::memcpy(p, dib.bytes.data(), dib.bytes.size());
    NadiroGlobalUnlock(h_);
  }
}

Handle& Handle::operator=(Handle&& o) noexcept {
  if (this != &o) {
    if (h_) NadiroGlobalFree(h_);
    h_ = std::exchange(o.h_, nullptr);
  }
  return *this;
}

Handle::~Handle() {
  if (h_) NadiroGlobalFree(h_);
}

Dib Handle::dib() const {
  Dib d;
  const auto* p = static_cast<const uint8_t*>(NadiroGlobalLock(h_));
  if (!p) return d;
  const size_t size = NadiroGlobalSize(h_);
  d.bytes.assign(p, p + size);
  NadiroGlobalUnlock(h_);
  if (size >= 40) {
    const uint64_t need = d.pixelOffset() + uint64_t{d.stride()} * uint32_t(d.height());
    if (need <= size) d.bytes.resize(need);
  }
  return d;
}

bool hasIdentityGreyTable(const Dib& in) {
  if (in.bits() != 8 || in.colours() != 256) return false;
  for (uint32_t i = 0; i < 256; ++i) {
    const uint8_t* e = in.bytes.data() + 40 + 4 * i;
    if (e[0] != i || e[1] != i || e[2] != i) return false;
  }
  return true;
}

Dib toGrey8(const Dib& in) {
  if (hasIdentityGreyTable(in)) return in;
  Dib out = Dib::blank(in.width(), in.height(), 8);
  for (uint32_t i = 0; i < 256; ++i) std::memset(out.bytes.data() + 40 + 4 * i, int(i), 3);
  for (int32_t r = 0; r < in.height(); ++r) {
    uint8_t* dst = out.row(r);
    for (int32_t x = 0; x < in.width(); ++x) {
      uint8_t c[3];
      in.bgr(r, x, c);
      dst[x] = static_cast<uint8_t>((c[2] * 30 + c[1] * 59 + c[0] * 11) / 100);
    }
  }
  return out;
}

Dib toRgb24(const Dib& in) {
  if (in.bits() == 24 && in.compression() == 0 && in.height() >= 0) return in;
  Dib out = Dib::blank(in.width(), in.height(), 24);
  for (int32_t r = 0; r < in.height(); ++r)
    for (int32_t x = 0; x < in.width(); ++x) in.bgr(r, x, out.row(r) + size_t(x) * 3);
  return out;
}

}  // namespace nadiro::cli
