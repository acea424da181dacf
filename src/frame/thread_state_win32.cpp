// Per-thread state on Windows: one thread-local-storage slot taken at
// process attach holds each thread's 36-byte block, allocated fixed and
// zero-filled at thread attach, or lazily on the first call of a thread that
// was running before the module was loaded.
#include <windows.h>

#include "frame/memory.h"
#include "frame/module_win32.h"
#include "frame/thread_state.h"

namespace nadiro {

static_assert(sizeof(void*) != 4 || sizeof(ThreadErrorBlockData) == 36,
              "the 32-bit module's thread block has nine 32-bit fields");

namespace win32 {
namespace {

constexpr uint32_t kOldFamilyBit = 0x80000000u;  // GetVersion: the non-NT family

ModuleState gModule;

// Thread attach: a new zeroed block in the slot, or the thread ends.
BOOL attachThread(const ModuleState& state) {
  MemHandle block = memAlloc(kMemFixedZero, sizeof(ThreadErrorBlockData));
  if (!block) ExitThread(0);
  if (!TlsSetValue(state.slot, block)) {
    memFree(block);
    ExitThread(0);
  }
  return TRUE;
}

void freeThreadBlock(const ModuleState& state) {
  if (void* block = TlsGetValue(state.slot)) {
    memFree(block);
    // Not left dangling, should anything on this thread ask again.
    TlsSetValue(state.slot, nullptr);
  }
}

}  // namespace

ModuleState& moduleState() {
  return gModule;
}

BOOL moduleEntryFor(ModuleState& state, uint32_t versionWord, HINSTANCE instance, DWORD reason) {
  // On the NT family the one-shot flags are set but never tested, so repeated
  // attach and detach calls are accepted there; the old family refuses them.
  const bool oldFamily = (versionWord & kOldFamilyBit) != 0;
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      if (oldFamily && state.processAttachSeen == 1) return FALSE;
      state.processAttachSeen = 1;
      state.instance = instance;
      state.slot = TlsAlloc();
      if (state.slot == TLS_OUT_OF_INDEXES) return FALSE;
      return attachThread(state);
    case DLL_THREAD_ATTACH:
      return attachThread(state);
    case DLL_THREAD_DETACH:
      freeThreadBlock(state);
      return TRUE;
    case DLL_PROCESS_DETACH:
      if (oldFamily && state.processDetachSeen == 1) return FALSE;
      state.processDetachSeen = 1;
      freeThreadBlock(state);
      TlsFree(state.slot);
      return TRUE;
    default:
      return FALSE;
  }
}

BOOL moduleEntry(HINSTANCE instance, DWORD reason) {
  return moduleEntryFor(gModule, static_cast<uint32_t>(GetVersion()), instance, reason);
}

}  // namespace win32

ThreadErrorBlockData* threadErrorBlock() {
  win32::ModuleState& m = win32::moduleState();
  if (void* block = TlsGetValue(m.slot)) return static_cast<ThreadErrorBlockData*>(block);
  // A thread that was running before the module was loaded: make its block
  // now (or end the thread, as thread attach does).
  win32::moduleEntry(m.instance, DLL_THREAD_ATTACH);
  return static_cast<ThreadErrorBlockData*>(TlsGetValue(m.slot));
}

}  // namespace nadiro
