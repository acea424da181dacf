// The shipped companion's parameter dialogs, driven as a person would: each
// entry point runs on its own thread while the test finds its dialog, types
// into the edit boxes, checks that the trackbars follow, and leaves with OK,
// Cancel, Esc or the close box. OK must store the new values in the entry
// point's own units (and leave untouched values bit for bit); every other
// way out must store nothing.
#include <windows.h>
// windows.h first: commctrl.h needs its types.
#include <commctrl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "companion/dialog_table.h"
#include "frame/companion_entries.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using dialogs::kEditId;
using dialogs::kKernelCellId;
using dialogs::kKernelTextId;
using dialogs::kTrackbarId;

// Every variable any entry point edits, so that one table drives them all.
struct Vars {
  int32_t i[3] = {};
  uint32_t u[5] = {};
  double d[4] = {};
  bool operator==(const Vars& o) const {
    return std::memcmp(i, o.i, sizeof i) == 0 && std::memcmp(u, o.u, sizeof u) == 0 &&
           std::memcmp(d, o.d, sizeof d) == 0;  // bit for bit
  }
};

void PrintTo(const Vars& v, std::ostream* os) {
  *os << "i{" << v.i[0] << "," << v.i[1] << "," << v.i[2] << "} u{" << std::hex << v.u[0] << ","
      << v.u[1] << "," << v.u[2] << "," << v.u[3] << "," << v.u[4] << std::dec << "} d{" << v.d[0]
      << "," << v.d[1] << "," << v.d[2] << "," << v.d[3] << "}";
}

// The shipped NadiroDlgs.dll (in the companion folder beside the test
// program's), loaded for one test and released after it, so that no other
// test's search for a companion can come upon its real dialogs.
HMODULE gShipped = nullptr;
HMODULE companionModule() { return gShipped; }
struct ShippedCompanion {
  ShippedCompanion() {
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring path(self);
    path = path.substr(0, path.rfind(L'\\') + 1) + L"..\\companion\\NadiroDlgs.dll";
    gShipped = LoadLibraryW(path.c_str());
  }
  ~ShippedCompanion() {
    if (gShipped) FreeLibrary(gShipped);
    gShipped = nullptr;
  }
  ShippedCompanion(const ShippedCompanion&) = delete;
  ShippedCompanion& operator=(const ShippedCompanion&) = delete;
};

template <typename Fn>
Fn* entry(companion::Entry<Fn> e) {
  return reinterpret_cast<Fn*>(reinterpret_cast<void*>(GetProcAddress(companionModule(), e.name)));
}

// The image the dialogs preview.
NadiroHandle picture() {
  static const test::ImageHandle image([] {
    test::ImageShape shape;
    shape.width = 160;
    shape.height = 100;
    shape.bits = 24;
    shape.fill = test::Fill::Gradient;
    return test::makeDib(shape);
  }());
  return image.get();
}

const int16_t kKernel[] = {1, 2, 3, 4, -5, 6, 7, 8, 9, 35};

int32_t callContrast(Vars& v) {
  return entry(companion::kContrastUi)(picture(), &v.i[0], &v.i[1]);
}
int32_t callCmyk(Vars& v) {
  return entry(companion::kCmykLevelsUi)(picture(), &v.d[0], &v.d[1], &v.d[2], &v.d[3]);
}
int32_t callHue(Vars& v) {
  return entry(companion::kHueSaturationUi)(picture(), &v.i[0], &v.i[1], &v.i[2], &v.u[0], &v.u[1]);
}
int32_t callDesaturate(Vars&) {
  return entry(companion::kDesaturateUi)(picture());
}
int32_t callGamma(Vars& v) {
  return entry(companion::kGammaCorrectionUi)(picture(), &v.u[0], &v.u[1], &v.u[2]);
}
int32_t callReplace(Vars& v) {
  return entry(companion::kReplaceColorUi)(picture(), &v.i[0], &v.i[1], &v.i[2], &v.u[0], &v.u[1]);
}
int32_t callKernelArray(Vars&) {
  return entry(companion::kColorConvUi)(nullptr, 1, 0, 0x70001, 0x10003, nullptr, kKernel, nullptr);
}
int32_t callKernelFile(Vars&) {
  return entry(companion::kColorConvUi)(nullptr, 0, 0, 2, 5, L"C:\\kernels\\edge.krn", nullptr,
                                        nullptr);
}

