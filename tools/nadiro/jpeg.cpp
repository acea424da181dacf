// JPEG files through libjpeg-turbo. Any warning while decoding (a truncated
// or corrupt stream) is treated as an error: a half-decoded picture is not
// what anyone asked for.
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// clang-format off
#include <jpeglib.h>  // needs size_t and FILE first
// clang-format on

#include "formats.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void onFatal(j_common_ptr cinfo) {
  auto* e = reinterpret_cast<ErrorManager*>(cinfo->err);
  (*cinfo->err->format_message)(cinfo, e->message);
  std::longjmp(e->jump, 1);
}

void onMessage(j_common_ptr cinfo, int level) {
  if (level < 0) onFatal(cinfo);  // warnings: corrupt or truncated data
}

constexpr int kIccMarker = JPEG_APP0 + 2;
constexpr char kExifPrefix[] = "Exif\0";  // and the terminating zero: six bytes

void readMetadata(jpeg_decompress_struct& cinfo, Metadata& meta) {
  for (jpeg_saved_marker_ptr m = cinfo.marker_list; m; m = m->next) {
    if (m->marker == JPEG_APP0 + 1 && m->data_length > 6 &&
        std::memcmp(m->data, kExifPrefix, 6) == 0 && meta.exif.empty())
      meta.exif.assign(m->data + 6, m->data + m->data_length);
  }
  JOCTET* icc = nullptr;
  unsigned int iccSize = 0;
  if (jpeg_read_icc_profile(&cinfo, &icc, &iccSize) && icc) {
    meta.icc.assign(icc, icc + iccSize);
    std::free(icc);
  }
}

}  // namespace

bool decodeJpeg(std::span<const uint8_t> file, ReadResult& out, std::string& error) {
  jpeg_decompress_struct cinfo{};
  ErrorManager err{};
  std::vector<uint8_t> line;
  cinfo.err = jpeg_std_error(&err.base);
  err.base.error_exit = onFatal;
  err.base.emit_message = onMessage;
  if (setjmp(err.jump)) {
    error = std::string("damaged JPEG: ") + err.message;
    jpeg_destroy_decompress(&cinfo);
    return false;
  }
  jpeg_create_decompress(&cinfo);
  jpeg_mem_src(&cinfo, file.data(), static_cast<unsigned long>(file.size()));
  jpeg_save_markers(&cinfo, JPEG_APP0 + 1, 0xFFFF);
  jpeg_save_markers(&cinfo, kIccMarker, 0xFFFF);
  jpeg_read_header(&cinfo, TRUE);
  readMetadata(cinfo, out.meta);
  const bool grey = cinfo.jpeg_color_space == JCS_GRAYSCALE;
  const bool cmyk = cinfo.jpeg_color_space == JCS_CMYK || cinfo.jpeg_color_space == JCS_YCCK;
  cinfo.out_color_space = grey ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_EXT_BGR;
  // Refused before decompression allocates for the picture (a progressive
  // picture's coefficients at once). Every 8 x 8 block of a complete stream
  // costs at least one bit of it.
  const uint64_t pixels = uint64_t{cinfo.image_width} * cinfo.image_height;
  if (pixels > kMaxPicturePixels) {
    error = "picture too large (" + std::to_string(cinfo.image_width) + " x " +
            std::to_string(cinfo.image_height) + ")";
    jpeg_destroy_decompress(&cinfo);
    return false;
  }
  if ((uint64_t{cinfo.image_width} + 7) / 8 * ((uint64_t{cinfo.image_height} + 7) / 8) >
      8 * uint64_t{file.size()}) {
    error = "damaged JPEG: truncated file";
    jpeg_destroy_decompress(&cinfo);
    return false;
  }
  jpeg_start_decompress(&cinfo);
  const auto w = static_cast<int32_t>(cinfo.output_width);
  const auto h = static_cast<int32_t>(cinfo.output_height);
  out.composited = false;
  out.dib = Dib::blank(w, h, grey ? 8 : 24);
  if (grey)
    for (int i = 0; i < 256; ++i) std::memset(out.dib.bytes.data() + 40 + 4 * i, i, 3);
  line.resize(size_t(w) * size_t(cinfo.output_components));
  while (cinfo.output_scanline < cinfo.output_height) {
    JSAMPROW row = line.data();
    const auto y = static_cast<int32_t>(cinfo.output_scanline);
    jpeg_read_scanlines(&cinfo, &row, 1);
    uint8_t* dst = out.dib.row(h - 1 - y);
    if (!cmyk) {
      std::memcpy(dst, line.data(), line.size());
      continue;
    }
    // Adobe CMYK JPEGs store inverted values: R = C' x K' / 255.
    for (int32_t x = 0; x < w; ++x) {
      const uint8_t* p = line.data() + 4 * size_t(x);
      dst[3 * x] = static_cast<uint8_t>(p[2] * p[3] / 255);
      dst[3 * x + 1] = static_cast<uint8_t>(p[1] * p[3] / 255);
      dst[3 * x + 2] = static_cast<uint8_t>(p[0] * p[3] / 255);
    }
  }
  jpeg_finish_decompress(&cinfo);
  jpeg_destroy_decompress(&cinfo);
  return true;
}

