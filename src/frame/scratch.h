// Scratch memory of a call: a plain owned array, freed on every path. Out of
// memory gives an empty pointer, never an exception, so that nothing is
// thrown through the exports.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace nadiro {

// `count` zero-initialised elements, or null when memory runs out.
template <typename T>
std::unique_ptr<T[]> allocateScratch(size_t count) {
  return std::unique_ptr<T[]>(new (std::nothrow) T[count ? count : 1]());
}

}  // namespace nadiro