enum class Leave { Ok, Cancel, Escape, CloseBox };

struct Typed {
  int param;
  int value;
  int trackbar;  // where the trackbar must follow (the value clamped to the range)
};

struct Case {
  std::string name;
  int32_t (*call)(Vars&);
  Vars before;
  std::vector<Typed> typed;
  Leave leave;
  Vars after;                     // expected; equal to `before` for every way out but OK
  const wchar_t* text = nullptr;  // expected in the kernel description
};

// The visible dialog among a thread's windows.
BOOL CALLBACK keepDialog(HWND w, LPARAM out) {
  wchar_t name[16] = {};
  GetClassNameW(w, name, 16);
  if (std::wstring(name) != L"#32770" || !IsWindowVisible(w)) return TRUE;
  *reinterpret_cast<HWND*>(out) = w;
  return FALSE;
}

// A dialog of the given thread, once it shows.
HWND findDialog(DWORD thread) {
  for (int tries = 0; tries < 1000; ++tries) {
    HWND found = nullptr;
    EnumThreadWindows(thread, keepDialog, reinterpret_cast<LPARAM>(&found));
    if (found) return found;
    Sleep(10);
  }
  return nullptr;
}

void leave(HWND dlg, DWORD thread, Leave how) {
  switch (how) {
    case Leave::Ok:
      SendMessageW(GetDlgItem(dlg, IDOK), BM_CLICK, 0, 0);
      return;
    case Leave::Cancel:
      SendMessageW(GetDlgItem(dlg, IDCANCEL), BM_CLICK, 0, 0);
      return;
    case Leave::Escape: {
      // The key reaches the focused control through the dialog's own loop.
      GUITHREADINFO info{};
      info.cbSize = sizeof info;
      GetGUIThreadInfo(thread, &info);
      HWND target = info.hwndFocus ? info.hwndFocus : dlg;
      PostMessageW(target, WM_KEYDOWN, VK_ESCAPE, 0);
      PostMessageW(target, WM_KEYUP, VK_ESCAPE, 0xC0000000);
      return;
    }
    case Leave::CloseBox:
      PostMessageW(dlg, WM_SYSCOMMAND, SC_CLOSE, 0);
      return;
  }
}

// Runs `work` on its own thread, where it shows a dialog; the destructor
// cancels a dialog still open and waits for the thread.
class DialogThread {
 public:
  explicit DialogThread(std::function<void()> work)
      : worker_([this, work = std::move(work)] {
          id_ = GetCurrentThreadId();
          work();
        }) {
    while (!id_) Sleep(1);
    dialog_ = findDialog(id_);
  }
  ~DialogThread() { finish(); }
  DialogThread(const DialogThread&) = delete;
  DialogThread& operator=(const DialogThread&) = delete;
  HWND dialog() const { return dialog_; }
  DWORD id() const { return id_; }
  void finish() {
    if (!worker_.joinable()) return;
    if (dialog_ && IsWindow(dialog_)) PostMessageW(dialog_, WM_COMMAND, IDCANCEL, 0);
    worker_.join();
  }

 private:
  std::atomic<DWORD> id_{0};
  HWND dialog_ = nullptr;
  std::thread worker_;
};

