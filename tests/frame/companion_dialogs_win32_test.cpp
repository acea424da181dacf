// The shipped companion's dialogs, driven from a test thread as a person
// would: type, click, press keys, leave with OK, Cancel, Esc or the close box.
// OK stores the new values in the entry point's own units (untouched values
// keep their bits); every other way out stores nothing.
#include <windows.h>
// windows.h first: commctrl.h needs its types.
#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "companion/dialog_table.h"
#include "frame/companion_entries.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

using namespace dialogs;
using namespace companion;

// Every variable any entry point edits, so that one table drives them all.
struct Vars {
  int32_t i[3] = {};
  uint32_t u[5] = {};
  double d[4] = {};
  int16_t k[10] = {};                     // a kernel
  bool operator==(const Vars& o) const {  // bit for bit
    return !std::memcmp(i, o.i, sizeof i) && !std::memcmp(u, o.u, sizeof u) &&
           !std::memcmp(d, o.d, sizeof d) && !std::memcmp(k, o.k, sizeof k);
  }
};

// The shipped NadiroDlgs.dll, in the companion folder beside the test
// program's: loaded while a dialog thread runs and released after it, so that
// no other test's search for a companion comes upon its real dialogs.
HMODULE gShipped = nullptr;
HMODULE loadShipped() {
  wchar_t self[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  *std::wcsrchr(self, L'\\') = 0;
  return gShipped = LoadLibraryW((std::wstring(self) + L"\\..\\companion\\NadiroDlgs.dll").c_str());
}

template <typename Fn>
Fn* entry(Entry<Fn> e) {
  return reinterpret_cast<Fn*>(reinterpret_cast<void*>(GetProcAddress(gShipped, e.name)));
}

// The image the dialogs preview: four upright bands, B, G, R bytes as listed.
const uint8_t kBands[4][3] = {
    {0x30, 0x30, 0xC0}, {0x40, 0xA0, 0x30}, {0xC0, 0x50, 0x30}, {0x30, 0xC0, 0xE0}};
NadiroHandle picture() {
  static const test::ImageHandle image([] {
    test::Bytes b = test::makeDib({160, 100, 24, 0, 0, test::Fill::Flat});
    for (size_t at = 40; at < b.size(); at += 3)
      std::memcpy(&b[at], kBands[(at - 40) % 480 / 120], 3);
    return b;
  }());
  return image.get();
}

const int16_t kKernel[] = {1, 2, 3, 4, -5, 6, 7, 8, 9, 35};

// Each entry point, called with the variables it edits; the convolution
// export too, which notes in u[1] that its image is the one it makes without
// a dialog.
struct Call {
  static int32_t contrast(Vars& v) { return entry(kContrastUi)(picture(), &v.i[0], &v.i[1]); }
  static int32_t cmyk(Vars& v) {
    return entry(kCmykLevelsUi)(picture(), &v.d[0], &v.d[1], &v.d[2], &v.d[3]);
  }
  static int32_t hue(Vars& v) {
    return entry(kHueSaturationUi)(picture(), &v.i[0], &v.i[1], &v.i[2], &v.u[0], &v.u[1]);
  }
  static int32_t desaturate(Vars&) { return entry(kDesaturateUi)(picture()); }
  static int32_t gamma(Vars& v) {
    return entry(kGammaCorrectionUi)(picture(), &v.u[0], &v.u[1], &v.u[2]);
  }
  static int32_t replace(Vars& v) {
    return entry(kReplaceColorUi)(picture(), &v.i[0], &v.i[1], &v.i[2], &v.u[0], &v.u[1]);
  }
  static int32_t kernel(Vars&) {
    return entry(kColorConvUi)(nullptr, 1, 0, 0x70001, 0x10003, nullptr, kKernel, nullptr);
  }
  static int32_t file(Vars&) {
    return entry(kColorConvUi)(nullptr, 0, 0, 2, 5, L"C:\\kernels\\edge.krn", nullptr, nullptr);
  }
  static int32_t editor(Vars& v) { return entry(kKernelEditUi)(3, v.k); }
  static int32_t convolve(Vars& v) {
    const auto filter = [&](uint32_t flags) {
      return test::ImageHandle(
          ColorConvolutionW(picture(), 1, 0, 1, 3, nullptr, kKernel, &v.u[0], flags, nullptr));
    };
    const test::ImageHandle plain = filter(0), shown = filter(2);
    v.u[1] = shown && test::blockBytes(shown.get()) == test::blockBytes(plain.get());
    return shown ? 1 : 0;
  }
};

enum class Leave { Ok, Cancel, Escape, CloseBox };

// With the shipped companion loaded, runs `work` on its own thread, where a
// host window is active and `work` shows a dialog; the destructor cancels a
// dialog still open, waits for the thread and releases the companion.
class DialogThread {
 public:
  explicit DialogThread(std::function<void()> work)
      : worker_([this, work = std::move(work)] {
          HWND host = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0,
                                      200, 100, nullptr, nullptr, nullptr, nullptr);
          SetActiveWindow(host);
          host_ = host;
          id_ = GetCurrentThreadId();
          work();
          DestroyWindow(host);
        }) {
    while (!id_) Sleep(1);
    for (int tries = 0; tries < 1000 && !dialog_; ++tries, Sleep(10))  // the thread's dialog
      for (HWND w = nullptr; (w = FindWindowExW(nullptr, w, L"#32770", nullptr));)
        if (GetWindowThreadProcessId(w, nullptr) == id_ && IsWindowVisible(w)) dialog_ = w;
  }
  ~DialogThread() {
    finish();
    if (shipped_) FreeLibrary(shipped_);
  }
  HWND dialog() const { return dialog_; }
  HWND host() const { return host_; }
  HWND item(int id) const { return GetDlgItem(dialog_, id); }
  HWND focus() const {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(id_, &info);
    return info.hwndFocus;
  }
  // Posts a key to the focused control, to go through the dialog's own loop.
  void key(UINT message, WPARAM code) const {
    PostMessageW(focus(), message, code, message == WM_SYSCHAR ? 1 << 29 : 0);
  }
  void leave(Leave how) {
    if (how == Leave::Ok || how == Leave::Cancel)
      SendMessageW(item(how == Leave::Ok ? IDOK : IDCANCEL), BM_CLICK, 0, 0);
    if (how == Leave::Escape) key(WM_KEYDOWN, VK_ESCAPE);
    if (how == Leave::CloseBox) PostMessageW(dialog_, WM_SYSCOMMAND, SC_CLOSE, 0);
    finish();
  }
  void finish() {
    if (!worker_.joinable()) return;
    if (dialog_ && IsWindow(dialog_)) PostMessageW(dialog_, WM_COMMAND, IDCANCEL, 0);
    worker_.join();
  }
  bool focusReaches(HWND control) const {  // within 5 s: Wine on a loaded machine is slow
    for (int tries = 0; tries < 500 && focus() != control; ++tries) Sleep(10);
    return focus() == control;
  }

 private:
  const HMODULE shipped_ = loadShipped();  // before the thread that uses it
  std::atomic<DWORD> id_{0};
  HWND host_ = nullptr, dialog_ = nullptr;
  std::thread worker_;
};

