// Per-thread state. On Windows the module's attach/detach entry keeps the
// block in a thread-local-storage slot (a later platform file); here a
// thread_local holder creates it lazily on the thread's first call and
// releases it when the thread ends.
#include "frame/thread_state.h"

#if !defined(_WIN32)
#include <new>

namespace nadiro {
namespace {

struct BlockHolder {
  ThreadErrorBlockData* block = nullptr;
  ~BlockHolder() { delete block; }
};

thread_local BlockHolder holder;

}  // namespace

ThreadErrorBlockData* ThreadErrorBlock() {
  if (!holder.block) holder.block = new ThreadErrorBlockData{};
  return holder.block;
}

}  // namespace nadiro
#endif
