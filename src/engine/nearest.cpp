// The nearest-colour cell table. A cell is the box [8i, 8i + 8] on each
// channel. An entry can be nearest to some point of the box only if its
// smallest distance to the box is no more than the smallest of all
// entries' largest distances to it; those entries, in index order, are the
// cell's candidates, and a query picks the nearest of them exactly.
#include <algorithm>
#include <cmath>

#include "engine/engine.h"

namespace nadiro::engine {

namespace {
constexpr double kCellSide = 1 << NearestTable::kCellShift;
}  // namespace

NearestTable::NearestTable(std::span<const Work> palette, Work weights)
    : palette_(palette.begin(), palette.end()),
      weights_(weights),
      cells_(kCells, kUnbuilt),
      lists_(kCells) {
  candidates_.reserve(cells_.size() * palette_.size());
  scratch_.resize(palette_.size());
}

uint32_t NearestTable::build(uint32_t cell) {
  constexpr uint32_t kMask = (1u << kCellBits) - 1;
  const uint32_t at[3] = {cell >> (2 * kCellBits), cell >> kCellBits & kMask, cell & kMask};
  const size_t n = palette_.size();
  std::vector<double>& nearSide = scratch_;
  double bound = INFINITY;
  for (size_t i = 0; i < n; ++i) {
    double lo = 0, hi = 0;
    for (size_t k = 0; k < 3; ++k) {
      const double a = at[k] * kCellSide, b = a + kCellSide, v = palette_[i][k];
      const double inside = v < a ? a - v : (v > b ? v - b : 0.0);
      const double outside = std::max(std::abs(v - a), std::abs(v - b));
      lo += double{weights_[k]} * inside * inside;
      hi += double{weights_[k]} * outside * outside;
    }
    nearSide[i] = lo;
    bound = std::min(bound, hi);
  }
  // A little slack: an extra candidate costs a comparison, a missing one
  // would cost exactness under float rounding.
  bound = bound * (1 + 1e-6) + 1e-3;
  const uint32_t first = static_cast<uint32_t>(candidates_.size());
  for (size_t i = 0; i < n; ++i)
    if (nearSide[i] <= bound) candidates_.push_back(static_cast<uint8_t>(i));
  const uint32_t count = static_cast<uint32_t>(candidates_.size()) - first;
  if (count == 1) {
    cells_[cell] = static_cast<uint16_t>(kSingle | candidates_.back());
    candidates_.pop_back();
  } else {
    lists_[cell] = first << kCountBits | count;
    cells_[cell] = kMany;
  }
  return cells_[cell];
}

}  // namespace nadiro::engine
