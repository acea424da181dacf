#include "formats.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "bmp.h"
#include "color_models.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

std::string lowerExtension(const std::string& path) {
  const auto slash = path.find_last_of('/');
  const auto dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
  std::string ext = path.substr(dot + 1);
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ext;
}

bool startsWith(std::span<const uint8_t> file, const char* magic, size_t at = 0) {
  const size_t n = std::strlen(magic);
  return file.size() >= at + n && std::memcmp(file.data() + at, magic, n) == 0;
}

// A picture holding another colour model, as plain rows: the tag cleared,
// the model's name kept beside it.
Dib untagged(const Dib& dib, std::string& model) {
  if (const ModelName* m = modelOfTag(dib.compression())) model = m->name;
  Dib plain = dib;
  storeField<uint32_t>(plain.bytes, 16, 0);
  return plain;
}

// Big- or little-endian fields of a TIFF-structured block.
struct TiffFields {
  std::span<const uint8_t> b;
  bool big;
  uint32_t u16(size_t at) const {
    return big ? uint32_t(b[at]) << 8 | b[at + 1] : uint32_t(b[at + 1]) << 8 | b[at];
  }
  uint32_t u32(size_t at) const {
    return big ? u16(at) << 16 | u16(at + 2) : u16(at + 2) << 16 | u16(at);
  }
};

// The offset of IFD0's orientation value in an EXIF block, or 0.
size_t orientationOffset(std::span<const uint8_t> exif) {
  if (exif.size() < 8 || !(startsWith(exif, "II*") || startsWith(exif, "MM"))) return 0;
  const TiffFields f{exif, exif[0] == 'M'};
  const uint64_t ifd = f.u32(4);
  if (ifd + 2 > exif.size()) return 0;
  const uint32_t count = f.u16(size_t(ifd));
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t entry = ifd + 2 + 12 * uint64_t{i};
    if (entry + 12 > exif.size()) return 0;
    if (f.u16(size_t(entry)) == 0x0112 && f.u16(size_t(entry) + 2) == 3) return size_t(entry) + 8;
  }
  return 0;
}

}  // namespace

int exifOrientation(std::span<const uint8_t> exif) {
  const size_t at = orientationOffset(exif);
  if (at == 0) return 1;
  const uint32_t v = TiffFields{exif, exif[0] == 'M'}.u16(at);
  return v >= 1 && v <= 8 ? int(v) : 1;
}

void resetExifOrientation(std::vector<uint8_t>& exif) {
  if (const size_t at = orientationOffset(exif)) {
    const bool big = exif[0] == 'M';
    exif[at] = big ? 0 : 1;
    exif[at + 1] = big ? 1 : 0;
  }
}

Dib orient(const Dib& in, int orientation) {
  if (orientation <= 1 || orientation > 8) return in;
  const Dib src = in.bits() < 8 ? toRgb24(in) : in;
  const int32_t w = src.width(), h = src.height();
  const bool swap = orientation >= 5;
  Dib out = Dib::blank(swap ? h : w, swap ? w : h, src.bits());
  std::memcpy(out.bytes.data() + 16, src.bytes.data() + 16, 4);  // a colour-model tag stays
  std::memcpy(out.bytes.data() + 40, src.bytes.data() + 40, size_t{src.colours()} * 4);
  const size_t px = src.bits() / 8u;
  const int32_t ow = out.width(), oh = out.height();
  // Orientations 2..8: the upright picture's pixel (ox, oy) is the stored
  // one at (a, b) = (ox, oy), or (oy, ox) from 5 on, with a mirrored for 2,
  // 3, 7 and 8 and b for 3, 4, 6 and 7.
  constexpr bool kMirrorA[9] = {false, false, true, true, false, false, false, true, true};
  constexpr bool kMirrorB[9] = {false, false, false, true, true, false, true, true, false};
  const bool mirrorA = kMirrorA[orientation], mirrorB = kMirrorB[orientation];
  for (int32_t oy = 0; oy < oh; ++oy) {  // top-down rows of the upright picture
    uint8_t* dst = out.row(oh - 1 - oy);
    for (int32_t ox = 0; ox < ow; ++ox) {
      const int32_t a = swap ? oy : ox, b = swap ? ox : oy;
      const int32_t x = mirrorA ? w - 1 - a : a, y = mirrorB ? h - 1 - b : b;
      std::memcpy(dst + size_t(ox) * px, src.row(h - 1 - y) + size_t(x) * px, px);
    }
  }
  return out;
}

