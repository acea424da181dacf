// The convenience layer's functions (include/nadiro/nadiro_image.h): shells
// that check their arguments, lock, and hand spans to image/rows.cpp. They
// report through their return value only and leave the threads' result
// fields to the exports.
#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <optional>

#include "color/models.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "frame/thread_state.h"
#include "image/rows.h"
#include "nadiro/nadiro_image.h"

namespace nadiro::image {
namespace {

// The caller's buffer shape, or a status saying why it cannot be one.
int32_t bufferShape(int32_t width, int32_t height, size_t stride, int32_t format, int32_t order,
                    size_t bytes, BufferShape& shape) {
  if (width < 1 || height < 1 || !validFormat(format) ||
      (order != NADIRO_TOP_DOWN && order != NADIRO_BOTTOM_UP))
    return NADIRO_IMAGE_BAD_ARGUMENT;
  shape.width = static_cast<uint32_t>(width);
  shape.height = static_cast<uint32_t>(height);
  shape.format = static_cast<Format>(format);
  shape.bottomUp = order == NADIRO_BOTTOM_UP;
  const uint64_t rowBytes = uint64_t{shape.width} * pixelBytes(shape.format);
  if (rowBytes > std::numeric_limits<size_t>::max()) return NADIRO_IMAGE_TOO_LARGE;
  shape.stride = stride == 0 ? static_cast<size_t>(rowBytes) : stride;
  if (shape.stride < rowBytes) return NADIRO_IMAGE_BAD_ARGUMENT;
  const uint64_t spanned = spannedBytes(shape);
  if (shape.height > 1 && (spanned - rowBytes) / (shape.height - 1u) != shape.stride)
    return NADIRO_IMAGE_BUFFER_TOO_SMALL;  // the span itself overflowed
  return spanned > bytes ? NADIRO_IMAGE_BUFFER_TOO_SMALL : NADIRO_IMAGE_OK;
}

// The model an image's tag names (1 for untagged RGB), or 0.
int32_t modelOfTag(uint32_t tag) {
  for (int32_t model = NADIRO_MODEL_RGB; model < NADIRO_MODEL_CMYK_UCR; ++model)
    if (color::modelTag(model) == tag) return model;
  return 0;
}

// A locked, measured image this layer can read.
struct ReadableImage {
  LockedBlock block;
  dib::Layout layout;
  int32_t model = 0;
};

int32_t openImage(NadiroHandle handle, ReadableImage& image) {
  if (!handle) return NADIRO_IMAGE_BAD_HANDLE;
  image.block = LockedBlock(handle);
  if (!image.block) return NADIRO_IMAGE_BAD_HANDLE;
  const std::optional<dib::Layout> layout = dib::measure(image.block.data(), image.block.size());
  if (!layout || layout->header.size != dib::kInfoHeaderSize) return NADIRO_IMAGE_MALFORMED;
  image.layout = *layout;
  image.model = modelOfTag(layout->header.compression);
  const uint16_t bits = layout->header.bitCount;
  if (image.model == 0 || (bits <= 8 && image.model != NADIRO_MODEL_RGB))
    return NADIRO_IMAGE_MALFORMED;
  return NADIRO_IMAGE_OK;
}

bool readableDepth(uint16_t bits) {
  return bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32;
}

ImageRows rowsOf(const ReadableImage& image) {
  const dib::Layout& l = image.layout;
  return {
      image.block.bytes().subspan(static_cast<size_t>(l.pixelOffset), size_t{l.stride} * l.height),
      l.stride, l.header.bitCount};
}

// The colour table's 4-byte entries that lie inside the block.
std::span<const uint8_t> paletteOf(const ReadableImage& image) {
  const uint64_t tableBytes = image.layout.pixelOffset - dib::kInfoHeaderSize;
  const uint64_t entries =
      std::min<uint64_t>(dib::dibColorCount(image.block.data()), tableBytes / 4);
  return image.block.bytes().subspan(dib::kInfoHeaderSize, static_cast<size_t>(entries * 4));
}

int32_t create(const void* pixels, size_t bytes, int32_t width, int32_t height, size_t stride,
               int32_t format, int32_t order, NadiroHandle* out) {
  if (!out) return NADIRO_IMAGE_BAD_ARGUMENT;
  *out = nullptr;
  if (!pixels) return NADIRO_IMAGE_BAD_ARGUMENT;
  BufferShape shape;
  if (const int32_t status = bufferShape(width, height, stride, format, order, bytes, shape))
    return status;
  const bool grey = shape.format == Format::kGrey;
  const uint16_t bits = grey ? 8 : 24;
  const std::optional<uint32_t> rowStride = dib::rowStride(width, bits);
  const uint64_t offset = dib::kInfoHeaderSize + (grey ? dib::kGreyEntries * 4 : 0);
  if (!rowStride || !dib::blockHolds(kMaxBlockBytes, offset, *rowStride, height))
    return NADIRO_IMAGE_TOO_LARGE;
  const uint64_t imageBytes = uint64_t{*rowStride} * shape.height;
  OwnedBlock block = OwnedBlock::allocate(offset + imageBytes);
  LockedBlock locked(block.get());
  if (!locked) return NADIRO_IMAGE_NO_MEMORY;

  dib::Header header;
  header.width = width;
  header.height = height;
  header.bitCount = bits;
  header.sizeImage = static_cast<uint32_t>(imageBytes);
  header.clrUsed = grey ? dib::kGreyEntries : 0;
  dib::writeNewImageHeader(locked.data(), header,
                           grey ? dib::greyPalette() : std::span<const uint8_t>{});
  packRows({static_cast<const uint8_t*>(pixels), bytes}, shape,
           {locked.bytes().subspan(static_cast<size_t>(offset)), *rowStride, bits});
  locked.unlock();
  *out = block.release();
  return NADIRO_IMAGE_OK;
}

int32_t info(NadiroHandle handle, NadiroImageInfo* out) {
  if (!out) return NADIRO_IMAGE_BAD_ARGUMENT;
  ReadableImage image;
  if (const int32_t status = openImage(handle, image)) return status;
  const dib::Layout& l = image.layout;
  *out = {l.header.width, l.header.height, l.header.bitCount,
          static_cast<int32_t>(paletteOf(image).size() / 4), image.model};
  return NADIRO_IMAGE_OK;
}

int32_t palette(NadiroHandle handle, uint8_t* rgb, size_t bytes) {
  if (!rgb) return NADIRO_IMAGE_BAD_ARGUMENT;
  ReadableImage image;
  if (const int32_t status = openImage(handle, image)) return status;
  const std::span<const uint8_t> table = paletteOf(image);
  if (table.size() / 4 * 3 > bytes) return NADIRO_IMAGE_BUFFER_TOO_SMALL;
  for (size_t i = 0; i < table.size() / 4; ++i)
    for (size_t c = 0; c < 3; ++c) rgb[i * 3 + c] = table[i * 4 + 2 - c];
  return NADIRO_IMAGE_OK;
}

int32_t pixelsOut(NadiroHandle handle, void* pixels, size_t bytes, size_t stride, int32_t format,
                  int32_t order) {
  if (!pixels || !validFormat(format)) return NADIRO_IMAGE_BAD_ARGUMENT;
  ReadableImage image;
  if (const int32_t status = openImage(handle, image)) return status;
  const dib::Layout& l = image.layout;
  const uint16_t bits = l.header.bitCount;
  if (!readableDepth(bits) || (bits > 8 && format == NADIRO_FORMAT_GREY))
    return NADIRO_IMAGE_UNSUPPORTED;
  if (l.width == 0 || l.height == 0) return NADIRO_IMAGE_OK;
  BufferShape shape;
  if (const int32_t status =
          bufferShape(l.header.width, l.header.height, stride, format, order, bytes, shape))
    return status;
  const StoredOrder stored =
      image.model == NADIRO_MODEL_CMYK ? StoredOrder::kKymc : StoredOrder::kBgra;
  unpackRows(rowsOf(image), stored, paletteOf(image), shape,
             {static_cast<uint8_t*>(pixels), bytes});
  return NADIRO_IMAGE_OK;
}

int32_t release(NadiroHandle handle) {
  // Only a block that locks is freed: a stale or made-up handle is refused
  // before the allocator sees it.
  if (!handle || !LockedBlock(handle)) return NADIRO_IMAGE_BAD_HANDLE;
  return memFree(handle) ? NADIRO_IMAGE_BAD_HANDLE : NADIRO_IMAGE_OK;
}

// One list of the texts of every code kind.
struct CodeText {
  int32_t kind;
  uint32_t code;
  const char* text;
};
constexpr std::array kCodeTexts{
    CodeText{NADIRO_CODE_IMAGE, NADIRO_IMAGE_OK, "success"},
    CodeText{NADIRO_CODE_IMAGE, NADIRO_IMAGE_BAD_ARGUMENT, "bad argument"},
    CodeText{NADIRO_CODE_IMAGE, NADIRO_IMAGE_NO_MEMORY, "out of memory"},
    CodeText{NADIRO_CODE_IMAGE, NADIRO_IMAGE_BAD_HANDLE, "not a live image handle"},
    CodeText{NADIRO_CODE_IMAGE, NADIRO_IMAGE_MALFORMED, "malformed or compressed image"},
    CodeText{NADIRO_CODE_IMAGE, NADIRO_IMAGE_UNSUPPORTED, "depth or pixel format not supported"},
    CodeText{NADIRO_CODE_IMAGE, NADIRO_IMAGE_TOO_LARGE, "image too large"},
    CodeText{NADIRO_CODE_IMAGE, NADIRO_IMAGE_BUFFER_TOO_SMALL, "buffer too small for the rows"},
    CodeText{NADIRO_CODE_PIXEL, NADIRO_PIXEL_OK, "success"},
    CodeText{NADIRO_CODE_PIXEL, NADIRO_PIXEL_NO_MEMORY,
             "out of memory, or the image does not lock"},
    CodeText{NADIRO_CODE_PIXEL, NADIRO_PIXEL_BAD_ARGUMENT, "bad argument or malformed image"},
    CodeText{NADIRO_CODE_PIXEL, NADIRO_PIXEL_ONE_BIT, "1-bit image not accepted"},
    CodeText{NADIRO_CODE_PIXEL, NADIRO_PIXEL_CANNOT_LOCK,
             "null handle, or the image does not lock"},
    CodeText{NADIRO_CODE_PIXEL, NADIRO_PIXEL_COMPRESSED, "compressed image"},
    CodeText{NADIRO_CODE_PIXEL, NADIRO_PIXEL_EMPTY, "empty image"},
    CodeText{NADIRO_CODE_PIXEL, NADIRO_PIXEL_BAD_SOURCE_DEPTH, "source depth not accepted"},
    CodeText{NADIRO_CODE_LAST_ERROR, NADIRO_OK, "success"},
    CodeText{NADIRO_CODE_LAST_ERROR, NADIRO_ERR_NO_MEMORY, "out of memory"},
    CodeText{NADIRO_CODE_LAST_ERROR, NADIRO_ERR_COMPRESSED,
             "compressed or unreadable image, or a bad model"},
    CodeText{NADIRO_CODE_LAST_ERROR, NADIRO_ERR_NO_OUTPUT_IMAGE,
             "the output image could not be made"},
    CodeText{NADIRO_CODE_LAST_ERROR, NADIRO_ERR_BAD_ARGUMENT, "bad argument"},
    CodeText{NADIRO_CODE_LAST_ERROR, NADIRO_ERR_NO_PROGRESS,
             "the progress display could not be made"},
    CodeText{NADIRO_CODE_LAST_ERROR, NADIRO_ERR_NO_DIALOG_ENTRY,
             "the dialog entry point was not found"},
    CodeText{NADIRO_CODE_LAST_ERROR, NADIRO_ERR_SPLIT_CONVERSION,
             "converting into the requested model failed"},
};

}  // namespace
}  // namespace nadiro::image