// With NADIRO_DIALOG_SHOTS naming a folder, the dialog as it shows on the
// screen is saved there as <name>.bmp (24 bits, bottom-up) for the docs.
void saveShot(HWND dlg, const std::string& name) {
  const char* folder = std::getenv("NADIRO_DIALOG_SHOTS");
  if (!folder) return;
  Sleep(300);  // let the dialog's thread paint
  RECT r{};
  GetWindowRect(dlg, &r);
  BITMAPINFOHEADER info{sizeof info, r.right - r.left, r.bottom - r.top, 1, 24, 0, 0, 0, 0, 0, 0};
  info.biSizeImage = ((static_cast<DWORD>(info.biWidth) * 3 + 3) & ~3u) * DWORD(info.biHeight);
  void* pixels = nullptr;
  HDC screen = GetDC(nullptr), mem = CreateCompatibleDC(screen);
  HBITMAP shot = CreateDIBSection(mem, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS,
                                  &pixels, nullptr, 0);
  HGDIOBJ old = SelectObject(mem, shot);
  BitBlt(mem, 0, 0, info.biWidth, info.biHeight, screen, r.left, r.top, SRCCOPY);
  GdiFlush();
  const BITMAPFILEHEADER file{0x4D42, 54 + info.biSizeImage, 0, 0, 54};
  std::ofstream out(std::string(folder) + "/" + name + ".bmp", std::ios::binary);
  out.write(reinterpret_cast<const char*>(&file), sizeof file);
  out.write(reinterpret_cast<const char*>(&info), sizeof info);
  out.write(static_cast<const char*>(pixels), info.biSizeImage);
  DeleteObject(SelectObject(mem, old));
  DeleteDC(mem);
  ReleaseDC(nullptr, screen);
}

