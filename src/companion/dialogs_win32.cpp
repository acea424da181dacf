// The dialog engine of the companion module: one in-memory dialog template
// built from a dialog's table, one dialog procedure for all of them. Every
// parameter is a label (its mnemonic moves the focus to the trackbar), a
// trackbar and an edit box kept in step. The template uses the system's
// message font, so dialog units and the whole layout follow font and DPI;
// the pictures (preview, hue wheel, swatch) are drawn to their controls' size.
#include <windows.h>
// windows.h first: commctrl.h needs its types.
#include <commctrl.h>
#include <windowsx.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "adjust/adjust.h"
#include "companion/dialog_table.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "nadiro/nadiro.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;  // this module, as the linker names it

namespace nadiro::dialogs {
namespace {

constexpr int kMaxParams = 9;
constexpr int kMaxKernel = 7;

// ---- units -----------------------------------------------------------------

int32_t clampTo(double v, const Param& p) {
  if (!(v == v)) return std::clamp(0, p.min, p.max);  // NaN
  return static_cast<int32_t>(std::clamp(v, double(p.min), double(p.max)));
}

uint32_t byteOf(uint32_t word, int index) {
  return (word >> (8 * index)) & 0xFFu;
}

int byteIndex(Unit u) {
  return u == Unit::Byte0 ? 0 : u == Unit::Byte1 ? 1 : 2;
}

// The variable behind `slot` as a person reads it, within the range.
int32_t shownValue(const Param& p, const void* slot) {
  int32_t i;
  uint32_t u;
  double d;
  switch (p.unit) {
    case Unit::Int32:
      std::memcpy(&i, slot, 4);
      return clampTo(i, p);
    case Unit::Uint32:
      std::memcpy(&u, slot, 4);
      return clampTo(u, p);
    case Unit::HueShift:
      std::memcpy(&i, slot, 4);
      return clampTo(std::round(i * 360.0 / 255.0), p);
    case Unit::HueAngle:
      std::memcpy(&u, slot, 4);
      return clampTo(std::round(u * 360.0 / 255.0), p);
    case Unit::Factor:
      std::memcpy(&d, slot, 8);
      return clampTo(std::round((d - 1.0) * 100.0), p);
    default:
      std::memcpy(&u, slot, 4);
      return clampTo(byteOf(u, byteIndex(p.unit)), p);
  }
}

// Stores what a person chose back in the variable's own units; the hue and
// factor conversions are those the exports apply to their own arguments.
void store(const Param& p, void* slot, int32_t shown) {
  int32_t i;
  uint32_t u;
  double d;
  switch (p.unit) {
    case Unit::Int32:
      std::memcpy(slot, &shown, 4);
      return;
    case Unit::Uint32:
      u = static_cast<uint32_t>(shown);
      std::memcpy(slot, &u, 4);
      return;
    case Unit::HueShift:
      i = adjust::hueShiftToBytes(shown);
      std::memcpy(slot, &i, 4);
      return;
    case Unit::HueAngle:
      u = adjust::hueDegreesToBytes(static_cast<uint32_t>(shown));
      std::memcpy(slot, &u, 4);
      return;
    case Unit::Factor:
      d = adjust::cmykFactor(shown);
      std::memcpy(slot, &d, 8);
      return;
    default: {
      const int shift = 8 * byteIndex(p.unit);
      std::memcpy(&u, slot, 4);
      u = (u & ~(0xFFu << shift)) | (static_cast<uint32_t>(shown) << shift);
      std::memcpy(slot, &u, 4);
    }
  }
}

// ---- the template ----------------------------------------------------------

// A DLGTEMPLATE and its items, written word by word.
class TemplateWriter {
 public:
  void header(DWORD style, const wchar_t* title, short cx, short cy, const wchar_t* face,
              WORD points) {
    dword(style);
    dword(0);
    countAt_ = words_.size();
    word(0);
    shorts({0, 0, cx});
    heightAt_ = words_.size();
    shorts({cy});
    word(0);  // no menu
    word(0);  // the standard dialog class
    text(title);
    word(points);
    text(face);
  }
  void item(DWORD style, short x, short y, short cx, short cy, int id, const wchar_t* cls,
            const wchar_t* title) {
    if (words_.size() % 2) word(0);  // items start on a DWORD
    dword(style | WS_CHILD | WS_VISIBLE);
    dword(0);
    shorts({x, y, cx, cy});
    word(static_cast<WORD>(id));
    text(cls);
    text(title);
    word(0);  // no creation data
    ++words_[countAt_];
  }
  void setHeight(short cy) { words_[heightAt_] = static_cast<WORD>(cy); }
  const DLGTEMPLATE* get() const { return reinterpret_cast<const DLGTEMPLATE*>(words_.data()); }

