// Kernel files on POSIX systems: a narrow name is opened as it is; a wide
// name is converted to the locale's multibyte encoding first. Narrow names
// are widened (as UTF-8) only for the parameter dialog.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <cwchar>
#include <new>
#include <string>
#include <utility>

#include "channels/convolution_file.h"
#include "frame/scratch.h"

namespace nadiro::channels {
namespace {

// The wide name in the locale's multibyte encoding; nothing when a
// character has no encoding there or memory runs out.
std::optional<std::string> narrowName(const wchar_t* name) {
  std::mbstate_t state{};
  const wchar_t* probe = name;
  const size_t length = std::wcsrtombs(nullptr, &probe, 0, &state);
  if (length == static_cast<size_t>(-1)) return std::nullopt;
  std::string text;
  try {
    text.resize(length);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  state = std::mbstate_t{};
  const wchar_t* from = name;
  std::wcsrtombs(text.data(), &from, length + 1, &state);
  return text;
}

// Decodes one UTF-8 sequence at p; malformed input gives U+FFFD for one byte.
wchar_t decodeUtf8(const unsigned char*& p) {
  const unsigned char lead = *p;
  int extra = 0;
  uint32_t cp = 0;
  if (lead < 0x80) {
    ++p;
    return static_cast<wchar_t>(lead);
  } else if ((lead & 0xE0) == 0xC0) {
    extra = 1;
    cp = lead & 0x1Fu;
  } else if ((lead & 0xF0) == 0xE0) {
    extra = 2;
    cp = lead & 0x0Fu;
  } else if ((lead & 0xF8) == 0xF0) {
    extra = 3;
    cp = lead & 0x07u;
  } else {
    ++p;
    return static_cast<wchar_t>(0xFFFD);
  }
  for (int i = 1; i <= extra; ++i) {
    if ((p[i] & 0xC0) != 0x80) {
      ++p;
      return static_cast<wchar_t>(0xFFFD);
    }
    cp = (cp << 6) | (p[i] & 0x3Fu);
  }
  static constexpr uint32_t kSmallest[4] = {0, 0x80, 0x800, 0x10000};
  if (cp < kSmallest[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
    ++p;
    return static_cast<wchar_t>(0xFFFD);
  }
  p += extra + 1;
  return static_cast<wchar_t>(cp);
}

}  // namespace

std::optional<size_t> readKernelFile(const KernelFileName& fileName, uint8_t* buffer,
                                     size_t bytes) {
  std::string converted;
  if (!fileName.narrow) {
    auto narrow = narrowName(fileName.wide);
    if (!narrow) return std::nullopt;
    converted = std::move(*narrow);
  }
  const char* path = fileName.narrow ? fileName.narrow : converted.c_str();
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  // One request for the whole run; a regular file delivers it at once, a
  // pipe or a slow device is read on until it ends.
  size_t got = 0;
  while (got < bytes) {
    const ssize_t n = ::read(fd, buffer + got, bytes - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  ::close(fd);
  return got;
}

std::unique_ptr<wchar_t[]> widenFileName(const char* name) {
  const size_t length = std::strlen(name);
  auto text = allocateScratch<wchar_t>(uint64_t{length} + 1);
  if (!text) return nullptr;
  wchar_t* out = text.get();
  const auto* p = reinterpret_cast<const unsigned char*>(name);
  const auto* end = p + length;
  // Every sequence yields one wide character, so length + 1 always holds them.
  while (p < end) *out++ = decodeUtf8(p);
  return text;
}

}  // namespace nadiro::channels