// With NADIRO_DIALOG_SHOTS naming a folder, the dialog as it shows is saved
// there as <name>.bmp (24 bits, bottom-up) for the documentation.
void saveShot(HWND dlg, const char* name) {
  const char* folder = std::getenv("NADIRO_DIALOG_SHOTS");
  if (!folder) return;
  Sleep(300);  // let the dialog's thread paint
  RECT r{};
  GetWindowRect(dlg, &r);
  const int w = r.right - r.left, h = r.bottom - r.top;
  // From the screen: the dialog is on top, controls and frame as drawn.
  HDC window = GetDC(nullptr);
  HDC mem = CreateCompatibleDC(window);
  HBITMAP bitmap = CreateCompatibleBitmap(window, w, h);
  HGDIOBJ old = SelectObject(mem, bitmap);
  BitBlt(mem, 0, 0, w, h, window, r.left, r.top, SRCCOPY);
  SelectObject(mem, old);
  BITMAPINFOHEADER info{};
  info.biSize = sizeof info;
  info.biWidth = w;
  info.biHeight = h;
  info.biPlanes = 1;
  info.biBitCount = 24;
  const DWORD stride = (static_cast<DWORD>(w) * 3 + 3) & ~3u;
  std::vector<char> pixels(stride * static_cast<DWORD>(h));
  GetDIBits(mem, bitmap, 0, static_cast<UINT>(h), pixels.data(),
            reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS);
  DeleteObject(bitmap);
  DeleteDC(mem);
  ReleaseDC(nullptr, window);
  BITMAPFILEHEADER file{};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof file + sizeof info;
  file.bfSize = file.bfOffBits + static_cast<DWORD>(pixels.size());
  std::ofstream out(std::string(folder) + "/" + name + ".bmp", std::ios::binary);
  out.write(reinterpret_cast<const char*>(&file), sizeof file);
  out.write(reinterpret_cast<const char*>(&info), sizeof info);
  out.write(pixels.data(), static_cast<std::streamsize>(pixels.size()));
}

class DialogWindow : public testing::TestWithParam<Case> {};

TEST_P(DialogWindow, StoresOnlyWhatOkConfirms) {
  const ShippedCompanion shipped;
  const Case& c = GetParam();
  ASSERT_NE(companionModule(), nullptr);
  Vars vars = c.before;
  std::atomic<int32_t> result{-1};
  DialogThread run([&] { result = c.call(vars); });
  HWND dlg = run.dialog();
  ASSERT_NE(dlg, nullptr) << "no dialog appeared";
  for (const Typed& t : c.typed) {
    SetDlgItemInt(dlg, kEditId + t.param, static_cast<UINT>(t.value), TRUE);
    EXPECT_EQ(SendDlgItemMessageW(dlg, kTrackbarId + t.param, TBM_GETPOS, 0, 0), t.trackbar)
        << "parameter " << t.param;
  }
  // Every adjustment previews the picture; the convolution shows its kernel.
  EXPECT_EQ(GetDlgItem(dlg, dialogs::kAfterId) != nullptr, c.text == nullptr);
  if (c.text) {
    wchar_t text[256] = {};
    GetDlgItemTextW(dlg, kKernelTextId, text, 256);
    EXPECT_NE(std::wstring(text).find(c.text), std::wstring::npos);
  }
  if (c.leave == Leave::Ok) saveShot(dlg, c.name.c_str());
  leave(dlg, run.id(), c.leave);
  run.finish();
  EXPECT_EQ(result != 0, c.leave == Leave::Ok) << "result " << result;
  EXPECT_EQ(vars, c.after);
}

// Builds the expected variables from the initial ones.
Vars with(Vars v, const std::function<void(Vars&)>& change) {
  change(v);
  return v;
}

Vars contrastVars() {
  Vars v;
  v.i[0] = 12;
  v.i[1] = -7;
  return v;
}
Vars cmykVars() {
  Vars v;
  v.d[0] = 1.0;
  v.d[1] = 0.5;
  v.d[2] = 1.234;  // shown as 23 %: stays 1.234 unless edited
  v.d[3] = 2.0;
  return v;
}
Vars hueVars() {
  Vars v;
  v.i[0] = 63;  // byte units: 89 degrees
  v.i[1] = 10;
  v.i[2] = -20;
  v.u[0] = 0;
  v.u[1] = 254;  // 359 degrees would store 254 too, but untouched it stays exact
  return v;
}
Vars gammaVars() {
  Vars v;
  v.u[0] = 100;
  v.u[1] = 123;
  v.u[2] = 77;
  return v;
}
Vars replaceVars() {
  Vars v;
  v.i[0] = -127;
  v.i[1] = 5;
  v.i[2] = 6;
  v.u[0] = 0xAB102030;  // B 0x30, G 0x20, R 0x10; the top byte is not the dialog's
  v.u[1] = 0x00050607;  // tolerance R 7, G 6, B 5
  return v;
}

