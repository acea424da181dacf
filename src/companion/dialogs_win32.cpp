// The dialog engine of the companion module: one in-memory dialog template
// built from a dialog's table, one dialog procedure for all of them. Every
// parameter is a label (its mnemonic moves the focus to the trackbar), a
// trackbar and an edit box kept in step. The template uses the system's
// message font, so dialog units and the whole layout follow font and DPI.
#include <windows.h>
// windows.h first: commctrl.h needs its types.
#include <commctrl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "companion/dialog_table.h"

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
      i = static_cast<int32_t>(shown / 360.0 * 255.0);
      std::memcpy(slot, &i, 4);
      return;
    case Unit::HueAngle:
      u = static_cast<uint32_t>(shown / 360.0 * 255.0);
      std::memcpy(slot, &u, 4);
      return;
    case Unit::Factor:
      d = shown < 0 ? (shown + 100) / 100.0 : shown / 100.0 + 1.0;
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
    shorts({0, 0, cx, cy});
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
  size_t countAt_ = 0;
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
constexpr short kWidth = kMargin + kLabelWidth + kBarWidth + kEditWidth + 3 * 4;
constexpr short kCell = 24, kButtonWidth = 50, kButtonHeight = 14;

constexpr short kPreviewWidth = 92, kPreviewHeight = 64;

void buildTemplate(TemplateWriter& t, const DialogTable& table, const KernelView* kernel,
                   bool preview) {
  const int n = static_cast<int>(table.params.size());
  const bool grid = kernel && kernel->source == 1 && kernel->kernel && kernel->size >= 3 &&
                    kernel->size <= kMaxKernel;
  short panel = 0;
  if (table.panel == Panel::Confirm) panel = 24;
  if (table.panel == Panel::Kernel)
    panel = static_cast<short>(30 + (grid ? kernel->size + 1 : 0) * 14);
  const short previewBottom = preview ? kMargin + 2 * (12 + kPreviewHeight) + 4 : 0;
  const short buttonsY =
      std::max(static_cast<short>(kMargin + n * kRow + panel + 4), previewBottom);
  const short height = static_cast<short>(buttonsY + kButtonHeight + kMargin);
  const short width = preview ? kWidth + kPreviewWidth + 4 : kWidth;
  const DialogFont font = messageFont();
  t.header(WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_CENTER | DS_SETFONT, table.title,
           width, height, font.face.c_str(), font.points);
  if (preview)
    for (int k = 0; k < 2; ++k) {
      const short y = static_cast<short>(kMargin + k * (12 + kPreviewHeight + 4));
      t.item(SS_LEFT, kWidth, y, kPreviewWidth, 8, -1, L"STATIC", k ? L"After:" : L"Before:");
      t.item(SS_OWNERDRAW, kWidth, static_cast<short>(y + 10), kPreviewWidth, kPreviewHeight,
             kBeforeId + k, L"STATIC", L"");
    }
  for (int i = 0; i < n; ++i) {
    const short y = static_cast<short>(kMargin + i * kRow);
    const short barX = kMargin + kLabelWidth + 4;
    t.item(SS_LEFT, kMargin, static_cast<short>(y + 3), kLabelWidth, 8, -1, L"STATIC",
           table.params[static_cast<size_t>(i)].label);
    t.item(WS_TABSTOP | WS_GROUP | TBS_HORZ | TBS_NOTICKS, barX, y, kBarWidth, 15, kTrackbarId + i,
           TRACKBAR_CLASSW, L"");
    t.item(WS_TABSTOP | WS_BORDER | ES_RIGHT | ES_AUTOHSCROLL, barX + kBarWidth + 4,
           static_cast<short>(y + 1), kEditWidth, 12, kEditId + i, L"EDIT", L"");
  }
  const short panelY = static_cast<short>(kMargin + n * kRow);
  const short textWidth = kWidth - 2 * kMargin;
  if (table.panel == Panel::Confirm)
    t.item(SS_LEFT, kMargin, panelY, textWidth, 20, -1, L"STATIC",
           L"Every pixel of the image becomes grey. Go on?");
  if (table.panel == Panel::Kernel) {
    t.item(SS_LEFT | SS_NOPREFIX, kMargin, panelY, textWidth, 24, kKernelTextId, L"STATIC", L"");
    if (grid) {
      t.item(SS_LEFT, kMargin, static_cast<short>(panelY + 30 + kernel->size * 14), 2 * kCell - 4,
             8, -1, L"STATIC", L"Divisor:");
      for (int cell = 0; cell <= kernel->size * kernel->size; ++cell) {
        const bool divisor = cell == kernel->size * kernel->size;
        const int row = divisor ? kernel->size : cell / kernel->size;
        const int column = divisor ? 2 : cell % kernel->size;  // after its label
        t.item(WS_TABSTOP | WS_BORDER | ES_RIGHT | ES_READONLY,
               static_cast<short>(kMargin + column * kCell),
               static_cast<short>(panelY + 28 + row * 14), kCell - 2, 12, kKernelCellId + cell,
               L"EDIT", L"");
      }
    }
  }
  const short okX = static_cast<short>(width - kMargin - 2 * kButtonWidth - 4);
  t.item(WS_TABSTOP | WS_GROUP | BS_DEFPUSHBUTTON, okX, buttonsY, kButtonWidth, kButtonHeight, IDOK,
         L"BUTTON", L"OK");
  t.item(WS_TABSTOP | BS_PUSHBUTTON, static_cast<short>(okX + kButtonWidth + 4), buttonsY,
         kButtonWidth, kButtonHeight, IDCANCEL, L"BUTTON", L"Cancel");
}

