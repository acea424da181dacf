// The progress operations as every export sees them: the bar's range, a
// dialog and a hook per thread. On Windows these run against the real
// dialog (under Xvfb); elsewhere against the host hook.
#include "frame/progress.h"

#include <gtest/gtest.h>

#include <climits>
#include <thread>

#include "support/images.h"

namespace nadiro {
namespace {

TEST(Progress, RangeIsTotalOverDivisorPlusOne) {
  struct Case {
    int32_t total, divisor, top;
  };
  for (const Case c : {Case{10, 5, 3}, Case{4, 5, 1}, Case{0, 5, 1}, Case{1501, 1500, 2},
                       Case{3840 * 2160 + 1, 1500, 5530}, Case{5, 0, 1}, Case{INT32_MIN, -1, 1},
                       Case{INT32_MAX, 1, INT32_MAX}})
    EXPECT_EQ(progressRange(c.total, c.divisor), c.top) << c.total << " / " << c.divisor;
}

TEST(Progress, EachThreadHasItsOwnDialog) {
  ASSERT_EQ(progressCreate(nullptr, 21, 5), 1);
  bool otherSawOpen = true;
  int otherCreated = 0, otherDestroyed = 0;
  std::thread([&] {
    otherSawOpen = progressOpen();
    otherCreated = progressCreate(nullptr, 6, 5);
    otherDestroyed = progressDestroy();
  }).join();
  EXPECT_FALSE(otherSawOpen);
  EXPECT_EQ(otherCreated, 1);
  EXPECT_EQ(otherDestroyed, 1);
  EXPECT_TRUE(progressOpen()) << "the other thread's destroy closed only its own dialog";
  EXPECT_EQ(progressDestroy(), 1);
  EXPECT_EQ(progressDestroy(), 0) << "closes once";
}

#if !defined(_WIN32)
TEST(ProgressHook, BelongsToTheThreadThatInstalledIt) {
  test::ProgressRecorder r;
  std::thread([] {
    EXPECT_EQ(progressCreate(nullptr, 6, 5), 1);
    progressStep();
    EXPECT_EQ(progressDestroy(), 1);
  }).join();
  EXPECT_EQ(r.creates + r.steps + r.destroys, 0);
}

TEST(ProgressHook, NullCallbacksShowNothingAndRefusalFailsCreate) {
  const NadiroProgressHook empty{};
  NadiroSetProgressHook(&empty);
  ASSERT_EQ(progressCreate(nullptr, 6, 5), 1);
  EXPECT_EQ(progressStep(), 0);
  EXPECT_EQ(progressDestroy(), 1);
  test::ProgressRecorder r;
  r.refuse = true;
  EXPECT_EQ(progressCreate(nullptr, 6, 5), 0);
  EXPECT_FALSE(progressOpen());
  EXPECT_EQ(progressDestroy(), 0);
  EXPECT_EQ(r.destroys, 0) << "no destroy for a dialog that never opened";
}
#endif

}  // namespace
}  // namespace nadiro
