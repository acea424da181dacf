#include "frame/thread_state.h"

#include <gtest/gtest.h>

#include <thread>

namespace nadiro {
namespace {

TEST(ThreadState, EachThreadGetsItsOwnZeroedBlock) {
  ThreadErrorBlockData* mine = threadErrorBlock();
  mine->pixelStatus = 17;
  mine->lastError = 4;
  ThreadErrorBlockData seen{};
  ThreadErrorBlockData* theirs = nullptr;
  std::thread([&] {
    theirs = threadErrorBlock();
    seen = *theirs;
    EXPECT_EQ(threadErrorBlock(), theirs) << "the block is created once per thread";
  }).join();
  EXPECT_NE(theirs, mine);
  EXPECT_EQ(seen.pixelStatus, 0u);
  EXPECT_EQ(seen.lastError, 0u);
  EXPECT_EQ(seen.progressWindow, nullptr);
  EXPECT_EQ(seen.cancel, 0u);
  EXPECT_EQ(mine->pixelStatus, 17u) << "another thread's calls leave this block alone";
  mine->pixelStatus = 0;
  mine->lastError = 0;
}

}  // namespace
}  // namespace nadiro
