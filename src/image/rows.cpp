#include "image/rows.h"

#include <array>
#include <cassert>

namespace nadiro::image {
namespace {

using Components = std::array<uint8_t, 4>;

// Which component each byte of a format holds, per format; one table for
// both directions.
struct FormatLayout {
  Format format;
  size_t bytes;
  std::array<uint8_t, 4> component;  // byte i of the pixel is component[i]
};
constexpr std::array<FormatLayout, 4> kLayouts{{
    {Format::kGrey, 1, {0, 0, 0, 0}},
    {Format::kRgb, 3, {0, 1, 2, 0}},
    {Format::kBgr, 3, {2, 1, 0, 0}},
    {Format::kRgba, 4, {0, 1, 2, 3}},
}};

const FormatLayout& layoutOf(Format format) {
  for (const auto& l : kLayouts)
    if (l.format == format) return l;
  assert(false && "format checked by the shell");
  return kLayouts[1];
}

// The buffer row holding stored row `s` (stored rows run bottom-up).
size_t bufferRow(const BufferShape& shape, uint32_t s) {
  return shape.bottomUp ? s : shape.height - 1u - s;
}

uint32_t indexAt(const uint8_t* row, uint16_t bits, uint32_t x) {
  switch (bits) {
    case 1:
      return (uint32_t{row[x / 8]} >> (7 - x % 8)) & 1u;
    case 4:
      return (uint32_t{row[x / 2]} >> (x % 2 ? 0 : 4)) & 15u;
    default:
      return row[x];
  }
}

Components storedComponents(const uint8_t* p, StoredOrder order) {
  switch (order) {
    case StoredOrder::kBgr:
      return {p[2], p[1], p[0], 255};
    case StoredOrder::kBgra:
      return {p[2], p[1], p[0], p[3]};
    case StoredOrder::kKymc:
      return {p[3], p[2], p[1], p[0]};
  }
  return {};
}

}  // namespace

bool validFormat(int32_t format) {
  for (const auto& l : kLayouts)
    if (static_cast<int32_t>(l.format) == format) return true;
  return false;
}

size_t pixelBytes(Format format) {
  return layoutOf(format).bytes;
}

uint64_t spannedBytes(const BufferShape& shape) {
  if (shape.height == 0 || shape.width == 0) return 0;
  return uint64_t{shape.height - 1u} * shape.stride +
         uint64_t{shape.width} * pixelBytes(shape.format);
}

void packRows(std::span<const uint8_t> pixels, const BufferShape& shape, const ImageRows& rows) {
  const FormatLayout& layout = layoutOf(shape.format);
  assert(pixels.size() >= spannedBytes(shape));
  assert(rows.bits == (shape.format == Format::kGrey ? 8 : 24));
  assert(rows.bytes.size() >= uint64_t{rows.stride} * shape.height);
  for (uint32_t s = 0; s < shape.height; ++s) {
    const uint8_t* in = pixels.data() + bufferRow(shape, s) * shape.stride;
    uint8_t* out = rows.bytes.data() + size_t{s} * rows.stride;
    if (shape.format == Format::kGrey) {
      for (uint32_t x = 0; x < shape.width; ++x) out[x] = in[x];
      continue;
    }
    for (uint32_t x = 0; x < shape.width; ++x, in += layout.bytes, out += 3) {
      Components c{};
      for (size_t i = 0; i < 3; ++i) c[layout.component[i]] = in[i];
      out[0] = c[2];
      out[1] = c[1];
      out[2] = c[0];
    }
  }
}

void unpackRows(const ImageRows& rows, StoredOrder order, std::span<const uint8_t> palette,
                const BufferShape& shape, std::span<uint8_t> pixels) {
  const FormatLayout& layout = layoutOf(shape.format);
  const bool indexed = rows.bits <= 8;
  assert(pixels.size() >= spannedBytes(shape));
  assert(indexed || shape.format != Format::kGrey);
  assert(rows.bytes.size() >= uint64_t{rows.stride} * shape.height);
  const size_t entries = palette.size() / 4;
  const size_t storedBytes = rows.bits / 8u;
  for (uint32_t s = 0; s < shape.height; ++s) {
    const uint8_t* in = rows.bytes.data() + size_t{s} * rows.stride;
    uint8_t* out = pixels.data() + bufferRow(shape, s) * shape.stride;
    for (uint32_t x = 0; x < shape.width; ++x, out += layout.bytes) {
      Components c{0, 0, 0, 255};
      if (indexed) {
        const uint32_t index = indexAt(in, rows.bits, x);
        if (shape.format == Format::kGrey) {
          out[0] = static_cast<uint8_t>(index);
          continue;
        }
        if (index < entries) c = storedComponents(&palette[size_t{index} * 4], StoredOrder::kBgr);
      } else {
        c = storedComponents(in + size_t{x} * storedBytes,
                             rows.bits == 24 ? StoredOrder::kBgr : order);
      }
      for (size_t i = 0; i < layout.bytes; ++i) out[i] = c[layout.component[i]];
    }
  }
}

}  // namespace nadiro::image
