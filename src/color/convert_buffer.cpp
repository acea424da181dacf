// ConvertColorSpace: a raw pixel buffer (no header, no rows, no padding)
// into another colour model, components in model order on both sides.
#include "color/models.h"
#include "color/pixel_walk.h"
#include "nadiro/nadiro.h"

namespace nadiro::color {
namespace {

// A pixel starts at every index below length that is a multiple of the
// source's pixel size and is read whole, so the last one may read past
// length (length 7: pixels at 0, 3 and 6, the last reading 6..8). Whether
// the target has room is the caller's contract: length bytes, or
// length * 4 / 3 for four-byte targets. A pair without a conversion
// function (equal models, model 10 as source, model 10 from anything but
// RGB, CMYK to model 10) walks the buffer and writes nothing.
Walk bufferWalk(const uint8_t* source, uint8_t* target, int32_t length, int32_t from, int32_t to) {
  Walk walk;
  walk.src = source;
  walk.dst = target;
  walk.stride = static_cast<uint64_t>(length);
  walk.rowData = walk.stride;
  walk.inBytes = from == NADIRO_MODEL_CMYK ? 4 : 3;
  walk.outBytes = modelBytes(to);
  walk.kernel = rowKernelFor(from, to, Order::Model);
  return walk;
}

}  // namespace
}  // namespace nadiro::color

using namespace nadiro;

extern "C" NADIRO_API int32_t NADIRO_CALL ConvertColorSpace(const uint8_t* source, uint8_t* target,
                                                            int32_t length, int32_t from,
                                                            int32_t to, int32_t showProgress,
                                                            NadiroWindow owner) {
  beginCall();
  if (!color::isModel(from) || !color::isModel(to)) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return -1;
  }
  if (length < 1 || !source || !target) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return -1;
  }
  const color::Walk walk = color::bufferWalk(source, target, length, from, to);
  const auto reached = color::runWithProgress(walk, walk.stride, showProgress, owner);
  if (!reached) {
    setLastError(NADIRO_ERR_NO_PROGRESS);
    return -1;
  }
  return static_cast<int32_t>(*reached);
}
