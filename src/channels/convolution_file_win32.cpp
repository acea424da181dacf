// Kernel files on Windows: opened by the wide name with CreateFileW (read
// access, no sharing); narrow names are converted from the ANSI code page.
#include <windows.h>

#include <cstring>

#include "channels/convolution_file.h"
#include "frame/scratch.h"

namespace nadiro::channels {

// The narrow export widened its name already; the wide one is what opens.
std::optional<size_t> readKernelFile(const KernelFileName& fileName, uint8_t* buffer,
                                     size_t bytes) {
  HANDLE file = CreateFileW(fileName.wide, GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return std::nullopt;
  DWORD got = 0;
  if (!ReadFile(file, buffer, static_cast<DWORD>(bytes), &got, nullptr)) got = 0;
  CloseHandle(file);
  return static_cast<size_t>(got);
}

std::unique_ptr<wchar_t[]> widenFileName(const char* name) {
  const size_t length = std::strlen(name);
  auto text = allocateScratch<wchar_t>(uint64_t{length} + 1);
  if (!text) return nullptr;
  if (length > 0)
    MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, name, static_cast<int>(length), text.get(),
                        static_cast<int>(length + 1));
  return text;
}

}  // namespace nadiro::channels