// ---- the live dialog -------------------------------------------------------

// A global memory block owned for the length of a dialog.
class Block {
 public:
  Block() = default;
  explicit Block(HGLOBAL h) : h_(h) {}
  ~Block() {
    if (h_) GlobalFree(h_);
  }
  Block(const Block&) = delete;
  Block& operator=(Block&& o) noexcept {
    std::swap(h_, o.h_);
    return *this;
  }
  HGLOBAL get() const { return h_; }

 private:
  HGLOBAL h_ = nullptr;
};

// A locked block, unlocked at the end of the scope.
class Locked {
 public:
  explicit Locked(HGLOBAL h) : h_(h), p_(h ? static_cast<uint8_t*>(GlobalLock(h)) : nullptr) {}
  ~Locked() {
    if (p_) GlobalUnlock(h_);
  }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;
  uint8_t* get() const { return p_; }

 private:
  HGLOBAL h_;
  uint8_t* p_;
};

// Width, height and pixel offset of a bottom-up 24-bit image, or false.
bool geometry24(HGLOBAL image, const uint8_t* p, BITMAPINFOHEADER& h, size_t& offset) {
  if (!p || GlobalSize(image) < sizeof h) return false;
  std::memcpy(&h, p, sizeof h);
  if (h.biSize != sizeof h || h.biBitCount != 24 || h.biWidth <= 0 || h.biHeight <= 0 ||
      h.biWidth > 65535 || h.biHeight > 65535 || h.biClrUsed > 256)
    return false;
  offset = sizeof h + 4 * size_t{h.biClrUsed};
  const size_t stride = (3 * size_t(h.biWidth) + 3) & ~size_t{3};
  return offset + stride * size_t(h.biHeight) <= GlobalSize(image);
}

