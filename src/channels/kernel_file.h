// File access of the convolution, the one platform-dependent part of it: the
// kernel file is read by its wide-character name, and the narrow form of the
// export turns its name into a wide one first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/guards.h"

namespace nadiro::channels {

// Opens the file for reading, asks for `bytes` bytes in one read and closes
// it. Nothing when it cannot be opened; otherwise the number of bytes read.
std::optional<size_t> readKernelFile(const wchar_t* fileName, uint8_t* buffer, size_t bytes);

// A zero-filled block of (length + 1) wide characters holding the narrow
// name converted (the ANSI code page on Windows, UTF-8 elsewhere). Empty
// when the block cannot be allocated.
OwnedBlock widenFileName(const char* name);

}  // namespace nadiro::channels
