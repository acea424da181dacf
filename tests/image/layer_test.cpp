// The convenience layer: caller buffers to images and back, what it reads
// out of the exports' results, and refusals that leave everything as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "nadiro/nadiro_image.h"
#include "support/images.h"

namespace nadiro::test {
namespace {

size_t bytesOf(int32_t format) {
  return format == NADIRO_FORMAT_GREY ? 1 : format == NADIRO_FORMAT_RGBA ? 4 : 3;
}

// A buffer of distinct bytes with `pad` junk bytes after every row.
std::vector<uint8_t> pattern(int32_t width, int32_t height, int32_t format, size_t pad) {
  std::vector<uint8_t> v((static_cast<size_t>(width) * bytesOf(format) + pad) *
                         static_cast<size_t>(height));
  for (size_t i = 0; i < v.size(); ++i) v[i] = static_cast<uint8_t>(i * 37 + 11);
  return v;
}

NadiroHandle create(const std::vector<uint8_t>& pixels, int32_t w, int32_t h, size_t stride,
                    int32_t format, int32_t order) {
  NadiroHandle image = nullptr;
  EXPECT_EQ(NadiroImageCreate(pixels.data(), pixels.size(), w, h, stride, format, order, &image),
            NADIRO_IMAGE_OK);
  return image;
}

struct RoundTrip {
  int32_t width, height, format, order;
  size_t pad;
};

TEST(ImageLayer, PixelsComeBackInEveryFormatOrderAndStride) {
  const RoundTrip cases[] = {
      {1, 1, NADIRO_FORMAT_GREY, NADIRO_TOP_DOWN, 0},
      {5, 3, NADIRO_FORMAT_GREY, NADIRO_BOTTOM_UP, 3},
      {7, 4, NADIRO_FORMAT_RGB, NADIRO_TOP_DOWN, 0},
      {7, 4, NADIRO_FORMAT_RGB, NADIRO_BOTTOM_UP, 5},
      {3, 6, NADIRO_FORMAT_BGR, NADIRO_TOP_DOWN, 1},
      {2, 2, NADIRO_FORMAT_BGR, NADIRO_BOTTOM_UP, 0},
      {6, 5, NADIRO_FORMAT_RGBA, NADIRO_TOP_DOWN, 0},
      {1, 9, NADIRO_FORMAT_RGBA, NADIRO_BOTTOM_UP, 8},
  };
  for (const RoundTrip& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " format " << c.format
                                    << " order " << c.order << " pad " << c.pad);
    const size_t row = static_cast<size_t>(c.width) * bytesOf(c.format);
    const size_t stride = c.pad ? row + c.pad : 0;
    std::vector<uint8_t> in = pattern(c.width, c.height, c.format, c.pad);
    ImageHandle image(create(in, c.width, c.height, stride, c.format, c.order));
    ASSERT_TRUE(image);
    std::vector<uint8_t> out(in.size(), 0xEE);
    ASSERT_EQ(NadiroImageGetPixels(image.get(), out.data(), out.size(), stride, c.format, c.order),
              NADIRO_IMAGE_OK);
    for (int32_t y = 0; y < c.height; ++y)
      for (size_t i = 0; i < row; ++i) {
        const size_t at = static_cast<size_t>(y) * (row + c.pad) + i;
        // RGBA's fourth byte is dropped on the way in and reads 255.
        const uint8_t want = c.format == NADIRO_FORMAT_RGBA && i % 4 == 3 ? 255 : in[at];
        ASSERT_EQ(out[at], want) << "row " << y << " byte " << i;
      }
    for (int32_t y = 0; c.pad && y < c.height; ++y)  // padding untouched
      EXPECT_EQ(out[static_cast<size_t>(y) * (row + c.pad) + row], 0xEE);
  }
}

TEST(ImageLayer, ImagesAreBottomUpDibsWithHeaderAndGreyPalette) {
  // 2 x 2 RGB, top row (1,2,3)(4,5,6), bottom row (7,8,9)(10,11,12).
  const std::vector<uint8_t> rgb{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  ImageHandle colour(create(rgb, 2, 2, 0, NADIRO_FORMAT_RGB, NADIRO_TOP_DOWN));
  std::vector<uint8_t> b = blockBytes(colour.get());
  ASSERT_EQ(b.size(), 40u + 2 * 8);
  const uint8_t header[16] = {40, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 24, 0};
  EXPECT_EQ(std::memcmp(b.data(), header, sizeof header), 0);
  const uint8_t rows[16] = {9, 8, 7, 12, 11, 10, 0, 0, 3, 2, 1, 6, 5, 4, 0, 0};
  EXPECT_EQ(std::memcmp(b.data() + 40, rows, sizeof rows), 0);

  const std::vector<uint8_t> grey{10, 20, 30};
  ImageHandle g(create(grey, 3, 1, 0, NADIRO_FORMAT_GREY, NADIRO_BOTTOM_UP));
  b = blockBytes(g.get());
  ASSERT_GE(b.size(), 40u + 1024 + 4);  // Windows may round a block up
  EXPECT_EQ(b[14], 8);
  EXPECT_EQ(b[32], 0);  // colours used: 256
  EXPECT_EQ(b[33], 1);
  for (int i : {0, 1, 128, 255}) EXPECT_EQ(b[40 + 4 * i + 1], i);
  EXPECT_EQ(b[1064 + 2], 30);

  NadiroImageInfo info{};
  ASSERT_EQ(NadiroImageGetInfo(g.get(), &info), NADIRO_IMAGE_OK);
  EXPECT_EQ(info.width, 3);
  EXPECT_EQ(info.height, 1);
  EXPECT_EQ(info.bitsPerPixel, 8);
  EXPECT_EQ(info.paletteSize, 256);
  EXPECT_EQ(info.model, NADIRO_MODEL_RGB);
}

TEST(ImageLayer, PaletteImagesReadAsIndicesOrColours) {
  // A 4-bit image 3 x 1, palette 0 black, 1 red, 2 blue; pixels 1, 2, 15.
  std::vector<uint8_t> dib(40 + 16 * 4 + 4, 0);
  const uint8_t header[16] = {40, 0, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0, 1, 0, 4, 0};
  std::memcpy(dib.data(), header, sizeof header);
  dib[32] = 3;            // three colours used: index 15 lies beyond the table
  dib[40 + 4 + 2] = 255;  // entry 1: red
  dib[40 + 8 + 0] = 255;  // entry 2: blue
  dib[40 + 12] = 0x12;
  dib[40 + 12 + 1] = 0xF0;
  ImageHandle image(dib);
  std::vector<uint8_t> index(3), rgb(9), palette(9);
  ASSERT_EQ(NadiroImageGetPixels(image.get(), index.data(), 3, 0, NADIRO_FORMAT_GREY, 0), 0);
  EXPECT_EQ(index, (std::vector<uint8_t>{1, 2, 15}));
  ASSERT_EQ(NadiroImageGetPixels(image.get(), rgb.data(), 9, 0, NADIRO_FORMAT_RGB, 0), 0);
  EXPECT_EQ(rgb, (std::vector<uint8_t>{255, 0, 0, 0, 0, 255, 0, 0, 0}));
  ASSERT_EQ(NadiroImageGetPalette(image.get(), palette.data(), 9), 0);
  EXPECT_EQ(palette, (std::vector<uint8_t>{0, 0, 0, 255, 0, 0, 0, 0, 255}));
  EXPECT_EQ(NadiroImageGetPalette(image.get(), palette.data(), 8), NADIRO_IMAGE_BUFFER_TOO_SMALL);
}

TEST(ImageLayer, ReadsWhatTheExportsReturn) {
  // A horizontal grey ramp, ordered-dithered: 1 bit, a black/white palette
  // and indices 0 or 1, more 1s to the right.
  std::vector<uint8_t> ramp(64 * 8);
  for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<uint8_t>((i % 64) * 4);
  ImageHandle grey(create(ramp, 64, 8, 0, NADIRO_FORMAT_GREY, NADIRO_TOP_DOWN));
  ImageHandle mono(DitherOrdered(grey.get(), 4));
  ASSERT_TRUE(mono);
  NadiroImageInfo info{};
  ASSERT_EQ(NadiroImageGetInfo(mono.get(), &info), 0);
  EXPECT_EQ(info.bitsPerPixel, 1);
  EXPECT_EQ(info.paletteSize, 2);
  std::vector<uint8_t> bits(64 * 8);
  ASSERT_EQ(NadiroImageGetPixels(mono.get(), bits.data(), bits.size(), 0, NADIRO_FORMAT_GREY, 0),
            0);
  int left = 0, right = 0;
  for (size_t i = 0; i < bits.size(); ++i) {
    ASSERT_LE(bits[i], 1);
    (i % 64 < 32 ? left : right) += bits[i];
  }
  EXPECT_LT(left, right);

  // Whole-image conversions: every pixel as the single-colour exports give it.
  std::vector<uint8_t> colours = pattern(5, 3, NADIRO_FORMAT_RGB, 0);
  ImageHandle rgb(create(colours, 5, 3, 0, NADIRO_FORMAT_RGB, NADIRO_TOP_DOWN));
  ImageHandle hsv(ConvertDIBColorSpace(rgb.get(), NADIRO_MODEL_RGB, NADIRO_MODEL_HSV, 0, nullptr));
  ImageHandle cmyk(
      ConvertDIBColorSpace(rgb.get(), NADIRO_MODEL_RGB, NADIRO_MODEL_CMYK, 0, nullptr));
  ASSERT_TRUE(hsv && cmyk);
  ASSERT_EQ(NadiroImageGetInfo(hsv.get(), &info), 0);
  EXPECT_EQ(info.model, NADIRO_MODEL_HSV);
  std::vector<uint8_t> h(colours.size()), k(5 * 3 * 4);
  ASSERT_EQ(NadiroImageGetPixels(hsv.get(), h.data(), h.size(), 0, NADIRO_FORMAT_RGB, 0), 0);
  ASSERT_EQ(NadiroImageGetPixels(cmyk.get(), k.data(), k.size(), 0, NADIRO_FORMAT_RGBA, 0), 0);
  for (size_t p = 0; p < 15; ++p) {
    NadiroColor3 in{{colours[p * 3], colours[p * 3 + 1], colours[p * 3 + 2]}};
    const NadiroColor3 want = RGBtoHSV(&in);
    EXPECT_EQ(std::memcmp(&h[p * 3], want.v, 3), 0) << "pixel " << p;
    const uint32_t packed = RGBtoCMYK(&in);
    EXPECT_EQ(std::memcmp(&k[p * 4], &packed, 4), 0) << "pixel " << p;
  }
}

TEST(ImageLayer, PixelStatusOfTheDitheringAndBrightnessExports) {
  const std::vector<uint8_t> grey(16, 128);
  ImageHandle g(create(grey, 4, 4, 0, NADIRO_FORMAT_GREY, NADIRO_TOP_DOWN));
  struct Case {
    const char* call;
    MemHandle (*run)(MemHandle);
    uint32_t status;
  } cases[] = {
      {"FS4 to 4 bits", [](MemHandle h) { return DitherFS4(h, 4); }, NADIRO_PIXEL_OK},
      {"FS4 to 3 bits", [](MemHandle h) { return DitherFS4(h, 3); }, NADIRO_PIXEL_BAD_ARGUMENT},
      {"FS4 of nothing", [](MemHandle) { return DitherFS4(nullptr, 1); },
       NADIRO_PIXEL_BAD_ARGUMENT},
      {"Sharp of nothing", [](MemHandle) { return DitherSharp(nullptr, 1); },
       NADIRO_PIXEL_CANNOT_LOCK},
      {"brightness", [](MemHandle h) { return ColorBrightnessContrast(h, 10, 0, 0); },
       NADIRO_PIXEL_OK},
  };
  for (const Case& c : cases) {
    ImageHandle result(c.run(g.get()));
    EXPECT_EQ(NadiroImagePixelStatus(), c.status) << c.call;
    EXPECT_EQ(NadiroImagePixelStatus(), c.status) << c.call << ": reading changed it";
  }
  // The layer's own failures leave both fields alone.
  DitherFS4(nullptr, 1);
  (void)GetLastColorConvertError();
  ConvertDIBColorSpace(nullptr, 1, 6, 0, nullptr);
  const uint32_t lastError = GetLastColorConvertError();
  NadiroImageInfo info;
  EXPECT_EQ(NadiroImageGetInfo(nullptr, &info), NADIRO_IMAGE_BAD_HANDLE);
  EXPECT_EQ(NadiroImagePixelStatus(), NADIRO_PIXEL_BAD_ARGUMENT);
  EXPECT_EQ(GetLastColorConvertError(), lastError);
}

TEST(ImageLayer, BadArgumentsAreRefusedAndChangeNothing) {
  const std::vector<uint8_t> px = pattern(4, 4, NADIRO_FORMAT_RGBA, 0);
  struct Case {
    const char* what;
    const void* pixels;
    size_t bytes;
    int32_t width, height;
    size_t stride;
    int32_t format, order;
    int32_t status;
  } cases[] = {
      {"null pixels", nullptr, 64, 4, 4, 0, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {"width 0", px.data(), 64, 0, 4, 0, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {"height -1", px.data(), 64, 4, -1, 0, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {"format 0", px.data(), 64, 4, 4, 0, 0, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {"format 5", px.data(), 64, 4, 4, 0, 5, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {"order 2", px.data(), 64, 4, 4, 0, NADIRO_FORMAT_RGB, 2, NADIRO_IMAGE_BAD_ARGUMENT},
      {"stride below a row", px.data(), 64, 4, 4, 11, NADIRO_FORMAT_RGB, 0,
       NADIRO_IMAGE_BAD_ARGUMENT},
      {"buffer one byte short", px.data(), 47, 4, 4, 0, NADIRO_FORMAT_RGB, 0,
       NADIRO_IMAGE_BUFFER_TOO_SMALL},
      {"padded rows past the end", px.data(), 64, 4, 4, 20, NADIRO_FORMAT_RGBA, 0,
       NADIRO_IMAGE_BUFFER_TOO_SMALL},
      {"stride wraps", px.data(), 64, 4, 4, SIZE_MAX / 2, NADIRO_FORMAT_RGB, 0,
       NADIRO_IMAGE_BUFFER_TOO_SMALL},
      {"over 2^31 bytes", px.data(), SIZE_MAX, 50000, 50000, 0, NADIRO_FORMAT_GREY, 0,
       NADIRO_IMAGE_TOO_LARGE},
  };
  for (const Case& c : cases) {
    NadiroHandle image = reinterpret_cast<NadiroHandle>(1);
    EXPECT_EQ(NadiroImageCreate(c.pixels, c.bytes, c.width, c.height, c.stride, c.format, c.order,
                                &image),
              c.status)
        << c.what;
    EXPECT_EQ(image, nullptr) << c.what;
  }
  EXPECT_EQ(NadiroImageCreate(px.data(), 64, 4, 4, 0, NADIRO_FORMAT_RGB, 0, nullptr),
            NADIRO_IMAGE_BAD_ARGUMENT);

  // Reading into a buffer that is refused leaves it as it was.
  ImageHandle image(create(px, 4, 4, 0, NADIRO_FORMAT_RGBA, 0));
  const std::vector<uint8_t> before = blockBytes(image.get());
  struct Read {
    const char* what;
    size_t bytes, stride;
    int32_t format, order, status;
  } reads[] = {
      {"short buffer", 47, 0, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BUFFER_TOO_SMALL},
      {"grey of 24 bits", 64, 0, NADIRO_FORMAT_GREY, 0, NADIRO_IMAGE_UNSUPPORTED},
      {"format 9", 64, 0, 9, 0, NADIRO_IMAGE_BAD_ARGUMENT},
      {"order -1", 64, 0, NADIRO_FORMAT_RGB, -1, NADIRO_IMAGE_BAD_ARGUMENT},
      {"stride below a row", 64, 8, NADIRO_FORMAT_RGB, 0, NADIRO_IMAGE_BAD_ARGUMENT},
  };
  for (const Read& r : reads) {
    std::vector<uint8_t> out(64, 0x5A);
    EXPECT_EQ(NadiroImageGetPixels(image.get(), out.data(), r.bytes, r.stride, r.format, r.order),
              r.status)
        << r.what;
    EXPECT_EQ(out, std::vector<uint8_t>(64, 0x5A)) << r.what;
  }
  EXPECT_EQ(blockBytes(image.get()), before);
  EXPECT_TRUE(notLocked(image.get()));
}

TEST(ImageLayer, BrokenImagesAreRefused) {
  auto withHeader = [](auto&& edit) {
    std::vector<uint8_t> dib = makeDib({.width = 4, .height = 4, .bits = 24});
    edit(dib);
    return dib;
  };
  struct Case {
    const char* what;
    std::vector<uint8_t> dib;
    int32_t status;
  } cases[] = {
      {"core header", withHeader([](auto& d) { d[0] = 12; }), NADIRO_IMAGE_MALFORMED},
      {"rows past the block", withHeader([](auto& d) { d[8] = 9; }), NADIRO_IMAGE_MALFORMED},
      {"negative width", withHeader([](auto& d) { d[7] = 0x80; }), NADIRO_IMAGE_MALFORMED},
      {"run-length tag", withHeader([](auto& d) { d[16] = 1; }), NADIRO_IMAGE_MALFORMED},
      {"16 bits", withHeader([](auto& d) { d[14] = 16; }), NADIRO_IMAGE_UNSUPPORTED},
      {"block shorter than a header", std::vector<uint8_t>(39, 0), NADIRO_IMAGE_MALFORMED},
  };
  for (const Case& c : cases) {
    ImageHandle image(c.dib);
    std::vector<uint8_t> out(64, 0x5A);
    EXPECT_EQ(NadiroImageGetPixels(image.get(), out.data(), out.size(), 0, NADIRO_FORMAT_RGB, 0),
              c.status)
        << c.what;
    EXPECT_EQ(out, std::vector<uint8_t>(64, 0x5A)) << c.what;
    EXPECT_EQ(blockBytes(image.get()), c.dib) << c.what;
    EXPECT_TRUE(notLocked(image.get())) << c.what;
  }
  NadiroImageInfo info{};
  for (MemHandle bad : {MemHandle{}, garbageHandle(3)}) {
    EXPECT_EQ(NadiroImageGetInfo(bad, &info), NADIRO_IMAGE_BAD_HANDLE);
    EXPECT_EQ(NadiroImageFree(bad), NADIRO_IMAGE_BAD_HANDLE);
  }
  NadiroHandle made = nullptr;
  const uint8_t one = 7;
  ASSERT_EQ(NadiroImageCreate(&one, 1, 1, 1, 0, NADIRO_FORMAT_GREY, 0, &made), 0);
  EXPECT_EQ(NadiroImageFree(made), NADIRO_IMAGE_OK);
  EXPECT_EQ(NadiroImageFree(made), NADIRO_IMAGE_BAD_HANDLE);  // freed twice
}

TEST(ImageLayer, EveryCodeHasItsOwnText) {
  const struct {
    int32_t kind;
    std::vector<uint32_t> codes;
  } kinds[] = {
      {NADIRO_CODE_IMAGE, {0, 1, 2, 3, 4, 5, 6, 7}},
      {NADIRO_CODE_PIXEL, {0, 1, 8, 13, 17, 18, 19, 20}},
      {NADIRO_CODE_LAST_ERROR, {0, 1, 2, 3, 4, 6, 7, 8}},
  };
  for (const auto& k : kinds) {
    std::vector<std::string> texts;
    for (uint32_t code : k.codes) {
      const std::string text = NadiroStatusText(k.kind, code);
      EXPECT_NE(text, "unknown code") << k.kind << "/" << code;
      if (code) {
        EXPECT_EQ(std::count(texts.begin(), texts.end(), text), 0) << text;
      }
      texts.push_back(text);
    }
    EXPECT_STREQ(NadiroStatusText(k.kind, 5000), "unknown code");
  }
  EXPECT_STREQ(NadiroStatusText(3, 0), "unknown code");
}

}  // namespace
}  // namespace nadiro::test
