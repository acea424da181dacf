// Picture files: BMP, PNG and JPEG in, by content; BMP, PNG and JPEG out,
// by the output name's extension.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "image.h"

namespace nadiro::cli {

struct ReadOptions {
  std::array<uint8_t, 3> background{255, 255, 255};  // R, G, B behind transparent pixels
};

struct ReadResult {
  Dib dib;
  bool composited = false;  // transparency was flattened onto the background
};

// Reads a BMP, PNG or JPEG file, recognised by its first bytes.
bool readImage(const std::string& path, const ReadOptions& options, ReadResult& out,
               std::string& error);
bool decodeImage(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
                 std::string& error);

// Writes by extension: .bmp (any image), .png (1/4/8-bit palette images stay
// palette PNGs of that depth, 8-bit grey-table images become grey PNGs,
// 24/32-bit become RGB), .jpg/.jpeg (24-bit only). Atomic: temporary + rename.
bool writeImage(const std::string& path, const Dib& dib, std::string& error);
// True when the name ends in an extension writeImage knows.
bool knownOutputExtension(const std::string& path);

// PNG and JPEG codecs (png.cpp, jpeg.cpp).
bool decodePng(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
               std::string& error);
bool encodePng(const Dib& dib, std::vector<uint8_t>& file, std::string& error);
bool decodeJpeg(std::span<const uint8_t> file, ReadResult& out, std::string& error);
bool encodeJpeg(const Dib& dib, std::vector<uint8_t>& file, std::string& error);

// Pictures with more pixels than this are refused rather than allocated.
inline constexpr uint64_t kMaxPicturePixels = uint64_t{1} << 28;

}  // namespace nadiro::cli
