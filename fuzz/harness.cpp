// Input reading, block building and the checks shared by every harness.
#include "harness.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace nadiro::fuzz {

uint8_t Input::u8() {
  return pos_ < data_.size() ? data_[pos_++] : 0;
}
uint16_t Input::u16() {
  return static_cast<uint16_t>(u8() | u8() << 8);
}
uint32_t Input::u32() {
  return u16() | uint32_t{u16()} << 16;
}

uint32_t Input::pick(std::initializer_list<uint32_t> choices) {
  const uint8_t b = u8();
  if (b == 0xFF) return u32();
  return choices.begin()[b % choices.size()];
}

int32_t Input::pickSigned(std::initializer_list<int32_t> choices) {
  const uint8_t b = u8();
  if (b == 0xFF) return i32();
  return choices.begin()[b % choices.size()];
}

std::span<const uint8_t> Input::take(size_t n) {
  n = std::min(n, data_.size() - pos_);
  const auto part = data_.subspan(pos_, n);
  pos_ += n;
  return part;
}

Encoder& Encoder::u8(uint8_t v) {
  out.push_back(v);
  return *this;
}
Encoder& Encoder::u16(uint16_t v) {
  return u8(static_cast<uint8_t>(v)).u8(static_cast<uint8_t>(v >> 8));
}
Encoder& Encoder::raw(uint32_t v) {
  return u8(0xFF).u16(static_cast<uint16_t>(v)).u16(static_cast<uint16_t>(v >> 16));
}
Encoder& Encoder::bytes(std::span<const uint8_t> b) {
  out.insert(out.end(), b.begin(), b.end());
  return *this;
}

// The block functions: Windows' own, or the library's stand-ins elsewhere.
#if defined(_WIN32)
#define NADIRO_MEM(name) Global##name
#define NADIRO_MEM_MOVEABLE_ZERO GHND
#else
#define NADIRO_MEM(name) NadiroGlobal##name
#define NADIRO_MEM_MOVEABLE_ZERO NADIRO_GMEM_MOVEABLE_ZERO
#endif
NadiroHandle memAlloc(size_t bytes) {
  return NADIRO_MEM(Alloc)(NADIRO_MEM_MOVEABLE_ZERO, bytes);
}
void* memLock(NadiroHandle h) {
  return NADIRO_MEM(Lock)(h);
}
bool memUnlock(NadiroHandle h) {
  return NADIRO_MEM(Unlock)(h) != 0;
}
size_t memSize(NadiroHandle h) {
  return NADIRO_MEM(Size)(h);
}
bool memFree(NadiroHandle h) {
  return NADIRO_MEM(Free)(h) == nullptr;
}
#undef NADIRO_MEM
#undef NADIRO_MEM_MOVEABLE_ZERO

int drainLocks(NadiroHandle h) {
  int count = 0;
  // Lock and unlock: the unlock reports whether an older lock remains.
  while (memLock(h) && memUnlock(h)) {
    memUnlock(h);
    ++count;
  }
  return count;
}

void fail(const char* what, const char* message) {
  std::fprintf(stderr, "nadiro fuzz: %s: %s\n", what, message);
  std::fflush(stderr);
  std::abort();
}

namespace {

constexpr size_t kMaxBlockBytes = size_t{1} << 20;  // keeps a run fast
constexpr uint32_t kMaxImageSizeField = 1u << 22;

uint64_t stride(int64_t width, uint32_t bits) {
  return (static_cast<uint64_t>(width < 0 ? -width : width) * bits + 31) / 32 * 4;
}

// Header bytes plus the colour table the header names (entries of 4 bytes
// behind a 40-byte header, 3 behind any other).
uint64_t tableEnd(uint32_t headerSize, uint32_t bits, uint32_t colorsUsed) {
  const uint64_t entries = headerSize == 40 && colorsUsed ? colorsUsed : bits <= 8 ? 1u << bits : 0;
  return 40 + entries * (headerSize == 40 ? 4 : 3);
}

void put32(uint8_t* p, uint32_t v) {
  std::memcpy(p, &v, 4);
}
void put16(uint8_t* p, uint16_t v) {
  std::memcpy(p, &v, 2);
}

// A value that names a live block nowhere on this platform.
NadiroHandle garbageHandle(uint32_t v) {
#if defined(_WIN32)
  (void)v;
  return nullptr;  // Windows handles are pointers: only null is safe to forge
#else
  return reinterpret_cast<NadiroHandle>(uintptr_t{v} | 1);
#endif
}

}  // namespace

