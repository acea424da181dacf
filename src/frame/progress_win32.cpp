// The progress dialog on Windows: the modeless "PROGRESSDLG" dialog from the
// module's own resources, run by the dialog manager on the calling thread.
// Its state lives in the thread's error block; the export that shows it pumps
// the thread's messages each time it advances the bar.
#include <windows.h>
// windows.h first: commctrl.h needs its types.
#include <commctrl.h>

#include "frame/module_win32.h"
#include "frame/progress.h"

namespace nadiro {
namespace {

constexpr int kBarId = 1000;  // the progress bar; Cancel is IDCANCEL (2)

HWND asWindow(void* w) {
  return static_cast<HWND>(w);
}

// Shared by Cancel and progressDestroy.
void reenableOwner(ThreadErrorBlockData* b) {
  if (b->ownerDisabled && b->ownerWindow) EnableWindow(asWindow(b->ownerWindow), TRUE);
  b->ownerDisabled = 0;
}

INT_PTR CALLBACK progressProc(HWND dialog, UINT message, WPARAM wParam, LPARAM /*lParam*/) {
  if (message == WM_INITDIALOG) {
    const ThreadErrorBlockData* b = threadErrorBlock();
    HWND bar = GetDlgItem(dialog, kBarId);
    SendMessageW(bar, PBM_SETRANGE32, 0, progressRange(b->progressTotal, b->progressDivisor));
    SendMessageW(bar, PBM_SETSTEP, static_cast<WPARAM>(b->progressStep), 0);
    return TRUE;
  }
  // Cancel, by the button or by Escape through IsDialogMessageW.
  if (message == WM_COMMAND && LOWORD(wParam) == IDCANCEL) {
    ThreadErrorBlockData* b = threadErrorBlock();
    b->cancel = 1;
    reenableOwner(b);
    DestroyWindow(dialog);
    b->progressWindow = nullptr;
  }
  return FALSE;
}

// The bar is a common control; its window class must be registered before
// the dialog manager can create it.
void registerProgressClass() {
  INITCOMMONCONTROLSEX controls{sizeof(INITCOMMONCONTROLSEX), ICC_PROGRESS_CLASS};
  InitCommonControlsEx(&controls);
}

}  // namespace

int progressCreate(void* owner, int32_t total, int32_t divisor) {
  ThreadErrorBlockData* b = storeProgressState(owner, total, divisor);
  registerProgressClass();
  HWND dialog =
      CreateDialogParamW(win32::moduleInstance(), L"PROGRESSDLG", asWindow(owner), progressProc, 0);
  b->progressWindow = dialog;
  if (!dialog) {
    (void)GetLastError();  // fetched and discarded, as callers report their own code
    return 0;
  }
  if (owner && IsWindowEnabled(asWindow(owner))) {
    EnableWindow(asWindow(owner), FALSE);
    b->ownerDisabled = 1;
  }
  ShowWindow(dialog, SW_SHOW);
  UpdateWindow(dialog);
  return 1;
}

int progressStep() {
  ThreadErrorBlockData* b = threadErrorBlock();
  MSG msg;
  while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
    // Re-read each time: Cancel may close the dialog while we pump.
    if (!IsDialogMessageW(asWindow(b->progressWindow), &msg)) {
      TranslateMessage(&msg);
      DispatchMessageW(&msg);
    }
  }
  return static_cast<int>(
      SendMessageW(GetDlgItem(asWindow(b->progressWindow), kBarId), PBM_STEPIT, 0, 0));
}

int progressDestroy() {
  ThreadErrorBlockData* b = threadErrorBlock();
  if (!b->progressWindow) return 0;
  reenableOwner(b);
  DestroyWindow(asWindow(b->progressWindow));
  b->progressWindow = nullptr;
  return 1;
}

}  // namespace nadiro
