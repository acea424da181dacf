// The convenience layer: images made from caller rows of any shape, stride,
// format and order, and images read back (made ones and fuzzed blocks) into
// buffers of exactly the size asked for, with guard bytes behind them.
#include <algorithm>
#include <memory>
#include <vector>

#include "harness.h"
#include "nadiro/nadiro_image.h"

namespace nadiro::fuzz {
namespace {

constexpr uint8_t kGuard = 0x5A;
constexpr size_t kGuardBytes = 16;

size_t pixelBytes(int32_t format) {
  return format == NADIRO_FORMAT_RGB || format == NADIRO_FORMAT_BGR ? 3
         : format == NADIRO_FORMAT_RGBA                             ? 4
                                                                    : 1;
}

// A caller buffer of `bytes` bytes followed by guard bytes.
class Guarded {
 public:
  explicit Guarded(size_t bytes) : bytes_(bytes), data_(bytes + kGuardBytes, kGuard) {}
  uint8_t* get() { return data_.data(); }
  bool guardsIntact() const {
    return std::all_of(data_.begin() + static_cast<std::ptrdiff_t>(bytes_), data_.end(),
                       [](uint8_t b) { return b == kGuard; });
  }
  bool unchanged() const {
    return std::all_of(data_.begin(), data_.end(), [](uint8_t b) { return b == kGuard; });
  }

