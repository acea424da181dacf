#include "bmp.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "operation.h"

namespace nadiro::cli {
namespace {

// Pictures larger than this are refused rather than allocated.
constexpr uint64_t kMaxPixels = uint64_t{1} << 28;

}  // namespace

bool parseBmp(std::span<const uint8_t> file, Dib& out, std::string& error) {
  if (file.size() < 14 + 12) {
    error = file.empty() ? "empty file" : "too short to be a BMP file";
    return false;
  }
  if (file[0] != 'B' || file[1] != 'M') {
    error = "not a BMP file (no 'BM' signature)";
    return false;
  }
  const uint32_t dataOffset = loadField<uint32_t>(file, 10);
  const uint32_t headerSize = loadField<uint32_t>(file, 14);
  const bool core = headerSize == 12;
  if (!core && headerSize != 40 && headerSize != 52 && headerSize != 56 && headerSize != 108 &&
      headerSize != 124) {
    error = "unknown BMP header size " + std::to_string(headerSize);
    return false;
  }
  if (file.size() < 14 + uint64_t{headerSize}) {
    error = "truncated BMP header";
    return false;
  }
  const auto h = file.subspan(14);
  const int64_t width = core ? loadField<uint16_t>(h, 4) : loadField<int32_t>(h, 4);
  const int64_t rawHeight = core ? loadField<uint16_t>(h, 6) : loadField<int32_t>(h, 8);
  const uint16_t bits = loadField<uint16_t>(h, core ? 10 : 14);
  const uint32_t compression = core ? 0 : loadField<uint32_t>(h, 16);
  const uint32_t clrUsed = core ? 0 : loadField<uint32_t>(h, 32);
  const bool topDown = rawHeight < 0;
  const int64_t height = topDown ? -rawHeight : rawHeight;

  if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) {
    error = "unsupported bit depth " + std::to_string(bits) + " (supported: 1, 4, 8, 24, 32)";
    return false;
  }
  size_t tableAt = 14 + headerSize;
  if (compression == 3 && bits == 32) {
    // Bit fields are fine when they describe the ordinary B, G, R byte order.
    const size_t masksAt = headerSize == 40 ? tableAt : 14 + 40;
    if (file.size() < masksAt + 12 || loadField<uint32_t>(file, masksAt) != 0x00FF0000u ||
        loadField<uint32_t>(file, masksAt + 4) != 0x0000FF00u ||
        loadField<uint32_t>(file, masksAt + 8) != 0x000000FFu) {
      error = "32-bit BMP with unusual bit fields is not supported";
      return false;
    }
    if (headerSize == 40) tableAt += 12;
  } else if (compression != 0 && !(compression >= 10 && compression <= 17 && bits >= 24)) {
    // 10..17 on 24/32-bit pixels mark a picture holding another colour model
    // (written by `nadiro convert`); the tag is kept, the rows are plain.
    error = "compressed BMP (compression " + std::to_string(compression) + ") is not supported";
    return false;
  }
  if (width <= 0 || height <= 0) {
    error = "empty picture (" + std::to_string(width) + " x " + std::to_string(rawHeight) + ")";
    return false;
  }
  if (uint64_t(width) * uint64_t(height) > kMaxPixels || width > 0x7FFFFF) {
    error = "picture too large (" + std::to_string(width) + " x " + std::to_string(height) + ")";
    return false;
  }
  const uint32_t fullTable = bits <= 8 ? (1u << bits) : 0u;
  const uint32_t entries = bits <= 8 ? (clrUsed ? clrUsed : fullTable) : 0u;
  if (entries > fullTable) {
    error = "colour table of " + std::to_string(entries) + " entries is too long for " +
            std::to_string(bits) + "-bit pixels";
    return false;
  }
  const size_t entrySize = core ? 3 : 4;
  if (file.size() < tableAt + uint64_t{entries} * entrySize) {
    error = "truncated colour table";
    return false;
  }
  const uint64_t stride = (uint64_t(width) * bits + 31) / 32 * 4;
  const uint64_t need = stride * uint64_t(height);
  if (dataOffset > file.size() || file.size() - dataOffset < need) {
    error = "truncated pixel data (needs " + std::to_string(need) + " bytes at offset " +
            std::to_string(dataOffset) + ", file has " + std::to_string(file.size()) + ")";
    return false;
  }

