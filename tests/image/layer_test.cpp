// The convenience layer: caller buffers to images and back, what it reads
// out of the exports' results, and refusals that leave everything as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "nadiro/nadiro_image.h"
#include "support/images.h"

namespace nadiro::test {
namespace {

size_t bytesOf(int32_t format) {
  return format == NADIRO_FORMAT_GREY ? 1 : format == NADIRO_FORMAT_RGBA ? 4 : 3;
}

MemHandle create(const Bytes& px, int32_t w, int32_t h, int32_t format,
                 int32_t order = NADIRO_TOP_DOWN, size_t stride = 0) {
  NadiroHandle image = nullptr;
  EXPECT_EQ(NadiroImageCreate(px.data(), px.size(), w, h, stride, format, order, &image), 0);
  return image;
}

Bytes pixelsOf(MemHandle image, size_t bytes, int32_t format) {
  Bytes out(bytes);
  EXPECT_EQ(NadiroImageGetPixels(image, out.data(), bytes, 0, format, NADIRO_TOP_DOWN), 0);
  return out;
}

// Distinct bytes in, the same bytes out (RGBA's fourth byte is not stored
// and reads 255; padding after each row is left alone).
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
    Bytes in((row + c.pad) * size_t(c.height)), out(in.size(), 0xEE);
    for (size_t i = 0; i < in.size(); ++i) in[i] = uint8_t(i * 37 + 11);
    ImageHandle image(create(in, c.width, c.height, c.format, c.order, stride));
    ASSERT_EQ(NadiroImageGetPixels(image.get(), out.data(), out.size(), stride, c.format, c.order),
              0);
    for (size_t at = 0; at < in.size(); ++at) {
      const size_t x = at % (row + c.pad);
      const bool alpha = c.format == NADIRO_FORMAT_RGBA && x % 4 == 3;
      ASSERT_EQ(out[at], x >= row ? 0xEE : alpha ? 255 : in[at]) << "byte " << at;
    }
  }
}

