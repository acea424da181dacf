// Threshold matrices of ordered dithering as ranks: Bayer's recursive
// matrices, round clustered dots, and blue noise by void-and-cluster.
#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

#include "engine/engine.h"

namespace nadiro::engine {

RankMatrix bayerMatrix(uint32_t side) {
  RankMatrix m{1, 1, {0}};
  // Each doubling puts 4M, 4M + 2, 4M + 3, 4M + 1 in the four quadrants.
  constexpr uint16_t kQuadrant[2][2] = {{0, 2}, {3, 1}};
  while (m.width < side) {
    const uint32_t n = m.width, n2 = 2 * n;
    std::vector<uint16_t> next(size_t{n2} * n2);
    for (uint32_t y = 0; y < n2; ++y)
      for (uint32_t x = 0; x < n2; ++x)
        next[y * n2 + x] =
            static_cast<uint16_t>(4 * m.ranks[(y % n) * n + x % n] + kQuadrant[y / n][x / n]);
    m = {n2, n2, std::move(next)};
  }
  return m;
}

RankMatrix clusteredMatrix(uint32_t side) {
  // The dot grows from the cell's centre outwards: rank by squared distance
  // from the centre, ties in reading order.
  const size_t n = size_t{side} * side;
  std::vector<uint32_t> order(n);
  std::iota(order.begin(), order.end(), 0u);
  const auto radius = [side](uint32_t i) {
    const int dx = static_cast<int>(2 * (i % side) + 1) - static_cast<int>(side);
    const int dy = static_cast<int>(2 * (i / side) + 1) - static_cast<int>(side);
    return dx * dx + dy * dy;
  };
  std::stable_sort(order.begin(), order.end(),
                   [&](uint32_t a, uint32_t b) { return radius(a) < radius(b); });
  RankMatrix m{side, side, std::vector<uint16_t>(n)};
  for (size_t r = 0; r < n; ++r) m.ranks[order[r]] = static_cast<uint16_t>(r);
  return m;
}

namespace {

// Void-and-cluster on a torus: a pixel's energy is the sum of a Gaussian
// of its toroidal distance to every set pixel. The tightest cluster is the
// set pixel of highest energy, the largest void the empty one of lowest.
class VoidAndCluster {
 public:
  static constexpr uint32_t N = kBlueNoiseSide;
  static constexpr uint32_t kCells = N * N;

  VoidAndCluster() {
    constexpr double kSigma = 1.5;
    for (uint32_t y = 0; y < N; ++y)
      for (uint32_t x = 0; x < N; ++x) {
        const double dx = std::min(x, N - x), dy = std::min(y, N - y);
        gauss_[y * N + x] = std::exp(-(dx * dx + dy * dy) / (2 * kSigma * kSigma));
      }
  }

  RankMatrix run() {
    // A tenth of the pixels set by a fixed pseudo-random sequence.
    uint32_t state = 12345u;
    uint32_t ones = 0;
    while (ones < kCells / 10) {
      state = state * 1664525u + 1013904223u;
      const uint32_t at = (state >> 8) % kCells;
      if (!set_[at]) {
        toggle(at);
        ++ones;
      }
    }
    // Move tightest clusters into largest voids until they coincide.
    for (;;) {
      const uint32_t cluster = extreme(true);
      toggle(cluster);
      const uint32_t hole = extreme(false);
      toggle(hole);
      if (hole == cluster) break;
    }
    const std::array<bool, kCells> prototype = set_;
    const std::array<double, kCells> prototypeEnergy = energy_;
    RankMatrix m{N, N, std::vector<uint16_t>(kCells)};
    // Ranks below the prototype's count: take clusters away.
    for (uint32_t rank = ones; rank-- > 0;) {
      const uint32_t cluster = extreme(true);
      toggle(cluster);
      m.ranks[cluster] = static_cast<uint16_t>(rank);
    }
    // The rest: fill voids (past half, the tightest cluster of the empty
    // pixels is the largest void of the set ones, so one rule serves).
    set_ = prototype;
    energy_ = prototypeEnergy;
    for (uint32_t rank = ones; rank < kCells; ++rank) {
      const uint32_t hole = extreme(false);
      toggle(hole);
      m.ranks[hole] = static_cast<uint16_t>(rank);
    }
    return m;
  }

 private:
  void toggle(uint32_t at) {
    const double sign = set_[at] ? -1.0 : 1.0;
    set_[at] = !set_[at];
    const uint32_t ax = at % N, ay = at / N;
    for (uint32_t y = 0; y < N; ++y) {
      const uint32_t gy = (y + N - ay) % N;
      for (uint32_t x = 0; x < N; ++x)
        energy_[y * N + x] += sign * gauss_[gy * N + (x + N - ax) % N];
    }
  }
  // The set pixel of highest energy (wantSet) or the empty one of lowest;
  // ties to the first in reading order.
  uint32_t extreme(bool wantSet) const {
    uint32_t best = kCells;
    for (uint32_t i = 0; i < kCells; ++i) {
      if (set_[i] != wantSet) continue;
      if (best == kCells || (wantSet ? energy_[i] > energy_[best] : energy_[i] < energy_[best]))
        best = i;
    }
    return best;
  }

  std::array<double, kCells> gauss_{};
  std::array<double, kCells> energy_{};
  std::array<bool, kCells> set_{};
};

}  // namespace

const RankMatrix& blueNoiseMatrix() {
  // Built once, on first use; the initialisation of a local static is
  // thread-safe, so concurrent first calls wait for one build.
  static const RankMatrix matrix = [] {
    const auto maker = std::make_unique<VoidAndCluster>();
    return maker->run();
  }();
  return matrix;
}

}  // namespace nadiro::engine
