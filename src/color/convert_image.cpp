// ConvertDIBColorSpace: a whole image into another colour model. The result
// holds the target's components (reversed, as images store them) and the
// target's tag in biCompression.
#include <optional>

#include "color/convert.h"
#include "color/models.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "nadiro/nadiro.h"

namespace nadiro::color {
namespace {

// biCompression tag by model id; model 10 is written with CMYK's tag.
constexpr uint32_t kTags[kModelCount + 1] = {0, 0, 10, 11, 12, 13, 14, 15, 16, 17, 12};

bool validModel(int32_t model) { return model >= 1 && model <= kModelCount; }

// Model 10 has no tag of its own, so no image is ever read as model 10.
bool tagMatches(int32_t from, uint32_t compression) {
  return from != kCmykUcr && compression == kTags[from];
}

// Where the source's rows start and how far the conversion walks.
struct SourceWalk {
  uint64_t pixelOffset;
  uint32_t width;
  uint32_t height;
  uint32_t stride;
};

// The walk over `bits`-bit rows (24 for every source but CMYK, whatever the
// image's own depth), checked to lie inside the block.
std::optional<SourceWalk> measureWalk(const LockedBlock& source, uint32_t bits) {
  const uint8_t* p = source.data();
  const int32_t width = dib::load<int32_t>(p, dib::kWidth);
  const int32_t height = dib::load<int32_t>(p, dib::kHeight);
  if (width < 0 || height < 0) return std::nullopt;
  const auto stride = dib::rowStride(width, bits);
  const uint64_t offset = dib::kInfoHeaderSize + dib::DibColorTableBytes(p);
  if (!stride || !dib::blockHolds(source.size(), offset, *stride, height)) return std::nullopt;
  return SourceWalk{offset, static_cast<uint32_t>(width), static_cast<uint32_t>(height), *stride};
}

// Both image paths end alike: walk every byte of the source rows with
// progress, then tag the output with the target model and hand it over. A
// dialog that cannot open is code 6; a cancelled walk frees the output.
MemHandle finishWalk(const Walk& walk, const SourceWalk& geometry, int32_t to,
                     int32_t showProgress, void* owner, StepFn step, LockedBlock& target,
                     OwnedBlock& out) {
  const uint64_t total = uint64_t{geometry.stride} * geometry.height;
  if (!runWithProgress(walk, total, showProgress, owner, step)) {
    setLastError(NADIRO_ERR_NO_PROGRESS);
    return nullptr;
  }
  if (cancelRequested()) return nullptr;
  dib::store(target.data(), dib::kCompression, kTags[to]);
  target.unlock();
  return out.release();
}

// A CMYK source (4 bytes per pixel, stored K, Y, M, C) into a new 24-bit
// image. The new image comes from DibNew24From, which stores its pixel size
// into the source's biSizeImage, not its own. Targets 4 and 10 have no
// function: their output keeps its zeroed pixels.
MemHandle convertCmykImage(MemHandle image, const SourceWalk& geometry, int32_t to,
                           int32_t showProgress, void* owner, StepFn step) {
  OwnedBlock out(dib::DibNew24From(image));
  if (!out) return nullptr;
  LockedBlock source(image);
  LockedBlock target(out.get());
  if (!source || !target) return nullptr;
  const uint32_t outStride = *dib::rowStride(static_cast<int32_t>(geometry.width), 24);

  Walk walk;
  walk.src = source.data() + geometry.pixelOffset;
  walk.dst = target.data() + dib::kInfoHeaderSize;
  walk.stride = geometry.stride;
  walk.rowData = uint64_t{geometry.width} * 4;
  walk.inBytes = 4;
  walk.dstStride = outStride;
  walk.outBytes = 3;
  walk.kernel = rowKernelFor(kCmyk, to, Order::Reversed);
  return finishWalk(walk, geometry, to, showProgress, owner, step, target, out);
}

}  // namespace

uint32_t modelTag(int32_t model) { return validModel(model) ? kTags[model] : 0; }

MemHandle convertImage(MemHandle image, int32_t from, int32_t to, int32_t showProgress,
                       void* owner, StepFn step) {
  ThreadErrorBlockData* state = ThreadErrorBlock();
  state->lastError = NADIRO_OK;
  state->cancel = 0;
  if (!validModel(from) || !validModel(to)) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return nullptr;
  }
  LockedBlock source(image);
  // A handle that does not lock, or a block too short for a header, is
  // refused without a code, like an image of a depth the conversion skips.
  if (!source || source.size() < dib::kInfoHeaderSize) return nullptr;
  const uint16_t bits = dib::load<uint16_t>(source.data(), dib::kBitCount);
  if (bits != 24 && bits != 32 && from != kCmyk) return nullptr;
  if (!tagMatches(from, dib::load<uint32_t>(source.data(), dib::kCompression))) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return nullptr;
  }
  if (from == to) return image;  // the caller's own handle; `source` unlocks it

  // Rows that the block does not hold are refused before anything is made
  // or written (no code: no code of the conversion describes a short block).
  const auto geometry = measureWalk(source, from == kCmyk ? 32 : 24);
  if (!geometry) return nullptr;
  if (from == kCmyk) {
    source.unlock();
    return convertCmykImage(image, *geometry, to, showProgress, owner, step);
  }

  const bool fourBytes = modelBytes(to) == 4;
  // The 32-bit output is DibNew32From's: header copied, 32 bits, tag 0, its
  // own biSizeImage, no colour table, zeroed pixels.
  OwnedBlock out(fourBytes ? dib::DibNew32From(image) : dib::DibDuplicate(image));
  const uint32_t noOutput = fourBytes ? NADIRO_ERR_NO_OUTPUT_IMAGE : NADIRO_ERR_NO_MEMORY;
  if (!out) {
    setLastError(noOutput);
    return nullptr;
  }
  LockedBlock target(out.get());
  if (!target) {
    setLastError(noOutput);
    return nullptr;
  }

  Walk walk;
  walk.src = source.data() + geometry->pixelOffset;
  walk.stride = geometry->stride;
  walk.rowData = uint64_t{geometry->width} * 3;
  walk.inBytes = 3;
  if (fourBytes) {
    walk.dst = target.data() + dib::kInfoHeaderSize;
    walk.dstStride = *dib::rowStride(static_cast<int32_t>(geometry->width), 32);
    walk.outBytes = 4;
  } else {
    walk.dst = target.data() + geometry->pixelOffset;
    walk.dstStride = geometry->stride;
    walk.outBytes = 3;
  }
  walk.kernel = rowKernelFor(from, to, Order::Reversed);
  return finishWalk(walk, *geometry, to, showProgress, owner, step, target, out);
}

}  // namespace nadiro::color

extern "C" NADIRO_API NadiroHandle NADIRO_CALL ConvertDIBColorSpace(NadiroHandle image,
                                                                   int32_t from, int32_t to,
                                                                   int32_t showProgress,
                                                                   NadiroWindow owner) {
  return nadiro::color::convertImage(image, from, to, showProgress, owner, &nadiro::ProgressStep);
}
