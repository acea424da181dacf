#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "nadiro/nadiro.h"

namespace {

constexpr char kFill = '#';

struct VersionCase {
  int32_t size;
  std::string written;  // bytes expected at the start of the buffer
  bool returnsBuffer;
  intptr_t result;  // when not the buffer address
};

class Version : public testing::TestWithParam<VersionCase> {};

TEST_P(Version, CopiesAndReturnsAsDocumented) {
  const auto& c = GetParam();
  char buffer[80];
  std::memset(buffer, kFill, sizeof buffer);
  const intptr_t result = GetNadiroVersion(buffer, c.size);
  if (c.returnsBuffer)
    EXPECT_EQ(result, reinterpret_cast<intptr_t>(buffer));
  else
    EXPECT_EQ(result, c.result);
  EXPECT_EQ(std::string(buffer, c.written.size()), c.written);
  // Nothing beyond what is documented is touched.
  for (size_t i = c.written.size(); i < sizeof buffer; ++i) ASSERT_EQ(buffer[i], kFill) << i;
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, Version,
    testing::Values(VersionCase{-3, "", false, -3}, VersionCase{0, "", false, 0},
                    VersionCase{1, "V", true, 0}, VersionCase{5, "Versi", true, 0},
                    VersionCase{13, "Version 13.10", true, 0},
                    VersionCase{14, std::string("Version 13.10\0", 14), false, 0},
                    VersionCase{64, std::string("Version 13.10\0", 14), false, 0}));

TEST(Version, NullBufferNeverCrashes) {
  EXPECT_EQ(GetNadiroVersion(nullptr, -1), -1);
  EXPECT_EQ(GetNadiroVersion(nullptr, 5), 0);
  EXPECT_NE(GetNadiroVersion(nullptr, 64), 0) << "a null target is reported, not copied to";
}

}  // namespace