FuzzImage::FuzzImage(Input& in, const ImageDefaults& d, bool boundImageSize) {
  const uint8_t kind = in.u8() % 16;
  if (kind == 13) return;  // null
  if (kind == 15) {
    handle_ = garbageHandle(in.u32());
    return;
  }
  const auto bits = static_cast<uint16_t>(in.pick({d.bits, 8, 24, 4, 1, 32, 16, 0, 2}));
  const auto dw = static_cast<uint32_t>(d.width), dh = static_cast<uint32_t>(d.height);
  const auto width = static_cast<int32_t>(
      in.pick({dw, 0, 1, 2, 3, 5, 8, 9, 17, 33, 0x7FFFFFFF, 0x40000000, 0xFFFFFFFF, 0x80000000}));
  const auto height = static_cast<int32_t>(
      in.pick({dh, 0, 1, 2, 3, 4, 7, 16, 0x7FFFFFFF, 0x10000, 0xFFFFFFFF, 0xFFFFFFFD, 0x80000000}));
  const auto planes = static_cast<uint16_t>(in.pick({1, 0, 2, 8}));
  const uint32_t compression = in.pick({0, 0, 1, 2, 3, 10, 12, 14, 17, 18});
  const uint32_t headerSize = in.pick({40, 40, 12, 0, 108, 124, 39});
  const uint32_t colorsUsed = in.pick({0, 0, 1, 2, 16, 255, 256, 257, 0x40000000, 0xFFFFFFFF});
  const uint64_t rowsEnd =
      tableEnd(headerSize, bits, colorsUsed) +
      stride(width, bits) * static_cast<uint64_t>(height < 0 ? -int64_t{height} : height);
  const uint32_t sizeImage =
      in.pick({0, static_cast<uint32_t>(rowsEnd - 40), 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF});
  // Size plan: rows held exactly, cut short, with bytes to spare, the
  // header alone, less than a header, or an exact size.
  const uint8_t plan = in.u8();
  const uint32_t amount = in.u8();
  uint64_t size = 0;
  switch (plan % 6) {
    case 0:
      size = rowsEnd;
      break;
    case 1:
      size = rowsEnd > amount ? rowsEnd - amount - 1 : 0;
      break;
    case 2:
      size = rowsEnd + amount + 1;
      break;
    case 3:
      size = 40;
      break;
    case 4:
      size = amount % 40;
      break;
    default:
      size = in.u32();
      break;
  }
  size = std::min<uint64_t>(size, kMaxBlockBytes);
  const auto fill = in.take(in.u16());

  original_.assign(static_cast<size_t>(size), 0);
  uint8_t header[40] = {};
  put32(header, headerSize);
  put32(header + 4, static_cast<uint32_t>(width));
  put32(header + 8, static_cast<uint32_t>(height));
  put16(header + 12, planes);
  put16(header + 14, bits);
  put32(header + 16, compression);
  put32(header + 20, boundImageSize ? sizeImage % kMaxImageSizeField : sizeImage);
  put32(header + 32, colorsUsed);
  std::copy_n(header, std::min<size_t>(40, original_.size()), original_.begin());
  if (original_.size() > 40)
    std::copy_n(fill.begin(), std::min(fill.size(), original_.size() - 40), original_.begin() + 40);

  handle_ = memAlloc(original_.size());
  if (!handle_) fail("builder", "cannot allocate the test image");
  block_ = true;
  // A block of no bytes has no address on Windows: nothing to lock or fill.
  if (!original_.empty()) {
    auto* p = static_cast<uint8_t*>(memLock(handle_));
    if (!p) fail("builder", "cannot lock the test image");
    std::copy(original_.begin(), original_.end(), p);
    memUnlock(handle_);
  }
  if (kind == 14) {  // freed: a handle that was valid once
    memFree(handle_);
#if defined(_WIN32)
    handle_ = nullptr;  // a stale HGLOBAL may name a new block: not forged here
#endif
    block_ = false;
    original_.clear();
  }
}

FuzzImage::~FuzzImage() {
  if (block_) memFree(handle_);
}

uint16_t FuzzImage::bits() const {
  if (original_.size() < 16) return 0;
  uint16_t v;
  std::memcpy(&v, original_.data() + 14, 2);
  return v;
}

uint32_t FuzzImage::compression() const {
  if (original_.size() < 20) return ~0u;
  uint32_t v;
  std::memcpy(&v, original_.data() + 16, 4);
  return v;
}