// The stored layout, which a round trip cannot show: bottom-up rows of B, G,
// R padded to 4 bytes; grey images with a grey table.
TEST(ImageLayer, ImagesAreBottomUpDibs) {
  // 2 x 2 RGB, top row (1,2,3)(4,5,6), bottom row (7,8,9)(10,11,12).
  ImageHandle colour(create({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 2, 2, NADIRO_FORMAT_RGB));
  const Bytes rgb = blockBytes(colour.get());
  ASSERT_GE(rgb.size(), 56u);  // Windows may round a block up
  EXPECT_EQ(Bytes(rgb.begin(), rgb.begin() + 16),
            (Bytes{40, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 24, 0}));
  EXPECT_EQ(Bytes(rgb.begin() + 40, rgb.begin() + 56),
            (Bytes{9, 8, 7, 12, 11, 10, 0, 0, 3, 2, 1, 6, 5, 4, 0, 0}));
  ImageHandle bgr(create({1, 2, 3}, 1, 1, NADIRO_FORMAT_BGR));  // already the stored order
  const Bytes stored = blockBytes(bgr.get());
  EXPECT_EQ(Bytes(stored.begin() + 40, stored.begin() + 43), (Bytes{1, 2, 3}));
  // Bottom-up grey rows are stored as they come, behind a grey table.
  ImageHandle grey(create({10, 20, 30, 40, 50, 60}, 3, 2, NADIRO_FORMAT_GREY, NADIRO_BOTTOM_UP));
  const Bytes g = blockBytes(grey.get());
  ASSERT_GE(g.size(), 40u + 1024 + 8);
  EXPECT_EQ(g[14], 8);
  for (int i : {0, 1, 128, 255}) EXPECT_EQ(g[40 + 4 * i + 1], i);
  EXPECT_EQ(Bytes(g.begin() + 1064, g.begin() + 1072), (Bytes{10, 20, 30, 0, 40, 50, 60, 0}));
  NadiroImageInfo info{};
  ASSERT_EQ(NadiroImageGetInfo(grey.get(), &info), 0);
  EXPECT_EQ(std::vector<int32_t>(
                {info.width, info.height, info.bitsPerPixel, info.paletteSize, info.model}),
            std::vector<int32_t>({3, 2, 8, 256, NADIRO_MODEL_RGB}));
}

// Images the layer did not make: a 4-bit palette image (high nibble first)
// reads as indices or table colours, black past the table; converted images
// read as the buffer conversion gives their pixels (CMYK as C, M, Y, K).
TEST(ImageLayer, OtherImagesReadAsTheirTablesAndModels) {
  // 3 x 1, three colours black, red, blue; pixels 1, 2 and 15.
  Bytes dib = makeDib({.width = 3, .bits = 4, .clrUsed = 3, .tableEntries = 3});
  std::fill(dib.begin() + 40, dib.begin() + 52, 0);
  dib[40 + 4 + 2] = dib[40 + 8] = 255;
  dib[52] = 0x12;
  dib[53] = 0xF0;
  ImageHandle palette(dib);
  EXPECT_EQ(pixelsOf(palette.get(), 3, NADIRO_FORMAT_GREY), (Bytes{1, 2, 15}));
  EXPECT_EQ(pixelsOf(palette.get(), 9, NADIRO_FORMAT_RGB), (Bytes{255, 0, 0, 0, 0, 255, 0, 0, 0}));
  Bytes table(9);
  ASSERT_EQ(NadiroImageGetPalette(palette.get(), table.data(), 9), 0);
  EXPECT_EQ(table, (Bytes{0, 0, 0, 255, 0, 0, 0, 0, 255}));
  EXPECT_EQ(NadiroImageGetPalette(palette.get(), table.data(), 8), NADIRO_IMAGE_BUFFER_TOO_SMALL);

  Bytes colours(5 * 3 * 3), hsv(colours.size()), cmyk(5 * 3 * 4);
  for (size_t i = 0; i < colours.size(); ++i) colours[i] = uint8_t(i * 37 + 11);
  ConvertColorSpace(colours.data(), hsv.data(), 45, NADIRO_MODEL_RGB, NADIRO_MODEL_HSV, 0, nullptr);
  ConvertColorSpace(colours.data(), cmyk.data(), 45, NADIRO_MODEL_RGB, NADIRO_MODEL_CMYK, 0,
                    nullptr);
  ImageHandle rgb(create(colours, 5, 3, NADIRO_FORMAT_RGB));
  for (const auto& [model, want] : {std::pair{NADIRO_MODEL_HSV, hsv}, {NADIRO_MODEL_CMYK, cmyk}}) {
    ImageHandle converted(ConvertDIBColorSpace(rgb.get(), NADIRO_MODEL_RGB, model, 0, nullptr));
    NadiroImageInfo info{};
    ASSERT_EQ(NadiroImageGetInfo(converted.get(), &info), 0);
    EXPECT_EQ(info.model, model);
    const int32_t format = model == NADIRO_MODEL_CMYK ? NADIRO_FORMAT_RGBA : NADIRO_FORMAT_RGB;
    EXPECT_EQ(pixelsOf(converted.get(), want.size(), format), want) << "model " << model;
  }
}

TEST(ImageLayer, CreateRefusesBadArguments) {
  const Bytes px(64, 7);
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
  resetCodes(42, 43);  // the layer reports through its results only
  for (const auto& c : cases) {
    NadiroHandle image = &image;
    EXPECT_EQ(NadiroImageCreate(c.pixels, c.bytes, c.width, c.height, c.stride, c.format, c.order,
                                &image),
              c.status);
    EXPECT_EQ(image, nullptr);
  }
  EXPECT_EQ(NadiroImagePixelStatus(), 42u) << "read from the thread, left as it was";
  EXPECT_EQ(lastError(), 43u);
}

// Bad arguments on a good image and broken images: the caller's buffer and
// the image stay as they were.
TEST(ImageLayer, ReadsRefuseBadArgumentsAndBrokenImages) {
  const Bytes good = makeDib({.width = 4, .height = 4, .bits = 24});
  auto edited = [&](size_t at, uint8_t value) {
    Bytes b = good;
    b[at] = value;
    return b;
  };
  const struct {
    Bytes image;
    size_t bytes, stride;
    int32_t format, status;
  } reads[] = {
      {good, 47, 0, NADIRO_FORMAT_RGB, NADIRO_IMAGE_BUFFER_TOO_SMALL},
      {good, 64, 0, NADIRO_FORMAT_GREY, NADIRO_IMAGE_UNSUPPORTED},
      {good, 64, 0, 9, NADIRO_IMAGE_BAD_ARGUMENT},
      {good, 64, 8, NADIRO_FORMAT_RGB, NADIRO_IMAGE_BAD_ARGUMENT},
      {edited(0, 12), 64, 0, NADIRO_FORMAT_RGB, NADIRO_IMAGE_MALFORMED},  // core header
      {edited(8, 9), 64, 0, NADIRO_FORMAT_RGB, NADIRO_IMAGE_MALFORMED},   // rows past the block
      {edited(16, 1), 64, 0, NADIRO_FORMAT_RGB, NADIRO_IMAGE_MALFORMED},  // run-length tag
      {edited(14, 16), 64, 0, NADIRO_FORMAT_RGB, NADIRO_IMAGE_UNSUPPORTED},
  };
  for (const auto& r : reads) {
    ImageHandle image(r.image);
    const Bytes before = blockBytes(image.get());
    Bytes out(64, 0x5A);
    EXPECT_EQ(NadiroImageGetPixels(image.get(), out.data(), r.bytes, r.stride, r.format, 0),
              r.status);
    EXPECT_EQ(out, Bytes(64, 0x5A));
    EXPECT_EQ(blockBytes(image.get()), before);
    EXPECT_TRUE(notLocked(image.get()));
  }
}

TEST(ImageLayer, HandlesAndStatusTexts) {
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
