// The Windows module's load life cycle: the module-wide state set at process
// attach and the attach/detach entry that creates and frees the per-thread
// error blocks in one thread-local-storage slot.
#pragma once

#include <windows.h>

#include <cstdint>

namespace nadiro::win32 {

// Set once at process attach, cleared by nothing: the platform serialises
// attach and detach, and threads only read it afterwards.
struct ModuleState {
  HINSTANCE instance = nullptr;     // where the progress dialog's template lives
  DWORD slot = TLS_OUT_OF_INDEXES;  // the thread-local slot holding each block
  uint32_t processAttachSeen = 0;
  uint32_t processDetachSeen = 0;
};

// The module's own state.
ModuleState& moduleState();

// The attach/detach entry for a given platform version word; only the word's
// top bit (the old non-NT family) matters. Returns 1 to go on, 0 to refuse.
// A thread whose block cannot be made or stored is ended with ExitThread(0).
BOOL moduleEntryFor(ModuleState& state, uint32_t versionWord, HINSTANCE instance, DWORD reason);

// The entry the DLL's DllMain calls: the platform's version word, the
// module's own state. A program that links the library statically calls it
// with DLL_PROCESS_ATTACH and its own instance before the first export.
BOOL moduleEntry(HINSTANCE instance, DWORD reason);

// The instance remembered at process attach.
inline HINSTANCE moduleInstance() {
  return moduleState().instance;
}

}  // namespace nadiro::win32
