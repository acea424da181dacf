// GetLastColorConvertError: the calling thread's last-error code.
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"

extern "C" NADIRO_API uint32_t NADIRO_CALL GetLastColorConvertError(void) {
  return nadiro::threadErrorBlock()->lastError;
}
