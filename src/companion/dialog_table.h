// The parameter dialogs as tables: each dialog is a title, a list of
// parameters and an optional extra panel. A parameter names the variable it
// edits (an index into the pointers the entry point received), the units that
// variable holds and the range a person reads (degrees, percent, bytes). One
// engine (dialogs_win32.cpp) builds every dialog from these tables.
#pragma once

#include <cstdint>
#include <span>

namespace nadiro::dialogs {

// How a variable behind an entry point's pointer maps onto the whole number a
// person reads and edits.
enum class Unit : uint8_t {
  Int32,     // int32_t, shown as is
  Uint32,    // uint32_t, shown as is
  HueShift,  // int32_t hue-byte shift (255 = a full turn), shown in degrees
  HueAngle,  // uint32_t hue byte 0..255, shown in degrees 0..360
  Factor,    // double multiplier 0..2, shown as a percentage change -100..100
  Byte0,     // byte 0 of a uint32_t slot
  Byte1,     // byte 1
  Byte2,     // byte 2
};

struct Param {
  const wchar_t* label;  // with its '&' mnemonic
  uint8_t slot;          // which of the entry point's pointers
  Unit unit;
  int32_t min, max;  // what a person reads
};

// What a dialog shows below its parameters: nothing, a question, the
// convolution kernel, the hue wheel with the selected range, or the colour
// picked from the preview.
enum class Panel : uint8_t { None, Confirm, Kernel, HueWheel, PickColour };

// Runs the dialog's operation with no dialogs on `thumbnail` with the values
// as shown (in the table's order); gives a new image, or null.
using Preview = void* (*)(void* thumbnail, const int32_t* shown);

struct DialogTable {
  const wchar_t* title;
  std::span<const Param> params;
  Panel panel;
  Preview preview = nullptr;
  // The first parameter the panel follows: the hue wheel's range start (its
  // end next), the picked colour's red (green and blue next).
  uint8_t panelParam = 0;
};

// Control identifiers: parameter i has its trackbar at kTrackbarId + i and
// its edit box at kEditId + i; the kernel grid's cells follow kKernelCellId
// row by row (the divisor last), the kernel description is kKernelTextId.
inline constexpr int kTrackbarId = 200;
inline constexpr int kEditId = 300;
inline constexpr int kKernelTextId = 400;
inline constexpr int kKernelCellId = 500;
inline constexpr int kBeforeId = 450;  // the preview: the image as it is
inline constexpr int kAfterId = 451;   // and with the values shown
inline constexpr int kWheelId = 452;   // the hue wheel
inline constexpr int kSwatchId = 453;  // the picked colour

// What the convolution dialog shows: the kernel as the caller passed it.
struct KernelView {
  uint32_t source;            // 1 array, 2 file, 3..6 built in
  int32_t size;               // 3..7 when the grid is shown
  const wchar_t* fileName;    // read only for source 2
  const int16_t* kernel;      // read only for source 1: size * size values, then the divisor
  int16_t* edited = nullptr;  // set: the grid can be edited and OK stores it here, same layout
};

// Shows the dialog modally, owned by the calling thread's active window;
// with a preview, a thumbnail of `image` (a 24-bit image) shows the effect.
// `slots` holds the entry point's pointers in the order the table's slots
// count them. OK stores every value the person changed (an untouched value
// keeps its exact bits) and an editable kernel grid, and gives 1; Cancel, Esc or the close box give
// 0 and store nothing. A dialog that cannot be created gives 1 and stores nothing: the caller's
// values are accepted as they are.
int32_t runDialog(const DialogTable& table, void* image, std::span<void* const> slots,
                  const KernelView* kernel = nullptr) noexcept;

}  // namespace nadiro::dialogs
