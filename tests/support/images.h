// Test images: packed DIBs built in memory and handed to the library as
// handles, and ways to read blocks back.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "frame/memory.h"

namespace nadiro::test {

enum class Fill { Flat, Gradient, Noise };

struct DibSpec {
  int32_t width = 1;
  int32_t height = 1;
  uint16_t bits = 8;
  uint32_t clrUsed = 0;     // written into the header
  uint32_t tableEntries = 0;  // entries actually stored; default 2^bits for <= 8 bits
  Fill fill = Fill::Noise;
  uint32_t seed = 1;
  int32_t xRes = 2835;
  int32_t yRes = 2834;
};

// Header, colour table (random unless grey is asked for) and rows; padding
// bytes are random too, so code that reads them shows up in comparisons.
std::vector<uint8_t> makeDib(const DibSpec& spec, bool greyTable = false);

// Owns a handle made from bytes; frees it at scope end.
class ImageHandle {
 public:
  explicit ImageHandle(std::span<const uint8_t> bytes);
  explicit ImageHandle(MemHandle adopt) : h_(adopt) {}
  ImageHandle(const ImageHandle&) = delete;
  ImageHandle& operator=(const ImageHandle&) = delete;
  ImageHandle(ImageHandle&& o) noexcept : h_(std::exchange(o.h_, nullptr)) {}
  ~ImageHandle();
  MemHandle get() const { return h_; }
  explicit operator bool() const { return h_ != nullptr; }

 private:
  MemHandle h_ = nullptr;
};

// The whole block behind a handle (empty for a handle that does not lock).
std::vector<uint8_t> blockBytes(MemHandle h);

// True when the handle is not left locked (a lock then an unlock leaves 0).
bool notLocked(MemHandle h);

// A handle value that was never handed out by the allocator.
MemHandle garbageHandle(uint32_t salt);

}  // namespace nadiro::test
