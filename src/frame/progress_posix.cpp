// The progress dialog without a window system: the state is kept exactly as
// the dialog keeps it, and the bar is a counter. (A host-installed hook that
// shows it and can press Cancel plugs in here.)
#include "frame/progress.h"

namespace nadiro {
namespace {
// Stands in for the dialog's window while it is open.
int gOpenMarker;
thread_local int32_t barPosition;
}  // namespace

int ProgressCreate(void* owner, int32_t total, int32_t divisor) {
  ThreadErrorBlockData* b = ThreadErrorBlock();
  b->progressTotal = total;
  b->progressDivisor = divisor;
  b->progressStep = 1;
  b->cancel = 0;
  b->ownerWindow = owner;
  b->progressWindow = &gOpenMarker;
  barPosition = 0;
  return 1;
}

int ProgressStep() {
  const int32_t previous = barPosition;
  barPosition += ThreadErrorBlock()->progressStep;
  return previous;
}

int ProgressDestroy() {
  ThreadErrorBlockData* b = ThreadErrorBlock();
  if (!b->progressWindow) return 0;
  b->ownerDisabled = 0;
  b->progressWindow = nullptr;
  return 1;
}

}  // namespace nadiro
