// MergeColorChannels: three or four 8-bit channel images read as the
// components of a colour model, converted back to RGB pixel by pixel and
// written into the caller's 24-bit image. Nothing is allocated.
#include <cassert>

#include "channels/channel_image.h"
#include "channels/channel_rows.h"
#include "color/models.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "frame/open_image.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"

namespace nadiro::channels {
namespace {

// Model 10: the channels hold inverted inks; complemented back they go
// through the byte-wise CMYKtoRGB, like model 4, so four channels of 255
// merge as CMYK (0, 0, 0, 0), that is white.
struct InvertedCmyk {
  static constexpr size_t kIn = 4;
  static void apply(const uint8_t* in, uint8_t* out) {
    const uint8_t inks[4] = {color::complement(in[0]), color::complement(in[1]),
                             color::complement(in[2]), color::complement(in[3])};
    color::Integer<color::model::CMYK, color::model::RGB>::apply(inks, out);
  }
};

// One row: components c1..c3 (c4) from the channels, R, G, B out of the
// conversion, stored B, G, R.
template <class Member>
void mergeRow(const uint8_t* const* c, uint8_t* dst, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, dst += 3) {
    uint8_t in[4] = {c[0][x], c[1][x], c[2][x], 0};
    if constexpr (Member::kIn == 4) in[3] = c[3][x];
    uint8_t rgb[3];
    Member::apply(in, rgb);
    dst[0] = rgb[2];
    dst[1] = rgb[1];
    dst[2] = rgb[0];
  }
}

using MergeRow = void (*)(const uint8_t* const*, uint8_t*, uint32_t);

namespace m = color::model;
// By model number 2..10; model 1 (the channels are R, G and B already) is
// only moved, by the channel row kernels.
constexpr MergeRow kMergeRows[color::kModelCount + 1] = {
    nullptr,
    nullptr,
    &mergeRow<color::Doubles<m::YUV, m::RGB>>,
    &mergeRow<color::Integer<m::CMY, m::RGB>>,
    &mergeRow<color::Integer<m::CMYK, m::RGB>>,
    &mergeRow<color::Doubles<m::YIQ, m::RGB>>,
    &mergeRow<color::Doubles<m::HSV, m::RGB>>,
    &mergeRow<color::Doubles<m::HSI, m::RGB>>,
    &mergeRow<color::Doubles<m::XYZ, m::RGB>>,
    &mergeRow<color::Doubles<m::LAB, m::RGB>>,
    &mergeRow<InvertedCmyk>,
};

// A locked channel image and where its rows are.
struct Channel {
  OpenImage image;
  dib::Layout layout;
};

enum class Open { Ok, Refused, Malformed };

// Locks a channel image: 8 bits per pixel, and the size of `like` when
// given. A lock failure, another depth or another size refuse it without a
// code; rows that its block does not hold make it unreadable.
Open openChannel(MemHandle handle, const Channel* like, Channel& out) {
  out.image = OpenImage(handle);
  if (!out.image) return Open::Refused;
  if (!out.image.hasHeader()) return Open::Malformed;
  const dib::Header& h = out.image.header();
  if (h.bitCount != 8) return Open::Refused;
  if (like && (h.width != like->layout.header.width || h.height != like->layout.header.height))
    return Open::Refused;
  const auto layout = out.image.layout();
  if (!layout) return Open::Malformed;
  out.layout = *layout;
  return Open::Ok;
}

uint32_t refuse(Open why) {
  if (why == Open::Malformed) setLastError(NADIRO_ERR_COMPRESSED);
  return 0;
}

uint32_t mergeColorChannels(MemHandle h1, MemHandle h2, MemHandle h3, MemHandle h4, MemHandle dest,
                            uint32_t model) {
  beginCall();
  // A model without a conversion is refused like a missing channel.
  if (!h1 || !h2 || !h3 || !color::isModel(model)) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return 0;
  }
  if (dib::dibCompression(h1) != 0 || dib::dibCompression(h2) != 0 ||
      dib::dibCompression(h3) != 0) {
    setLastError(NADIRO_ERR_COMPRESSED);
    return 0;
  }
  Channel c[4];
  Open opened = openChannel(h1, nullptr, c[0]);
  if (opened != Open::Ok) return refuse(opened);
  for (int i = 1; i < 3; ++i) {
    opened = openChannel(i == 1 ? h2 : h3, &c[0], c[i]);
    if (opened != Open::Ok) return refuse(opened);
  }
  LockedBlock target(dest);
  if (!target) return 0;
  if (color::isCmykModel(model)) {
    const uint32_t code = !h4                            ? NADIRO_ERR_BAD_ARGUMENT
                          : dib::dibCompression(h4) != 0 ? NADIRO_ERR_COMPRESSED
                                                         : NADIRO_OK;
    if (code != NADIRO_OK) {
      setLastError(code);
      // A missing or compressed fourth channel leaves the others and the
      // destination locked.
      for (int i = 0; i < 3; ++i) c[i].image.block().release();
      target.release();
      return 0;
    }
    opened = openChannel(h4, &c[0], c[3]);
    if (opened != Open::Ok) return refuse(opened);
  }

  // The destination's header is not read for its size: its rows follow its
  // header and colour table and must hold the channels' pixels.
  const uint32_t width = c[0].layout.width;
  const uint32_t height = c[0].layout.height;
  const auto dstStride = dib::rowStride(static_cast<int32_t>(width), 24);
  if (target.size() < dib::kInfoHeaderSize || !dstStride ||
      !dib::blockHolds(target.size(), dib::kInfoHeaderSize + dib::dibColorTableBytes(target.data()),
                       *dstStride, height)) {
    setLastError(NADIRO_ERR_BAD_ARGUMENT);
    return 0;
  }
  const uint8_t* rows[4] = {};
  size_t strides[4] = {};
  for (int i = 0; i < (color::isCmykModel(model) ? 4 : 3); ++i) {
    rows[i] = c[i].image.data() + c[i].layout.pixelOffset;
    strides[i] = c[i].layout.stride;
  }
  uint8_t* dst = target.data() + dib::kInfoHeaderSize + dib::dibColorTableBytes(target.data());
  mergeRows(model, rows, strides, dst, *dstStride, width, height);
  dib::store<uint32_t>(target.data(), dib::kCompression, 0);
  return 1;
}

}  // namespace

void mergeRows(uint32_t model, const uint8_t* const* channels, const size_t* channelStrides,
               uint8_t* dst, size_t dstStride, uint32_t width, uint32_t height) {
  assert(color::isModel(model));
  if (width == 0) return;  // rows of no bytes, however many
  // RGB channels are only moved; the row kernels of the level in force do it.
  const MergeRow row = model == NADIRO_MODEL_RGB ? channelRowKernels().merge3 : kMergeRows[model];
  const uint32_t count = color::isCmykModel(model) ? 4 : 3;
  const uint8_t* at[4] = {};
  for (uint32_t r = 0; r < height; ++r) {
    for (uint32_t i = 0; i < count; ++i) at[i] = channels[i] + size_t{r} * channelStrides[i];
    row(at, dst + size_t{r} * dstStride, width);
  }
}

}  // namespace nadiro::channels

extern "C" NADIRO_API uint32_t NADIRO_CALL MergeColorChannels(NadiroHandle h1, NadiroHandle h2,
                                                              NadiroHandle h3, NadiroHandle h4,
                                                              NadiroHandle dest, uint32_t model) {
  return nadiro::channels::mergeColorChannels(h1, h2, h3, h4, dest, model);
}
