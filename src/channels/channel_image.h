// Greyscale channel images, made by the channel split and read by the
// channel merge: an 8-bit image with a 256-entry grey table, (i, i, i, 0)
// for entry i, and rows of (width + 3) rounded down to a multiple of 4 bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/dib.h"

namespace nadiro::channels {

inline constexpr size_t kChannelPixelOffset = dib::kInfoHeaderSize + 4 * dib::kGreyEntries;

inline uint64_t channelStride(uint32_t width) {
  return (uint64_t{width} + 3) / 4 * 4;
}

// Header (size 40, 1 plane, 8 bits, no compression, image size rows times
// stride, the given resolution, 256 colours used and important) and grey
// table of a channel image at `block`.
void writeChannelHeader(uint8_t* block, int32_t width, int32_t height, int32_t xRes, int32_t yRes);

// The rows a split reads: 3 or 4 bytes per pixel, each row first through
// `convert` (a pixel-conversion row kernel) when one is given.
struct SplitSource {
  const uint8_t* rows = nullptr;
  size_t stride = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t pixelBytes = 3;  // of the pixels split: after `convert`, when given
  void (*convert)(const uint8_t* src, uint8_t* dst, size_t count) = nullptr;
};

// The split's core: byte 2, 1, 0 (and 3 for 4-byte pixels) of every pixel
// into channel rows 1, 2, 3 (and 4). `converted` holds one converted row
// (width * pixelBytes bytes) when the source converts.
void splitRows(const SplitSource& source, uint8_t* converted, uint8_t* const* channels,
               size_t channelStride);

// The merge's core: the channels' bytes read as components of `model`
// (1..10) and converted to RGB, stored B, G, R. channels[3] is read for
// models 4 and 10 only.
void mergeRows(uint32_t model, const uint8_t* const* channels, const size_t* channelStrides,
               uint8_t* dst, size_t dstStride, uint32_t width, uint32_t height);

}  // namespace nadiro::channels
