// SplitColorChannels: a 24-bit or 32-bit image expressed in one of the ten
// colour models and handed back as one 8-bit greyscale image per component.
// The whole-image conversion makes the model's pixels; this file checks,
// allocates the channel images and copies bytes.
#include <cstring>

#include "channels/channel_image.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "frame/progress.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"

namespace nadiro::channels {
namespace {

constexpr uint32_t kMaxChannels = 4;

// Copies byte 2, 1, 0 (and 3) of every pixel of one row into channel rows
// 1, 2, 3 (and 4).
template <uint32_t kBytes>
void splitRow(const uint8_t* px, uint8_t* const* out, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, px += kBytes) {
    out[0][x] = px[2];
    out[1][x] = px[1];
    out[2][x] = px[0];
    if constexpr (kBytes == 4) out[3][x] = px[3];
  }
}

}  // namespace

void writeChannelHeader(uint8_t* block, int32_t width, int32_t height, int32_t xRes,
                        int32_t yRes) {
  dib::Header h;
  h.width = width;
  h.height = height;
  h.planes = 1;
  h.bitCount = 8;
  h.compression = 0;
  h.sizeImage = static_cast<uint32_t>(channelStride(static_cast<uint32_t>(width)) *
                                      static_cast<uint32_t>(height));
  h.xPelsPerMeter = xRes;
  h.yPelsPerMeter = yRes;
  h.clrUsed = kGreyEntries;
  h.clrImportant = kGreyEntries;
  dib::writeHeader(block, h);
  uint8_t* table = block + dib::kInfoHeaderSize;
  for (uint32_t i = 0; i < kGreyEntries; ++i) {
    const auto v = static_cast<uint8_t>(i);
    table[4 * i] = v;
    table[4 * i + 1] = v;
    table[4 * i + 2] = v;
    table[4 * i + 3] = 0;
  }
}

void splitRows(const uint8_t* src, size_t srcStride, uint32_t bytesPerPixel, uint32_t width,
               uint32_t height, uint8_t* const* channels, size_t channelStride,
               bool (*stop)()) {
  if (width == 0) return;  // rows of no bytes, however many
  uint8_t* rows[kMaxChannels] = {};
  const uint32_t count = bytesPerPixel == 4 ? 4 : 3;
  for (uint32_t r = 0; r < height; ++r) {
    if (stop && stop()) return;
    for (uint32_t i = 0; i < count; ++i) rows[i] = channels[i] + size_t{r} * channelStride;
    const uint8_t* px = src + size_t{r} * srcStride;
    if (count == 4)
      splitRow<4>(px, rows, width);
    else
      splitRow<3>(px, rows, width);
  }
}

namespace {

// The image that is split (the source itself for model 1, else the
// converted image), owned by the call when it was made for it.
struct SplitSource {
  MemHandle handle = nullptr;
  OwnedBlock converted;
};

uint32_t splitInto(const SplitSource& from, MemHandle* channels) {
  LockedBlock image(from.handle);
  const auto layout = image ? dib::measure(image.data(), image.size()) : std::nullopt;
  if (!layout) {
    setLastError(NADIRO_ERR_SPLIT_CONVERSION);
    return 0;
  }
  const uint32_t count = layout->header.bitCount == 32 ? 4 : 3;
  const uint32_t bytesPerPixel = count;
  // Rows are 4 * width bytes for 32 bits, else the 24-bit stride.
  const size_t srcStride = count == 4 ? size_t{layout->width} * 4
                                      : (size_t{layout->width} * 3 + 3) / 4 * 4;
  const uint64_t stride8 = channelStride(layout->width);
  const uint64_t bytes = kChannelPixelOffset + stride8 * layout->height;

  OwnedBlock made[kMaxChannels];
  for (uint32_t i = 0; i < count; ++i) {
    made[i] = OwnedBlock::allocate(bytes);
    channels[i] = made[i].get();
    if (!made[i]) {
      setLastError(NADIRO_ERR_SPLIT_CONVERSION);
      return 0;  // the images made so far are freed
    }
  }
  LockedBlock locked[kMaxChannels];
  uint8_t* pixels[kMaxChannels] = {};
  for (uint32_t i = 0; i < count; ++i) {
    locked[i] = LockedBlock(made[i].get());
    if (!locked[i]) {
      setLastError(NADIRO_ERR_SPLIT_CONVERSION);
      return 0;
    }
    writeChannelHeader(locked[i].data(), layout->header.width, layout->header.height,
                       layout->header.xPelsPerMeter, layout->header.yPelsPerMeter);
    pixels[i] = locked[i].data() + kChannelPixelOffset;
  }
  splitRows(image.data() + layout->pixelOffset, srcStride, bytesPerPixel, layout->width,
            layout->height, pixels, static_cast<size_t>(stride8), &cancelRequested);
  for (uint32_t i = 0; i < count; ++i) {
    locked[i].unlock();
    made[i].release();  // the caller owns the channel images
  }
  return count;
}

uint32_t splitColorChannels(MemHandle image, MemHandle* channels, uint8_t model) {
  ThreadErrorBlockData* state = ThreadErrorBlock();
  state->lastError = NADIRO_OK;
  state->cancel = 0;
  if (model < 1 || model > 10 || !image || !channels) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return 0;
  }
  if (dib::DibCompression(image) != 0) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return 0;
  }
  LockedBlock source(image);
  if (!source) return 0;
  if (source.size() < dib::kInfoHeaderSize) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return 0;
  }
  const uint16_t bits = dib::load<uint16_t>(source.data(), dib::kBitCount);
  if (bits != 24 && bits != 32) return 0;
  if (bits == 32 && model != 1) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    source.release();  // a 32-bit source with another model stays locked
    return 0;
  }
  // The rows must lie inside the block before anything reads them.
  if (!dib::measure(source.data(), source.size())) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return 0;
  }
  source.unlock();
  SplitSource from;
  from.handle = image;
  if (model != 1) {
    from.converted = OwnedBlock(ConvertDIBColorSpace(image, 1, model, 0, nullptr));
    if (!from.converted) {
      setLastError(NADIRO_ERR_SPLIT_CONVERSION);
      return 0;
    }
    from.handle = from.converted.get();
  }
  return splitInto(from, channels);
}

}  // namespace
}  // namespace nadiro::channels

extern "C" NADIRO_API uint32_t NADIRO_CALL SplitColorChannels(NadiroHandle image,
                                                             NadiroHandle* channels,
                                                             uint32_t model) {
  // The model is an 8-bit value in a 32-bit slot.
  return nadiro::channels::splitColorChannels(image, channels, static_cast<uint8_t>(model));
}