using namespace nadiro::image;

extern "C" NADIRO_API int32_t NadiroImageCreate(const void* pixels, size_t bytes, int32_t width,
                                                int32_t height, size_t stride, int32_t format,
                                                int32_t order, NadiroHandle* image) {
  return create(pixels, bytes, width, height, stride, format, order, image);
}

extern "C" NADIRO_API int32_t NadiroImageGetInfo(NadiroHandle image, NadiroImageInfo* info) {
  return nadiro::image::info(image, info);
}

extern "C" NADIRO_API int32_t NadiroImageGetPalette(NadiroHandle image, uint8_t* rgb,
                                                    size_t bytes) {
  return palette(image, rgb, bytes);
}

extern "C" NADIRO_API int32_t NadiroImageGetPixels(NadiroHandle image, void* pixels, size_t bytes,
                                                   size_t stride, int32_t format, int32_t order) {
  return pixelsOut(image, pixels, bytes, stride, format, order);
}

extern "C" NADIRO_API int32_t NadiroImageFree(NadiroHandle image) {
  return release(image);
}

extern "C" NADIRO_API uint32_t NadiroImagePixelStatus(void) {
  return nadiro::threadErrorBlock()->pixelStatus;
}

extern "C" NADIRO_API const char* NadiroStatusText(int32_t kind, uint32_t code) {
  for (const CodeText& entry : kCodeTexts)
    if (entry.kind == kind && entry.code == code) return entry.text;
  return "unknown code";
}
