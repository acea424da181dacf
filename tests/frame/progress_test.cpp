// The progress operations as every export sees them: state kept in the
// thread's block, steps counted, destroy closing once. On Windows these run
// against the real dialog (under Xvfb); elsewhere against the host hook.
#include "frame/progress.h"

#include <gtest/gtest.h>

#include <climits>
#include <thread>
#include <vector>

namespace nadiro {
namespace {

// The bar's range from the documented rule, by plain arithmetic.
struct RangeCase {
  int32_t total, divisor, top;
};
class ProgressRange : public testing::TestWithParam<RangeCase> {};

TEST_P(ProgressRange, IsTotalOverDivisorPlusOne) {
  EXPECT_EQ(progressRange(GetParam().total, GetParam().divisor), GetParam().top);
}

INSTANTIATE_TEST_SUITE_P(Examples, ProgressRange,
                         testing::Values(RangeCase{10, 5, 3}, RangeCase{4, 5, 1},
                                         RangeCase{0, 5, 1}, RangeCase{1501, 1500, 2},
                                         RangeCase{3840 * 2160 + 1, 1500, 5530}, RangeCase{5, 0, 1},
                                         RangeCase{INT32_MIN, -1, 1},
                                         RangeCase{INT32_MAX, 1, INT32_MAX}));

class Progress : public testing::Test {
 protected:
  void TearDown() override {
    progressDestroy();
    ThreadErrorBlockData* b = threadErrorBlock();
    b->cancel = 0;
  }
};

TEST_F(Progress, CreateStoresItsStateAndClearsCancel) {
  ThreadErrorBlockData* b = threadErrorBlock();
  b->cancel = 1;
  ASSERT_EQ(progressCreate(nullptr, 11, 5), 1);
  EXPECT_TRUE(progressOpen());
  EXPECT_FALSE(cancelRequested());
  EXPECT_EQ(b->progressTotal, 11);
  EXPECT_EQ(b->progressDivisor, 5);
  EXPECT_EQ(b->progressStep, 1);
  EXPECT_EQ(b->ownerWindow, nullptr);
  EXPECT_EQ(b->ownerDisabled, 0u) << "a null owner is never disabled";
}

TEST_F(Progress, StepReturnsThePreviousPosition) {
  ASSERT_EQ(progressCreate(nullptr, 51, 5), 1);
  for (int expected = 0; expected < 8; ++expected) EXPECT_EQ(progressStep(), expected);
}

TEST_F(Progress, DestroyClosesOnce) {
  ASSERT_EQ(progressCreate(nullptr, 6, 5), 1);
  EXPECT_EQ(progressDestroy(), 1);
  EXPECT_FALSE(progressOpen());
  EXPECT_EQ(progressDestroy(), 0);
  EXPECT_EQ(progressDestroy(), 0);
}

TEST_F(Progress, ResultCodesAreLeftAlone) {
  ThreadErrorBlockData* b = threadErrorBlock();
  b->pixelStatus = 17;
  b->lastError = 4;
  ASSERT_EQ(progressCreate(nullptr, 6, 5), 1);
  progressStep();
  progressDestroy();
  EXPECT_EQ(b->pixelStatus, 17u);
  EXPECT_EQ(b->lastError, 4u);
  b->pixelStatus = 0;
  b->lastError = 0;
}

TEST_F(Progress, EachThreadHasItsOwnDialog) {
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
  EXPECT_EQ(threadErrorBlock()->progressTotal, 21);
}

#if !defined(_WIN32)

// A host's hook that records what it sees and presses Cancel on request.
struct Recorder {
  struct Event {
    char kind;  // 'c'reate, 's'tep, 'd'estroy
    NadiroWindow owner;
    int32_t a, b;
    bool operator==(const Event&) const = default;
  };
  std::vector<Event> events;
  int32_t createResult = 1;
  int cancelAtStep = -1;  // index of the step that presses Cancel

