#include "formats.h"

#include <algorithm>
#include <cstring>

#include "bmp.h"

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

}  // namespace

bool decodeImage(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
                 std::string& error) {
  static constexpr uint8_t kPng[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  if (file.size() >= 8 && std::memcmp(file.data(), kPng, 8) == 0)
    return decodePng(file, options, out, error);
  if (file.size() >= 3 && file[0] == 0xFF && file[1] == 0xD8 && file[2] == 0xFF)
    return decodeJpeg(file, out, error);
  if (file.size() >= 2 && file[0] == 'B' && file[1] == 'M') {
    out.composited = false;
    return parseBmp(file, out.dib, error);
  }
  error = file.empty() ? "empty file" : "not a BMP, PNG or JPEG file";
  return false;
}

bool readImage(const std::string& path, const ReadOptions& options, ReadResult& out,
               std::string& error) {
  std::vector<uint8_t> file;
  return readFile(path, file, error) && decodeImage(file, options, out, error);
}

bool knownOutputExtension(const std::string& path) {
  const std::string ext = lowerExtension(path);
  return ext == "bmp" || ext == "png" || ext == "jpg" || ext == "jpeg";
}

bool writeImage(const std::string& path, const Dib& dib, std::string& error) {
  const std::string ext = lowerExtension(path);
  if (ext == "bmp") return writeBmp(path, dib, error);
  if ((ext == "png" || ext == "jpg" || ext == "jpeg") && dib.compression() != 0) {
    error = "this image holds a non-RGB colour model (tag " + std::to_string(dib.compression()) +
            "); only .bmp keeps it";
    return false;
  }
  std::vector<uint8_t> file;
  if (ext == "png") {
    if (!encodePng(dib, file, error)) return false;
  } else if (ext == "jpg" || ext == "jpeg") {
    if (!encodeJpeg(dib, file, error)) return false;
  } else {
    error = "unknown output type '." + ext + "' (use .bmp, .png or .jpg)";
    return false;
  }
  return writeFileAtomically(path, file, error);
}

}  // namespace nadiro::cli
