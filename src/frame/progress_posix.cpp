// The progress dialog without a window system: the state is kept in the
// thread's error block exactly as the Windows dialog keeps it, the bar is a
// counter, and a host that wants to show it installs a per-thread hook that
// sees the dialog open, step and close, and can press Cancel.
#include "frame/progress.h"

namespace nadiro {
namespace {

// Stands in for the dialog's window while it is open.
int gOpenMarker;

struct ProgressUi {
  NadiroProgressHook hook{};
  bool installed = false;
  int32_t barPosition = 0;
};
thread_local ProgressUi ui;

void reenableOwner(ThreadErrorBlockData* b) {
  // Nothing here can disable an owner window; the flag is kept consistent.
  b->ownerDisabled = 0;
}

void closeDialog(ThreadErrorBlockData* b) {
  reenableOwner(b);
  b->progressWindow = nullptr;
  if (ui.installed && ui.hook.destroy) ui.hook.destroy(ui.hook.context);
}

}  // namespace

int progressCreate(void* owner, int32_t total, int32_t divisor) {
  ThreadErrorBlockData* b = storeProgressState(owner, total, divisor);
  ui.barPosition = 0;
  if (ui.installed && ui.hook.create &&
      ui.hook.create(ui.hook.context, owner, total, divisor) == 0) {
    b->progressWindow = nullptr;
    return 0;
  }
  b->progressWindow = &gOpenMarker;
  return 1;
}

int progressStep() {
  ThreadErrorBlockData* b = threadErrorBlock();
  if (!b->progressWindow) return 0;  // stepping a dialog that is gone does nothing
  const int32_t previous = ui.barPosition;
  ui.barPosition += b->progressStep;
  if (ui.installed && ui.hook.step && ui.hook.step(ui.hook.context, previous) != 0) {
    // Cancel: the dialog closes at once, as the Windows one does.
    b->cancel = 1;
    closeDialog(b);
    return 0;
  }
  return previous;
}

int progressDestroy() {
  ThreadErrorBlockData* b = threadErrorBlock();
  if (!b->progressWindow) return 0;
  closeDialog(b);
  return 1;
}

}  // namespace nadiro

extern "C" NADIRO_API void NadiroSetProgressHook(const NadiroProgressHook* hook) {
  nadiro::ui.installed = hook != nullptr;
  nadiro::ui.hook = hook ? *hook : NadiroProgressHook{};
}
