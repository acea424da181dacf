// Test images: packed DIBs built in memory and handed to the library as
// handles, ways to read blocks back, output digests, the thread's codes, and
// the one progress-hook recorder.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "frame/memory.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"

namespace nadiro::test {

using Bytes = std::vector<uint8_t>;

enum class Fill { Flat, Gradient, Noise };

struct ImageShape {
  int32_t width = 1;
  int32_t height = 1;
  uint16_t bits = 8;
  uint32_t clrUsed = 0;       // written into the header
  uint32_t tableEntries = 0;  // entries actually stored; default 2^bits for <= 8 bits
  Fill fill = Fill::Noise;
  uint32_t seed = 1;
  uint32_t compression = 0;
};

// Header, colour table (random unless grey is asked for) and rows; padding
// bytes are random too, so code that reads them shows up in comparisons.
Bytes makeDib(const ImageShape& shape, bool greyTable = false);
// A 24-bit noise image.
inline Bytes image24(int32_t width, int32_t height, uint32_t seed = 5) {
  return makeDib({width, height, 24, 0, 0, Fill::Noise, seed});
}
template <typename T>
void put(Bytes& b, size_t at, T v) {
  for (size_t i = 0; i < sizeof v; ++i) b[at + i] = static_cast<uint8_t>(uint64_t(v) >> (8 * i));
}

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
Bytes blockBytes(MemHandle h);
// True when the handle is not left locked (a lock then an unlock leaves 0).
bool notLocked(MemHandle h);
// A handle value that was never handed out by the allocator.
MemHandle garbageHandle(uint32_t salt);

// FNV-1a, 64 bits: the frozen outputs of the digest tables.
uint64_t digest(std::span<const uint8_t> bytes, uint64_t h = 0xCBF29CE484222325ull);
std::string hex(uint64_t v);

// Both code fields set to a marker (or the values given).
inline void resetCodes(uint32_t pixelStatus = 99, uint32_t lastError = 99) {
  threadErrorBlock()->pixelStatus = pixelStatus;
  threadErrorBlock()->lastError = lastError;
}
inline uint32_t pixelStatus() {
  return threadErrorBlock()->pixelStatus;
}
inline uint32_t lastError() {
  return threadErrorBlock()->lastError;
}

// True when the call frees everything it allocates (POSIX: a freed slot of
// the handle table is the next one handed out; elsewhere always true).
bool leavesNothingAllocated(const std::function<void()>& call);

#if !defined(_WIN32)
// Records what the progress hook sees; installed for the calling thread
// while it lives.
struct ProgressRecorder {
  int creates = 0, steps = 0, destroys = 0;
  int32_t total = -1, divisor = -1;
  std::vector<int32_t> positions;
  int cancelAtStep = 0;  // 0: never
  bool refuse = false;   // create fails
  ProgressRecorder();
  ~ProgressRecorder();
  ProgressRecorder(const ProgressRecorder&) = delete;
  ProgressRecorder& operator=(const ProgressRecorder&) = delete;
};
#endif

}  // namespace nadiro::test