struct Typed {
  int param;  // the edit box kEditId + param; from kCell on, a kernel cell
  int value;
  int trackbar;  // where the parameter's trackbar must follow (the value within range)
};
constexpr int kCell = kKernelCellId - kEditId;

struct Dialog {
  std::string name;
  int32_t (*call)(Vars&);
  Vars before;
  std::vector<Typed> typed;
  Vars afterOk;
  const wchar_t* text = nullptr;  // expected in the kernel description
  int click = 0;  // a click on the Before picture, halfway down, at this eighth of its width
};

const Dialog kDialogs[] = {
    {"Contrast", Call::contrast, {{12, -7}}, {{0, 250, 100}, {1, -25, -25}}, {{100, -25}}},
    {"CmykLevels",  // 1.234 shows as 23 %: untouched, it stays 1.234
     Call::cmyk,
     {{}, {}, {1.0, 0.5, 1.234, 2.0}},
     {{0, -50, -50}, {1, 25, 25}, {3, 100, 100}},
     {{}, {}, {0.5, 1.25, 1.234, 2.0}}},
    {"HueSaturation",  // hue in bytes (63: 89 degrees); 254 stays exact untouched
     Call::hue,
     {{63, 10, -20}, {0, 254}},
     {{0, -90, -90}, {1, 300, 255}, {3, 180, 180}},
     {{-63, 255, -20}, {127, 254}}},
    {"Desaturate", Call::desaturate, {}, {}, {}},
    {"GammaCorrection",
     Call::gamma,
     {{}, {100, 123, 77}},
     {{0, 250, 250}, {1, 5, 10}},
     {{}, {250, 10, 77}}},
    {"ReplaceColour",  // colour B, G, R in bytes 0..2 (the top byte is not the dialog's),
                       // tolerance R, G, B; the click picks the third band's colour
     Call::replace,
     {{-127, 5, 6}, {0xAB102030, 0x00050607}},
     {{6, 9, 9}, {8, 200, 200}, {7, 300, 255}},
     {{-127, 5, 6}, {0xAB3050C0, 0x00C8FF09}},
     nullptr,
     5},
    {"ConvolutionKernel", Call::kernel, {}, {}, {}, L"3 x 3"},
    {"ConvolutionFile", Call::file, {}, {}, {}, L"edge.krn"},
    {"ConvolutionExport", Call::convolve, {}, {}, {{}, {0, 1}}},
    {"KernelEditor",  // a cell of magnitude above 127 is taken as 127
     Call::editor,
     {{}, {}, {}, {1, 2, 3, 4, -5, 6, 7, 8, 9, 35}},
     {{kCell + 4, 500, 0}, {kCell + 9, -3, 0}},
     {{}, {}, {}, {1, 2, 3, 4, 127, 6, 7, 8, 9, -3}}},
};

std::string caseName(const testing::TestParamInfo<std::tuple<Dialog, Leave>>& c) {
  static const char* const kHow[] = {"Ok", "Cancel", "Escape", "CloseBox"};
  return std::get<0>(c.param).name + kHow[static_cast<int>(std::get<1>(c.param))];
}

// A keyboard user: Alt and each label's letter moves the focus to the
// control after the label; no two labels share a letter, every trackbar has
// one.
void walkMnemonics(const DialogThread& run) {
  std::set<wchar_t> letters;
  std::set<HWND> reached;
  for (HWND w = GetWindow(run.dialog(), GW_CHILD); w; w = GetWindow(w, GW_HWNDNEXT)) {
    wchar_t text[64] = {};
    GetWindowTextW(w, text, 64);
    const wchar_t* mark = std::wcschr(text, L'&');
    if (!mark || GetDlgCtrlID(w) == kKernelTextId) continue;
    const wchar_t letter = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(mark[1])));
    EXPECT_TRUE(letters.insert(letter).second) << "twice: " << char(letter);
    run.key(WM_SYSCHAR, letter);
    reached.insert(GetWindow(w, GW_HWNDNEXT));
    EXPECT_TRUE(run.focusReaches(GetWindow(w, GW_HWNDNEXT))) << "Alt+" << char(letter);
  }
  for (int i = 0; run.item(kTrackbarId + i); ++i)
    EXPECT_TRUE(reached.count(run.item(kTrackbarId + i)));
}

