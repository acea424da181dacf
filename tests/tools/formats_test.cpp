// The tool's picture codecs: every PNG colour type and depth, grey, colour
// and CMYK JPEGs, and damaged files of every kind.
#include "formats.h"

#include <gtest/gtest.h>
#include <jpeglib.h>
#include <png.h>

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "bmp.h"

namespace nadiro::cli {
namespace {

struct PngKind {
  int colorType;
  int depth;
  bool trns = false;
};

// Writes a PNG with libpng directly. Sample (x, y) of channel c is
// value(x, y, c) scaled to the depth; palette entry i is (i*17, 255-i*17, i).
std::vector<uint8_t> makePng(const PngKind& s, uint32_t w, uint32_t h) {
  std::vector<uint8_t> file;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(
      png, &file,
      [](png_structp p, png_bytep d, png_size_t n) {
        auto* f = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(p));
        f->insert(f->end(), d, d + n);
      },
      nullptr);
  png_set_IHDR(png, info, w, h, s.depth, s.colorType, PNG_INTERLACE_ADAM7,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  std::vector<png_color> palette;
  std::vector<png_byte> alpha;
  if (s.colorType == PNG_COLOR_TYPE_PALETTE) {
    for (int i = 0; i < (1 << s.depth); ++i)
      palette.push_back({png_byte(i * 17), png_byte(255 - i * 17), png_byte(i)});
    png_set_PLTE(png, info, palette.data(), int(palette.size()));
    if (s.trns) {
      alpha = {0, 128};
      png_set_tRNS(png, info, alpha.data(), int(alpha.size()), nullptr);
    }
  }
  png_write_info(png, info);
  png_set_packing(png);                  // a byte a sample below 8 bits
  if (s.depth == 16) png_set_swap(png);  // rows below are little-endian 16-bit
  const int channels = png_get_channels(png, info);
  const int passes = png_set_interlace_handling(png);
  const uint32_t maxv = (1u << s.depth) - 1;
  std::vector<uint8_t> row(w * 8 + 8);
  for (int pass = 0; pass < passes; ++pass) {
    for (uint32_t y = 0; y < h; ++y) {
      for (uint32_t x = 0; x < w; ++x) {
        for (int c = 0; c < channels; ++c) {
          // Alpha goes 0 (x = 0), full (x = 1), then a ramp.
          const bool isAlpha = (channels == 2 && c == 1) || (channels == 4 && c == 3);
          uint32_t v = (x * 5 + y * 11 + uint32_t(c) * 3) % (maxv + 1);
          if (isAlpha) v = x < 2 ? x * maxv : (x * 37 + y) % (maxv + 1);
          const size_t i = (x * size_t(channels) + size_t(c)) * (s.depth == 16 ? 2 : 1);
          row[i] = uint8_t(v);
          if (s.depth == 16) row[i + 1] = uint8_t(v >> 8);
        }
      }
      png_write_row(png, row.data());
    }
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return file;
}

std::vector<uint8_t> makeJpeg(J_COLOR_SPACE space, int components, uint32_t w, uint32_t h) {
  jpeg_compress_struct c{};
  jpeg_error_mgr err{};
  c.err = jpeg_std_error(&err);
  jpeg_create_compress(&c);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &buffer, &size);
  c.image_width = w;
  c.image_height = h;
  c.input_components = components;
  c.in_color_space = space;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, 100, TRUE);
  jpeg_start_compress(&c, TRUE);
  std::vector<uint8_t> row(w * size_t(components));
  while (c.next_scanline < h) {
    for (size_t i = 0; i < row.size(); ++i) row[i] = uint8_t(100 + (i % 3) * 20);
    JSAMPROW r = row.data();
    jpeg_write_scanlines(&c, &r, 1);
  }
  jpeg_finish_compress(&c);
  std::vector<uint8_t> file(buffer, buffer + size);
  jpeg_destroy_compress(&c);
  std::free(buffer);
  return file;
}

// The message `file` is refused with ("" when it is read).
std::string refusal(std::span<const uint8_t> file, const ReadOptions& options = {}) {
  ReadResult r;
  std::string error;
  return decodeImage(file, options, r, error) ? "" : error;
}

struct PngCase {
  const char* name;
  PngKind kind;
  uint16_t dibBits;
};

class PngKinds : public testing::TestWithParam<PngCase> {};

TEST_P(PngKinds, DecodeToTheExpectedDepthAndSurviveDamage) {
  const auto& c = GetParam();
  const auto file = makePng(c.kind, 13, 5);
  ReadResult r;
  std::string error;
  ReadOptions options;
  options.background = {10, 20, 30};
  ASSERT_TRUE(decodeImage(file, options, r, error)) << error;
  EXPECT_EQ(r.dib.width(), 13);
  EXPECT_EQ(r.dib.height(), 5);
  EXPECT_EQ(r.dib.bits(), c.dibBits);
  const bool alpha = (c.kind.colorType & PNG_COLOR_MASK_ALPHA) || c.kind.trns;
  EXPECT_EQ(r.composited, alpha);
  // Top-left pixel (stored last): colour (0, 3, 6) of the depth's scale, or
  // the background where the alpha ramp starts at 0.
  uint8_t bgr[3];
  r.dib.bgr(4, 0, bgr);
  if (c.kind.colorType & PNG_COLOR_MASK_ALPHA) {
    // The background, in colour even behind a grey picture.
    EXPECT_EQ(std::vector<uint8_t>(bgr, bgr + 3), (std::vector<uint8_t>{30, 20, 10}));
    r.dib.bgr(4, 1, bgr);  // fully opaque: the colour itself (red 5, or grey 0 scaled)
    EXPECT_EQ(bgr[2], c.kind.colorType == PNG_COLOR_TYPE_RGB_ALPHA ? 5 : 0);
  } else if (c.kind.colorType == PNG_COLOR_TYPE_PALETTE) {
    // Index 0 of the palette, flattened when transparent.
    EXPECT_EQ(bgr[2], c.kind.trns ? 10 : 0);
    EXPECT_EQ(bgr[1], c.kind.trns ? 20 : 255);
  } else {
    EXPECT_EQ(bgr[2], 0);  // red, or grey: sample 0
  }
  // Every truncation is refused with a message and no crash.
  for (size_t cut : {size_t{0}, size_t{7}, size_t{8}, size_t{20}, size_t{33}, file.size() / 2,
                     file.size() - 13, file.size() - 1})
    EXPECT_NE(refusal(std::span(file).first(cut), options), "") << cut;
}

INSTANTIATE_TEST_SUITE_P(
    Formats, PngKinds,
    testing::Values(PngCase{"grey1", {PNG_COLOR_TYPE_GRAY, 1}, 8},
                    PngCase{"grey8", {PNG_COLOR_TYPE_GRAY, 8}, 8},
                    PngCase{"grey16", {PNG_COLOR_TYPE_GRAY, 16}, 8},
                    PngCase{"greyAlpha16", {PNG_COLOR_TYPE_GRAY_ALPHA, 16}, 24},
                    PngCase{"rgb8", {PNG_COLOR_TYPE_RGB, 8}, 24},
                    PngCase{"rgba8", {PNG_COLOR_TYPE_RGB_ALPHA, 8}, 24},
                    PngCase{"palette1", {PNG_COLOR_TYPE_PALETTE, 1}, 1},
                    PngCase{"palette8", {PNG_COLOR_TYPE_PALETTE, 8}, 8},
                    PngCase{"palette4Transparent", {PNG_COLOR_TYPE_PALETTE, 4, true}, 4}),
    [](const testing::TestParamInfo<PngCase>& p) { return std::string(p.param.name); });

TEST(Formats, JpegKinds) {
  struct J {
    J_COLOR_SPACE space;
    int components;
    uint16_t bits;
  };
  for (J j : {J{JCS_GRAYSCALE, 1, 8}, J{JCS_RGB, 3, 24}, J{JCS_CMYK, 4, 24}}) {
    const auto file = makeJpeg(j.space, j.components, 17, 9);
    ReadResult r;
    std::string error;
    ASSERT_TRUE(decodeImage(file, {}, r, error)) << error;
    EXPECT_EQ(r.dib.bits(), j.bits);
    EXPECT_EQ(r.dib.width(), 17);
    EXPECT_EQ(r.dib.height(), 9);
    for (size_t cut : {size_t{3}, size_t{100}, file.size() / 2, file.size() - 2})
      EXPECT_NE(refusal(std::span(file).first(cut)).find("JPEG"), std::string::npos) << cut;
  }
}

TEST(Formats, PngOutputKeepsPaletteDepthsAndGrey) {
  struct O {
    uint16_t bits;
    bool grey;
    int pngDepth, pngType;
  };
  for (O o : {O{1, false, 1, 3}, O{4, false, 4, 3}, O{8, false, 8, 3}, O{8, true, 8, 0},
              O{24, false, 8, 2}, O{32, false, 8, 2}}) {
    Dib d = Dib::blank(11, 3, o.bits);
    for (uint32_t i = 0; i < d.colours(); ++i)
      for (int c = 0; c < 3; ++c)
        d.bytes[40 + 4 * i + uint32_t(c)] = o.grey ? uint8_t(i) : uint8_t(i * 7 + uint32_t(c));
    for (size_t i = d.pixelOffset(); i < d.bytes.size(); ++i) d.bytes[i] = uint8_t(i * 29);
    std::vector<uint8_t> file;
    std::string error;
    ASSERT_TRUE(encodePng(d, file, error)) << error;
    EXPECT_EQ(file[24], o.pngDepth) << o.bits;
    EXPECT_EQ(file[25], o.pngType) << o.bits;
    ReadResult back;
    ASSERT_TRUE(decodeImage(file, {}, back, error)) << error;
    for (int32_t r = 0; r < 3; ++r) {
      for (int32_t x = 0; x < 11; ++x) {
        uint8_t a[3], b[3];
        d.bgr(r, x, a);
        back.dib.bgr(r, x, b);
        ASSERT_EQ(std::vector<uint8_t>(a, a + 3), std::vector<uint8_t>(b, b + 3)) << o.bits;
      }
    }
  }
}

TEST(Formats, BmpDamageIsRefused) {
  Dib d = Dib::blank(5, 4, 24);
  std::vector<uint8_t> file(14);
  file[0] = 'B';
  file[1] = 'M';
  file.insert(file.end(), d.bytes.begin(), d.bytes.end());
  file[10] = 54;
  for (size_t cut : {size_t{2}, size_t{20}, size_t{53}, file.size() - 1})
    EXPECT_NE(refusal(std::span(file).first(cut)), "") << cut;
  const int32_t big = 0x7FFFFFFF;
  std::memcpy(&file[18], &big, 4);
  EXPECT_NE(refusal(file).find("too large"), std::string::npos);
}

}  // namespace
}  // namespace nadiro::cli