// The image scaled down once (nearest pixel) to fit the preview, as a new
// 24-bit image; null when the image is not one the preview can show.
HGLOBAL thumbnail(HGLOBAL image) {
  Locked source(image);
  BITMAPINFOHEADER h;
  size_t offset;
  if (!geometry24(image, source.get(), h, offset)) return nullptr;
  constexpr long kSide = 128;
  const long big = std::max(h.biWidth, h.biHeight);
  const long w = std::max(1L, h.biWidth * std::min(big, kSide) / big);
  const long ht = std::max(1L, h.biHeight * std::min(big, kSide) / big);
  const size_t stride = (3 * size_t(w) + 3) & ~size_t{3};
  const size_t from = (3 * size_t(h.biWidth) + 3) & ~size_t{3};
  HGLOBAL out = GlobalAlloc(GHND, sizeof h + stride * size_t(ht));
  Locked target(out);
  if (!target.get()) {
    if (out) GlobalFree(out);
    return nullptr;
  }
  BITMAPINFOHEADER t = h;
  t.biWidth = w;
  t.biHeight = ht;
  t.biSizeImage = static_cast<DWORD>(stride * size_t(ht));
  t.biClrUsed = t.biClrImportant = 0;
  std::memcpy(target.get(), &t, sizeof t);
  for (long y = 0; y < ht; ++y)
    for (long x = 0; x < w; ++x)
      std::memcpy(target.get() + sizeof t + size_t(y) * stride + 3 * size_t(x),
                  source.get() + offset + size_t(y * h.biHeight / ht) * from +
                      3 * size_t(x * h.biWidth / w),
                  3);
  return out;
}

struct DialogState {
  const DialogTable* table = nullptr;
  const KernelView* kernel = nullptr;
  std::array<int32_t, kMaxParams> shown{};
  bool syncing = false;
  bool ready = false;   // set once every control holds its value
  Block before, after;  // the preview's thumbnail and its result
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
    if (k->source == 1 && k->kernel && k->size >= 3 && k->size <= kMaxKernel)
      for (int cell = 0; cell <= k->size * k->size; ++cell)
        SetDlgItemInt(dlg, kKernelCellId + cell, static_cast<UINT>(k->kernel[cell]), TRUE);
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

// Runs the preview with the values as they stand now.
void refresh(HWND dlg, DialogState& s) {
  if (!s.ready || !s.before.get()) return;
  std::array<int32_t, kMaxParams> v{};
  for (size_t k = 0; k < s.table->params.size(); ++k)
    v[k] = editValue(dlg, s.table->params[k], static_cast<int>(k));
  s.after = Block(static_cast<HGLOBAL>(s.table->preview(s.before.get(), v.data())));
  InvalidateRect(GetDlgItem(dlg, kAfterId), nullptr, TRUE);
}

// Draws a 24-bit image into an owner-drawn frame, scaled to fit.
void drawImage(const DRAWITEMSTRUCT& d, HGLOBAL image) {
  FillRect(d.hDC, &d.rcItem, GetSysColorBrush(COLOR_BTNFACE));
  Locked p(image);
  BITMAPINFOHEADER h;
  size_t offset;
  if (!geometry24(image, p.get(), h, offset)) return;
  const long fw = d.rcItem.right - d.rcItem.left, fh = d.rcItem.bottom - d.rcItem.top;
  const long w = std::min(fw, h.biWidth * fh / h.biHeight),
             ht = std::min(fh, h.biHeight * fw / h.biWidth);
  SetStretchBltMode(d.hDC, HALFTONE);
  StretchDIBits(d.hDC, static_cast<int>(d.rcItem.left + (fw - w) / 2),
                static_cast<int>(d.rcItem.top + (fh - ht) / 2), static_cast<int>(w),
                static_cast<int>(ht), 0, 0, static_cast<int>(h.biWidth),
                static_cast<int>(h.biHeight), p.get() + offset,
                reinterpret_cast<const BITMAPINFO*>(p.get()), DIB_RGB_COLORS, SRCCOPY);
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
      if (!state || (d->CtlID != kBeforeId && d->CtlID != kAfterId)) return FALSE;
      drawImage(*d, d->CtlID == kBeforeId ? state->before.get() : state->after.get());
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
      if (id == IDOK && state) {
        for (size_t k = 0; k < state->table->params.size(); ++k)
          state->shown[k] = editValue(dlg, state->table->params[k], static_cast<int>(k));
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
    if (table.preview && image) state.before = Block(thumbnail(static_cast<HGLOBAL>(image)));
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
    return 1;
  } catch (...) {
    return 1;  // out of memory building the template: as if no dialog could open
  }
}

}  // namespace nadiro::dialogs