  out = Dib::blank(int32_t(width), int32_t(height), bits);
  storeField<int32_t>(out.bytes, 24, core ? 2835 : loadField<int32_t>(h, 24));
  storeField<int32_t>(out.bytes, 28, core ? 2835 : loadField<int32_t>(h, 28));
  if (compression != 3) storeField<uint32_t>(out.bytes, 16, compression);
  for (uint32_t i = 0; i < entries; ++i)
    std::memcpy(out.bytes.data() + 40 + 4 * size_t{i}, file.data() + tableAt + i * entrySize, 3);
  for (int64_t r = 0; r < height; ++r) {
    const int64_t from = topDown ? height - 1 - r : r;
    std::memcpy(out.row(int32_t(r)), file.data() + dataOffset + uint64_t(from) * stride,
                size_t(stride));
  }
  return true;
}

bool readFile(const std::string& path, std::vector<uint8_t>& bytes, std::string& error) {
  const bool standardInput = path == "-";
  FILE* f = standardInput ? stdin : std::fopen(path.c_str(), "rb");
  if (!f) {
    error = std::strerror(errno);
    return false;
  }
  bytes.clear();
  uint8_t chunk[1 << 16];
  size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0)
    bytes.insert(bytes.end(), chunk, chunk + got);
  const bool failed = std::ferror(f) != 0;
  const int readErrno = errno;
  if (!standardInput) std::fclose(f);
  if (failed) error = std::string("cannot read: ") + std::strerror(readErrno);
  return !failed;
}

bool readBmp(const std::string& path, Dib& out, std::string& error) {
  std::vector<uint8_t> file;
  return readFile(path, file, error) && parseBmp(file, out, error);
}

bool writeFileAtomically(const std::string& path, std::span<const uint8_t> bytes,
                         std::string& error) {
  const std::string temp = path + ".tmp-" + std::to_string(::getpid());
  FILE* f = std::fopen(temp.c_str(), "wb");
  if (!f) {
    error = std::string("cannot write: ") + std::strerror(errno);
    return false;
  }
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  const bool closed = std::fclose(f) == 0;
  // Ctrl-C up to the rename means nothing was written.
  if (written && closed && interrupted()) {
    std::remove(temp.c_str());
    error = "cancelled";
    return false;
  }
  if (!written || !closed || std::rename(temp.c_str(), path.c_str()) != 0) {
    error = std::string("cannot write: ") + std::strerror(errno);
    std::remove(temp.c_str());
    return false;
  }
  return true;
}

bool encodeBmp(const Dib& dib, std::vector<uint8_t>& file, std::string& error) {
  const size_t pixelOffset = dib.pixelOffset();
  const size_t dataBytes = size_t{dib.stride()} * uint32_t(dib.height());
  if (dib.bytes.size() < pixelOffset + dataBytes) {
    error = "internal error: image block shorter than its rows";
    return false;
  }
  file.assign(14, 0);
  file[0] = 'B';
  file[1] = 'M';
  storeField<uint32_t>(file, 2, uint32_t(14 + pixelOffset + dataBytes));
  storeField<uint32_t>(file, 10, uint32_t(14 + pixelOffset));
  file.insert(file.end(), dib.bytes.begin(),
              dib.bytes.begin() + ptrdiff_t(pixelOffset + dataBytes));
  return true;
}

bool writeBmp(const std::string& path, const Dib& dib, std::string& error) {
  std::vector<uint8_t> file;
  return encodeBmp(dib, file, error) && writeFileAtomically(path, file, error);
}

}  // namespace nadiro::cli
