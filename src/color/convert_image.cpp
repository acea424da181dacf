// ConvertDIBColorSpace: a whole image into another colour model. The result
// holds the target's components (reversed, as images store them) and the
// target's tag in biCompression.
#include <cstring>
#include <optional>

#include "color/models.h"
#include "color/pixel_walk.h"
#include "frame/dib.h"
#include "frame/open_image.h"
#include "nadiro/nadiro.h"

namespace nadiro::color {
namespace {

bool tagMatches(int32_t from, uint32_t compression) {
  return from != NADIRO_MODEL_CMYK_UCR && compression == modelTag(from);
}

// The source rows the conversion walks: `bits`-bit rows (24 for every
// source but CMYK, whatever the image's own depth) behind the colour table,
// checked to lie inside the block.
std::optional<dib::Layout> measureWalk(const OpenImage& source, uint32_t bits) {
  const uint8_t* p = source.data();
  const dib::Header& h = source.header();
  if (h.width < 0 || h.height < 0) return std::nullopt;
  const auto stride = dib::rowStride(h.width, bits);
  const uint64_t offset = dib::kInfoHeaderSize + dib::dibColorTableBytes(p);
  if (!stride || !dib::blockHolds(source.size(), offset, *stride, h.height)) return std::nullopt;
  dib::Layout l;
  l.header = h;
  l.pixelOffset = offset;
  l.stride = *stride;
  l.width = static_cast<uint32_t>(h.width);
  l.height = static_cast<uint32_t>(h.height);
  return l;
}

// The walk from the source rows into the output's rows: `inBytes` source
// bytes per pixel, output rows of `outBits` at `outOffset`.
Walk imageWalk(const uint8_t* source, const dib::Layout& rows, uint32_t inBytes, uint8_t* target,
               uint64_t outOffset, uint64_t outStride, int32_t from, int32_t to) {
  Walk walk;
  walk.src = source + rows.pixelOffset;
  walk.stride = rows.stride;
  walk.rowData = uint64_t{rows.width} * inBytes;
  walk.inBytes = inBytes;
  walk.dst = target + outOffset;
  walk.dstStride = outStride;
  walk.outBytes = modelBytes(to);
  walk.kernel = rowKernelFor(from, to, Order::Reversed);
  return walk;
}

// Both image paths end alike: walk every byte of the source rows with
// progress, then tag the output with the target model and hand it over. A
// dialog that cannot open is code 6; a cancelled walk frees the output.
MemHandle finishWalk(const Walk& walk, const dib::Layout& rows, int32_t to, int32_t showProgress,
                     void* owner, LockedBlock& target, OwnedBlock& out) {
  const uint64_t total = uint64_t{rows.stride} * rows.height;
  if (!runWithProgress(walk, total, showProgress, owner)) {
    setLastError(NADIRO_ERR_NO_PROGRESS);
    return nullptr;
  }
  if (cancelRequested()) return nullptr;
  dib::store(target.data(), dib::kCompression, modelTag(to));
  target.unlock();
  return out.release();
}

// A CMYK source (4 bytes per pixel, stored K, Y, M, C) into a new 24-bit
// image. The new image comes from dibNew24From, which stores its pixel size
// into the source's biSizeImage, not its own. Targets 4 and 10 have no
// function: their output keeps its zeroed pixels.
MemHandle convertCmykImage(MemHandle image, const dib::Layout& rows, int32_t to,
                           int32_t showProgress, void* owner) {
  OwnedBlock out(dib::dibNew24From(image));
  if (!out) return nullptr;
  LockedBlock source(image);
  LockedBlock target(out.get());
  if (!source || !target) return nullptr;
  const uint32_t outStride = *dib::rowStride(static_cast<int32_t>(rows.width), 24);
  const Walk walk = imageWalk(source.data(), rows, 4, target.data(), dib::kInfoHeaderSize,
                              outStride, NADIRO_MODEL_CMYK, to);
  return finishWalk(walk, rows, to, showProgress, owner, target, out);
}

// A block of the image's size holding what a copy of the image would hold
// once the walk has written every pixel of its rows (`rowData` bytes at the
// start of each row): the header, the colour table, the rows' padding and
// anything behind the rows are copied, the pixels are left for the walk. A
// walk that stops early (cancelled) frees the block unseen.
OwnedBlock copyAroundRows(const OpenImage& source, const dib::Layout& rows, uint64_t rowData) {
  OwnedBlock out = OwnedBlock::allocate(source.size(), kMemMoveable);
  LockedBlock target(out.get());
  if (!target) return out;
  // The rows lie inside the block (measureWalk), so every offset is a size_t.
  const auto stride = static_cast<size_t>(rows.stride);
  const auto written = static_cast<size_t>(rowData);
  const uint8_t* from = source.data();
  uint8_t* to = target.data();
  size_t at = static_cast<size_t>(rows.pixelOffset);
  std::memcpy(to, from, at);
  // Rows the walk fills completely (zero-width rows among them, however
  // many) leave nothing to copy between them.
  if (stride > written)
    for (uint32_t row = 0; row < rows.height; ++row)
      std::memcpy(to + at + size_t{row} * stride + written,
                  from + at + size_t{row} * stride + written, stride - written);
  at += stride * rows.height;
  std::memcpy(to + at, from + at, source.size() - at);
  return out;
}

// Any other source: 24-bit rows into a copy of the image (3-byte targets)
// or into dibNew32From's new image (the four-byte targets: header copied,
// 32 bits, tag 0, its own biSizeImage, no colour table, zeroed pixels).
MemHandle convertRgbRows(MemHandle image, const OpenImage& source, const dib::Layout& rows,
                         int32_t from, int32_t to, int32_t showProgress, void* owner) {
  const bool fourBytes = modelBytes(to) == 4;
  // Every pair with a three-byte target has a kernel; without one the walk
  // would write nothing and the copy takes the pixels too.
  const uint64_t written = rowKernelFor(from, to, Order::Reversed) ? uint64_t{rows.width} * 3 : 0;
  OwnedBlock out(fourBytes ? dib::dibNew32From(image)
                           : copyAroundRows(source, rows, written).release());
  LockedBlock target(out.get());
  if (!target) {
    setLastError(fourBytes ? NADIRO_ERR_NO_OUTPUT_IMAGE : NADIRO_ERR_NO_MEMORY);
    return nullptr;
  }
  const Walk walk = fourBytes
                        ? imageWalk(source.data(), rows, 3, target.data(), dib::kInfoHeaderSize,
                                    *dib::rowStride(static_cast<int32_t>(rows.width), 32), from, to)
                        : imageWalk(source.data(), rows, 3, target.data(), rows.pixelOffset,
                                    rows.stride, from, to);
  return finishWalk(walk, rows, to, showProgress, owner, target, out);
}

}  // namespace
}  // namespace nadiro::color

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL ConvertDIBColorSpace(NadiroHandle image,
                                                                    int32_t from, int32_t to,
                                                                    int32_t showProgress,
                                                                    NadiroWindow owner) {
  beginCall();
  if (!color::isModel(from) || !color::isModel(to)) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return nullptr;
  }
  OpenImage source(image);
  // A handle that does not lock, or a block too short for a header, is
  // refused without a code, like an image of a depth the conversion skips.
  if (!source.hasHeader()) return nullptr;
  const uint16_t bits = source.header().bitCount;
  if (bits != 24 && bits != 32 && from != NADIRO_MODEL_CMYK) return nullptr;
  if (!color::tagMatches(from, source.header().compression)) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return nullptr;
  }
  if (from == to) return image;  // the caller's own handle; `source` unlocks it

  // Rows that the block does not hold are refused before anything is made
  // or written (no code: no code of the conversion describes a short block).
  const auto rows = color::measureWalk(source, from == NADIRO_MODEL_CMYK ? 32 : 24);
  if (!rows) return nullptr;
  if (from == NADIRO_MODEL_CMYK) {
    source.block().unlock();
    return color::convertCmykImage(image, *rows, to, showProgress, owner);
  }
  return color::convertRgbRows(image, source, *rows, from, to, showProgress, owner);
}
