// The convenience layer: caller buffers to images and back, what it reads
// out of the exports' results, and refusals that leave everything as it was.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "nadiro/nadiro_image.h"
#include "support/images.h"

namespace nadiro::test {
namespace {

size_t bytesOf(int32_t format) {
  return format == NADIRO_FORMAT_GREY ? 1 : format == NADIRO_FORMAT_RGBA ? 4 : 3;
}

// Distinct bytes, `pad` of them after every row.
std::vector<uint8_t> pattern(int32_t width, int32_t height, int32_t format, size_t pad = 0) {
  std::vector<uint8_t> v((size_t(width) * bytesOf(format) + pad) * size_t(height));
  for (size_t i = 0; i < v.size(); ++i) v[i] = uint8_t(i * 37 + 11);
  return v;
}

MemHandle create(const std::vector<uint8_t>& px, int32_t w, int32_t h, int32_t format,
                 int32_t order = NADIRO_TOP_DOWN, size_t stride = 0) {
  NadiroHandle image = nullptr;
  EXPECT_EQ(NadiroImageCreate(px.data(), px.size(), w, h, stride, format, order, &image), 0);
  return image;
}

TEST(ImageLayer, PixelsComeBackInEveryFormatOrderAndStride) {
  const struct {
    int32_t width, height, format, order;
    size_t pad;
  } cases[] = {{1, 1, NADIRO_FORMAT_GREY, 0, 0}, {5, 3, NADIRO_FORMAT_GREY, 1, 3},
               {7, 4, NADIRO_FORMAT_RGB, 1, 5},  {3, 6, NADIRO_FORMAT_BGR, 0, 1},
               {6, 5, NADIRO_FORMAT_RGBA, 0, 0}, {1, 9, NADIRO_FORMAT_RGBA, 1, 8}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " format " << c.format);
    const size_t row = size_t(c.width) * bytesOf(c.format), stride = c.pad ? row + c.pad : 0;
    const std::vector<uint8_t> in = pattern(c.width, c.height, c.format, c.pad);
    ImageHandle image(create(in, c.width, c.height, c.format, c.order, stride));
    std::vector<uint8_t> out(in.size(), 0xEE);
    ASSERT_EQ(NadiroImageGetPixels(image.get(), out.data(), out.size(), stride, c.format, c.order),
              0);
    for (size_t at = 0; at < in.size(); ++at) {
      const size_t x = at % (row + c.pad);  // RGBA's fourth byte is dropped and reads 255
      const uint8_t want = x >= row                                       ? 0xEE
                           : c.format == NADIRO_FORMAT_RGBA && x % 4 == 3 ? 255
                                                                          : in[at];
      ASSERT_EQ(out[at], want) << "byte " << at;
    }
  }
}

TEST(ImageLayer, ImagesAreBottomUpDibs) {
  // 2 x 2 RGB, top row (1,2,3)(4,5,6), bottom row (7,8,9)(10,11,12).
  ImageHandle colour(create({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 2, 2, NADIRO_FORMAT_RGB));
  const std::vector<uint8_t> rgb = blockBytes(colour.get());
  const uint8_t header[16] = {40, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 24, 0};
  const uint8_t rows[16] = {9, 8, 7, 12, 11, 10, 0, 0, 3, 2, 1, 6, 5, 4, 0, 0};
  ASSERT_GE(rgb.size(), 56u);
  EXPECT_EQ(std::memcmp(rgb.data(), header, 16), 0);
  EXPECT_EQ(std::memcmp(rgb.data() + 40, rows, 16), 0);
  ImageHandle bgr(create({1, 2, 3}, 1, 1, NADIRO_FORMAT_BGR));  // already the stored order
  const std::vector<uint8_t> stored = blockBytes(bgr.get());
  EXPECT_EQ(std::vector<uint8_t>(stored.begin() + 40, stored.begin() + 43),
            (std::vector<uint8_t>{1, 2, 3}));

  ImageHandle grey(create({10, 20, 30}, 3, 1, NADIRO_FORMAT_GREY, NADIRO_BOTTOM_UP));
  const std::vector<uint8_t> g = blockBytes(grey.get());
  ASSERT_GE(g.size(), 40u + 1024 + 4);  // Windows may round a block up
  EXPECT_EQ(g[14], 8);
  for (int i : {0, 1, 128, 255}) EXPECT_EQ(g[40 + 4 * i + 1], i);
  EXPECT_EQ(g[1064 + 2], 30);
  NadiroImageInfo info{};
  ASSERT_EQ(NadiroImageGetInfo(grey.get(), &info), 0);
  EXPECT_EQ(std::vector<int32_t>(
                {info.width, info.height, info.bitsPerPixel, info.paletteSize, info.model}),
            std::vector<int32_t>({3, 1, 8, 256, NADIRO_MODEL_RGB}));
}

TEST(ImageLayer, PaletteImagesReadAsIndicesOrColours) {
  // 4 bits, 3 x 1, three colours black, red, blue; pixels 1, 2 and 15 (past the table).
  std::vector<uint8_t> dib(40 + 64 + 4, 0);
  const uint8_t header[16] = {40, 0, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0, 1, 0, 4, 0};
  std::memcpy(dib.data(), header, 16);
  dib[32] = 3;
  dib[40 + 4 + 2] = dib[40 + 8] = 255;
  dib[52] = 0x12;
  dib[53] = 0xF0;
  ImageHandle image(dib);
  std::vector<uint8_t> index(3), rgb(9), palette(9);
  ASSERT_EQ(NadiroImageGetPixels(image.get(), index.data(), 3, 0, NADIRO_FORMAT_GREY, 0), 0);
  ASSERT_EQ(NadiroImageGetPixels(image.get(), rgb.data(), 9, 0, NADIRO_FORMAT_RGB, 0), 0);
  ASSERT_EQ(NadiroImageGetPalette(image.get(), palette.data(), 9), 0);
  EXPECT_EQ(index, (std::vector<uint8_t>{1, 2, 15}));
  EXPECT_EQ(rgb, (std::vector<uint8_t>{255, 0, 0, 0, 0, 255, 0, 0, 0}));
  EXPECT_EQ(palette, (std::vector<uint8_t>{0, 0, 0, 255, 0, 0, 0, 0, 255}));
  EXPECT_EQ(NadiroImageGetPalette(image.get(), palette.data(), 8), NADIRO_IMAGE_BUFFER_TOO_SMALL);
}

TEST(ImageLayer, ConvertedImagesReadAsTheSingleColourExportsGiveThem) {
  const std::vector<uint8_t> colours = pattern(5, 3, NADIRO_FORMAT_RGB);
  ImageHandle rgb(create(colours, 5, 3, NADIRO_FORMAT_RGB));
  ImageHandle hsv(ConvertDIBColorSpace(rgb.get(), NADIRO_MODEL_RGB, NADIRO_MODEL_HSV, 0, nullptr));
  ImageHandle cmyk(
      ConvertDIBColorSpace(rgb.get(), NADIRO_MODEL_RGB, NADIRO_MODEL_CMYK, 0, nullptr));
  NadiroImageInfo info{};
  ASSERT_EQ(NadiroImageGetInfo(hsv.get(), &info), 0);
  EXPECT_EQ(info.model, NADIRO_MODEL_HSV);
  std::vector<uint8_t> h(colours.size()), k(5 * 3 * 4);
  ASSERT_EQ(NadiroImageGetPixels(hsv.get(), h.data(), h.size(), 0, NADIRO_FORMAT_RGB, 0), 0);
  ASSERT_EQ(NadiroImageGetPixels(cmyk.get(), k.data(), k.size(), 0, NADIRO_FORMAT_RGBA, 0), 0);
  for (size_t p = 0; p < 15; ++p) {
    const NadiroColor3 in{{colours[p * 3], colours[p * 3 + 1], colours[p * 3 + 2]}};
    const NadiroColor3 want = RGBtoHSV(&in);
    const uint32_t packed = RGBtoCMYK(&in);
    EXPECT_EQ(std::memcmp(&h[p * 3], want.v, 3), 0) << "pixel " << p;
    EXPECT_EQ(std::memcmp(&k[p * 4], &packed, 4), 0) << "pixel " << p;
  }
}

TEST(ImageLayer, PixelStatusIsReadAndLeftAsItWas) {
  ImageHandle g(create(std::vector<uint8_t>(16, 128), 4, 4, NADIRO_FORMAT_GREY));
  const struct {
    MemHandle (*run)(MemHandle);
    uint32_t status;
  } cases[] = {{[](MemHandle h) { return DitherFS4(h, 4); }, NADIRO_PIXEL_OK},
               {[](MemHandle h) { return DitherFS4(h, 3); }, NADIRO_PIXEL_BAD_ARGUMENT},
               {[](MemHandle) { return DitherSharp(nullptr, 1); }, NADIRO_PIXEL_CANNOT_LOCK},
               {[](MemHandle h) { return ColorBrightnessContrast(h, 10, 0, 0); }, NADIRO_PIXEL_OK}};
  for (const auto& c : cases) {
    ImageHandle result(c.run(g.get()));
    EXPECT_EQ(NadiroImagePixelStatus(), c.status);
    NadiroImageInfo info;  // the layer's own failures touch neither field
    ConvertDIBColorSpace(nullptr, 1, 6, 0, nullptr);
    const uint32_t lastError = GetLastColorConvertError();
    EXPECT_EQ(NadiroImageGetInfo(nullptr, &info), NADIRO_IMAGE_BAD_HANDLE);
    EXPECT_EQ(NadiroImagePixelStatus(), c.status);
    EXPECT_EQ(GetLastColorConvertError(), lastError);
  }
}

TEST(ImageLayer, BadArgumentsAreRefusedAndChangeNothing) {
  const std::vector<uint8_t> px = pattern(4, 4, NADIRO_FORMAT_RGBA);
  const struct {
    const void* pixels;
    size_t bytes;
    int32_t width, height;
    size_t stride;
    int32_t format, order, status;
  } cases[] = {
      {nullptr, 64, 4, 4, 0, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {px.data(), 64, 0, 4, 0, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {px.data(), 64, 4, -1, 0, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {px.data(), 64, 4, 4, 0, 5, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {px.data(), 64, 4, 4, 0, NADIRO_FORMAT_RGB, 2, NADIRO_IMAGE_BAD_ARGUMENT},
      {px.data(), 64, 4, 4, 11, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {px.data(), 47, 4, 4, 0, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BUFFER_TOO_SMALL},
      {px.data(), 64, 4, 4, 20, NADIRO_FORMAT_RGBA, 0, NADIRO_IMAGE_BUFFER_TOO_SMALL},
      {px.data(), 64, 4, 4, SIZE_MAX / 2, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BUFFER_TOO_SMALL},
      {px.data(), SIZE_MAX, 50000, 50000, 0, NADIRO_FORMAT_GREY, 0, NADIRO_IMAGE_TOO_LARGE},
  };
  for (const auto& c : cases) {
    NadiroHandle image = &image;
    EXPECT_EQ(NadiroImageCreate(c.pixels, c.bytes, c.width, c.height, c.stride, c.format, c.order,
                                &image),
              c.status);
    EXPECT_EQ(image, nullptr);
  }
  ImageHandle image(create(px, 4, 4, NADIRO_FORMAT_RGBA));
  const std::vector<uint8_t> before = blockBytes(image.get());
  const struct {
    size_t bytes, stride;
    int32_t format, order, status;
  } reads[] = {{47, 0, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BUFFER_TOO_SMALL},
               {64, 0, NADIRO_FORMAT_GREY, 0, NADIRO_IMAGE_UNSUPPORTED},
               {64, 0, 9, 0, NADIRO_IMAGE_BAD_ARGUMENT},
               {64, 8, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BAD_ARGUMENT}};
  for (const auto& r : reads) {
    std::vector<uint8_t> out(64, 0x5A);
    EXPECT_EQ(NadiroImageGetPixels(image.get(), out.data(), r.bytes, r.stride, r.format, r.order),
              r.status);
    EXPECT_EQ(out, std::vector<uint8_t>(64, 0x5A));
  }
  EXPECT_EQ(blockBytes(image.get()), before);
  EXPECT_TRUE(notLocked(image.get()));
}

TEST(ImageLayer, BrokenImagesAndHandlesAreRefused) {
  const struct {
    size_t offset;
    uint8_t value;
    int32_t status;
  } edits[] = {{0, 12, NADIRO_IMAGE_MALFORMED},    // core header
               {8, 9, NADIRO_IMAGE_MALFORMED},     // rows past the block
               {7, 0x80, NADIRO_IMAGE_MALFORMED},  // negative width
               {16, 1, NADIRO_IMAGE_MALFORMED},    // run-length tag
               {14, 16, NADIRO_IMAGE_UNSUPPORTED}};
  for (const auto& e : edits) {
    std::vector<uint8_t> dib = makeDib({.width = 4, .height = 4, .bits = 24});
    dib[e.offset] = e.value;
    ImageHandle image(dib);
    std::vector<uint8_t> out(64, 0x5A);
    EXPECT_EQ(NadiroImageGetPixels(image.get(), out.data(), 64, 0, NADIRO_FORMAT_RGB, 0), e.status);
    EXPECT_EQ(out, std::vector<uint8_t>(64, 0x5A));
    EXPECT_TRUE(notLocked(image.get()));
  }
  NadiroImageInfo info{};
  for (MemHandle bad : {MemHandle{}, garbageHandle(3)}) {
    EXPECT_EQ(NadiroImageGetInfo(bad, &info), NADIRO_IMAGE_BAD_HANDLE);
    EXPECT_EQ(NadiroImageFree(bad), NADIRO_IMAGE_BAD_HANDLE);
  }
  MemHandle made = create({7}, 1, 1, NADIRO_FORMAT_GREY);
  EXPECT_EQ(NadiroImageFree(made), NADIRO_IMAGE_OK);
  EXPECT_EQ(NadiroImageFree(made), NADIRO_IMAGE_BAD_HANDLE);
  EXPECT_STREQ(NadiroStatusText(NADIRO_CODE_PIXEL, NADIRO_PIXEL_COMPRESSED), "compressed image");
  EXPECT_STREQ(NadiroStatusText(NADIRO_CODE_LAST_ERROR, 5), "unknown code");
}

}  // namespace
}  // namespace nadiro::test