 private:
  void word(WORD w) { words_.push_back(w); }
  void dword(DWORD d) {
    word(LOWORD(d));
    word(HIWORD(d));
  }
  void shorts(std::initializer_list<short> values) {
    for (short s : values) word(static_cast<WORD>(s));
  }
  void text(const wchar_t* s) {
    for (; *s; ++s) word(static_cast<WORD>(*s));
    word(0);
  }
  std::vector<WORD> words_;  // a vector of WORDs keeps the template WORD-aligned
  size_t countAt_ = 0, heightAt_ = 0;
};

// The system's message font as a face name and point size.
struct DialogFont {
  std::wstring face = L"MS Shell Dlg";
  WORD points = 8;
};

DialogFont messageFont() {
  DialogFont font;
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  if (!SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0)) return font;
  const LOGFONTW& lf = metrics.lfMessageFont;
  if (lf.lfFaceName[0]) font.face = lf.lfFaceName;
  if (HDC screen = GetDC(nullptr)) {
    const int dpi = GetDeviceCaps(screen, LOGPIXELSY);
    ReleaseDC(nullptr, screen);
    const int height = lf.lfHeight < 0 ? -lf.lfHeight : lf.lfHeight;
    if (dpi > 0 && height > 0)
      font.points = static_cast<WORD>(std::clamp(MulDiv(height, 72, dpi), 6, 24));
  }
  return font;
}

// Layout in dialog units.
constexpr short kMargin = 7, kRow = 18, kLabelWidth = 74, kBarWidth = 130, kEditWidth = 36;
constexpr short kBarX = kMargin + kLabelWidth + 4;
constexpr short kWidth = kMargin + kLabelWidth + kBarWidth + kEditWidth + 3 * 4;
constexpr short kCell = 24, kButtonWidth = 50, kButtonHeight = 14;
constexpr short kPreviewWidth = 92, kPreviewHeight = 64;
constexpr short kWheelWidth = 64, kWheelHeight = 56;

bool showsGrid(const KernelView* k) {
  return k && k->source == 1 && k->kernel && k->size >= 3 && k->size <= kMaxKernel;
}

// The convolution panel: the kernel's description, then the grid, a label
// with a mnemonic in front of its values and of its divisor.
short kernelPanel(TemplateWriter& t, const KernelView* kernel, short y) {
  const short textWidth = kWidth - 2 * kMargin;
  t.item(SS_LEFT | SS_NOPREFIX, kMargin, y, textWidth, 24, kKernelTextId, L"STATIC", L"");
  if (!showsGrid(kernel)) return 30;
  const int n = kernel->size;
  const DWORD readOnly = kernel->edited ? 0 : ES_READONLY;
  t.item(SS_LEFT, kMargin, static_cast<short>(y + 26), textWidth, 8, -1, L"STATIC", L"&Values:");
  for (int cell = 0; cell <= n * n; ++cell) {
    const bool divisor = cell == n * n;
    if (divisor)
      t.item(SS_LEFT, kMargin, static_cast<short>(y + 40 + n * 14), 2 * kCell - 4, 8, -1, L"STATIC",
             L"&Divisor:");
    const int row = divisor ? n : cell / n;
    const int column = divisor ? 2 : cell % n;  // after its label
    t.item(WS_TABSTOP | WS_BORDER | ES_RIGHT | ES_AUTOHSCROLL | readOnly,
           static_cast<short>(kMargin + column * kCell), static_cast<short>(y + 38 + row * 14),
           kCell - 2, 12, kKernelCellId + cell, L"EDIT", L"");
  }
  return static_cast<short>(40 + (n + 1) * 14);
}

// The panel below the parameters; gives its height.
short panel(TemplateWriter& t, const DialogTable& table, const KernelView* kernel, short y) {
  switch (table.panel) {
    case Panel::Confirm:
      t.item(SS_LEFT, kMargin, y, kWidth - 2 * kMargin, 20, -1, L"STATIC",
             L"Every pixel of the image becomes grey. Go on?");
      return 24;
    case Panel::Kernel:
      return kernelPanel(t, kernel, y);
    case Panel::HueWheel:
      t.item(SS_LEFT, kMargin, static_cast<short>(y + 3), kLabelWidth, 8, -1, L"STATIC",
             L"Selected hues:");
      t.item(SS_OWNERDRAW, kBarX, y, kWheelWidth, kWheelHeight, kWheelId, L"STATIC", L"");
      return kWheelHeight + 4;
    case Panel::PickColour:
      t.item(SS_LEFT, kMargin, static_cast<short>(y + 2), kLabelWidth, 8, -1, L"STATIC",
             L"Colour:");
      t.item(SS_OWNERDRAW, kBarX, y, 20, 12, kSwatchId, L"STATIC", L"");
      t.item(SS_LEFT, kBarX + 24, static_cast<short>(y + 2), kBarWidth + kEditWidth - 20, 8, -1,
             L"STATIC", L"click the Before picture to pick it");
      return 16;
    case Panel::None:
      break;
  }
  return 0;
}

void buildTemplate(TemplateWriter& t, const DialogTable& table, const KernelView* kernel,
                   bool preview) {
  const int n = static_cast<int>(table.params.size());
  const short width = preview ? kWidth + kPreviewWidth + 4 : kWidth;
  const DialogFont font = messageFont();
  // The height is known once the panel is laid out: patched in below.
  t.header(WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_CENTER | DS_SETFONT, table.title,
           width, 0, font.face.c_str(), font.points);
  if (preview)
    for (int k = 0; k < 2; ++k) {
      const short y = static_cast<short>(kMargin + k * (12 + kPreviewHeight + 4));
      t.item(SS_LEFT, kWidth, y, kPreviewWidth, 8, -1, L"STATIC", k ? L"After:" : L"Before:");
      t.item(SS_OWNERDRAW, kWidth, static_cast<short>(y + 10), kPreviewWidth, kPreviewHeight,
             kBeforeId + k, L"STATIC", L"");
    }
  for (int i = 0; i < n; ++i) {
    const short y = static_cast<short>(kMargin + i * kRow);
    t.item(SS_LEFT, kMargin, static_cast<short>(y + 3), kLabelWidth, 8, -1, L"STATIC",
           table.params[static_cast<size_t>(i)].label);
    t.item(WS_TABSTOP | WS_GROUP | TBS_HORZ | TBS_NOTICKS, kBarX, y, kBarWidth, 15, kTrackbarId + i,
           TRACKBAR_CLASSW, L"");
    t.item(WS_TABSTOP | WS_BORDER | ES_RIGHT | ES_AUTOHSCROLL, kBarX + kBarWidth + 4,
           static_cast<short>(y + 1), kEditWidth, 12, kEditId + i, L"EDIT", L"");
  }
  const short panelY = static_cast<short>(kMargin + n * kRow);
  const short previewBottom = preview ? kMargin + 2 * (12 + kPreviewHeight) + 4 : 0;
  const short buttonsY =
      std::max(static_cast<short>(panelY + panel(t, table, kernel, panelY) + 4), previewBottom);
  t.setHeight(static_cast<short>(buttonsY + kButtonHeight + kMargin));
  const short okX = static_cast<short>(width - kMargin - 2 * kButtonWidth - 4);
  t.item(WS_TABSTOP | WS_GROUP | BS_DEFPUSHBUTTON, okX, buttonsY, kButtonWidth, kButtonHeight, IDOK,
         L"BUTTON", L"OK");
  t.item(WS_TABSTOP | BS_PUSHBUTTON, static_cast<short>(okX + kButtonWidth + 4), buttonsY,
         kButtonWidth, kButtonHeight, IDCANCEL, L"BUTTON", L"Cancel");
}

// ---- the live dialog -------------------------------------------------------

// Bytes of one row of a 24-bit image of `width` pixels (at most 65535).
size_t stride24(long width) {
  return *dib::rowStride(static_cast<int32_t>(width), 24);
}

// Width, height and pixel offset of a locked bottom-up 24-bit image, or false.
bool geometry24(const LockedBlock& p, BITMAPINFOHEADER& h, size_t& offset) {
  if (!p || p.size() < sizeof h) return false;
  std::memcpy(&h, p.data(), sizeof h);
  if (h.biSize != sizeof h || h.biBitCount != 24 || h.biWidth <= 0 || h.biHeight <= 0 ||
      h.biWidth > 65535 || h.biHeight > 65535 || h.biClrUsed > 256)
    return false;
  offset = sizeof h + 4 * size_t{h.biClrUsed};
  return offset + stride24(h.biWidth) * size_t(h.biHeight) <= p.size();
}

// The image scaled down once (nearest pixel) to fit the preview, as a new
// 24-bit image; empty when the image is not one the preview can show.
OwnedBlock thumbnail(MemHandle image) {
  const LockedBlock source(image);
  BITMAPINFOHEADER h;
  size_t offset;
  if (!geometry24(source, h, offset)) return {};
  constexpr long kSide = 128;
  const long big = std::max(h.biWidth, h.biHeight);
  const long w = std::max(1L, h.biWidth * std::min(big, kSide) / big);
  const long ht = std::max(1L, h.biHeight * std::min(big, kSide) / big);
  const size_t stride = stride24(w), from = stride24(h.biWidth);
  OwnedBlock out = OwnedBlock::allocate(sizeof h + stride * size_t(ht));
  const LockedBlock target(out.get());
  if (!target) return {};
  BITMAPINFOHEADER t = h;
  t.biWidth = w;
  t.biHeight = ht;
  t.biSizeImage = static_cast<DWORD>(stride * size_t(ht));
  t.biClrUsed = t.biClrImportant = 0;
  std::memcpy(target.data(), &t, sizeof t);
  for (long y = 0; y < ht; ++y)
    for (long x = 0; x < w; ++x)
      std::memcpy(target.data() + sizeof t + size_t(y) * stride + 3 * size_t(x),
                  source.data() + offset + size_t(y * h.biHeight / ht) * from +
                      3 * size_t(x * h.biWidth / w),
                  3);
  return out;
}

struct DialogState {
  const DialogTable* table = nullptr;
  const KernelView* kernel = nullptr;
  std::array<int32_t, kMaxParams> shown{};
  std::array<int16_t, kMaxKernel * kMaxKernel + 1> cells{};  // the grid as OK left it
  bool syncing = false;
  bool ready = false;        // set once every control holds its value
  OwnedBlock before, after;  // the preview's thumbnail and its result
};

std::wstring kernelText(const KernelView& k) {
  static constexpr const wchar_t* kNames[] = {L"the kernel given by the program",
                                              L"the kernel file",
                                              L"mean (box) filter",
                                              L"Gaussian filter",
                                              L"sharpen, four neighbours",
                                              L"sharpen, eight neighbours"};
  std::wstring s = L"Kernel: ";
  s += k.source >= 1 && k.source <= 6 ? kNames[k.source - 1] : L"unknown";
  s += L", " + std::to_wstring(k.size) + L" x " + std::to_wstring(k.size);
  if (k.source == 2 && k.fileName) s += std::wstring(L"\nFile: ") + k.fileName;
  return s;
}

void initDialog(HWND dlg, const DialogState& state) {
  const DialogTable& table = *state.table;
  for (size_t i = 0; i < table.params.size(); ++i) {
    const Param& p = table.params[i];
    const int id = static_cast<int>(i);
    HWND bar = GetDlgItem(dlg, kTrackbarId + id);
    SendMessageW(bar, TBM_SETRANGEMIN, FALSE, p.min);
    SendMessageW(bar, TBM_SETRANGEMAX, FALSE, p.max);
    SendMessageW(bar, TBM_SETPAGESIZE, 0, std::max(1, (p.max - p.min) / 20));
    SendMessageW(bar, TBM_SETPOS, TRUE, state.shown[i]);
    SendDlgItemMessageW(dlg, kEditId + id, EM_LIMITTEXT, 6, 0);
    SetDlgItemInt(dlg, kEditId + id, static_cast<UINT>(state.shown[i]), TRUE);
  }
  if (const KernelView* k = state.kernel) {
    SetDlgItemTextW(dlg, kKernelTextId, kernelText(*k).c_str());
    if (showsGrid(k))
      for (int cell = 0; cell <= k->size * k->size; ++cell) {
        SendDlgItemMessageW(dlg, kKernelCellId + cell, EM_LIMITTEXT, 6, 0);
        SetDlgItemInt(dlg, kKernelCellId + cell, static_cast<UINT>(k->kernel[cell]), TRUE);
      }
  }
}

// The value in parameter i's edit box, within range; the trackbar's when
// the box holds no number.
int32_t editValue(HWND dlg, const Param& p, int i) {
  BOOL ok = FALSE;
  const int v = static_cast<int>(GetDlgItemInt(dlg, kEditId + i, &ok, TRUE));
  if (!ok) return static_cast<int32_t>(SendDlgItemMessageW(dlg, kTrackbarId + i, TBM_GETPOS, 0, 0));
  return std::clamp(v, p.min, p.max);
}

// The panel parameter `k` places after the first, as shown now.
int32_t panelValue(HWND dlg, const DialogState& s, int k) {
  const int i = s.table->panelParam + k;
  return editValue(dlg, s.table->params[static_cast<size_t>(i)], i);
}

// Runs the preview with the values as they stand now; the panel's pictures
// follow them too.
void refresh(HWND dlg, DialogState& s) {
  if (!s.ready) return;
  for (const int id : {kWheelId, kSwatchId})
    if (HWND picture = GetDlgItem(dlg, id)) InvalidateRect(picture, nullptr, FALSE);
  if (!s.before.get()) return;
  std::array<int32_t, kMaxParams> v{};
  for (size_t k = 0; k < s.table->params.size(); ++k)
    v[k] = editValue(dlg, s.table->params[k], static_cast<int>(k));
  s.after = OwnedBlock(s.table->preview(s.before.get(), v.data()));
  InvalidateRect(GetDlgItem(dlg, kAfterId), nullptr, TRUE);
}

// Where an image of w x h pixels shows in `frame`: scaled to fit, centred.
RECT fitted(const RECT& frame, long w, long h) {
  const long fw = frame.right - frame.left, fh = frame.bottom - frame.top;
  const long sw = std::min(fw, w * fh / h), sh = std::min(fh, h * fw / w);
  const long x = frame.left + (fw - sw) / 2, y = frame.top + (fh - sh) / 2;
  return {x, y, x + sw, y + sh};
}

// Draws a 24-bit image into an owner-drawn frame, scaled to fit.
void drawImage(const DRAWITEMSTRUCT& d, MemHandle image) {
  FillRect(d.hDC, &d.rcItem, GetSysColorBrush(COLOR_BTNFACE));
  const LockedBlock p(image);
  BITMAPINFOHEADER h;
  size_t offset;
  if (!geometry24(p, h, offset)) return;
  const RECT r = fitted(d.rcItem, h.biWidth, h.biHeight);
  SetStretchBltMode(d.hDC, HALFTONE);
  StretchDIBits(d.hDC, r.left, r.top, r.right - r.left, r.bottom - r.top, 0, 0, h.biWidth,
                h.biHeight, p.data() + offset, reinterpret_cast<const BITMAPINFO*>(p.data()),
                DIB_RGB_COLORS, SRCCOPY);
}

// Draws pixels (0x00RRGGBB, top row first) into an owner-drawn frame.
void drawPixels(const DRAWITEMSTRUCT& d, const std::vector<uint32_t>& pixels, long w, long h) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = w;
  info.bmiHeader.biHeight = -h;  // top row first
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  SetDIBitsToDevice(d.hDC, d.rcItem.left, d.rcItem.top, static_cast<DWORD>(w),
                    static_cast<DWORD>(h), 0, 0, 0, static_cast<UINT>(h), pixels.data(), &info,
                    DIB_RGB_COLORS);
}