void FuzzImage::expectIntact(const char* what, int allowedLocks, bool mayChange, size_t writableAt,
                             size_t writableCount) const {
  if (!block_) return;
  FUZZ_EXPECT(memSize(handle_) == original_.size(), what);
  FUZZ_EXPECT(drainLocks(handle_) <= allowedLocks, what);
  if (mayChange || original_.empty()) return;
  const auto* p = static_cast<const uint8_t*>(memLock(handle_));
  FUZZ_EXPECT(p != nullptr, what);
  const size_t end = original_.size();
  const size_t skipAt = std::min(writableAt, end);
  const size_t skipEnd = std::min(writableAt + writableCount, end);
  const bool same = std::memcmp(p, original_.data(), skipAt) == 0 &&
                    std::memcmp(p + skipEnd, original_.data() + skipEnd, end - skipEnd) == 0;
  memUnlock(handle_);
  FUZZ_EXPECT(same, what);
}

void expectImage(NadiroHandle result, const char* what, const ImageShape& shape) {
  if (!result) return;
  const size_t size = memSize(result);
  FUZZ_EXPECT(size >= 40, what);
  FUZZ_EXPECT(drainLocks(result) == 0, what);
  const auto* p = static_cast<const uint8_t*>(memLock(result));
  FUZZ_EXPECT(p != nullptr, what);
  uint32_t headerSize, colorsUsed;
  int32_t width, height;
  uint16_t bits;
  std::memcpy(&headerSize, p, 4);
  std::memcpy(&width, p + 4, 4);
  std::memcpy(&height, p + 8, 4);
  std::memcpy(&bits, p + 14, 2);
  std::memcpy(&colorsUsed, p + 32, 4);
  memUnlock(result);
  if (!shape.header) {
    FUZZ_EXPECT(memFree(result), what);
    return;
  }
  // Rows behind the header's own table need a header that locates them.
  FUZZ_EXPECT(width >= 0 && (shape.rowsAt >= 0 || headerSize == 40), what);
  FUZZ_EXPECT(shape.bits == 0 || bits == shape.bits, what);
  const uint64_t rowsAt = shape.rowsAt >= 0 ? static_cast<uint64_t>(shape.rowsAt)
                                            : tableEnd(headerSize, bits, colorsUsed);
  const uint64_t rows = static_cast<uint64_t>(height < 0 ? -int64_t{height} : height);
  FUZZ_EXPECT(rowsAt + stride(width, bits) * rows <= size, what);
  FUZZ_EXPECT(memFree(result), what);
}

#if defined(_WIN32)
void fuzzProgress(Input& in) {
  in.take(2);
}
bool progressAllowed() {
  return false;
}
#else
namespace {
struct ProgressPlan {
  bool opens = true;
  int32_t cancelAt = -1;  // the step that presses Cancel; -1 never
};
thread_local ProgressPlan plan;
int32_t onCreate(void*, NadiroWindow, int32_t, int32_t) {
  return plan.opens ? 1 : 0;
}
int32_t onStep(void*, int32_t position) {
  return plan.cancelAt >= 0 && position >= plan.cancelAt;
}
}  // namespace

void fuzzProgress(Input& in) {
  const uint8_t how = in.u8(), step = in.u8();
  if (how % 4 == 0) {
    NadiroSetProgressHook(nullptr);  // nothing shown, nothing cancelled
    return;
  }
  plan.opens = how % 4 != 1;
  plan.cancelAt = how % 4 == 3 ? step : -1;
  static const NadiroProgressHook hook{nullptr, &onCreate, &onStep, nullptr};
  NadiroSetProgressHook(&hook);
}
bool progressAllowed() {
  return true;
}
#endif

const Harness* findHarness(std::string_view name) {
  for (const Harness& h : harnesses())
    if (name == h.name) return &h;
  return nullptr;
}

namespace {

// Bytes the process holds on its heap, where the sanitizers' allocator
// tells exactly (glibc's figures count cached free chunks as used).
// Elsewhere nothing is measured.
#if defined(NADIRO_FUZZ_HEAP_STATS)
size_t liveHeapBytes() {
  return __sanitizer_get_current_allocated_bytes();
}
#else
size_t liveHeapBytes() {
  return 0;
}
#endif

}  // namespace

void runInput(const Harness& h, std::span<const uint8_t> data) {
  static const bool warm = [] {
    // The handle table grows once to more slots than any call holds, so its
    // own growth is never mistaken for a block left behind.
    NadiroHandle many[64];
    for (auto& m : many) m = memAlloc(1);
    for (auto& m : many) memFree(m);
    return true;
  }();
  (void)warm;
  // A first call may set up lasting state (thread blocks, tables); a call
  // that keeps memory twice in a row left a block behind.
  for (int attempt = 0; attempt < 2; ++attempt) {
    const size_t before = liveHeapBytes();
    Input in(data);
    h.run(in);
    if (liveHeapBytes() <= before) return;
  }
  fail(h.name, "the call kept memory it made (a block was not freed)");
}

}  // namespace nadiro::fuzz
