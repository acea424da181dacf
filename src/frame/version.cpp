// GetNadiroVersion: the version string, with its historical copy rules.
#include <cstring>

#include "nadiro/nadiro.h"

namespace {
constexpr char kVersion[] = "Version 13.10";
constexpr uint32_t kVersionBytes = sizeof kVersion;  // 14, with the terminator
// What the runtime's bounds-checked string copy reports for a null target
// when its invalid-parameter handler lets it return (EINVAL).
constexpr intptr_t kInvalidParameter = 22;
}  // namespace

extern "C" NADIRO_API intptr_t NADIRO_CALL GetNadiroVersion(char* buffer, int32_t size) {
  if (size <= 0) return size;
  // Short buffers get exactly `size` characters and no terminator; hosts
  // have always relied on the returned address, so this stays.
  if (static_cast<uint32_t>(size) < kVersionBytes) {
    if (!buffer) return 0;  // nothing can be written; the address is null
    std::memcpy(buffer, kVersion, static_cast<size_t>(size));
    return reinterpret_cast<intptr_t>(buffer);
  }
  if (!buffer) return kInvalidParameter;
  std::memcpy(buffer, kVersion, kVersionBytes);
  return 0;
}