uint32_t rgb(const NadiroColor3& c) {
  return uint32_t{c.v[0]} << 16 | uint32_t{c.v[1]} << 8 | c.v[2];
}

// The hue wheel: a ring of every hue byte, red at the right and counting
// counter-clockwise, vivid where the operation changes the pixels (the
// range as the export tests it, wrapping past 0 when it starts above its
// end) and pale elsewhere.
void drawWheel(const DRAWITEMSTRUCT& d, uint32_t from, uint32_t to) {
  std::array<uint32_t, 256> vivid, pale;
  for (int hue = 0; hue < 256; ++hue) {
    const NadiroColor3 strong{{static_cast<uint8_t>(hue), 255, 128}};
    const NadiroColor3 weak{{static_cast<uint8_t>(hue), 50, 200}};
    vivid[static_cast<size_t>(hue)] = rgb(HSItoRGB(&strong));
    pale[static_cast<size_t>(hue)] = rgb(HSItoRGB(&weak));
  }
  const COLORREF face = GetSysColor(COLOR_BTNFACE);
  const uint32_t background = rgb({{GetRValue(face), GetGValue(face), GetBValue(face)}});
  const long w = d.rcItem.right - d.rcItem.left, h = d.rcItem.bottom - d.rcItem.top;
  const double outer = std::min(w, h) / 2.0 - 1, inner = outer * 0.55;
  std::vector<uint32_t> pixels(static_cast<size_t>(w * h), background);
  for (long y = 0; y < h; ++y)
    for (long x = 0; x < w; ++x) {
      const double dx = x + 0.5 - w / 2.0, dy = h / 2.0 - y - 0.5, r = std::hypot(dx, dy);
      if (r < inner || r > outer) continue;
      const double turn = std::atan2(dy, dx) / (2 * 3.14159265358979323846);
      const uint32_t hue = static_cast<uint32_t>((turn < 0 ? turn + 1 : turn) * 256) & 0xFF;
      pixels[static_cast<size_t>(y * w + x)] =
          (adjust::inHueRange(hue, from, to) ? vivid : pale)[hue];
    }
  drawPixels(d, pixels, w, h);
}