  NadiroProgressHook hook() {
    NadiroProgressHook h{};
    h.context = this;
    h.create = [](void* c, NadiroWindow owner, int32_t total, int32_t divisor) {
      auto* r = static_cast<Recorder*>(c);
      r->events.push_back({'c', owner, total, divisor});
      return r->createResult;
    };
    h.step = [](void* c, int32_t position) -> int32_t {
      auto* r = static_cast<Recorder*>(c);
      r->events.push_back({'s', nullptr, position, 0});
      return r->steps++ == r->cancelAtStep ? 1 : 0;
    };
    h.destroy = [](void* c) { static_cast<Recorder*>(c)->events.push_back({'d', nullptr, 0, 0}); };
    return h;
  }
  int steps = 0;
};

class ProgressHook : public Progress {
 protected:
  // The recorders live in the tests: remove the hook before closing what a
  // test left open.
  void TearDown() override {
    NadiroSetProgressHook(nullptr);
    Progress::TearDown();
  }
};

TEST_F(ProgressHook, SeesCreateEachStepAndDestroy) {
  Recorder r;
  const NadiroProgressHook h = r.hook();
  NadiroSetProgressHook(&h);
  int owner = 0;
  ASSERT_EQ(progressCreate(&owner, 16, 5), 1);
  EXPECT_EQ(progressStep(), 0);
  EXPECT_EQ(progressStep(), 1);
  EXPECT_EQ(progressStep(), 2);
  EXPECT_EQ(progressDestroy(), 1);
  const std::vector<Recorder::Event> expected = {{'c', &owner, 16, 5},
                                                 {'s', nullptr, 0, 0},
                                                 {'s', nullptr, 1, 0},
                                                 {'s', nullptr, 2, 0},
                                                 {'d', nullptr, 0, 0}};
  EXPECT_EQ(r.events, expected);
  EXPECT_FALSE(cancelRequested());
}

TEST_F(ProgressHook, CancelSetsTheFlagAndClosesTheDialog) {
  Recorder r;
  r.cancelAtStep = 1;
  const NadiroProgressHook h = r.hook();
  NadiroSetProgressHook(&h);
  ASSERT_EQ(progressCreate(nullptr, 16, 5), 1);
  EXPECT_EQ(progressStep(), 0);
  EXPECT_FALSE(cancelRequested());
  progressStep();  // Cancel pressed here
  EXPECT_TRUE(cancelRequested());
  EXPECT_FALSE(progressOpen());
  EXPECT_EQ(threadErrorBlock()->ownerDisabled, 0u);
  EXPECT_EQ(progressStep(), 0) << "a closed dialog does not step";
  EXPECT_EQ(progressDestroy(), 0) << "Cancel already closed it";
  ASSERT_EQ(r.events.size(), 4u);
  EXPECT_EQ(r.events.back().kind, 'd');
  EXPECT_TRUE(cancelRequested()) << "the flag stays until the next create";
  ASSERT_EQ(progressCreate(nullptr, 6, 5), 1);
  EXPECT_FALSE(cancelRequested());
}

TEST_F(ProgressHook, ACallerLoopStopsAtTheNextUnitAfterCancel) {
  // The pattern of the exports: step before every unit whose index is a
  // multiple of the divisor, stop as soon as the flag is set.
  Recorder r;
  r.cancelAtStep = 2;
  const NadiroProgressHook h = r.hook();
  NadiroSetProgressHook(&h);
  const int32_t units = 40, divisor = 5;
  ASSERT_EQ(progressCreate(nullptr, units + 1, divisor), 1);
  int32_t done = 0;
  for (int32_t i = 0; i < units; ++i) {
    if (cancelRequested()) break;
    if (progressOpen() && i % divisor == 0) progressStep();
    ++done;
  }
  progressDestroy();
  EXPECT_EQ(done, 11) << "units 0..10 ran; Cancel came with the step before unit 10";
}

TEST_F(ProgressHook, ARefusedDialogFailsCreate) {
  Recorder r;
  r.createResult = 0;
  const NadiroProgressHook h = r.hook();
  NadiroSetProgressHook(&h);
  EXPECT_EQ(progressCreate(nullptr, 6, 5), 0);
  EXPECT_FALSE(progressOpen());
  EXPECT_EQ(progressDestroy(), 0);
  ASSERT_EQ(r.events.size(), 1u) << "no destroy for a dialog that never opened";
}

TEST_F(ProgressHook, BelongsToTheThreadThatInstalledIt) {
  Recorder r;
  const NadiroProgressHook h = r.hook();
  NadiroSetProgressHook(&h);
  std::thread([] {
    EXPECT_EQ(progressCreate(nullptr, 6, 5), 1);
    progressStep();
    EXPECT_EQ(progressDestroy(), 1);
  }).join();
  EXPECT_TRUE(r.events.empty());
}

TEST_F(ProgressHook, NullCallbacksAndRemovalShowNothing) {
  NadiroProgressHook empty{};
  NadiroSetProgressHook(&empty);
  ASSERT_EQ(progressCreate(nullptr, 6, 5), 1);
  EXPECT_EQ(progressStep(), 0);
  EXPECT_EQ(progressDestroy(), 1);
  Recorder r;
  const NadiroProgressHook h = r.hook();
  NadiroSetProgressHook(&h);
  NadiroSetProgressHook(nullptr);
  ASSERT_EQ(progressCreate(nullptr, 6, 5), 1);
  progressStep();
  progressDestroy();
  EXPECT_TRUE(r.events.empty());
}

#endif  // !_WIN32

}  // namespace
}  // namespace nadiro