 private:
  size_t bytes_;
  std::vector<uint8_t> data_;
};

// Reads the image back: info, palette and pixels in a fuzzed layout. On a
// refusal the caller's buffers are as they were.
// `created`: the rows the image was made from, `step` bytes apart.
void readBack(Input& in, NadiroHandle image, const std::vector<uint8_t>* created, size_t step,
              int32_t format, int32_t order) {
  NadiroImageInfo info{-7, -7, -7, -7, -7};
  const int32_t got = NadiroImageGetInfo(image, &info);
  if (got != NADIRO_IMAGE_OK) {
    FUZZ_EXPECT(info.width == -7 && info.paletteSize == -7, "NadiroImageGetInfo refused and wrote");
    FUZZ_EXPECT(!created, "NadiroImageGetInfo refused a made image");
    return;
  }
  FUZZ_EXPECT(info.width >= 0 && info.height >= 0 && info.paletteSize >= 0, "NadiroImageGetInfo");
  if (info.paletteSize <= 256) {
    const size_t paletteBytes = size_t(info.paletteSize) * 3 - (info.paletteSize ? in.u8() % 2 : 0);
    Guarded palette(paletteBytes + (info.paletteSize == 0));
    const int32_t status = NadiroImageGetPalette(image, palette.get(), paletteBytes);
    FUZZ_EXPECT(palette.guardsIntact(), "NadiroImageGetPalette wrote past the buffer");
    FUZZ_EXPECT(status == NADIRO_IMAGE_OK || palette.unchanged(),
                "NadiroImageGetPalette refused and wrote");
  }
  const int32_t outFormat = in.pickSigned({format, 1, 2, 3, 4, 0, 5});
  const int32_t outOrder = in.pickSigned({order, 0, 1, 2});
  const size_t row = size_t(info.width) * pixelBytes(outFormat);
  const int32_t pad = in.pickSigned({0, 2, 1, -1});
  const size_t stride = size_t(std::max<int64_t>(int64_t(row) + pad, 0));
  const uint64_t outStep = stride ? stride : row;
  if (row > (1u << 22) || outStep * uint64_t(info.height) > (1u << 22))
    return;  // too large to test
  const size_t need = info.height ? size_t(outStep) * size_t(info.height - 1) + row : 0;
  const int32_t extra = in.pickSigned({0, 1, -1, 5});
  const size_t bytes = size_t(std::max<int64_t>(int64_t(need) + extra, 0));
  if (bytes > (1u << 22)) return;
  Guarded out(bytes);
  const int32_t status = NadiroImageGetPixels(image, out.get(), bytes, stride, outFormat, outOrder);
  FUZZ_EXPECT(out.guardsIntact(), "NadiroImageGetPixels wrote past the buffer");
  if (status != NADIRO_IMAGE_OK) {
    FUZZ_EXPECT(out.unchanged(), "NadiroImageGetPixels refused and wrote");
    return;
  }
  // Rows read back as they were given, in the format and order they came in.
  if (created && outFormat == format && outOrder == order && outFormat != NADIRO_FORMAT_RGBA) {
    for (size_t y = 0; y < size_t(info.height); ++y)
      FUZZ_EXPECT(std::equal(out.get() + y * outStep, out.get() + y * outStep + row,
                             created->begin() + static_cast<std::ptrdiff_t>(y * step)),
                  "NadiroImageGetPixels gave other pixels than made");
  }
}

}  // namespace

void runImage(Input& in) {
  if (in.u8() % 4 == 0) {
    // A block from the input, well formed or not.
    const int32_t format = in.pickSigned({1, 2, 3, 4});
    FuzzImage image(in, {24, 5, 3});
    readBack(in, image.handle(), nullptr, 0, format, 0);
    image.expectIntact("NadiroImageGet*");
    return;
  }
  const int32_t width = in.pickSigned({3, 1, 7, 64, 0, -1});
  const int32_t height = in.pickSigned({2, 1, 5, 64, 0, -1});
  const int32_t format = in.pickSigned({1, 2, 3, 4, 0, 5});
  const int32_t order = in.pickSigned({0, 1, 2, -1});
  const size_t row = size_t(std::max(width, 0)) * pixelBytes(format);
  const int32_t pad = in.pickSigned({0, 1, 3, -1, -100});
  const size_t stride = pad == -100 ? 0 : size_t(std::max<int64_t>(int64_t(row) + pad, 0));
  const size_t step = stride ? stride : row;
  if (step > (1u << 20)) return;  // larger buffers than a test allocates
  const size_t full = step * size_t(std::max(height, 0));
  const int32_t cut = in.pickSigned({0, 1, 0, -1, 7});
  const size_t bytes = cut == 1 ? full - (step - row) : cut == -1 && full ? full - 1 : full + cut;
  if (bytes > (1u << 20)) return;
  std::vector<uint8_t> pixels(bytes);
  const auto data = in.take(bytes);
  std::copy(data.begin(), data.end(), pixels.begin());
  const std::vector<uint8_t> before = pixels;
  NadiroHandle image = reinterpret_cast<NadiroHandle>(uintptr_t{1});
  const bool nullPixels = in.u8() % 16 == 1;
  const int32_t status = NadiroImageCreate(nullPixels ? nullptr : pixels.data(), bytes, width,
                                           height, stride, format, order, &image);
  FUZZ_EXPECT(pixels == before, "NadiroImageCreate changed its source");
  const bool valid = width >= 1 && height >= 1 && format >= 1 && format <= 4 && order >= 0 &&
                     order <= 1 && step >= row;
  if (status != NADIRO_IMAGE_OK) {
    FUZZ_EXPECT(image == nullptr, "NadiroImageCreate refused and left a handle");
    FUZZ_EXPECT(!(valid && bytes >= full && !nullPixels),
                "NadiroImageCreate refused rows it was given");
    return;
  }
  FUZZ_EXPECT(valid && bytes >= step * size_t(height - 1) + row, "NadiroImageCreate took bad rows");
  NadiroImageInfo info{};
  FUZZ_EXPECT(NadiroImageGetInfo(image, &info) == NADIRO_IMAGE_OK && info.width == width &&
                  info.height == height && info.bitsPerPixel == (format == 1 ? 8 : 24),
              "NadiroImageGetInfo of a made image");
  readBack(in, image, &before, step, format, order);
  FUZZ_EXPECT(NadiroImageFree(image) == NADIRO_IMAGE_OK, "NadiroImageFree");
}

}  // namespace nadiro::fuzz