// The colour the three panel parameters (red, green, blue) give.
void drawSwatch(HWND dlg, const DialogState& s, const DRAWITEMSTRUCT& d) {
  HBRUSH brush =
      CreateSolidBrush(RGB(panelValue(dlg, s, 0), panelValue(dlg, s, 1), panelValue(dlg, s, 2)));
  FillRect(d.hDC, &d.rcItem, brush);
  DeleteObject(brush);
  FrameRect(d.hDC, &d.rcItem, GetSysColorBrush(COLOR_WINDOWTEXT));
}

// The Before picture under a point of the dialog's client area, in the
// picture's own coordinates; false when the point is elsewhere.
bool overBefore(HWND dlg, POINT& at) {
  HWND picture = GetDlgItem(dlg, kBeforeId);
  if (!picture) return false;
  MapWindowPoints(dlg, picture, &at, 1);
  RECT r;
  GetClientRect(picture, &r);
  return PtInRect(&r, at);
}

// A click on the Before picture makes the pixel under it the colour; the
// edit boxes take it, and trackbars and preview follow them.
void pickColour(HWND dlg, const DialogState& s, POINT at) {
  if (s.table->panel != Panel::PickColour || !overBefore(dlg, at)) return;
  std::array<uint8_t, 3> bgr;
  {
    const LockedBlock p(s.before.get());
    BITMAPINFOHEADER h;
    size_t offset;
    if (!geometry24(p, h, offset)) return;
    RECT frame;
    GetClientRect(GetDlgItem(dlg, kBeforeId), &frame);
    const RECT r = fitted(frame, h.biWidth, h.biHeight);
    if (!PtInRect(&r, at)) return;
    const long x = (at.x - r.left) * h.biWidth / (r.right - r.left);
    const long row = h.biHeight - 1 - (at.y - r.top) * h.biHeight / (r.bottom - r.top);
    std::memcpy(bgr.data(), p.data() + offset + size_t(row) * stride24(h.biWidth) + 3 * size_t(x),
                3);
  }
  for (int k = 0; k < 3; ++k)  // red, green, blue: the pixel's bytes backwards
    SetDlgItemInt(dlg, kEditId + s.table->panelParam + k, bgr[static_cast<size_t>(2 - k)], FALSE);
}

