// What the adjustments of a 24-bit copy share: the mode argument, the column
// walk with its progress steps and cancel test, and the run from the locked
// source to the returned copy.
#pragma once

#include <cstdint>

#include "adjust/adjust.h"
#include "frame/companion.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "frame/open_image.h"
#include "frame/progress.h"
#include "frame/thread_state.h"

namespace nadiro::adjust {

// One progress step every this many columns.
inline constexpr int32_t kColumnsPerStep = 5;

// Mode 1 progress, 2 parameter dialog, 3 both; exact comparisons.
inline bool wantsProgress(int32_t mode) {
  return mode == 1 || mode == 3;
}
inline bool wantsDialog(int32_t mode) {
  return mode == 2 || mode == 3;
}

// The work units given to the progress dialog for a picture width.
enum class ProgressUnits {
  WidthPlusOne,  // width + 1
  WholeSteps,    // the width rounded up to whole steps: ((width + 4) / 5) * 5
};
inline int32_t progressTotal(ProgressUnits units, uint32_t width) {
  const int64_t w = width;
  const int64_t total = units == ProgressUnits::WidthPlusOne
                            ? w + 1
                            : (w + kColumnsPerStep - 1) / kColumnsPerStep * kColumnsPerStep;
  return static_cast<int32_t>(total);
}

// Walks the picture column by column: before each column stop if Cancel was
// pressed, and with progress shown step the open dialog at every multiple of
// the step interval. The cancel flag changes only inside a step, so the
// columns between two steps run as one band, row after row, which gives the
// same pixels as a walk down each column (every pixel depends on itself
// alone). Without progress nothing can cancel and the picture runs row by row.
template <class Kernel>
void walkColumns(const Picture& p, bool showing, const Kernel& kernel) {
  if (!showing) {
    applyColumns(p, 0, p.width, kernel);
    return;
  }
  const uint32_t band = static_cast<uint32_t>(kColumnsPerStep);
  for (uint32_t x = 0; x < p.width; x += band) {
    if (cancelRequested()) return;
    if (progressOpen()) progressStep();
    if (cancelRequested()) return;  // the copy is thrown away: skip the band
    applyColumns(p, x, p.width - x < band ? p.width : x + band, kernel);
  }
}

// The run of every adjustment of a copy, after its argument checks: lock the
// source (refused without a code when it does not lock, is not 24-bit or its
// block does not hold its rows), duplicate it (code 1 when that fails), ask
// the dialog with mode 2 or 3 (Cancel: 0), open progress with mode 1 or 3
// (failure: 0, no code), build the row kernel from the settings as the
// dialog left them, walk, and hand the copy over unless Cancel was pressed.
// `dialog()` returns the companion's DialogResult; `makeKernel()` returns a
// callable (uint8_t* bgr, size_t count).
template <class Dialog, class MakeKernel>
MemHandle adjustCopy(MemHandle image, int32_t mode, void* owner, ProgressUnits units,
                     const Dialog& dialog, const MakeKernel& makeKernel) {
  const OpenImage source(image);
  if (!source.hasHeader() || source.header().bitCount != 24) return nullptr;
  const auto layout = source.layout();
  if (!layout) return nullptr;

  OwnedBlock copy(dib::dibDuplicate(image));
  if (!copy) {
    setLastError(NADIRO_ERR_NO_MEMORY);
    return nullptr;
  }
  LockedBlock work(copy.get());
  if (!work) return nullptr;

  if (wantsDialog(mode) && dialog() == DialogResult::Cancelled) return nullptr;
  const bool showing = wantsProgress(mode);
  if (showing && !progressCreate(owner, progressTotal(units, layout->width), kColumnsPerStep))
    return nullptr;

  const Picture picture{work.data() + layout->pixelOffset, layout->stride, layout->width,
                        layout->height};
  walkColumns(picture, showing, makeKernel());
  if (showing) progressDestroy();
  if (cancelRequested()) return nullptr;
  work.unlock();
  return copy.release();
}

}  // namespace nadiro::adjust