bool encodeJpeg(const Dib& dib, std::vector<uint8_t>& file, std::string& error,
                const WriteOptions& options) {
  const bool grey = hasIdentityGreyTable(dib);
  if (dib.bits() != 24 && !grey) {
    error = "JPEG output takes 24-bit and grey results only; this one has " +
            std::to_string(dib.bits()) + " bits per pixel (write .png or .bmp instead)";
    return false;
  }
  jpeg_compress_struct cinfo{};
  ErrorManager err{};
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  cinfo.err = jpeg_std_error(&err.base);
  err.base.error_exit = onFatal;
  if (setjmp(err.jump)) {
    error = std::string("JPEG encoder: ") + err.message;
    jpeg_destroy_compress(&cinfo);
    std::free(buffer);
    return false;
  }
  jpeg_create_compress(&cinfo);
  jpeg_mem_dest(&cinfo, &buffer, &size);
  cinfo.image_width = static_cast<JDIMENSION>(dib.width());
  cinfo.image_height = static_cast<JDIMENSION>(dib.height());
  cinfo.input_components = grey ? 1 : 3;
  cinfo.in_color_space = grey ? JCS_GRAYSCALE : JCS_EXT_BGR;
  jpeg_set_defaults(&cinfo);
  jpeg_set_quality(&cinfo, options.quality, TRUE);
  jpeg_start_compress(&cinfo, TRUE);
  const auto& meta = options.meta;
  if (!meta.exif.empty() && meta.exif.size() + 6 <= 0xFFFF - 2) {
    std::vector<JOCTET> app1(kExifPrefix, kExifPrefix + 6);
    app1.insert(app1.end(), meta.exif.begin(), meta.exif.end());
    jpeg_write_marker(&cinfo, JPEG_APP0 + 1, app1.data(), static_cast<unsigned>(app1.size()));
  }
  if (!meta.icc.empty())
    jpeg_write_icc_profile(&cinfo, meta.icc.data(), static_cast<unsigned>(meta.icc.size()));
  bool cancelled = false;
  while (cinfo.next_scanline < cinfo.image_height) {
    if ((cancelled = interrupted())) break;
    JSAMPROW row = const_cast<JSAMPROW>(dib.row(dib.height() - 1 - int32_t(cinfo.next_scanline)));
    jpeg_write_scanlines(&cinfo, &row, 1);
  }
  if (!cancelled) {
    jpeg_finish_compress(&cinfo);
    file.assign(buffer, buffer + size);
  }
  jpeg_destroy_compress(&cinfo);
  std::free(buffer);
  if (cancelled) error = "cancelled";
  return !cancelled;
}

}  // namespace nadiro::cli
