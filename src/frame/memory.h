// The one way library code reaches image and scratch memory. On Windows
// these are the real Global* functions; elsewhere the library's own handle
// table (memory_posix.cpp). Nothing outside src/frame/memory_* knows which.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nadiro {

using MemHandle = void*;

inline constexpr uint32_t kMemFixedZero = 64;     // fixed + zero-initialised (GPTR)
inline constexpr uint32_t kMemMoveableZero = 66;  // moveable + zero-initialised (GHND)
inline constexpr uint32_t kMemMoveable = 2;  // moveable, contents left as found (GMEM_MOVEABLE)

// Largest block the library asks for. The module was made for a 32-bit
// address space where every size is a signed 32-bit value; images that need
// more are refused before any arithmetic can wrap.
inline constexpr uint64_t kMaxBlockBytes = 0x7FFFFFFFu;

MemHandle memAlloc(uint32_t flags, size_t bytes);
void* memLock(MemHandle handle);      // null when the handle is not a live block
bool memUnlock(MemHandle handle);     // true while still locked
size_t memSize(MemHandle handle);     // 0 for an unknown handle
MemHandle memFree(MemHandle handle);  // null on success

}  // namespace nadiro
