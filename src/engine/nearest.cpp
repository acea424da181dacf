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
constexpr uint32_t kCellsPerSide = 32;
constexpr double kCellSide = 256.0 / kCellsPerSide;
}  // namespace

NearestTable::NearestTable(std::span<const Work> palette, Work weights)
    : palette_(palette.begin(), palette.end()),
      weights_(weights),
      cells_(kCellsPerSide * kCellsPerSide * kCellsPerSide) {}

float NearestTable::distance(const Work& c, uint32_t index) const {
  const Work& p = palette_[index];
  const float d0 = c[0] - p[0], d1 = c[1] - p[1], d2 = c[2] - p[2];
  return weights_[0] * d0 * d0 + weights_[1] * d1 * d1 + weights_[2] * d2 * d2;
}

void NearestTable::build(uint32_t cell) {
  const uint32_t at[3] = {cell >> 10, cell >> 5 & 31, cell & 31};
  const size_t n = palette_.size();
  std::vector<double>& nearSide = scratch_;
  nearSide.resize(n);
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
  Cell& entry = cells_[cell];
  entry.first = static_cast<uint32_t>(candidates_.size());
  for (size_t i = 0; i < n; ++i)
    if (nearSide[i] <= bound) candidates_.push_back(static_cast<uint8_t>(i));
  entry.count = static_cast<uint32_t>(candidates_.size()) - entry.first;
}

uint8_t NearestTable::refine(const Work& c, const Cell& entry) const {
  const uint8_t* list = candidates_.data() + entry.first;
  uint8_t best = list[0];
  float bestDistance = distance(c, best);
  for (uint32_t i = 1; i < entry.count; ++i) {
    const float d = distance(c, list[i]);
    if (d < bestDistance) {
      bestDistance = d;
      best = list[i];
    }
  }
  return best;
}

}  // namespace nadiro::engine
