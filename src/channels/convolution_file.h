// File access of the convolution, the one platform-dependent part of it: the
// kernel file is read by the name the caller passed, and the narrow form of
// the export also makes a wide name for the parameter dialog.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace nadiro::channels {

// The caller's kernel-file name: always the wide form (what the dialog is
// shown), and the narrow form too when the narrow export was called.
struct KernelFileName {
  const wchar_t* wide = nullptr;
  const char* narrow = nullptr;
};

// Opens the file for reading, asks for `bytes` bytes in one read and closes
// it. Nothing when it cannot be opened; otherwise the number of bytes read.
std::optional<size_t> readKernelFile(const KernelFileName& name, uint8_t* buffer, size_t bytes);

// The narrow name converted (the ANSI code page on Windows, UTF-8
// elsewhere) in (length + 1) zero-filled wide characters; null when memory
// runs out.
std::unique_ptr<wchar_t[]> widenFileName(const char* name);

}  // namespace nadiro::channels
