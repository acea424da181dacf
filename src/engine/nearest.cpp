// The nearest-colour cell table. A cell holds the whole-number points
// [a, a + side - 1] on each channel. An entry can be nearest to some point
// of the cell only if its smallest distance to the cell is no more than the
// smallest of all entries' largest distances to it; those entries, in index
// order, are the cell's candidates, and a query picks the nearest of them.
// The distances are exact integers, so no entry is left out by rounding.
#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "engine/engine.h"

namespace nadiro::engine {

namespace {
constexpr uint32_t kCellSide = 1u << NearestTable::kCellShift;
}  // namespace

NearestTable::NearestTable(std::span<const Work> palette, Work weights)
    : palette_(palette.begin(), palette.end()),
      weights_(weights),
      cells_(kCells, kUnbuilt),
      lists_(kCells) {
  for (const Work& p : palette_)
    packed_.push_back(
        {static_cast<int16_t>(p[0]), static_cast<int16_t>(p[1]), static_cast<int16_t>(p[2]), 0});
  candidates_.reserve(cells_.size() * palette_.size());
  scratch_.resize(palette_.size());
}

uint32_t NearestTable::build(uint32_t cell) {
  constexpr uint32_t kMask = (1u << kCellBits) - 1;
  const uint32_t at[3] = {cell >> (2 * kCellBits), cell >> kCellBits & kMask, cell & kMask};
  const size_t n = palette_.size();
  // Every distance fits 32 bits: 3 channels of weight 4 at most, times
  // 4095 squared. Locals, so the loop is vectorised.
  int32_t* const nearSide = scratch_.data();
  const Work* const palette = palette_.data();
  const Work w = weights_;
  int32_t from[3], to[3];
  for (size_t k = 0; k < 3; ++k) {
    from[k] = static_cast<int32_t>(at[k] * kCellSide);
    to[k] = from[k] + static_cast<int32_t>(kCellSide) - 1;
  }
  int32_t bound = std::numeric_limits<int32_t>::max();
  for (size_t i = 0; i < n; ++i) {
    int32_t lo = 0, hi = 0;
    for (size_t k = 0; k < 3; ++k) {
      const int32_t v = palette[i][k];
      const int32_t inside = std::max({from[k] - v, v - to[k], 0});
      const int32_t outside = std::max(v - from[k], to[k] - v);
      lo += w[k] * inside * inside;
      hi += w[k] * outside * outside;
    }
    nearSide[i] = lo;
    bound = std::min(bound, hi);
  }
  const uint32_t first = static_cast<uint32_t>(candidates_.size());
  for (size_t i = 0; i < n; ++i)
    if (nearSide[i] <= bound) candidates_.push_back(static_cast<uint8_t>(i));
  const uint32_t count = static_cast<uint32_t>(candidates_.size()) - first;
  if (count > 2) {
    lists_[cell] = first << kCountBits | count;
    cells_[cell] = kList;
    return kList;
  }
  uint32_t near = candidates_[first], far = candidates_[first + count - 1];
  candidates_.resize(first);
  // Twice the centre, (a + (a + side - 1)) on each channel, to stay whole.
  int64_t lead = 0;  // the centre's distance to `near` minus that to `far`
  for (size_t k = 0; k < 3; ++k) {
    const int64_t centre2 = int64_t{2} * at[k] * kCellSide + kCellSide - 1;
    const int64_t a = palette_[near][k], b = palette_[far][k];
    lead += weights_[k] * (b - a) * (centre2 - a - b);
  }
  if (lead > 0 && !(far == 255 && near <= 1)) std::swap(near, far);
  cells_[cell] = static_cast<uint16_t>(near | far << 8);
  return cells_[cell];
}

}  // namespace nadiro::engine
