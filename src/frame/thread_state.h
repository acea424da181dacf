// The per-thread state of the library: the two result-code fields and the
// progress dialog's state. Each thread that calls the library gets its own
// block on its first call; calls on different threads never share one.
#pragma once

#include <cstdint>

#include "nadiro/nadiro.h"

namespace nadiro {

// Field order and widths are those of the 36-byte block of the Windows
// module; on 64-bit hosts the two window fields are pointer-sized.
struct ThreadErrorBlockData {
  uint32_t pixelStatus;     // dithering and brightness/contrast results
  uint32_t lastError;       // everything else; GetLastColorConvertError
  void* progressWindow;     // the open progress dialog, or null
  uint32_t cancel;          // 1 once Cancel was pressed
  uint32_t ownerDisabled;   // the progress dialog disabled its owner
  void* ownerWindow;        // the owner given to progressCreate
  int32_t progressTotal;    // work units
  int32_t progressDivisor;  // work units per step
  int32_t progressStep;     // bar increment per step (always 1)
};

// The calling thread's block, created zero-filled on first use.
ThreadErrorBlockData* threadErrorBlock();

// Shorthands for the shells.
inline void setPixelStatus(uint32_t code) {
  threadErrorBlock()->pixelStatus = code;
}
inline void setLastError(uint32_t code) {
  threadErrorBlock()->lastError = code;
}

// The first step of every export that reports in the last-error field: the
// code and the cancel flag of an earlier call are cleared.
inline void beginCall() {
  ThreadErrorBlockData* b = threadErrorBlock();
  b->lastError = NADIRO_OK;
  b->cancel = 0;
}

}  // namespace nadiro
