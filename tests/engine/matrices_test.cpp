// Threshold matrices: ranks form a permutation, Bayer's are the textbook
// ones, and clustered dots grow from the centre.
#include <gtest/gtest.h>

#include <algorithm>

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

}  // namespace
}  // namespace nadiro::engine
