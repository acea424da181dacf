// Threshold matrices: ranks form a permutation, Bayer's are the textbook
// ones, clustered dots grow from the centre, and blue noise has almost no
// energy at low frequencies (its discrete Fourier transform, computed here).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <random>

#include "engine/engine.h"

namespace nadiro::engine {
namespace {

bool isPermutation(const RankMatrix& m) {
  std::vector<uint16_t> sorted = m.ranks;
  std::sort(sorted.begin(), sorted.end());
  for (size_t i = 0; i < sorted.size(); ++i)
    if (sorted[i] != i) return false;
  return sorted.size() == size_t{m.width} * m.height;
}

TEST(Matrices, EveryMatrixIsAPermutationOfItsRanks) {
  for (uint32_t side : {2u, 4u, 8u, 16u}) EXPECT_TRUE(isPermutation(bayerMatrix(side))) << side;
  for (uint32_t side = 3; side <= 16; ++side)
    EXPECT_TRUE(isPermutation(clusteredMatrix(side))) << side;
  EXPECT_TRUE(isPermutation(blueNoiseMatrix()));
  EXPECT_EQ(blueNoiseMatrix().width, kBlueNoiseSide);
}

TEST(Matrices, BayerFourByFourIsTheTextbookMatrix) {
  // As printed in the literature on ordered dithering.
  const std::vector<uint16_t> textbook = {0, 8, 2, 10, 12, 4, 14, 6, 3, 11, 1, 9, 15, 7, 13, 5};
  EXPECT_EQ(bayerMatrix(4).ranks, textbook);
  EXPECT_EQ(bayerMatrix(2).ranks, (std::vector<uint16_t>{0, 2, 3, 1}));
}

TEST(Matrices, ClusteredDotsGrowFromTheCentre) {
  for (uint32_t side : {4u, 5u, 8u}) {
    const RankMatrix m = clusteredMatrix(side);
    // A rank's squared distance from the centre never decreases with the rank.
    std::vector<int> byRank(m.ranks.size());
    for (uint32_t i = 0; i < m.ranks.size(); ++i) {
      const int dx = static_cast<int>(2 * (i % side) + 1 - side);
      const int dy = static_cast<int>(2 * (i / side) + 1 - side);
      byRank[m.ranks[i]] = dx * dx + dy * dy;
    }
    EXPECT_TRUE(std::is_sorted(byRank.begin(), byRank.end())) << side;
  }
}

// Mean power of the spectrum in rings of radius (lo, hi].
struct Spectrum {
  explicit Spectrum(const RankMatrix& m) : n(m.width), power(size_t{n} * n) {
    const double mean = (double(n) * n - 1) / 2;
    std::vector<std::complex<double>> rows(size_t{n} * n), all(size_t{n} * n);
    const auto twiddle = [this](uint32_t k) {
      return std::polar(1.0, -2 * std::numbers::pi * k / n);
    };
    for (uint32_t y = 0; y < n; ++y)  // along x
      for (uint32_t u = 0; u < n; ++u) {
        std::complex<double> s = 0;
        for (uint32_t x = 0; x < n; ++x) s += (m.ranks[y * n + x] - mean) * twiddle(u * x % n);
        rows[y * n + u] = s;
      }
    for (uint32_t u = 0; u < n; ++u)  // then along y
      for (uint32_t v = 0; v < n; ++v) {
        std::complex<double> s = 0;
        for (uint32_t y = 0; y < n; ++y) s += rows[y * n + u] * twiddle(v * y % n);
        power[v * n + u] = std::norm(s);
      }
  }
  double ring(double lo, double hi) const {
    double sum = 0;
    int count = 0;
    for (uint32_t v = 0; v < n; ++v)
      for (uint32_t u = 0; u < n; ++u) {
        const double fu = std::min(u, n - u), fv = std::min(v, n - v);
        const double r = std::hypot(fu, fv);
        if (r > lo && r <= hi) {
          sum += power[v * n + u];
          ++count;
        }
      }
    return sum / count;
  }
  uint32_t n;
  std::vector<double> power;
};

TEST(Matrices, BlueNoiseHasNoLowFrequencyEnergy) {
  // Blue noise: the ring up to an eighth of the band holds under 5 % of the
  // mean power of the upper half of the band. White noise (a shuffled
  // matrix) holds about as much below as above, which the second half checks.
  const RankMatrix& blue = blueNoiseMatrix();
  const Spectrum s(blue);
  const double n = blue.width;
  const double low = s.ring(0, n / 8), high = s.ring(n / 4, n);
  EXPECT_LT(low, 0.05 * high) << "low " << low << " high " << high;

  RankMatrix white = blue;
  std::mt19937 rng(3);
  std::shuffle(white.ranks.begin(), white.ranks.end(), rng);
  const Spectrum w(white);
  EXPECT_GT(w.ring(0, n / 8), 0.3 * w.ring(n / 4, n)) << "the measure tells white from blue";
}

}  // namespace
}  // namespace nadiro::engine
