// PNG files through libpng: every colour type and depth in, palette, grey or
// RGB out. Transparency is flattened onto the caller's background colour.
#include <png.h>

#include <csetjmp>
#include <cstring>

#include "color_models.h"
#include "formats.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct Io {
  std::span<const uint8_t> in;
  size_t pos = 0;
  std::vector<uint8_t>* out = nullptr;
  std::string message;
};

void onError(png_structp png, png_const_charp message) {
  static_cast<Io*>(png_get_error_ptr(png))->message = message;
  png_longjmp(png, 1);
}
void onWarning(png_structp, png_const_charp) {}

void readBytes(png_structp png, png_bytep data, png_size_t length) {
  Io* io = static_cast<Io*>(png_get_io_ptr(png));
  if (io->in.size() - io->pos < length) png_error(png, "truncated file");
  std::memcpy(data, io->in.data() + io->pos, length);
  io->pos += length;
}

void writeBytes(png_structp png, png_bytep data, png_size_t length) {
  Io* io = static_cast<Io*>(png_get_io_ptr(png));
  io->out->insert(io->out->end(), data, data + length);
}
void flushNothing(png_structp) {}

uint8_t over(unsigned colour, unsigned alpha, unsigned background) {
  return static_cast<uint8_t>((colour * alpha + background * (255 - alpha) + 127) / 255);
}

struct ReadGuard {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~ReadGuard() { png_destroy_read_struct(&png, info ? &info : nullptr, nullptr); }
};
struct WriteGuard {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~WriteGuard() { png_destroy_write_struct(&png, info ? &info : nullptr); }
};

// The text key naming the colour model a picture's components belong to.
constexpr char kModelKey[] = "Colour model";

void readMetadata(png_structp png, png_infop info, Metadata& meta) {
  png_uint_32 exifSize = 0;
  png_bytep exif = nullptr;
  if (png_get_eXIf_1(png, info, &exifSize, &exif) && exif) meta.exif.assign(exif, exif + exifSize);
  png_charp name = nullptr;
  int compression = 0;
  png_bytep profile = nullptr;
  png_uint_32 profileSize = 0;
  if (png_get_iCCP(png, info, &name, &compression, &profile, &profileSize) && profile)
    meta.icc.assign(profile, profile + profileSize);
  png_textp text = nullptr;
  int count = 0;
  png_get_text(png, info, &text, &count);
  for (int i = 0; i < count; ++i)
    if (std::strcmp(text[i].key, kModelKey) == 0 && text[i].text) meta.model = text[i].text;
}

}  // namespace

