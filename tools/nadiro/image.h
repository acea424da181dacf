// Images in the tool: packed DIBs, in byte vectors or in library handles.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "nadiro/nadiro.h"

namespace nadiro::cli {

// Little-endian fields at any byte offset.
template <typename T>
T loadField(std::span<const uint8_t> bytes, size_t offset) {
  T v;
  std::memcpy(&v, bytes.data() + offset, sizeof v);
  return v;
}
template <typename T>
void storeField(std::vector<uint8_t>& bytes, size_t offset, T v) {
  std::memcpy(bytes.data() + offset, &v, sizeof v);
}

// A packed DIB (40-byte header, colour table, bottom-up rows) in memory.
struct Dib {
  std::vector<uint8_t> bytes;

  int32_t width() const;
  int32_t height() const;
  uint16_t bits() const;
  uint32_t compression() const;
  uint32_t colours() const;  // entries in the colour table
  uint32_t stride() const;
  size_t pixelOffset() const;
  const uint8_t* row(int32_t storedRow) const {
    return bytes.data() + pixelOffset() + size_t(storedRow) * stride();
  }
  uint8_t* row(int32_t storedRow) {
    return bytes.data() + pixelOffset() + size_t(storedRow) * stride();
  }
  // Blue, green, red of pixel x in stored row r, through the palette if any.
  void bgr(int32_t r, int32_t x, uint8_t out[3]) const;

  // A new zero-filled image with a full colour table for <= 8 bits.
  static Dib blank(int32_t width, int32_t height, uint16_t bits);
};

// An image handle owned by the tool; freed when it goes out of scope.
class Handle {
 public:
  Handle() = default;
  explicit Handle(NadiroHandle h) : h_(h) {}
  explicit Handle(const Dib& dib);
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  Handle(Handle&& o) noexcept : h_(std::exchange(o.h_, nullptr)) {}
  Handle& operator=(Handle&& o) noexcept;
  ~Handle();
  NadiroHandle get() const { return h_; }
  explicit operator bool() const { return h_ != nullptr; }
  // The block's bytes, trimmed to header + table + rows.
  Dib dib() const;

 private:
  NadiroHandle h_ = nullptr;
};

// 8-bit image with a 256-entry grey table; grey = (30 R + 59 G + 11 B) / 100,
// the library's own grey rule. An 8-bit image that already has the identity
// grey table is returned unchanged.
Dib toGrey8(const Dib& in);
bool hasIdentityGreyTable(const Dib& in);

// A 24-bit copy (through the palette for palette pictures); an
// uncompressed bottom-up 24-bit picture is returned as it is.
Dib toRgb24(const Dib& in);

}  // namespace nadiro::cli
