// SplitColorChannels: a 24-bit or 32-bit image expressed in one of the ten
// colour models and handed back as one 8-bit greyscale image per component.
// Each row is converted into the model's pixels (reversed, as images store
// them) and its bytes go straight into the channel rows.
#include <cassert>
#include <cstring>
#include <optional>

#include "channels/channel_image.h"
#include "channels/channel_rows.h"
#include "color/models.h"
#include "color/pixel_walk.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "frame/open_image.h"
#include "frame/scratch.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"

namespace nadiro::channels {
namespace {

constexpr uint32_t kMaxChannels = 4;

// Copies byte 2, 1, 0 and 3 of every 4-byte pixel of one row into channel
// rows 1, 2, 3 and 4.
void splitRow4(const uint8_t* px, uint8_t* const* out, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, px += 4) {
    out[0][x] = px[2];
    out[1][x] = px[1];
    out[2][x] = px[0];
    out[3][x] = px[3];
  }
}

}  // namespace

void writeChannelHeader(uint8_t* block, int32_t width, int32_t height, int32_t xRes, int32_t yRes) {
  dib::writeNewImageHeader(
      block,
      {.width = width,
       .height = height,
       .bitCount = 8,
       .sizeImage = static_cast<uint32_t>(channelStride(static_cast<uint32_t>(width)) *
                                          static_cast<uint32_t>(height)),
       .xPelsPerMeter = xRes,
       .yPelsPerMeter = yRes,
       .clrUsed = dib::kGreyEntries,
       .clrImportant = dib::kGreyEntries},
      dib::greyPalette());
}

void splitRows(const SplitSource& source, uint8_t* converted, uint8_t* const* channels,
               size_t channelStride) {
  assert(!source.convert || converted);
  if (source.width == 0) return;  // rows of no bytes, however many
  uint8_t* rows[kMaxChannels] = {};
  const auto split3 = channelRowKernels().split3;
  for (uint32_t r = 0; r < source.height; ++r) {
    for (uint32_t i = 0; i < source.pixelBytes; ++i)
      rows[i] = channels[i] + size_t{r} * channelStride;
    for (uint32_t i = 0; i < source.pixelBytes; ++i)
      std::memset(rows[i] + source.width, 0, channelStride - source.width);
    const uint8_t* px = source.rows + size_t{r} * source.stride;
    if (source.convert) {
      source.convert(px, converted, source.width);
      px = converted;
    }
    if (source.pixelBytes == 4)
      splitRow4(px, rows, source.width);
    else
      split3(px, rows, source.width);
  }
}

namespace {

// The pixels that are split: the source rows as they are (model 1), or each
// 24-bit row converted into `model`. Nothing when the converted image the
// split has always gone through could not be laid out: a four-byte model's
// image has no colour table but its header still counts one, so its rows
// only fit when the count is 0 or the image has no pixels.
std::optional<SplitSource> splitSource(const OpenImage& image, const dib::Layout& layout,
                                       uint32_t model) {
  SplitSource s;
  s.rows = image.data() + layout.pixelOffset;
  s.width = layout.width;
  s.height = layout.height;
  if (model == NADIRO_MODEL_RGB) {
    s.pixelBytes = layout.header.bitCount == 32 ? 4 : 3;
    // Rows are 4 * width bytes for 32 bits, else the 24-bit stride.
    s.stride =
        s.pixelBytes == 4 ? size_t{layout.width} * 4 : (size_t{layout.width} * 3 + 3) / 4 * 4;
    return s;
  }
  s.stride = layout.stride;
  s.pixelBytes = color::modelBytes(static_cast<int32_t>(model));
  s.convert =
      color::rowKernelFor(NADIRO_MODEL_RGB, static_cast<int32_t>(model), color::Order::Reversed);
  if (s.pixelBytes == 4) {
    const auto stride32 = dib::rowStride(layout.header.width, 32);
    if (!stride32 ||
        !dib::blockHolds(kMaxBlockBytes, dib::kInfoHeaderSize, *stride32, layout.height))
      return std::nullopt;
    // The 32-bit image: the source's header with 32 bits and no tag, then
    // the pixels at once.
    uint8_t header[dib::kInfoHeaderSize];
    std::memcpy(header, image.data(), sizeof header);
    dib::store(header, dib::kBitCount, uint16_t{32});
    dib::store(header, dib::kCompression, uint32_t{0});
    // Checked above to stay within the largest block.
    const auto imageBytes =
        static_cast<size_t>(dib::kInfoHeaderSize + uint64_t{*stride32} * layout.height);
    if (!dib::blockHolds(imageBytes, dib::kInfoHeaderSize + dib::dibColorTableBytes(header),
                         *stride32, layout.height))
      return std::nullopt;
  }
  return s;
}

// Makes the channel images and fills them; the count made, or 0 with the
// code set.
uint32_t splitInto(const OpenImage& image, const dib::Layout& layout, uint32_t model,
                   MemHandle* channels) {
  const auto source = splitSource(image, layout, model);
  if (!source) {
    setLastError(NADIRO_ERR_SPLIT_CONVERSION);
    return 0;
  }
  const auto converted =
      allocateScratch<uint8_t>(source->convert ? size_t{source->width} * source->pixelBytes : 0);
  if (!converted) {
    setLastError(NADIRO_ERR_SPLIT_CONVERSION);
    return 0;
  }
  const uint32_t count = source->pixelBytes;
  const uint64_t stride8 = channelStride(layout.width);
  const uint64_t bytes = kChannelPixelOffset + stride8 * layout.height;

  OwnedBlock made[kMaxChannels];
  for (uint32_t i = 0; i < count; ++i) {
    // Not zeroed: the header, table, rows with their padding and any slack
    // the allocator adds are all written below.
    made[i] = OwnedBlock::allocate(bytes, kMemMoveable);
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
    if (locked[i].size() > bytes)
      std::memset(locked[i].data() + bytes, 0, locked[i].size() - static_cast<size_t>(bytes));
    std::memset(locked[i].data(), 0, kChannelPixelOffset);
    writeChannelHeader(locked[i].data(), layout.header.width, layout.header.height,
                       layout.header.xPelsPerMeter, layout.header.yPelsPerMeter);
    pixels[i] = locked[i].data() + kChannelPixelOffset;
  }
  splitRows(*source, converted.get(), pixels, static_cast<size_t>(stride8));
  for (uint32_t i = 0; i < count; ++i) {
    locked[i].unlock();
    made[i].release();  // the caller owns the channel images
  }
  return count;
}

}  // namespace
}  // namespace nadiro::channels

using namespace nadiro;

extern "C" NADIRO_API uint32_t NADIRO_CALL SplitColorChannels(NadiroHandle image,
                                                              NadiroHandle* channels,
                                                              uint32_t model32) {
  // The model is an 8-bit value in a 32-bit slot.
  const auto model = static_cast<uint8_t>(model32);
  beginCall();
  if (!color::isModel(model) || !image || !channels) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return 0;
  }
  if (dib::dibCompression(image) != 0) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return 0;
  }
  OpenImage source(image);
  if (!source) return 0;
  if (!source.hasHeader()) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return 0;
  }
  const uint16_t bits = source.header().bitCount;
  if (bits != 24 && bits != 32) return 0;
  if (bits == 32 && model != NADIRO_MODEL_RGB) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    source.block().release();  // a 32-bit source with another model stays locked
    return 0;
  }
  // The rows must lie inside the block before anything reads them.
  const auto layout = source.layout();
  if (!layout) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return 0;
  }
  return channels::splitInto(source, *layout, model, channels);
}
