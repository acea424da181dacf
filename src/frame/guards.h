// RAII for memory handles: every lock is undone and every scratch block freed
// on every path, unless a path deliberately hands it on (release()).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "frame/memory.h"

namespace nadiro {

// A lock on a handle, undone when the guard goes out of scope.
class LockedBlock {
 public:
  LockedBlock() = default;
  explicit LockedBlock(MemHandle handle)
      : handle_(handle), data_(static_cast<uint8_t*>(memLock(handle))) {
    if (data_) size_ = memSize(handle);
  }
  LockedBlock(const LockedBlock&) = delete;
  LockedBlock& operator=(const LockedBlock&) = delete;
  LockedBlock(LockedBlock&& o) noexcept
      : handle_(std::exchange(o.handle_, nullptr)),
        data_(std::exchange(o.data_, nullptr)),
        size_(std::exchange(o.size_, 0)) {}
  LockedBlock& operator=(LockedBlock&& o) noexcept {
    if (this != &o) {
      unlock();
      handle_ = std::exchange(o.handle_, nullptr);
      data_ = std::exchange(o.data_, nullptr);
      size_ = std::exchange(o.size_, 0);
    }
    return *this;
  }
  ~LockedBlock() { unlock(); }

  explicit operator bool() const { return data_ != nullptr; }
  uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  std::span<uint8_t> bytes() const { return {data_, size_}; }

  void unlock() {
    if (data_) memUnlock(handle_);
    data_ = nullptr;
    size_ = 0;
  }
  // Leaves the lock standing (for the documented paths that do so).
  void release() {
    data_ = nullptr;
    size_ = 0;
  }

 private:
  MemHandle handle_ = nullptr;
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

// A block the library allocated; freed unless handed to the caller.
class OwnedBlock {
 public:
  OwnedBlock() = default;
  explicit OwnedBlock(MemHandle handle) : handle_(handle) {}
  static OwnedBlock allocate(uint64_t bytes, uint32_t flags = kMemMoveableZero) {
    if (bytes > kMaxBlockBytes) return OwnedBlock{};
    return OwnedBlock{memAlloc(flags, static_cast<size_t>(bytes))};
  }
  // The convolution and brightness/contrast try their blocks twice before
  // they give up.
  static OwnedBlock allocateTwice(uint64_t bytes) {
    OwnedBlock block = allocate(bytes);
    if (!block) block = allocate(bytes);
    return block;
  }
  OwnedBlock(const OwnedBlock&) = delete;
  OwnedBlock& operator=(const OwnedBlock&) = delete;
  OwnedBlock(OwnedBlock&& o) noexcept : handle_(std::exchange(o.handle_, nullptr)) {}
  OwnedBlock& operator=(OwnedBlock&& o) noexcept {
    if (this != &o) {
      reset();
      handle_ = std::exchange(o.handle_, nullptr);
    }
    return *this;
  }
  ~OwnedBlock() { reset(); }

  explicit operator bool() const { return handle_ != nullptr; }
  MemHandle get() const { return handle_; }
  MemHandle release() { return std::exchange(handle_, nullptr); }
  void reset() {
    if (handle_) memFree(handle_);
    handle_ = nullptr;
  }

 private:
  MemHandle handle_ = nullptr;
};

}  // namespace nadiro
