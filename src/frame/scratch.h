// Scratch memory of a call: a plain owned array, freed on every path. Out of
// memory gives an empty pointer, never an exception, so that nothing is
// thrown through the exports.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "frame/memory.h"

namespace nadiro {

// `count` zero-initialised elements, or null when memory runs out or the
// array would be larger than the largest block the library handles.
template <typename T>
std::unique_ptr<T[]> allocateScratch(uint64_t count) {
  if (count > kMaxBlockBytes / sizeof(T)) return nullptr;
  return std::unique_ptr<T[]>(new (std::nothrow) T[count ? static_cast<size_t>(count) : 1]());
}

}  // namespace nadiro