std::vector<Case> cases() {
  std::vector<Case> all = {
      {"Contrast",
       callContrast,
       contrastVars(),
       {{0, 40, 40}, {1, -25, -25}},
       Leave::Ok,
       with(contrastVars(), [](Vars& v) { v.i[0] = 40, v.i[1] = -25; })},
      {"ContrastClampsToRange",
       callContrast,
       contrastVars(),
       {{0, 250, 100}, {1, -101, -100}},
       Leave::Ok,
       with(contrastVars(), [](Vars& v) { v.i[0] = 100, v.i[1] = -100; })},
      {"CmykLevels",
       callCmyk,
       cmykVars(),
       {{0, -50, -50}, {1, 25, 25}, {3, 100, 100}},
       Leave::Ok,
       with(cmykVars(), [](Vars& v) { v.d[0] = 0.5, v.d[1] = 1.25, v.d[3] = 2.0; })},
      {"HueSaturation",
       callHue,
       hueVars(),
       {{0, -90, -90}, {1, 300, 255}, {3, 180, 180}},
       Leave::Ok,
       with(hueVars(), [](Vars& v) { v.i[0] = -63, v.i[1] = 255, v.u[0] = 127; })},
      {"Desaturate", callDesaturate, Vars{}, {}, Leave::Ok, Vars{}},
      {"GammaCorrection",
       callGamma,
       gammaVars(),
       {{0, 250, 250}, {1, 5, 10}},
       Leave::Ok,
       with(gammaVars(), [](Vars& v) { v.u[0] = 250, v.u[1] = 10; })},
      {"ReplaceColour",
       callReplace,
       replaceVars(),
       {{3, 255, 255}, {5, 1, 1}, {6, 9, 9}, {8, 200, 200}},
       Leave::Ok,
       with(replaceVars(), [](Vars& v) { v.u[0] = 0xABFF2001, v.u[1] = 0x00C80609; })},
      {"ConvolutionKernel", callKernelArray, Vars{}, {}, Leave::Ok, Vars{}, L"3 x 3"},
      {"ConvolutionFile", callKernelFile, Vars{}, {}, Leave::Ok, Vars{}, L"edge.krn"},
  };
  // Every other way out, from every dialog, stores nothing.
  struct Out {
    const char* name;
    Leave leave;
  };
  const std::vector<Case> ok = all;
  for (const Out out : {Out{"Cancel", Leave::Cancel}, Out{"Escape", Leave::Escape},
                        Out{"CloseBox", Leave::CloseBox}})
    for (const Case& c : ok) {
      Case d = c;
      d.leave = out.leave;
      d.after = c.before;
      d.name = c.name + out.name;
      all.push_back(d);
    }
  return all;
}

INSTANTIATE_TEST_SUITE_P(EntryPoints, DialogWindow, testing::ValuesIn(cases()),
                         [](const testing::TestParamInfo<Case>& i) { return i.param.name; });

// The kernel grid shows the caller's kernel: value i * n + j in row i,
// column j as given, the divisor after it; nothing there can be typed.
TEST(DialogKernelGrid, ShowsTheCallersKernelReadOnly) {
  const ShippedCompanion shipped;
  ASSERT_NE(companionModule(), nullptr);
  Vars none;
  std::atomic<int32_t> result{-1};
  DialogThread run([&] { result = callKernelArray(none); });
  HWND dlg = run.dialog();
  ASSERT_NE(dlg, nullptr);
  for (int cell = 0; cell < 10; ++cell) {
    BOOL ok = FALSE;
    EXPECT_EQ(static_cast<int>(GetDlgItemInt(dlg, kKernelCellId + cell, &ok, TRUE)), kKernel[cell])
        << cell;
    EXPECT_TRUE(GetWindowLongW(GetDlgItem(dlg, kKernelCellId + cell), GWL_STYLE) & ES_READONLY);
  }
  EXPECT_EQ(GetDlgItem(dlg, kKernelCellId + 10), nullptr) << "nine values and the divisor";
  leave(dlg, run.id(), Leave::Cancel);
  run.finish();
  EXPECT_EQ(result, 0);
}

