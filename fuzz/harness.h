// The fuzz harnesses' shared parts: reading the fuzz input, building image
// blocks and handles from it, and the checks every call is held to. The
// harness bodies run under libFuzzer (fuzz_main.cpp) and, for the corpus in
// fuzz/corpus, as a plain test program in every build (replay.cpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

#include "nadiro/nadiro.h"

// Under AddressSanitizer the allocator reports the live heap and every
// allocation (declared here: GCC ships no header for these).
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NADIRO_FUZZ_HEAP_STATS 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define NADIRO_FUZZ_HEAP_STATS 1
#endif
#if defined(NADIRO_FUZZ_HEAP_STATS)
extern "C" size_t __sanitizer_get_current_allocated_bytes();
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*,
                                                                          size_t),
                                                         void (*onFree)(const volatile void*));
#endif

namespace nadiro::fuzz {

// Consumes the input front to back; reads past its end give zeros.
class Input {
 public:
  explicit Input(std::span<const uint8_t> data) : data_(data) {}
  uint8_t u8();
  uint16_t u16();
  uint32_t u32();
  int32_t i32() { return static_cast<int32_t>(u32()); }
  // One byte chooses among `choices`; the byte 0xFF is followed by a raw
  // 32-bit value instead (how the crasher generator spells exact values).
  uint32_t pick(std::initializer_list<uint32_t> choices);
  int32_t pickSigned(std::initializer_list<int32_t> choices);
  std::span<const uint8_t> take(size_t n);  // up to n bytes
  std::span<const uint8_t> rest() { return take(data_.size() - pos_); }

 private:
  std::span<const uint8_t> data_;
  size_t pos_ = 0;
};

// Writes inputs the way Input reads them (for the generated corpus).
class Encoder {
 public:
  Encoder& u8(uint8_t v);
  Encoder& u16(uint16_t v);
  Encoder& raw(uint32_t v);  // a pick spelled as its exact value
  Encoder& bytes(std::span<const uint8_t> b);
  std::vector<uint8_t> out;
};

// Image memory of the platform: NadiroGlobal* on POSIX, Global* on Windows.
NadiroHandle memAlloc(size_t bytes);
void* memLock(NadiroHandle h);
bool memUnlock(NadiroHandle h);
size_t memSize(NadiroHandle h);
bool memFree(NadiroHandle h);  // true when freed
// Undoes every lock left on a block; returns how many there were.
int drainLocks(NadiroHandle h);

// Prints the message and aborts: libFuzzer records a crash, the replay fails.
[[noreturn]] void fail(const char* what, const char* message);
#define FUZZ_EXPECT(cond, what) ((cond) ? void(0) : ::nadiro::fuzz::fail(what, "expected: " #cond))

struct ImageDefaults {
  uint32_t bits = 24;
  int32_t width = 3;
  int32_t height = 2;
};

// An image argument built from the input: a block whose header fields come
// from edge values or raw input, sized to hold, truncate or exceed the rows
// it describes; or a null, freed or garbage handle. The block's bytes are
// remembered so the call can be checked against them; freed on destruction.
//
// Input layout: kind byte (values 13, 14, 15 of every 16: null, freed,
// garbage handle), then picks for bit count, width, height, planes,
// compression, header size, colours used, image size and size plan, then a
// 16-bit fill count and that many bytes for the table and pixels.
class FuzzImage {
 public:
  FuzzImage(Input& in, const ImageDefaults& d = {}, bool boundImageSize = false);
  ~FuzzImage();
  FuzzImage(const FuzzImage&) = delete;
  FuzzImage& operator=(const FuzzImage&) = delete;

  NadiroHandle handle() const { return handle_; }
  bool isBlock() const { return block_; }
  const std::vector<uint8_t>& bytes() const { return original_; }
  uint16_t bits() const;         // 0 unless a block holds the field
  uint32_t compression() const;  // ~0 unless a block holds the field
  // The block is alive, has its size and bytes, and carries no more than
  // `allowedLocks` locks (those are undone). With mayChange its bytes may
  // differ (the export writes into it by contract); otherwise every byte is
  // the same but the `writableCount` bytes at `writableAt`, which the export
  // may write by contract.
  void expectIntact(const char* what, int allowedLocks = 0, bool mayChange = false,
                    size_t writableAt = 0, size_t writableCount = 0) const;

 private:
  NadiroHandle handle_ = nullptr;
  bool block_ = false;
  std::vector<uint8_t> original_;
};

// Where a returned image keeps its rows, for expectImage.
struct ImageShape {
  uint32_t bits = 0;    // 0: any depth the header names
  int64_t rowsAt = -1;  // -1: behind the header's own colour table
  bool header = true;   // false: the header is the caller's, copied as it was
};

// A handle an export returned: a live, unlocked, new block whose header
// (unless copied from the caller's image) describes rows that lie inside
// it. Frees it.
void expectImage(NadiroHandle result, const char* what, const ImageShape& shape = {});

// Reads two bytes and installs, on platforms with the progress hook, a hook
// that refuses to open or cancels at a step they choose (or none).
void fuzzProgress(Input& in);
// Whether calls may ask for progress (never a real dialog window). The
// input is read alike everywhere, so a corpus means the same on every build.
bool progressAllowed();

struct Harness {
  const char* name;
  void (*run)(Input& in);
};
// Every harness, the libFuzzer targets and the corpus folders by name.
std::span<const Harness> harnesses();
const Harness* findHarness(std::string_view name);
// Runs one input through a harness and checks that the call gave back every
// block it made (in sanitizer builds, where the live heap can be measured).
void runInput(const Harness& h, std::span<const uint8_t> data);

// The reader harness lives with the tool's code (readers.cpp).
void runReaders(Input& in);
// The dithering engine and the convenience layer (engine.cpp, image.cpp:
// their headers each name a pixel format enum of their own).
void runEngine(Input& in);
void runImage(Input& in);

}  // namespace nadiro::fuzz
