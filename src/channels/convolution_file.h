// File access of the convolution, the one platform-dependent part of it: the
// kernel file is read by the name the caller passed, and the narrow form of
// the export also makes a wide name for the parameter dialog.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/guards.h"

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

// A zero-filled block of (length + 1) wide characters holding the narrow
// name converted (the ANSI code page on Windows, UTF-8 elsewhere). Empty
// when the block cannot be allocated.
OwnedBlock widenFileName(const char* name);

}  // namespace nadiro::channels