class DialogWindow : public testing::TestWithParam<std::tuple<Dialog, Leave>> {};

TEST_P(DialogWindow, StoresOnlyWhatOkConfirms) {
  const auto& [d, how] = GetParam();
  Vars vars = d.before;
  std::atomic<int32_t> result{-1};
  DialogThread run([&] { result = d.call(vars); });
  ASSERT_NE(run.dialog(), nullptr) << "no dialog appeared";
  EXPECT_EQ(GetWindow(run.dialog(), GW_OWNER), run.host()) << "the host's active window";
  if (HWND cell = run.item(kKernelCellId)) {  // the kernel, editable where OK stores it
    EXPECT_EQ(GetDlgItemInt(run.dialog(), kKernelCellId + 9, nullptr, TRUE), 35u);
    EXPECT_EQ(!(GetWindowLongW(cell, GWL_STYLE) & ES_READONLY), d.call == Call::editor);
  }
  if (d.click) {
    RECT box;
    GetClientRect(run.item(kBeforeId), &box);
    POINT at{box.right * d.click / 8, box.bottom / 2};
    MapWindowPoints(run.item(kBeforeId), run.dialog(), &at, 1);
    SendMessageW(run.dialog(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(at.x, at.y));
  }
  for (const Typed& t : d.typed) {
    SetDlgItemInt(run.dialog(), kEditId + t.param, static_cast<UINT>(t.value), TRUE);
    EXPECT_TRUE(t.param >= kCell ||
                SendMessageW(run.item(kTrackbarId + t.param), TBM_GETPOS, 0, 0) == t.trackbar)
        << "trackbar " << t.param;
  }
  wchar_t text[256] = {};  // the kernel's description
  GetDlgItemTextW(run.dialog(), kKernelTextId, text, 256);
  EXPECT_TRUE(!d.text || std::wcsstr(text, d.text)) << d.text;
  if (how == Leave::Ok) saveShot(run.dialog(), d.name);
  if (how == Leave::Escape) walkMnemonics(run);
  run.leave(how);
  EXPECT_EQ(result != 0, how == Leave::Ok) << "result " << result;
  EXPECT_EQ(vars, how == Leave::Ok ? d.afterOk : d.before);
}

INSTANTIATE_TEST_SUITE_P(EntryPoints, DialogWindow,
                         testing::Combine(testing::ValuesIn(kDialogs),
                                          testing::Values(Leave::Ok, Leave::Cancel, Leave::Escape,
                                                          Leave::CloseBox)),
                         caseName);

// The wheel shows the selected hues vivid, the others pale: the share of
// the ring drawn vivid is the share of hue bytes the range selects, and it
// follows the range's boxes.
TEST(DialogHueWheel, ShowsTheSelectedRange) {
  Vars vars{{}, {0, 255}};
  DialogThread run([&] { Call::hue(vars); });
  ASSERT_NE(run.dialog(), nullptr);
  HWND wheel = run.item(kWheelId);
  RECT box;
  GetClientRect(wheel, &box);
  const double radius = 0.775 * (std::min(box.right, box.bottom) / 2.0 - 1);
  // From and to in degrees, the share of the 256 hue bytes they select.
  for (const auto& [from, to, share] : {std::tuple{0, 90, 64}, {300, 60, 87}, {0, 360, 256}}) {
    SetDlgItemInt(run.dialog(), kEditId + 3, static_cast<UINT>(from), FALSE);
    SetDlgItemInt(run.dialog(), kEditId + 4, static_cast<UINT>(to), FALSE);
    UpdateWindow(wheel);
    HDC dc = GetDC(wheel);
    int vivid = 0;
    for (int step = 0; step < 720; ++step) {
      const double a = step * 3.14159265358979 / 360;
      const COLORREF c = GetPixel(dc, static_cast<int>(box.right / 2.0 + radius * std::cos(a)),
                                  static_cast<int>(box.bottom / 2.0 - radius * std::sin(a)));
      const int rgb[] = {GetRValue(c), GetGValue(c), GetBValue(c)};
      vivid += *std::max_element(rgb, rgb + 3) - *std::min_element(rgb, rgb + 3) > 100;
    }
    ReleaseDC(wheel, dc);
    EXPECT_NEAR(vivid / 720.0, share / 256.0, 0.02) << from << ".." << to;
  }
}

}  // namespace
}  // namespace nadiro