// Through an export: OK filters with the caller's kernel, Cancel ends the
// call with no image and no error.
TEST(DialogThroughExport, ConvolutionGoesOnOnlyAfterOk) {
  const ShippedCompanion shipped;
  ASSERT_NE(companionModule(), nullptr);  // found by name by the export
  test::ImageShape noise;
  noise.width = 6;
  noise.height = 4;
  noise.bits = 24;
  const std::vector<uint8_t> image = test::makeDib(noise);
  test::ImageHandle source(image);
  uint32_t error = 0;
  test::ImageHandle plain(
      ColorConvolutionW(source.get(), 1, 0, 1, 3, nullptr, kKernel, &error, 0, nullptr));
  ASSERT_TRUE(plain);
  for (const Leave how : {Leave::Ok, Leave::Cancel}) {
    std::atomic<NadiroHandle> out{nullptr};
    DialogThread run([&] {
      uint32_t e = 0;
      out = ColorConvolutionW(source.get(), 1, 0, 1, 3, nullptr, kKernel, &e, 2, nullptr);
    });
    ASSERT_NE(run.dialog(), nullptr);
    leave(run.dialog(), run.id(), how);
    run.finish();
    test::ImageHandle result(out.load());
    EXPECT_EQ(bool(result), how == Leave::Ok);
    if (result) {
      EXPECT_EQ(test::blockBytes(result.get()), test::blockBytes(plain.get()));
    }
  }
}

// The host's active window owns the dialog, and is disabled while it shows.
TEST(DialogOwner, IsTheCallersActiveWindow) {
  const ShippedCompanion shipped;
  std::atomic<HWND> owner{nullptr};
  Vars vars;
  DialogThread run([&] {
    HWND w = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 200,
                             100, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    SetActiveWindow(w);
    owner = w;
    callContrast(vars);
    DestroyWindow(w);
  });
  ASSERT_NE(run.dialog(), nullptr);
  EXPECT_EQ(GetWindow(run.dialog(), GW_OWNER), owner.load());
  EXPECT_FALSE(IsWindowEnabled(owner.load()));
  leave(run.dialog(), run.id(), Leave::Ok);
  run.finish();
}

// Keyboard: the first trackbar has the focus; each key, sent to the focused
// control through the dialog's own loop, moves it on.
struct KeyCase {
  UINT message;
  WPARAM key;
  int focus;  // control id expected to have the focus afterwards
};

TEST(DialogKeyboard, TabAndMnemonicsMoveTheFocus) {
  const ShippedCompanion shipped;
  Vars vars;
  DialogThread run([&] { callContrast(vars); });
  ASSERT_NE(run.dialog(), nullptr);
  const auto focusId = [&] {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(run.id(), &info);
    return info.hwndFocus ? GetDlgCtrlID(info.hwndFocus) : 0;
  };
  EXPECT_EQ(focusId(), kTrackbarId);
  for (const KeyCase k : {KeyCase{WM_KEYDOWN, VK_TAB, kEditId},        // trackbar -> its box
                          KeyCase{WM_SYSCHAR, L'c', kTrackbarId + 1},  // Alt+C: Contrast
                          KeyCase{WM_SYSCHAR, L'b', kTrackbarId},      // Alt+B: Brightness
                          KeyCase{WM_KEYDOWN, VK_TAB, kEditId},        // and on again
                          KeyCase{WM_KEYDOWN, VK_TAB, kTrackbarId + 1}}) {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(run.id(), &info);
    PostMessageW(info.hwndFocus, k.message, k.key, k.message == WM_SYSCHAR ? 1 << 29 : 0);
    int now = 0;
    for (int tries = 0; tries < 100 && (now = focusId()) != k.focus; ++tries) Sleep(10);
    EXPECT_EQ(now, k.focus) << "key " << k.key;
  }
  leave(run.dialog(), run.id(), Leave::Cancel);
  run.finish();
}

}  // namespace
}  // namespace nadiro
