#include "frame/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "support/images.h"

namespace nadiro {
namespace {

TEST(Memory, LocksNestAndUnlockCountsDown) {
  MemHandle h = memAlloc(kMemMoveableZero, 16);
  ASSERT_NE(h, nullptr);
  void* a = memLock(h);
  void* b = memLock(h);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a, b);
  EXPECT_TRUE(memUnlock(h));   // one lock left
  EXPECT_FALSE(memUnlock(h));  // now unlocked
  EXPECT_FALSE(memUnlock(h));  // unlocking an unlocked block changes nothing
  EXPECT_EQ(memFree(h), nullptr);
}

// A large block freed with bytes in it and a block of about its size asked
// for next: whatever memory the new block gets, fixed (the smaller ones) or
// moveable, it is zero-filled and has its own size.
TEST(Memory, LargeBlocksFreedDirtyComeBackZeroFilled) {
  const size_t big = size_t{3} << 20;
  for (size_t next : {big, big - 4096, big - big / 8, big / 2, big + 1}) {
    MemHandle dirty = memAlloc(kMemMoveableZero, big);
    ASSERT_NE(dirty, nullptr);
    auto* d = static_cast<uint8_t*>(memLock(dirty));
    ASSERT_NE(d, nullptr);
    std::memset(d, 0xCD, big);
    memUnlock(dirty);
    memFree(dirty);
    MemHandle h = memAlloc(next < big ? kMemFixedZero : kMemMoveableZero, next);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(memSize(h), next);
    auto* p = static_cast<uint8_t*>(memLock(h));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(static_cast<size_t>(std::count(p, p + next, 0)), next) << next;
    memUnlock(h);
    memFree(h);
  }
}

TEST(Memory, BadHandlesLockToNullAndHaveNoSize) {
  MemHandle freed = memAlloc(kMemMoveableZero, 8);
  ASSERT_EQ(memFree(freed), nullptr);
  std::vector<MemHandle> bad = {nullptr, freed, test::garbageHandle(1), test::garbageHandle(99),
                                reinterpret_cast<MemHandle>(~uintptr_t{0})};
  for (MemHandle h : bad) {
    EXPECT_EQ(memLock(h), nullptr);
    EXPECT_EQ(memSize(h), 0u);
    EXPECT_FALSE(memUnlock(h));
    if (h) {
      EXPECT_EQ(memFree(h), h) << "freeing a bad handle reports failure";
    }
  }
#if !defined(_WIN32)
  // A slot reused after a free does not revive the old handle. (Windows
  // hands a freed handle out again; it is then simply the new block's.)
  MemHandle again = memAlloc(kMemMoveableZero, 8);
  EXPECT_EQ(memLock(freed), nullptr);
  memFree(again);
#endif
}

TEST(Memory, RefusesBlocksBeyondThe32BitLimit) {
  EXPECT_EQ(memAlloc(kMemMoveableZero, size_t{kMaxBlockBytes} + 1), nullptr);
}

TEST(Memory, ThreadsAllocateAndFreeConcurrently) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 2000; ++i) {
        MemHandle h = memAlloc(kMemMoveableZero, 32);
        auto* p = static_cast<uint8_t*>(memLock(h));
        ASSERT_NE(p, nullptr);
        std::memset(p, t, 32);
        EXPECT_EQ(p[31], t);
        memUnlock(h);
        EXPECT_EQ(memFree(h), nullptr);
      }
    });
  }
  for (auto& th : threads) th.join();
}

}  // namespace
}  // namespace nadiro
