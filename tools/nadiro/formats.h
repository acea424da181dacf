// Picture files: BMP, PNG, JPEG, WebP, TIFF and GIF in, by content; BMP, PNG,
// JPEG and WebP out, by the output name's extension (or an explicit format).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "image.h"

namespace nadiro::cli {

struct ReadOptions {
  std::array<uint8_t, 3> background{255, 255, 255};  // R, G, B behind transparent pixels
  bool autoOrient = true;  // turn pictures upright by their EXIF orientation
};

// What a photograph carries besides its pixels, kept where the output can hold it.
struct Metadata {
  std::vector<uint8_t> exif;  // the TIFF-structured EXIF block, without the "Exif\0\0" prefix
  std::vector<uint8_t> icc;   // an ICC colour profile
  std::string model;          // a colour model the pixels hold (e.g. "HSV"), empty for RGB
};

struct ReadResult {
  Dib dib;
  bool composited = false;  // transparency was flattened onto the background
  Metadata meta;
};

// Reads a picture file, recognised by its first bytes; "-" is standard input.
bool readImage(const std::string& path, const ReadOptions& options, ReadResult& out,
               std::string& error);
bool decodeImage(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
                 std::string& error);

struct WriteOptions {
  int quality = 90;     // JPEG and WebP, 1..100
  int compression = 2;  // PNG zlib level, 0..9 (2: fast, a little larger than 6)
  bool tagged = false;  // BMP: keep a colour-model tag in the compression field
  std::string format;   // bmp, png, jpg or webp; empty: from the name's extension
  Metadata meta;        // written where the format can hold it
};

// Writes by extension (or options.format): .bmp (any image), .png (palette
// images stay palette PNGs of their depth, grey-table images grey PNGs,
// 24/32-bit RGB), .jpg/.jpeg (24-bit and grey), .webp (24-bit and grey, as
// RGB). A picture holding another colour model keeps its bytes in the R, G, B
// (and alpha) slots; PNG names the model in a text chunk. Atomic: a temporary
// file renamed into place, and nothing at all once Ctrl-C was pressed.
// "-" writes to standard output.
bool writeImage(const std::string& path, const Dib& dib, std::string& error,
                const WriteOptions& options = {});
// Encodes into memory; false with "cancelled" once Ctrl-C was pressed.
bool encodeImage(const std::string& format, const Dib& dib, const WriteOptions& options,
                 std::vector<uint8_t>& file, std::string& error);
// The output format of a name ("png", ...), empty when the extension is unknown.
std::string outputFormatOf(const std::string& path);
// True when the name ends in an extension writeImage knows.
bool knownOutputExtension(const std::string& path);
// Whether the format can hold the picture.
bool formatHolds(const std::string& format, const Dib& dib);
inline constexpr const char* kOutputFormats = "bmp, png, jpg or webp";

// The codecs (png.cpp, jpeg.cpp, webp_tiff_gif.cpp).
bool decodePng(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
               std::string& error);
bool encodePng(const Dib& dib, std::vector<uint8_t>& file, std::string& error,
               const WriteOptions& options = {});
bool decodeJpeg(std::span<const uint8_t> file, ReadResult& out, std::string& error);
bool encodeJpeg(const Dib& dib, std::vector<uint8_t>& file, std::string& error,
                const WriteOptions& options = {});
bool decodeWebp(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
                std::string& error);
bool encodeWebp(const Dib& dib, std::vector<uint8_t>& file, std::string& error,
                const WriteOptions& options = {});
bool decodeTiff(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
                std::string& error);
bool decodeGif(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
               std::string& error);

// The EXIF orientation (1..8) of a TIFF-structured EXIF block, 1 when absent
// or unreadable; and the same block with its orientation set to 1.
int exifOrientation(std::span<const uint8_t> exif);
void resetExifOrientation(std::vector<uint8_t>& exif);
// The picture turned as EXIF orientation `orientation` asks (1 leaves it).
Dib orient(const Dib& in, int orientation);

// Pictures with more pixels than this are refused rather than allocated.
inline constexpr uint64_t kMaxPicturePixels = uint64_t{1} << 28;

}  // namespace nadiro::cli
