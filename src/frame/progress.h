// The progress dialog of long operations. It belongs to the calling thread;
// its state lives in the thread's error block. Callers clear the cancel flag
// on entry, create the dialog with (units + 1, divisor), step before every
// unit whose index is a multiple of the divisor while the dialog is open,
// stop as soon as the cancel flag is 1, and destroy the dialog at the end.
#pragma once

#include <cstdint>

#include "frame/thread_state.h"

namespace nadiro {

// 1 if the dialog exists, 0 if it could not be created.
int progressCreate(void* owner, int32_t total, int32_t divisor);
// Pumps pending messages, advances the bar; returns its previous position.
int progressStep();
// 1 if a dialog was destroyed, 0 if none was open.
int progressDestroy();

// The bar's upper end for a dialog created with (total, divisor): the bar
// runs 0 .. total / divisor + 1. Callers pass divisors 5 and 1500; a divisor
// of 0 (or a quotient that would overflow) gives a one-step bar instead of a
// division fault.
inline int32_t progressRange(int32_t total, int32_t divisor) {
  if (divisor == 0 || (divisor == -1 && total == INT32_MIN)) return 1;
  const int32_t steps = total / divisor;
  return steps == INT32_MAX ? steps : steps + 1;
}

// The first step of progressCreate on every platform: the thread's block
// takes the dialog's total, divisor, step (always 1) and owner, and the
// cancel flag is cleared. Returns the block.
inline ThreadErrorBlockData* storeProgressState(void* owner, int32_t total, int32_t divisor) {
  ThreadErrorBlockData* b = threadErrorBlock();
  b->progressTotal = total;
  b->progressDivisor = divisor;
  b->progressStep = 1;
  b->cancel = 0;
  b->ownerWindow = owner;
  return b;
}

inline bool progressOpen() {
  return threadErrorBlock()->progressWindow != nullptr;
}
inline bool cancelRequested() {
  return threadErrorBlock()->cancel == 1;
}

}  // namespace nadiro