bool decodePng(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
               std::string& error) {
  Io io;
  io.in = file;
  ReadGuard g;
  std::vector<uint8_t> pixels;  // decoded rows, top-down
  std::vector<png_bytep> rows;
  g.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &io, onError, onWarning);
  if (!g.png || !(g.info = png_create_info_struct(g.png))) {
    error = "out of memory";
    return false;
  }
  if (setjmp(png_jmpbuf(g.png))) {
    error = "damaged PNG: " + io.message;
    return false;
  }
  png_set_read_fn(g.png, &io, readBytes);
  png_set_user_limits(g.png, 0x7FFFFF, 0x7FFFFF);
  png_read_info(g.png, g.info);
  const png_uint_32 width = png_get_image_width(g.png, g.info);
  const png_uint_32 height = png_get_image_height(g.png, g.info);
  const int depth = png_get_bit_depth(g.png, g.info);
  const int type = png_get_color_type(g.png, g.info);
  if (uint64_t{width} * height > kMaxPicturePixels) {
    error = "picture too large (" + std::to_string(width) + " x " + std::to_string(height) + ")";
    return false;
  }
  // Deflate expands no byte into more than 1032: a stream too short for the
  // rows its header promises is refused before they are allocated.
  const uint64_t packedRows = (uint64_t{png_get_rowbytes(g.png, g.info)} + 1) * height;
  if (packedRows / 1032 > file.size() - io.pos) {
    error = "damaged PNG: truncated file";
    return false;
  }
  const auto [bgR, bgG, bgB] = options.background;
  out.composited = false;
  readMetadata(g.png, g.info, out.meta);
  const ModelName* model = out.meta.model.empty() ? nullptr : findModel(out.meta.model);
  if (!model || type == PNG_COLOR_TYPE_PALETTE || !(type & PNG_COLOR_MASK_COLOR)) {
    model = nullptr;
    out.meta.model.clear();
  }

  if (depth == 16) png_set_scale_16(g.png);
  if (type == PNG_COLOR_TYPE_PALETTE) {
    png_set_packing(g.png);  // one index per byte
  } else {
    if (type == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(g.png);
    if (png_get_valid(g.png, g.info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(g.png);
    if (type & PNG_COLOR_MASK_COLOR) png_set_bgr(g.png);
  }
  png_set_interlace_handling(g.png);
  png_read_update_info(g.png, g.info);
  const size_t rowBytes = png_get_rowbytes(g.png, g.info);
  const int channels = png_get_channels(g.png, g.info);
  pixels.resize(rowBytes * height);
  rows.resize(height);
  for (png_uint_32 y = 0; y < height; ++y) rows[y] = pixels.data() + y * rowBytes;
  png_read_image(g.png, rows.data());
  png_read_end(g.png, nullptr);

  const auto w = static_cast<int32_t>(width), h = static_cast<int32_t>(height);
  if (type == PNG_COLOR_TYPE_PALETTE) {
    png_colorp palette = nullptr;
    int entries = 0;
    png_get_PLTE(g.png, g.info, &palette, &entries);
    png_bytep alpha = nullptr;
    int alphas = 0;
    png_get_tRNS(g.png, g.info, &alpha, &alphas, nullptr);
    const uint16_t bits = depth == 1 ? 1 : depth <= 4 ? 4 : 8;
    out.dib = Dib::blank(w, h, bits);
    for (int i = 0; i < entries && i < (1 << bits); ++i) {
      const unsigned a = i < alphas ? alpha[i] : 255;
      if (a != 255) out.composited = true;
      uint8_t* e = out.dib.bytes.data() + 40 + 4 * i;
      e[0] = over(palette[i].blue, a, bgB);
      e[1] = over(palette[i].green, a, bgG);
      e[2] = over(palette[i].red, a, bgR);
    }
    for (int32_t y = 0; y < h; ++y) {
      const uint8_t* src = rows[size_t(y)];
      uint8_t* dst = out.dib.row(h - 1 - y);
      for (int32_t x = 0; x < w; ++x) {
        const auto ux = uint32_t(x);
        if (bits == 8) dst[ux] = src[ux];
        if (bits == 4) dst[ux / 2] |= static_cast<uint8_t>((src[ux] & 0xF) << ((ux % 2) ? 0 : 4));
        if (bits == 1) dst[ux / 8] |= static_cast<uint8_t>((src[ux] & 1) << (7 - ux % 8));
      }
    }
    return true;
  }

  if (model) {
    // A colour model's components in the R, G, B (and alpha) slots: kept as they are.
    out.dib = Dib::blank(w, h, channels == 4 ? 32 : 24);
    storeField<uint32_t>(out.dib.bytes, 16, model->tag);
    for (int32_t y = 0; y < h; ++y)
      std::memcpy(out.dib.row(h - 1 - y), rows[size_t(y)], size_t(w) * size_t(channels));
    return true;
  }
  const bool hasAlpha = channels == 2 || channels == 4;
  // Grey pictures stay grey unless their transparent pixels meet a coloured background.
  const bool greyIn = !(type & PNG_COLOR_MASK_COLOR);
  const bool grey = greyIn && (!hasAlpha || (bgR == bgG && bgG == bgB));
  out.composited = hasAlpha;
  out.dib = Dib::blank(w, h, grey ? 8 : 24);
  if (grey)
    for (int i = 0; i < 256; ++i) std::memset(out.dib.bytes.data() + 40 + 4 * i, i, 3);
  for (int32_t y = 0; y < h; ++y) {
    const uint8_t* src = rows[size_t(y)];
    uint8_t* dst = out.dib.row(h - 1 - y);
    for (int32_t x = 0; x < w; ++x) {
      const uint8_t* p = src + size_t(x) * size_t(channels);
      if (grey) {
        dst[x] = hasAlpha ? over(p[0], p[1], bgR) : p[0];
      } else if (greyIn) {
        uint8_t* q = dst + 3 * size_t(x);
        q[0] = over(p[0], p[1], bgB);
        q[1] = over(p[0], p[1], bgG);
        q[2] = over(p[0], p[1], bgR);
      } else {
        uint8_t* q = dst + 3 * size_t(x);
        const unsigned a = hasAlpha ? p[3] : 255;
        q[0] = over(p[0], a, bgB);
        q[1] = over(p[1], a, bgG);
        q[2] = over(p[2], a, bgR);
      }
    }
  }
  return true;
}

bool encodePng(const Dib& dib, std::vector<uint8_t>& file, std::string& error,
               const WriteOptions& options) {
  const uint16_t bits = dib.bits();
  const int32_t w = dib.width(), h = dib.height();
  const bool greyTable = hasIdentityGreyTable(dib);
  const Metadata& meta = options.meta;
  // The four components of a CMYK picture fill R, G, B and alpha.
  const bool fourSlots = bits == 32 && !meta.model.empty();
  int type;
  int depth = 8;
  if (fourSlots) {
    type = PNG_COLOR_TYPE_RGB_ALPHA;
  } else if (bits == 24 || bits == 32) {
    type = PNG_COLOR_TYPE_RGB;
  } else if (greyTable) {
    type = PNG_COLOR_TYPE_GRAY;
  } else if (bits == 1 || bits == 4 || bits == 8) {
    type = PNG_COLOR_TYPE_PALETTE;
    depth = bits;
  } else {
    error = "cannot write a " + std::to_string(bits) + "-bit picture as PNG";
    return false;
  }
  Io io;
  io.out = &file;
  WriteGuard g;
  std::vector<uint8_t> line(size_t(w) * 4 + 4);
  std::vector<png_color> palette;
  g.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &io, onError, onWarning);
  if (!g.png || !(g.info = png_create_info_struct(g.png))) {
    error = "out of memory";
    return false;
  }
  if (setjmp(png_jmpbuf(g.png))) {
    error = io.message == "cancelled" ? io.message : "PNG encoder: " + io.message;
    return false;
  }
  png_set_write_fn(g.png, &io, writeBytes, flushNothing);
  png_set_IHDR(g.png, g.info, png_uint_32(w), png_uint_32(h), depth, type, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (type == PNG_COLOR_TYPE_PALETTE) {
    const uint32_t entries = std::min<uint32_t>(dib.colours(), 1u << bits);
    for (uint32_t i = 0; i < entries; ++i) {
      const uint8_t* e = dib.bytes.data() + 40 + 4 * i;
      palette.push_back({e[2], e[1], e[0]});
    }
    png_set_PLTE(g.png, g.info, palette.data(), int(palette.size()));
  }
  png_set_benign_errors(g.png, 1);  // a damaged ICC profile is left out, not fatal
  png_set_compression_level(g.png, options.compression);
  // Fast levels pair with the cheapest useful filter; the higher ones let
  // libpng try every filter per row.
  png_set_filter(g.png, PNG_FILTER_TYPE_BASE,
                 type == PNG_COLOR_TYPE_PALETTE || bits < 8 ? PNG_FILTER_NONE
                 : options.compression <= 3                 ? PNG_FILTER_UP
                                                            : PNG_ALL_FILTERS);
  if (!meta.exif.empty())
    png_set_eXIf_1(g.png, g.info, png_uint_32(meta.exif.size()),
                   const_cast<png_bytep>(meta.exif.data()));
  if (!meta.icc.empty())
    png_set_iCCP(g.png, g.info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, meta.icc.data(),
                 png_uint_32(meta.icc.size()));
  png_text text{};
  std::string key = kModelKey, value = meta.model;
  if (!meta.model.empty()) {
    text.compression = PNG_TEXT_COMPRESSION_NONE;
    text.key = key.data();
    text.text = value.data();
    png_set_text(g.png, g.info, &text, 1);
  }
  png_write_info(g.png, g.info);
  for (int32_t y = 0; y < h; ++y) {
    if (interrupted()) png_error(g.png, "cancelled");
    const uint8_t* src = dib.row(h - 1 - y);
    if (fourSlots) {
      for (int32_t x = 0; x < w; ++x) {
        const uint8_t* p = src + size_t(x) * 4;
        uint8_t* q = line.data() + 4 * size_t(x);
        q[0] = p[2], q[1] = p[1], q[2] = p[0], q[3] = p[3];
      }
      png_write_row(g.png, line.data());
    } else if (type == PNG_COLOR_TYPE_RGB) {
      const size_t step = bits / 8;
      for (int32_t x = 0; x < w; ++x) {
        const uint8_t* p = src + size_t(x) * step;
        line[3 * size_t(x)] = p[2];
        line[3 * size_t(x) + 1] = p[1];
        line[3 * size_t(x) + 2] = p[0];
      }
      png_write_row(g.png, line.data());
    } else {
      // Palette and grey rows are already packed most significant bit first.
      png_write_row(g.png, const_cast<png_bytep>(src));
    }
  }
  png_write_end(g.png, nullptr);
  return true;
}

}  // namespace nadiro::cli
