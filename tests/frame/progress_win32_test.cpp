// The progress dialog with the real dialog manager: its controls and range,
// the owner it disables, and the ways Cancel reaches it.
#include <windows.h>
// windows.h first: commctrl.h needs its types.
#include <commctrl.h>
#include <gtest/gtest.h>

#include <string>

#include "frame/module_win32.h"
#include "frame/progress.h"

namespace nadiro {
namespace {

HWND dialogWindow() {
  return static_cast<HWND>(threadErrorBlock()->progressWindow);
}

// A top-level window that owns the dialog.
class OwnerWindow {
 public:
  OwnerWindow()
      : w_(CreateWindowExW(0, L"STATIC", L"owner", WS_OVERLAPPEDWINDOW, 0, 0, 200, 100, nullptr,
                           nullptr, GetModuleHandleW(nullptr), nullptr)) {}
  ~OwnerWindow() { DestroyWindow(w_); }
  OwnerWindow(const OwnerWindow&) = delete;
  OwnerWindow& operator=(const OwnerWindow&) = delete;
  HWND get() const { return w_; }

 private:
  HWND w_;
};

class ProgressDialog : public testing::Test {
 protected:
  void TearDown() override {
    progressDestroy();
    threadErrorBlock()->cancel = 0;
  }
};

// ---- the live dialog -------------------------------------------------------

TEST_F(ProgressDialog, ShowsItsControlsAndTheBarRange) {
  OwnerWindow owner;
  ASSERT_EQ(progressCreate(owner.get(), 3841, 1500), 1);
  HWND dialog = dialogWindow();
  ASSERT_NE(dialog, nullptr);
  EXPECT_TRUE(IsWindowVisible(dialog));
  EXPECT_EQ(GetWindow(dialog, GW_OWNER), owner.get());
  HWND bar = GetDlgItem(dialog, 1000);
  ASSERT_NE(GetDlgItem(dialog, IDCANCEL), nullptr);
  ASSERT_NE(bar, nullptr);
  PBRANGE range{};
  SendMessageW(bar, PBM_GETRANGE, TRUE, reinterpret_cast<LPARAM>(&range));
  EXPECT_EQ(range.iLow, 0);
  EXPECT_EQ(range.iHigh, 3);
  // The step is 1: the bar moves from 0 to 1.
  EXPECT_EQ(progressStep(), 0);
  EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 1);
}

TEST_F(ProgressDialog, DisablesAnEnabledOwnerUntilDestroyed) {
  OwnerWindow owner;
  ASSERT_TRUE(IsWindowEnabled(owner.get()));
  ASSERT_EQ(progressCreate(owner.get(), 10, 5), 1);
  EXPECT_FALSE(IsWindowEnabled(owner.get()));
  EXPECT_EQ(threadErrorBlock()->ownerDisabled, 1u);
  EXPECT_EQ(threadErrorBlock()->ownerWindow, owner.get());
  HWND dialog = dialogWindow();
  EXPECT_EQ(progressDestroy(), 1);
  EXPECT_TRUE(IsWindowEnabled(owner.get()));
  EXPECT_EQ(threadErrorBlock()->ownerDisabled, 0u);
  EXPECT_FALSE(IsWindow(dialog));
}

TEST_F(ProgressDialog, LeavesADisabledOwnerDisabled) {
  OwnerWindow owner;
  EnableWindow(owner.get(), FALSE);
  ASSERT_EQ(progressCreate(owner.get(), 10, 5), 1);
  EXPECT_EQ(threadErrorBlock()->ownerDisabled, 0u);
  EXPECT_EQ(progressDestroy(), 1);
  EXPECT_FALSE(IsWindowEnabled(owner.get()));
}

// How Cancel reaches the dialog.
struct CancelCase {
  const char* name;
  void (*press)(HWND dialog);
};

// Posted, so the next step's message pump delivers them (both end in the
// dialog's Cancel command).
const CancelCase kCancels[] = {
    {"ButtonClick",
     [](HWND dialog) {
       PostMessageW(GetDlgItem(dialog, IDCANCEL), BM_CLICK, 0, 0);
       progressStep();
     }},
    {"EscapeKey",
     [](HWND dialog) {
       PostMessageW(GetDlgItem(dialog, IDCANCEL), WM_KEYDOWN, VK_ESCAPE, 0);
       progressStep();
     }},
};

class ProgressCancel : public ProgressDialog, public testing::WithParamInterface<CancelCase> {};

TEST_P(ProgressCancel, SetsTheFlagClosesAndReenablesTheOwner) {
  OwnerWindow owner;
  ASSERT_EQ(progressCreate(owner.get(), 10, 5), 1);
  HWND dialog = dialogWindow();
  ASSERT_FALSE(IsWindowEnabled(owner.get()));
  ASSERT_FALSE(cancelRequested());
  GetParam().press(dialog);
  EXPECT_TRUE(cancelRequested());
  EXPECT_FALSE(IsWindow(dialog));
  EXPECT_FALSE(progressOpen());
  EXPECT_TRUE(IsWindowEnabled(owner.get()));
  EXPECT_EQ(threadErrorBlock()->ownerDisabled, 0u);
  EXPECT_EQ(progressDestroy(), 0) << "Cancel closed it already";
  EXPECT_EQ(progressStep(), 0) << "a closed dialog does not step";
  EXPECT_TRUE(cancelRequested());
}

INSTANTIATE_TEST_SUITE_P(Ways, ProgressCancel, testing::ValuesIn(kCancels),
                         [](const testing::TestParamInfo<CancelCase>& c) {
                           return std::string(c.param.name);
                         });

// The caller's own windows stay responsive while the bar advances.
LRESULT CALLBACK countingProc(HWND w, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_APP + 7) {
    ++*reinterpret_cast<int*>(GetWindowLongPtrW(w, GWLP_USERDATA));
    return 0;
  }
  return DefWindowProcW(w, message, wParam, lParam);
}

TEST_F(ProgressDialog, StepDispatchesTheThreadsOtherMessages) {
  WNDCLASSW wc{};
  wc.lpfnWndProc = countingProc;
  wc.hInstance = GetModuleHandleW(nullptr);
  wc.lpszClassName = L"NadiroTestCounter";
  RegisterClassW(&wc);
  HWND counter = CreateWindowExW(0, wc.lpszClassName, L"", 0, 0, 0, 10, 10, nullptr, nullptr,
                                 wc.hInstance, nullptr);
  ASSERT_NE(counter, nullptr);
  int seen = 0;
  SetWindowLongPtrW(counter, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&seen));
  ASSERT_EQ(progressCreate(nullptr, 10, 5), 1);
  PostMessageW(counter, WM_APP + 7, 0, 0);
  PostMessageW(counter, WM_APP + 7, 0, 0);
  EXPECT_EQ(seen, 0);
  progressStep();
  EXPECT_EQ(seen, 2);
  EXPECT_FALSE(cancelRequested());
  DestroyWindow(counter);
}

TEST_F(ProgressDialog, FailsWithoutItsTemplate) {
  // A module without the resource: creation fails, nothing stays open.
  win32::ModuleState& m = win32::moduleState();
  const HINSTANCE saved = m.instance;
  m.instance = GetModuleHandleW(L"kernel32.dll");
  const int created = progressCreate(nullptr, 10, 5);
  m.instance = saved;
  EXPECT_EQ(created, 0);
  EXPECT_FALSE(progressOpen());
  EXPECT_EQ(progressDestroy(), 0);
}

}  // namespace
}  // namespace nadiro
