// The dithering engine on plain caller buffers: shapes, strides, formats and
// every option field from the input. Beyond survival: a refused call leaves
// the target as it was, the source is only read, bytes between a target's
// rows are never written, and a result holds only colours of the palette it
// reports.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "harness.h"
#include "nadiro/dither_engine.h"

namespace nadiro::fuzz {
namespace {

constexpr uint8_t kCanary = 0xA5;

size_t pixelBytes(uint32_t format) {
  switch (format) {
    case NADIRO_PIXELS_RGB24:
    case NADIRO_PIXELS_BGR24:
      return 3;
    case NADIRO_PIXELS_RGBA32:
    case NADIRO_PIXELS_BGRA32:
      return 4;
    default:
      return 1;
  }
}

// The bytes rows of `format` take at `stride`: the last row only up to its
// last pixel. A stride too short for a row gets a buffer of packed rows.
size_t bufferBytes(uint32_t width, uint32_t height, uint32_t stride, uint32_t format) {
  const size_t row = size_t{width} * pixelBytes(format);
  if (height == 0) return 0;
  return stride < row ? row * height : size_t{stride} * (height - 1) + row;
}

void fillKernel(Input& in, NadiroCustomKernel& k) {
  k.columns = in.pick({3, 5, 1, 9, 0, 10});
  k.rows = in.pick({2, 3, 1, 5, 0, 6});
  k.origin = in.pick({1, 2, 0, 4, 8, 9});
  k.divisor = in.pickSigned({16, 42, 1, 0, -1, 1 << 20, (1 << 20) + 1});
  for (auto& w : k.weights) w = in.pickSigned({0, 0, 1, 7, 3, 5, -2, 65535, 65536, -65536});
}

}  // namespace

void runEngine(Input& in) {
  const uint8_t nulls = in.u8();
  const uint32_t width = in.pick({4, 7, 1, 16, 64, 0, 65536});
  const uint32_t height = in.pick({3, 5, 1, 16, 64, 0, 65536});
  if (uint64_t{width} * height > 64 * 64) return;  // sides refused before anything is read
  const uint32_t sourceFormat = in.pick({2, 3, 4, 5, 1, 6, 0, 7});
  const uint32_t targetFormat = in.pick({6, 2, 3, 4, 5, 1, 0, 7});
  const size_t sourceRow = size_t{width} * pixelBytes(sourceFormat);
  const size_t targetRow = size_t{width} * pixelBytes(targetFormat);
  const uint32_t sourceStride = static_cast<uint32_t>(sourceRow) + in.pickSigned({0, 1, 5, -1});
  const uint32_t targetStride = static_cast<uint32_t>(targetRow) + in.pickSigned({0, 3, 1, -1});
  const bool inPlace = in.u8() % 8 == 0 && sourceStride == targetStride &&
                       pixelBytes(sourceFormat) == pixelBytes(targetFormat);

  NadiroDitherOptions o;
  FUZZ_EXPECT(NadiroDitherOptionsInit(&o) == NADIRO_DITHER_OK, "NadiroDitherOptionsInit");
  o.size = in.pick({sizeof o, 0, sizeof o - 4, sizeof o + 4});
  o.method = in.pick({0, 1, 2, 3});
  o.kernel = in.pick({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  o.matrix = in.pick({0, 1, 2, 3, 4});
  o.matrixSize = in.pick({8, 2, 4, 16, 3, 5, 0, 1, 17, 32});
  o.palette = in.pick({0, 1, 2, 3, 4, 5, 6, 7});
  o.paletteCount = in.pick({16, 1, 2, 255, 256, 0, 257, 100000});
  o.serpentine = in.u8() % 2;
  o.strength = in.pick({100, 0, 50, 101, 1000});
  o.clampError = in.u8() % 2;
  o.space = in.pick({0, 1, 2});
  o.distance = in.pick({0, 1, 2});
  fillKernel(in, o.customKernel);
  o.customMatrix.width = in.pick({4, 1, 8, 64, 0, 65});
  o.customMatrix.height = in.pick({4, 1, 8, 64, 0, 65});

  // Caller arrays of exactly the sizes the fields promise (one entry when
  // the promise is out of range: it must be refused unread).
  const size_t colours = o.paletteCount <= 256 ? o.paletteCount : 1;
  const auto palette = std::make_unique<uint8_t[]>(colours * 3);
  const bool matrixFits = o.customMatrix.width <= 64 && o.customMatrix.height <= 64;
  const size_t cells = matrixFits ? size_t{o.customMatrix.width} * o.customMatrix.height : 1;
  const auto matrix = std::make_unique<uint16_t[]>(cells);
  const auto pal = in.take(colours * 3);
  std::copy(pal.begin(), pal.end(), palette.get());
  for (size_t i = 0; i < cells; ++i) matrix[i] = static_cast<uint16_t>(in.u8() * in.u8() % 257);
  o.paletteColors = nulls % 32 == 3 ? nullptr : palette.get();
  o.customMatrix.values = nulls % 32 == 4 ? nullptr : matrix.get();

  const size_t sourceBytes = bufferBytes(width, height, sourceStride, sourceFormat);
  const size_t targetBytes = bufferBytes(width, height, targetStride, targetFormat);
  if (sourceBytes > (1u << 22) || targetBytes > (1u << 22)) return;  // a raw stride
  const auto source = std::make_unique<uint8_t[]>(sourceBytes);
  const auto pixels = in.rest();
  for (size_t i = 0; i < sourceBytes && !pixels.empty(); ++i) source[i] = pixels[i % pixels.size()];
  const std::vector<uint8_t> sourceBefore(source.get(), source.get() + sourceBytes);
  const auto targetBuffer = std::make_unique<uint8_t[]>(targetBytes);
  uint8_t* const target = inPlace ? source.get() : targetBuffer.get();
  if (!inPlace) std::fill_n(target, targetBytes, kCanary);

  const NadiroDitherSource src{source.get(), width, height, sourceStride, sourceFormat};
  auto dst = std::make_unique<NadiroDitherTarget>();
  dst->pixels = target;
  dst->stride = targetStride;
  dst->format = targetFormat;
  dst->paletteCount = 0xDEAD;
  std::memset(dst->palette, kCanary, sizeof dst->palette);
  const NadiroDitherTarget dstBefore = *dst;

  const int32_t status =
      NadiroDither(nulls % 32 == 1 ? nullptr : &src, nulls % 32 == 2 ? nullptr : dst.get(),
                   nulls % 32 == 5 ? nullptr : &o);
  FUZZ_EXPECT(status >= NADIRO_DITHER_OK && status <= NADIRO_DITHER_CANCELLED, "NadiroDither");
  FUZZ_EXPECT(NadiroDitherStatusText(status) != nullptr, "NadiroDitherStatusText");
  if (!inPlace)
    FUZZ_EXPECT(std::equal(sourceBefore.begin(), sourceBefore.end(), source.get()),
                "NadiroDither changed its source");
  if (status != NADIRO_DITHER_OK) {
    const std::vector<uint8_t>& was = sourceBefore;
    FUZZ_EXPECT(
        inPlace ? std::equal(was.begin(), was.end(), target)
                : std::all_of(target, target + targetBytes, [](uint8_t b) { return b == kCanary; }),
        "NadiroDither wrote its target and refused");
    FUZZ_EXPECT(std::memcmp(&dstBefore, dst.get(), sizeof dstBefore) == 0,
                "NadiroDither changed the target's fields and refused");
    return;
  }
  const uint32_t count = dst->paletteCount;
  FUZZ_EXPECT(count >= 1 && count <= 256, "NadiroDither palette count");
  if (o.palette == NADIRO_PALETTE_CUSTOM && nulls % 32 != 5) {
    FUZZ_EXPECT(count == o.paletteCount, "NadiroDither caller palette count");
    FUZZ_EXPECT(std::memcmp(dst->palette, palette.get(), count * 3) == 0,
                "NadiroDither caller palette");
  }
  // Every pixel is a palette entry; the bytes between rows stay untouched.
  const size_t px = pixelBytes(targetFormat);
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* row = target + size_t{y} * targetStride;
    if (!inPlace && y + 1 < height)
      FUZZ_EXPECT(
          std::all_of(row + targetRow, row + targetStride, [](uint8_t b) { return b == kCanary; }),
          "NadiroDither wrote between rows");
    for (uint32_t x = 0; x < width; ++x) {
      const uint8_t* p = row + x * px;
      bool found = false;
      for (uint32_t i = 0; i < count && !found; ++i) {
        const uint8_t* c = dst->palette[i];
        switch (targetFormat) {
          case NADIRO_PIXELS_INDEX8:
            found = p[0] == i;
            break;
          case NADIRO_PIXELS_GREY8:
            found = p[0] == c[1];
            break;
          case NADIRO_PIXELS_RGB24:
          case NADIRO_PIXELS_RGBA32:
            found = p[0] == c[0] && p[1] == c[1] && p[2] == c[2];
            break;
          default:
            found = p[0] == c[2] && p[1] == c[1] && p[2] == c[0];
            break;
        }
      }
      FUZZ_EXPECT(found, "NadiroDither wrote a colour outside its palette");
    }
  }
}

}  // namespace nadiro::fuzz
