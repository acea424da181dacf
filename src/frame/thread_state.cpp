// Per-thread state. On Windows the module's attach/detach entry keeps the
// block in a thread-local-storage slot (thread_state_win32.cpp); here each
// thread's block is a zero-initialised thread_local object, so a thread's
// first call finds it zeroed and no allocation can fail or throw.
#include "frame/thread_state.h"

#if !defined(_WIN32)

namespace nadiro {
namespace {

thread_local ThreadErrorBlockData block{};

}  // namespace

ThreadErrorBlockData* threadErrorBlock() {
  return &block;
}

}  // namespace nadiro
#endif
