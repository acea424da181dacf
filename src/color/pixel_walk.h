// Running a pixel conversion over many pixels: the row kernels of every
// member (chosen once per call, never per pixel), the byte-index walk that the
// image and buffer conversions share, and the progress/cancel driver.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "color/models.h"
#include "frame/progress.h"

namespace nadiro::color {

// Converts `count` consecutive pixels from src to dst.
using RowKernel = void (*)(const uint8_t* src, uint8_t* dst, size_t count);

// Component order of the records in memory: images hold them reversed
// (B, G, R; K, Y, M, C), buffers in model order.
enum class Order { Reversed, Model };

// The kernel converting model `from` into model `to` (ids 1..10), or null when
// the pair has no conversion function (equal models, model 10 as source, and
// model 10 as target of anything but RGB).
RowKernel rowKernelFor(int32_t from, int32_t to, Order order);

// Bytes per pixel of a model in images and buffers: 4 for the two CMYK forms.
inline uint32_t modelBytes(int32_t model) {
  return isCmykModel(model) ? 4u : 3u;
}

// A byte-by-byte walk over `height` rows of `stride` bytes. A byte index i
// starts a pixel when (i mod stride) < rowData and is a multiple of inBytes;
// the pixel is read at src + i and written to dst at row (i div stride),
// pixel (i mod stride) div inBytes of rows dstStride apart, outBytes each.
struct Walk {
  const uint8_t* src = nullptr;
  uint8_t* dst = nullptr;
  uint64_t stride = 0;
  uint64_t rowData = 0;
  uint32_t inBytes = 3;
  uint64_t dstStride = 0;
  uint32_t outBytes = 3;
  RowKernel kernel = nullptr;  // null: the walk converts nothing
};

// Converts every pixel starting at a byte index in [begin, end).
void walkRange(const Walk& walk, uint64_t begin, uint64_t end);

// Progress steps come every this many bytes of a conversion walk.
inline constexpr int32_t kProgressInterval = 1500;

// Drives work(begin, end) over the byte indices [0, total) as the
// conversions define it: before each index, stop if the cancel flag is set;
// with progress shown and the dialog open, step at every multiple of the
// interval. The cancel flag changes only inside a step, so the work runs in
// whole intervals; the index whose step saw Cancel is still converted.
// Returns the index reached (total, or where Cancel stopped the walk).
template <typename Work>
uint64_t runWalk(uint64_t total, bool showing, Work&& work) {
  uint64_t i = 0;
  while (i < total) {
    if (cancelRequested()) return i;
    uint64_t end = total;
    if (showing) {
      if (progressOpen() && i % kProgressInterval == 0) progressStep();
      const uint64_t next = (i / kProgressInterval + 1) * kProgressInterval;
      end = next < total ? next : total;
      if (cancelRequested()) end = i + 1;
    }
    work(i, end);
    i = end;
  }
  return total;
}

// Runs a whole walk of `total` bytes: with showProgress non-zero under a
// progress dialog of `owner` (range total + 1, a step every interval),
// destroyed again at the end. Returns the index reached, or nothing when the
// dialog could not be created.
std::optional<uint64_t> runWithProgress(const Walk& walk, uint64_t total, int32_t showProgress,
                                        void* owner);

}  // namespace nadiro::color