// Kernel cell `cell` as a number within what the convolution accepts (a
// value of magnitude up to 127, any 16-bit divisor); the value it had when
// it holds no number.
int16_t cellValue(HWND dlg, const KernelView& k, int cell) {
  BOOL ok = FALSE;
  const int v = static_cast<int>(GetDlgItemInt(dlg, kKernelCellId + cell, &ok, TRUE));
  const bool divisor = cell == k.size * k.size;
  const int low = divisor ? INT16_MIN : -127, high = divisor ? INT16_MAX : 127;
  return static_cast<int16_t>(ok ? std::clamp(v, low, high) : k.kernel[cell]);
}

INT_PTR CALLBACK dialogProc(HWND dlg, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* state = reinterpret_cast<DialogState*>(GetWindowLongPtrW(dlg, DWLP_USER));
  switch (message) {
    case WM_INITDIALOG:
      SetWindowLongPtrW(dlg, DWLP_USER, lParam);
      state = reinterpret_cast<DialogState*>(lParam);
      initDialog(dlg, *state);
      state->ready = true;
      refresh(dlg, *state);
      return TRUE;
    case WM_DRAWITEM: {
      const auto* d = reinterpret_cast<const DRAWITEMSTRUCT*>(lParam);
      if (!state) return FALSE;
      if (d->CtlID == kBeforeId || d->CtlID == kAfterId)
        drawImage(*d, d->CtlID == kBeforeId ? state->before.get() : state->after.get());
      else if (d->CtlID == kWheelId)
        drawWheel(*d, adjust::hueDegreesToBytes(static_cast<uint32_t>(panelValue(dlg, *state, 0))),
                  adjust::hueDegreesToBytes(static_cast<uint32_t>(panelValue(dlg, *state, 1))));
      else if (d->CtlID == kSwatchId)
        drawSwatch(dlg, *state, *d);
      else
        return FALSE;
      return TRUE;
    }
    case WM_LBUTTONDOWN:  // the pictures do not notify: a click on one comes here
      if (!state) return FALSE;
      pickColour(dlg, *state, {GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)});
      return TRUE;
    case WM_SETCURSOR: {
      POINT at;
      GetCursorPos(&at);
      ScreenToClient(dlg, &at);
      if (!state || state->table->panel != Panel::PickColour || !overBefore(dlg, at)) return FALSE;
      SetCursor(LoadCursorW(nullptr, MAKEINTRESOURCEW(32515)));  // the cross
      SetWindowLongPtrW(dlg, DWLP_MSGRESULT, TRUE);
      return TRUE;
    }
    case WM_HSCROLL: {
      const int i = GetDlgCtrlID(reinterpret_cast<HWND>(lParam)) - kTrackbarId;
      if (!state || i < 0 || i >= static_cast<int>(state->table->params.size())) return FALSE;
      state->syncing = true;
      SetDlgItemInt(
          dlg, kEditId + i,
          static_cast<UINT>(SendMessageW(reinterpret_cast<HWND>(lParam), TBM_GETPOS, 0, 0)), TRUE);
      state->syncing = false;
      return TRUE;
    }
    case WM_COMMAND: {
      const int id = LOWORD(wParam);
      const int i = id - kEditId;
      if (state && i >= 0 && i < static_cast<int>(state->table->params.size())) {
        const Param& p = state->table->params[static_cast<size_t>(i)];
        if (HIWORD(wParam) == EN_CHANGE && !state->syncing)
          SendDlgItemMessageW(dlg, kTrackbarId + i, TBM_SETPOS, TRUE, editValue(dlg, p, i));
        if (HIWORD(wParam) == EN_CHANGE) refresh(dlg, *state);
        if (HIWORD(wParam) == EN_KILLFOCUS)
          SetDlgItemInt(dlg, id, static_cast<UINT>(editValue(dlg, p, i)), TRUE);
        return TRUE;
      }
      const int cell = id - kKernelCellId;
      if (state && showsGrid(state->kernel) && cell >= 0 &&
          cell <= state->kernel->size * state->kernel->size) {
        if (HIWORD(wParam) == EN_KILLFOCUS && state->kernel->edited)
          SetDlgItemInt(dlg, id, static_cast<UINT>(cellValue(dlg, *state->kernel, cell)), TRUE);
        return TRUE;
      }
      if (id == IDOK && state) {
        for (size_t k = 0; k < state->table->params.size(); ++k)
          state->shown[k] = editValue(dlg, state->table->params[k], static_cast<int>(k));
        if (showsGrid(state->kernel))
          for (int c = 0; c <= state->kernel->size * state->kernel->size; ++c)
            state->cells[static_cast<size_t>(c)] = cellValue(dlg, *state->kernel, c);
        EndDialog(dlg, 1);
        return TRUE;
      }
      if (id == IDCANCEL) {
        EndDialog(dlg, 0);
        return TRUE;
      }
      return FALSE;
    }
    case WM_CLOSE:
      EndDialog(dlg, 0);
      return TRUE;
  }
  return FALSE;
}

}  // namespace