bool decodeImage(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
                 std::string& error) {
  out = ReadResult{};
  bool ok;
  if (startsWith(file, "\x89PNG\r\n\x1A\n")) {
    ok = decodePng(file, options, out, error);
  } else if (startsWith(file, "\xFF\xD8\xFF")) {
    ok = decodeJpeg(file, out, error);
  } else if (startsWith(file, "RIFF") && startsWith(file, "WEBP", 8)) {
    ok = decodeWebp(file, options, out, error);
  } else if (startsWith(file, "II*") || startsWith(file, "MM\0*")) {
    ok = decodeTiff(file, options, out, error);
  } else if (startsWith(file, "GIF8")) {
    ok = decodeGif(file, options, out, error);
  } else if (startsWith(file, "BM")) {
    ok = parseBmp(file, out.dib, error);
  } else {
    error = file.empty() ? "empty file" : "not a BMP, PNG, JPEG, WebP, TIFF or GIF file";
    return false;
  }
  if (!ok) return false;
  if (options.autoOrient) {
    out.dib = orient(out.dib, exifOrientation(out.meta.exif));
    resetExifOrientation(out.meta.exif);
  }
  return true;
}

bool readImage(const std::string& path, const ReadOptions& options, ReadResult& out,
               std::string& error) {
  struct stat st {};
  if (path != "-" && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
    error = "is a folder, not a picture";
    return false;
  }
  std::vector<uint8_t> file;
  return readFile(path, file, error) && decodeImage(file, options, out, error);
}

std::string outputFormatOf(const std::string& path) {
  const std::string ext = lowerExtension(path);
  if (ext == "jpeg" || ext == "jpg") return "jpg";
  if (ext == "bmp" || ext == "png" || ext == "webp") return ext;
  return {};
}

bool knownOutputExtension(const std::string& path) {
  return !outputFormatOf(path).empty();
}

bool formatHolds(const std::string& format, const Dib& dib) {
  if (format == "bmp" || format == "png") return true;
  // Lossy formats: photographs (24-bit RGB) and grey pictures only.
  return dib.compression() == 0 && (dib.bits() == 24 || hasIdentityGreyTable(dib));
}

bool encodeImage(const std::string& format, const Dib& dib, const WriteOptions& options,
                 std::vector<uint8_t>& file, std::string& error) {
  WriteOptions o = options;
  const Dib plain = dib.compression() != 0 && !(format == "bmp" && options.tagged)
                        ? untagged(dib, o.meta.model)
                        : dib;
  if (format != "bmp" && format != "png" && !formatHolds(format, dib)) {
    error = dib.compression() != 0
                ? "this picture holds the " + o.meta.model +
                      " colour model, which lossy formats would damage (write .png or .bmp)"
                : "this " + std::to_string(dib.bits()) +
                      "-bit palette picture cannot be written as " + format +
                      " (write .png or .bmp instead)";
    return false;
  }
  bool ok;
  if (format == "bmp") {
    ok = encodeBmp(plain, file, error);
  } else if (format == "png") {
    ok = encodePng(plain, file, error, o);
  } else if (format == "jpg") {
    ok = encodeJpeg(plain, file, error, o);
  } else if (format == "webp") {
    ok = encodeWebp(plain, file, error, o);
  } else {
    error = "unknown output type '" + format + "' (use " + kOutputFormats + ")";
    return false;
  }
  if (ok && interrupted()) {
    error = "cancelled";
    return false;
  }
  return ok;
}

bool writeImage(const std::string& path, const Dib& dib, std::string& error,
                const WriteOptions& options) {
  const std::string format = options.format.empty() ? outputFormatOf(path) : options.format;
  if (format.empty()) {
    error = "unknown output type '." + lowerExtension(path) + "' (use .bmp, .png, .jpg or .webp)";
    return false;
  }
  std::vector<uint8_t> file;
  if (!encodeImage(format, dib, options, file, error)) return false;
  if (path == "-") {
    if (std::fwrite(file.data(), 1, file.size(), stdout) != file.size() || std::fflush(stdout)) {
      error = "cannot write to standard output";
      return false;
    }
    return true;
  }
  return writeFileAtomically(path, file, error);
}

}  // namespace nadiro::cli
