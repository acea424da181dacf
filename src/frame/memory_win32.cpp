// Image handles on Windows: the real global-memory functions.
#include <windows.h>

#include "frame/memory.h"

namespace nadiro {

MemHandle memAlloc(uint32_t flags, size_t bytes) {
  if (bytes > kMaxBlockBytes) return nullptr;
  return GlobalAlloc(flags, bytes);
}
void* memLock(MemHandle handle) {
  return handle ? GlobalLock(handle) : nullptr;
}
bool memUnlock(MemHandle handle) {
  return GlobalUnlock(handle) != FALSE;
}
size_t memSize(MemHandle handle) {
  return handle ? GlobalSize(handle) : 0;
}
MemHandle memFree(MemHandle handle) {
  return GlobalFree(handle);
}

}  // namespace nadiro
