// The vector row kernels against the scalar ones, byte for byte.
#include "color/convert_rows.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace nadiro::color {
namespace {

std::vector<CpuLevel> vectorLevels() {
  std::vector<CpuLevel> levels;
  for (int l = 1; l <= static_cast<int>(cpuBestLevel()); ++l)
    levels.push_back(static_cast<CpuLevel>(l));
  return levels;
}

uint32_t inBytes(int32_t model) {
  return model == NADIRO_MODEL_CMYK ? 4u : 3u;
}

// Pre-filled, so that a byte the kernel forgets to write shows.
std::vector<uint8_t> run(RowKernel kernel, const std::vector<uint8_t>& src, size_t pixels,
                         uint32_t outBytes) {
  std::vector<uint8_t> dst(pixels * outBytes, 0xA5);
  kernel(src.data(), dst.data(), pixels);
  return dst;
}

// Records that reach every branch: all ties of the three channels, the
// extremes (each twice in a row, for kernels that remember a recent pixel),
// and a random sample of the rest.
std::vector<uint8_t> denseSample(uint32_t bytes) {
  std::vector<uint8_t> v;
  const uint8_t edges[] = {0, 1, 2, 127, 128, 129, 253, 254, 255};
  for (uint8_t a : edges)
    for (uint8_t b : edges)
      for (uint8_t c : edges)
        for (uint8_t d : bytes == 4 ? std::vector<uint8_t>{0, 128, 255} : std::vector<uint8_t>{0})
          for (int twice = 0; twice < 2; ++twice)
            for (uint32_t j = 0; j < bytes; ++j)
              v.push_back(j == 0 ? a : j == 1 ? b : j == 2 ? c : d);
  std::mt19937 rng(12);
  for (int n = 0; n < 200000 * static_cast<int>(bytes); ++n)
    v.push_back(static_cast<uint8_t>(rng()));
  for (uint32_t j = 0; j < 5 * bytes; ++j) v.push_back(static_cast<uint8_t>(j * 40));  // odd tail
  return v;
}

TEST(ConvertRows, EveryLevelGivesTheScalarBytesForEveryPair) {
  const auto levels = vectorLevels();
  if (levels.empty()) GTEST_SKIP() << "no vector level on this processor";
  for (int32_t from = 1; from <= kModelCount; ++from) {
    const auto sample = denseSample(inBytes(from));
    const size_t pixels = sample.size() / inBytes(from);
    for (int32_t to = 1; to <= kModelCount; ++to)
      for (Order order : {Order::Reversed, Order::Model}) {
        const RowKernel scalar = scalarRowKernel(from, to, order);
        for (CpuLevel level : levels) {
          RowKernel lanes = laneRowKernel(level, from, to, order);
          if (!lanes) continue;
          ASSERT_NE(scalar, nullptr);
          const uint32_t out = modelBytes(to);
          // Every count below two blocks of the widest level, then the whole sample.
          for (size_t count = 1; count <= 17; ++count) {
            const size_t n = count == 17 ? pixels : count;
            EXPECT_TRUE(run(lanes, sample, n, out) == run(scalar, sample, n, out))
                << from << " -> " << to << " at " << cpuLevelName(level) << ", " << n
                << (order == Order::Model ? " pixels, buffer order" : " pixels, image order");
          }
        }
      }
  }
}

TEST(ConvertRows, TheConversionsFromRgbHaveVectorKernelsAtEveryLevel) {
  for (CpuLevel level : vectorLevels())
    for (int32_t to : {NADIRO_MODEL_CMY, NADIRO_MODEL_HSV, NADIRO_MODEL_HSI, NADIRO_MODEL_YUV,
                       NADIRO_MODEL_YIQ, NADIRO_MODEL_XYZ, NADIRO_MODEL_LAB})
      EXPECT_NE(laneRowKernel(level, NADIRO_MODEL_RGB, to, Order::Reversed), nullptr)
          << to << " at " << cpuLevelName(level);
  EXPECT_EQ(laneRowKernel(CpuLevel::Scalar, NADIRO_MODEL_RGB, NADIRO_MODEL_HSV, Order::Reversed),
            nullptr);
}

// Long: once per suite (not in the reruns that force a level), and only in
// optimised builds without sanitizers.
bool exhaustiveRuns() {
#if defined(__SANITIZE_ADDRESS__) || !defined(NDEBUG)
  return false;
#else
  return std::getenv("NADIRO_CPU") == nullptr;
#endif
}

TEST(ConvertRowsExhaustive, EveryThreeByteRecordMatchesTheScalarKernel) {
  if (!exhaustiveRuns()) GTEST_SKIP() << "optimised builds only, once per suite";
  const auto levels = vectorLevels();
  constexpr size_t kChunk = 1u << 16;  // records per pass: the low two bytes
  std::vector<uint8_t> src(kChunk * 3);
  std::vector<uint8_t> want(kChunk * 3), got(kChunk * 3);
  for (int32_t from = 1; from <= kModelCount; ++from)
    for (int32_t to = 1; to <= kModelCount; ++to) {
      if (inBytes(from) != 3 || modelBytes(to) != 3) continue;
      const RowKernel scalar = scalarRowKernel(from, to, Order::Model);
      std::vector<RowKernel> fast;
      for (CpuLevel level : levels)
        if (RowKernel k = laneRowKernel(level, from, to, Order::Model)) fast.push_back(k);
      if (fast.empty()) continue;
      size_t mismatches = 0;
      for (uint32_t high = 0; high < 256; ++high) {
        for (uint32_t low = 0; low < kChunk; ++low) {
          src[3 * low] = static_cast<uint8_t>(high);
          src[3 * low + 1] = static_cast<uint8_t>(low >> 8);
          src[3 * low + 2] = static_cast<uint8_t>(low);
        }
        scalar(src.data(), want.data(), kChunk);
        for (RowKernel k : fast) {
          k(src.data(), got.data(), kChunk);
          mismatches += got != want;
        }
      }
      EXPECT_EQ(mismatches, 0u) << from << " -> " << to;
    }
}

}  // namespace
}  // namespace nadiro::color