int32_t runDialog(const DialogTable& table, void* image, std::span<void* const> slots,
                  const KernelView* kernel) noexcept {
  try {
    if (table.params.size() > kMaxParams) return 1;
    DialogState state;
    state.table = &table;
    state.kernel = kernel;
    if (table.preview && image) state.before = thumbnail(image);
    std::array<int32_t, kMaxParams> before{};
    for (size_t i = 0; i < table.params.size(); ++i) {
      const Param& p = table.params[i];
      if (p.slot >= slots.size() || !slots[p.slot]) return 1;
      before[i] = state.shown[i] = shownValue(p, slots[p.slot]);
    }
    INITCOMMONCONTROLSEX controls{sizeof controls, ICC_BAR_CLASSES};
    InitCommonControlsEx(&controls);
    TemplateWriter t;
    buildTemplate(t, table, kernel, state.before.get() != nullptr);
    const INT_PTR result =
        DialogBoxIndirectParamW(reinterpret_cast<HINSTANCE>(&__ImageBase), t.get(),
                                GetActiveWindow(), dialogProc, reinterpret_cast<LPARAM>(&state));
    if (result == -1) return 1;  // no dialog: the caller's values stand
    if (result == 0) return 0;
    for (size_t i = 0; i < table.params.size(); ++i)
      if (state.shown[i] != before[i])
        store(table.params[i], slots[table.params[i].slot], state.shown[i]);
    if (kernel && kernel->edited && showsGrid(kernel))
      std::copy_n(state.cells.begin(), kernel->size * kernel->size + 1, kernel->edited);
    return 1;
  } catch (...) {
    return 1;  // out of memory building the template: as if no dialog could open
  }
}

}  // namespace nadiro::dialogs
