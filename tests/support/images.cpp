#include "support/images.h"

#include <cstdio>
#include <cstring>
#include <random>

namespace nadiro::test {

Bytes makeDib(const ImageShape& s, bool greyTable) {
  std::mt19937 rng(s.seed);
  const uint32_t entries = s.tableEntries ? s.tableEntries : (s.bits <= 8 ? (1u << s.bits) : 0u);
  const uint32_t stride = ((static_cast<uint32_t>(s.width) * s.bits + 31) / 32) * 4;
  const size_t pixelBytes = size_t{stride} * static_cast<uint32_t>(s.height);
  Bytes b(40 + entries * 4 + pixelBytes);
  put<uint32_t>(b, 0, 40);
  put<int32_t>(b, 4, s.width);
  put<int32_t>(b, 8, s.height);
  put<uint16_t>(b, 12, 1);
  put<uint16_t>(b, 14, s.bits);
  put<uint32_t>(b, 16, s.compression);
  put<uint32_t>(b, 20, static_cast<uint32_t>(pixelBytes));
  put<int32_t>(b, 24, 2835);
  put<int32_t>(b, 28, 2834);
  put<uint32_t>(b, 32, s.clrUsed);
  for (uint32_t i = 0; i < entries; ++i) {
    uint8_t* e = b.data() + 40 + 4 * i;
    for (int c = 0; c < 3; ++c)
      e[c] = greyTable ? static_cast<uint8_t>(i * 255 / (entries > 1 ? entries - 1 : 1))
                       : static_cast<uint8_t>(rng());
  }
  uint8_t* px = b.data() + 40 + entries * 4;
  const auto flat = static_cast<uint8_t>(rng());
  for (size_t i = 0; i < pixelBytes; ++i) {
    const size_t row = i / stride, col = i % stride;
    switch (s.fill) {
      case Fill::Flat:
        px[i] = flat;
        break;
      case Fill::Gradient:
        px[i] = static_cast<uint8_t>((col * 7 + row * 13) & 0xFF);
        break;
      case Fill::Noise:
        px[i] = static_cast<uint8_t>(rng());
        break;
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

Bytes blockBytes(MemHandle h) {
  const auto* p = static_cast<const uint8_t*>(memLock(h));
  if (!p) return {};
  Bytes out(p, p + memSize(h));
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

uint64_t digest(std::span<const uint8_t> bytes, uint64_t h) {
  for (uint8_t b : bytes) h = (h ^ b) * 0x100000001B3ull;
  return h;
}

std::string hex(uint64_t v) {
  char s[24];
  std::snprintf(s, sizeof s, "0x%016llXull", static_cast<unsigned long long>(v));
  return s;
}

#if defined(_WIN32)
bool leavesNothingAllocated(const std::function<void()>& call) {
  call();
  return true;
}
#else
namespace {
uintptr_t slotOf(MemHandle h) {
  return reinterpret_cast<uintptr_t>(h) & ((uintptr_t{1} << (sizeof(uintptr_t) * 4)) - 1);
}
}  // namespace

bool leavesNothingAllocated(const std::function<void()>& call) {
  MemHandle probe = memAlloc(kMemMoveableZero, 16);
  const uintptr_t slot = slotOf(probe);
  memFree(probe);
  call();
  MemHandle next = memAlloc(kMemMoveableZero, 16);
  const bool same = slotOf(next) == slot;
  memFree(next);
  return same;
}

ProgressRecorder::ProgressRecorder() {
  NadiroProgressHook h{};
  h.context = this;
  h.create = [](void* c, NadiroWindow, int32_t units, int32_t every) -> int32_t {
    auto* r = static_cast<ProgressRecorder*>(c);
    ++r->creates;
    r->total = units;
    r->divisor = every;
    return r->refuse ? 0 : 1;
  };
  h.step = [](void* c, int32_t position) -> int32_t {
    auto* r = static_cast<ProgressRecorder*>(c);
    r->positions.push_back(position);
    return ++r->steps == r->cancelAtStep ? 1 : 0;
  };
  h.destroy = [](void* c) { ++static_cast<ProgressRecorder*>(c)->destroys; };
  NadiroSetProgressHook(&h);
}

ProgressRecorder::~ProgressRecorder() {
  NadiroSetProgressHook(nullptr);
}
#endif

}  // namespace nadiro::test
