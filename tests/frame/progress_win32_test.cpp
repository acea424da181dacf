// The progress dialog with the real dialog manager: its template, its
// controls and range, the owner it disables, and the three ways Cancel
// reaches it.
#include <windows.h>
// windows.h first: commctrl.h needs its types.
#include <commctrl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "frame/module_win32.h"
#include "frame/progress.h"

namespace nadiro {
namespace {

std::wstring windowText(HWND w) {
  wchar_t text[128] = {};
  GetWindowTextW(w, text, 128);
  return text;
}
std::wstring className(HWND w) {
  wchar_t name[128] = {};
  GetClassNameW(w, name, 128);
  return name;
}
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

// ---- the template, read back from the resources ---------------------------

// Reads a DLGTEMPLATE (the classic form) and its items.
struct Reader {
  const uint8_t* p;
  uint16_t word() {
    uint16_t v;
    std::memcpy(&v, p, 2);
    p += 2;
    return v;
  }
  uint32_t dword() {
    uint32_t v;
    std::memcpy(&v, p, 4);
    p += 4;
    return v;
  }
  int16_t shortValue() { return static_cast<int16_t>(word()); }
  std::wstring string() {
    std::wstring s;
    for (uint16_t c = word(); c != 0; c = word()) s.push_back(static_cast<wchar_t>(c));
    return s;
  }
  // A name or ordinal field: 0xFFFF then the ordinal, or a string.
  std::wstring nameOrOrdinal() {
    uint16_t first;
    std::memcpy(&first, p, 2);
    if (first == 0xFFFF) {
      word();
      return L"#" + std::to_wstring(word());
    }
    return string();
  }
  void alignDword(const uint8_t* base) {
    while ((p - base) % 4) ++p;
  }
};

struct ItemTemplate {
  uint32_t style;
  int16_t x, y, cx, cy;
  uint16_t id;
  std::wstring windowClass, text;
};

struct ModuleCase {
  const char* name;
  HMODULE (*open)();
};

HMODULE thisProgram() {
  return GetModuleHandleW(nullptr);
}
HMODULE theDll() {
  return LoadLibraryExW(L"NadiroUser.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE);
}

class ProgressTemplate : public testing::TestWithParam<ModuleCase> {};

TEST_P(ProgressTemplate, IsTheDocumentedDialog) {
  HMODULE module = GetParam().open();
  ASSERT_NE(module, nullptr);
  HRSRC found = FindResourceExW(module, MAKEINTRESOURCEW(5) /* RT_DIALOG */, L"PROGRESSDLG",
                                MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
  ASSERT_NE(found, nullptr) << "PROGRESSDLG in language 1033";
  const auto* base = static_cast<const uint8_t*>(LockResource(LoadResource(module, found)));
  ASSERT_NE(base, nullptr);
  Reader r{base};
  const uint32_t style = r.dword();
  EXPECT_EQ(style, DWORD{WS_POPUP | DS_MODALFRAME | DS_CENTER | DS_SETFONT})
      << "popup, centred, modal frame, own font; not visible";
  EXPECT_EQ(r.dword(), 0u) << "extended style";
  ASSERT_EQ(r.word(), 3u) << "three controls";
  EXPECT_EQ(r.shortValue(), 0);
  EXPECT_EQ(r.shortValue(), 0);
  EXPECT_EQ(r.shortValue(), 186);
  EXPECT_EQ(r.shortValue(), 62);
  EXPECT_EQ(r.nameOrOrdinal(), L"") << "no menu";
  EXPECT_EQ(r.nameOrOrdinal(), L"") << "the standard dialog class";
  EXPECT_EQ(r.string(), L"") << "no caption text";
  EXPECT_EQ(r.word(), 8u) << "point size";
  EXPECT_EQ(r.string(), L"MS Sans Serif");

  std::vector<ItemTemplate> items;
  for (int i = 0; i < 3; ++i) {
    r.alignDword(base);
    ItemTemplate item;
    item.style = r.dword();
    EXPECT_EQ(r.dword(), 0u) << "extended style of control " << i;
    item.x = r.shortValue();
    item.y = r.shortValue();
    item.cx = r.shortValue();
    item.cy = r.shortValue();
    item.id = r.word();
    item.windowClass = r.nameOrOrdinal();
    item.text = r.nameOrOrdinal();
    r.p += r.word();  // creation data
    items.push_back(item);
  }
  const DWORD child = WS_CHILD | WS_VISIBLE;
  ASSERT_EQ(items.size(), 3u);
  // Cancel: a push button, tab stop.
  EXPECT_EQ(items[0].style, child | WS_TABSTOP | DWORD{BS_PUSHBUTTON});
  EXPECT_EQ(items[0].id, IDCANCEL);
  EXPECT_EQ(items[0].windowClass, L"#128");  // the predefined button class
  EXPECT_EQ(items[0].text, L"&Cancel");
  EXPECT_EQ((std::vector<int16_t>{items[0].x, items[0].y, items[0].cx, items[0].cy}),
            (std::vector<int16_t>{67, 41, 50, 14}));
  // The bar: bordered, smooth.
  EXPECT_EQ(items[1].style, child | WS_BORDER | DWORD{PBS_SMOOTH});
  EXPECT_EQ(items[1].id, 1000);
  // Class names are matched without regard to case; the resource compiler
  // stores the script's "msctls_progress32" in upper case.
  EXPECT_EQ(_wcsicmp(items[1].windowClass.c_str(), L"msctls_progress32"), 0)
      << "class " << std::string(items[1].windowClass.begin(), items[1].windowClass.end());
  EXPECT_EQ(items[1].text, L"Progress1");
  EXPECT_EQ((std::vector<int16_t>{items[1].x, items[1].y, items[1].cx, items[1].cy}),
            (std::vector<int16_t>{7, 20, 172, 14}));
  // The label: left-aligned static text, group start, id -1.
  EXPECT_EQ(items[2].style, child | WS_GROUP | DWORD{SS_LEFT});
  EXPECT_EQ(items[2].id, 0xFFFF);
  EXPECT_EQ(items[2].windowClass, L"#130");  // the predefined static class
  EXPECT_EQ(items[2].text, L"Process Image...");
  EXPECT_EQ((std::vector<int16_t>{items[2].x, items[2].y, items[2].cx, items[2].cy}),
            (std::vector<int16_t>{7, 7, 54, 8}));
  if (module != GetModuleHandleW(nullptr)) FreeLibrary(module);
}

INSTANTIATE_TEST_SUITE_P(Resources, ProgressTemplate,
                         testing::Values(ModuleCase{"NadiroUserDll", theDll},
                                         ModuleCase{"TestProgram", thisProgram}),
                         [](const testing::TestParamInfo<ModuleCase>& c) {
                           return std::string(c.param.name);
                         });

// ---- the live dialog -------------------------------------------------------

struct RangeCase {
  int32_t total, divisor, high;
};
class ProgressDialogRange : public ProgressDialog, public testing::WithParamInterface<RangeCase> {};

TEST_P(ProgressDialogRange, ShowsItsControlsAndTheBarRange) {
  OwnerWindow owner;
  ASSERT_EQ(progressCreate(owner.get(), GetParam().total, GetParam().divisor), 1);
  HWND dialog = dialogWindow();
  ASSERT_NE(dialog, nullptr);
  EXPECT_TRUE(IsWindowVisible(dialog));
  EXPECT_EQ(GetWindow(dialog, GW_OWNER), owner.get());
  HWND cancel = GetDlgItem(dialog, IDCANCEL);
  HWND bar = GetDlgItem(dialog, 1000);
  ASSERT_NE(cancel, nullptr);
  ASSERT_NE(bar, nullptr);
  EXPECT_EQ(className(cancel), L"Button");
  EXPECT_EQ(windowText(cancel), L"&Cancel");
  EXPECT_EQ(className(bar), L"msctls_progress32");
  PBRANGE range{};
  SendMessageW(bar, PBM_GETRANGE, TRUE, reinterpret_cast<LPARAM>(&range));
  EXPECT_EQ(range.iLow, 0);
  EXPECT_EQ(range.iHigh, GetParam().high);
  // The step is 1: the bar moves from 0 to 1.
  EXPECT_EQ(progressStep(), 0);
  EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 1);
}

INSTANTIATE_TEST_SUITE_P(Examples, ProgressDialogRange,
                         testing::Values(RangeCase{10, 5, 3}, RangeCase{4, 5, 1},
                                         RangeCase{3841, 1500, 3}));

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

const CancelCase kCancels[] = {
    {"CommandMessage",
     [](HWND dialog) {
       SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED),
                    reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDCANCEL)));
     }},
    // Posted, so the next step's message pump delivers them.
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

TEST_P(ProgressCancel, LeavesADisabledOwnerDisabled) {
  OwnerWindow owner;
  EnableWindow(owner.get(), FALSE);
  ASSERT_EQ(progressCreate(owner.get(), 10, 5), 1);
  GetParam().press(dialogWindow());
  EXPECT_TRUE(cancelRequested());
  EXPECT_FALSE(IsWindowEnabled(owner.get()));
}

TEST_P(ProgressCancel, WorksWithoutAnOwner) {
  ASSERT_EQ(progressCreate(nullptr, 10, 5), 1);
  GetParam().press(dialogWindow());
  EXPECT_TRUE(cancelRequested());
  EXPECT_FALSE(progressOpen());
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
