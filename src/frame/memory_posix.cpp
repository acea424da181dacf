// Image handles on POSIX: a process-wide table of blocks behind opaque
// handle values. A handle is (generation << half-word) | (slot + 1), so a
// freed, forged or garbage handle is recognised without touching memory and
// simply locks to null, as a bad HGLOBAL does on Windows.
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "frame/memory.h"
#include "nadiro/nadiro.h"

namespace nadiro {
namespace {

constexpr unsigned kSlotBits = sizeof(uintptr_t) * 4;
constexpr uintptr_t kSlotMask = (uintptr_t{1} << kSlotBits) - 1;
constexpr uint32_t kZeroInit = 0x40;  // GMEM_ZEROINIT

struct Slot {
  unsigned char* data = nullptr;
  size_t size = 0;
  uint32_t locks = 0;
  uintptr_t generation = 1;
  bool live = false;
};

class HandleTable {
 public:
  HandleTable() = default;
  HandleTable(const HandleTable&) = delete;
  HandleTable& operator=(const HandleTable&) = delete;
  ~HandleTable() {
    for (Slot& s : slots_) std::free(s.data);
    std::free(spare_.data);
  }

  MemHandle alloc(uint32_t flags, size_t bytes) {
    if (bytes > kMaxBlockBytes) return nullptr;
    void* data = takeSpare(bytes, (flags & kZeroInit) != 0);
    // One byte at least, so that a zero-sized block still has an address.
    if (!data)
      data =
          (flags & kZeroInit) ? std::calloc(bytes ? bytes : 1, 1) : std::malloc(bytes ? bytes : 1);
    if (!data) return nullptr;
    std::lock_guard guard(mutex_);
    size_t index;
    if (!free_.empty()) {
      index = free_.back();
      free_.pop_back();
    } else {
      if (slots_.size() >= kSlotMask || !grow()) {
        std::free(data);
        return nullptr;
      }
      index = slots_.size();
      slots_.emplace_back();  // capacity reserved by grow(): cannot throw
    }
    Slot& s = slots_[index];
    s.data = static_cast<unsigned char*>(data);
    s.size = bytes;
    s.locks = 0;
    s.live = true;
    return encode(index, s.generation);
  }

  void* lock(MemHandle h) {
    std::lock_guard guard(mutex_);
    Slot* s = find(h);
    if (!s) return nullptr;
    ++s->locks;
    return s->data;
  }

  bool unlock(MemHandle h) {
    std::lock_guard guard(mutex_);
    Slot* s = find(h);
    if (!s || s->locks == 0) return false;
    --s->locks;
    return s->locks != 0;
  }

  size_t size(MemHandle h) {
    std::lock_guard guard(mutex_);
    Slot* s = find(h);
    return s ? s->size : 0;
  }

  MemHandle release(MemHandle h) {
    unsigned char* data;
    {
      std::lock_guard guard(mutex_);
      Slot* s = find(h);
      if (!s) return h;
      data = s->data;
      if (s->size >= kSpareMinimum) {
        // Keep the block's pages for the next image of about its size (an
        // operation's result freed, the next one allocated): fresh pages cost
        // a fault each on first touch.
        std::swap(data, spare_.data);
        spare_.size = s->size;
      }
      *s = Slot{nullptr, 0, 0, s->generation + 1, false};
      if (s->generation > (~uintptr_t{0} >> kSlotBits)) s->generation = 1;
      // Never more free slots than slots, and grow() reserved that many.
      free_.push_back(static_cast<size_t>(reinterpret_cast<uintptr_t>(h) & kSlotMask) - 1);
    }
    std::free(data);
    return nullptr;
  }

 private:
  static constexpr size_t kSpareMinimum = size_t{1} << 20;

  // The most recently freed large block, if its size suits `bytes` (at most
  // a quarter larger), zeroed when asked.
  void* takeSpare(size_t bytes, bool zero) {
    if (bytes < kSpareMinimum) return nullptr;
    unsigned char* data = nullptr;
    {
      std::lock_guard guard(mutex_);
      if (!spare_.data || spare_.size < bytes || spare_.size - bytes > spare_.size / 4)
        return nullptr;
      data = spare_.data;
      spare_ = Slot{};
    }
    if (zero) std::memset(data, 0, bytes);
    return data;
  }

  // Room for one more slot, and for every slot on the free list, reserved
  // ahead so that neither an allocation nor a release throws through the
  // exports. False when memory runs out.
  bool grow() {
    try {
      if (slots_.size() == slots_.capacity()) slots_.reserve(slots_.size() * 2 + 16);
      free_.reserve(slots_.capacity());
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  static MemHandle encode(size_t index, uintptr_t generation) {
    return reinterpret_cast<MemHandle>((generation << kSlotBits) | (uintptr_t{index} + 1));
  }

  Slot* find(MemHandle h) {
    const auto value = reinterpret_cast<uintptr_t>(h);
    const uintptr_t slot = value & kSlotMask;
    if (slot == 0 || slot > slots_.size()) return nullptr;
    Slot& s = slots_[slot - 1];
    if (!s.live || s.generation != (value >> kSlotBits)) return nullptr;
    return &s;
  }

  std::mutex mutex_;
  std::vector<Slot> slots_;
  std::vector<size_t> free_;
  Slot spare_;  // data and size only
};

HandleTable& table() {
  // Destroyed when the module unloads, releasing blocks the host never freed.
  static HandleTable t;
  return t;
}

}  // namespace

MemHandle memAlloc(uint32_t flags, size_t bytes) {
  return table().alloc(flags, bytes);
}
void* memLock(MemHandle handle) {
  return table().lock(handle);
}
bool memUnlock(MemHandle handle) {
  return table().unlock(handle);
}
size_t memSize(MemHandle handle) {
  return table().size(handle);
}
MemHandle memFree(MemHandle handle) {
  return table().release(handle);
}

}  // namespace nadiro

extern "C" {
NADIRO_API NadiroHandle NadiroGlobalAlloc(uint32_t flags, size_t bytes) {
  return nadiro::memAlloc(flags, bytes);
}
NADIRO_API void* NadiroGlobalLock(NadiroHandle handle) {
  return nadiro::memLock(handle);
}
NADIRO_API int32_t NadiroGlobalUnlock(NadiroHandle handle) {
  return nadiro::memUnlock(handle) ? 1 : 0;
}
NADIRO_API size_t NadiroGlobalSize(NadiroHandle handle) {
  return nadiro::memSize(handle);
}
NADIRO_API NadiroHandle NadiroGlobalFree(NadiroHandle handle) {
  return nadiro::memFree(handle);
}
}
