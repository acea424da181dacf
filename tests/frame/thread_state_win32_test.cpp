// The Windows load life cycle: the attach/detach entry on a module state of
// the test's own, for both platform families. (Threads the module never saw
// attach get their block lazily: thread_state_test.cpp, on every platform.)
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "frame/module_win32.h"
#include "frame/thread_state.h"

namespace nadiro::win32 {
namespace {

constexpr uint32_t kNtFamily = 0x23F00206;   // a version word without the top bit
constexpr uint32_t kOldFamily = 0xC0000A04;  // with it

// Runs entries against a state of its own and releases what they left.
class Entry {
 public:
  explicit Entry(uint32_t version) : version_(version) {}
  ~Entry() {
    for (DWORD slot : slots_) {
      if (void* block = TlsGetValue(slot)) GlobalFree(block);
      TlsFree(slot);
    }
  }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  BOOL run(DWORD reason) {
    const DWORD before = state.slot;
    const BOOL r = moduleEntryFor(state, version_, instance(), reason);
    if (state.slot != before && state.slot != TLS_OUT_OF_INDEXES) slots_.push_back(state.slot);
    return r;
  }
  static HINSTANCE instance() { return reinterpret_cast<HINSTANCE>(uintptr_t{0x10000000}); }
  void* block() const { return TlsGetValue(state.slot); }

  ModuleState state;

 private:
  uint32_t version_;
  std::vector<DWORD> slots_;
};

bool isZeroBlock(const void* p) {
  ThreadErrorBlockData zero{};
  return p && std::memcmp(p, &zero, sizeof zero) == 0;
}

TEST(ModuleEntry, ProcessAttachTakesASlotAndGivesThisThreadABlock) {
  for (uint32_t version : {kNtFamily, kOldFamily}) {
    Entry e(version);
    ASSERT_EQ(e.run(DLL_PROCESS_ATTACH), TRUE);
    EXPECT_NE(e.state.slot, TLS_OUT_OF_INDEXES);
    EXPECT_EQ(e.state.instance, Entry::instance());
    EXPECT_EQ(e.state.processAttachSeen, 1u);
    EXPECT_TRUE(isZeroBlock(e.block()));
    EXPECT_EQ(GlobalSize(e.block()), sizeof(ThreadErrorBlockData));
    EXPECT_EQ(GlobalLock(e.block()), e.block()) << "fixed memory: the handle is the address";
    GlobalUnlock(e.block());
  }
}

// Repeated attach or detach: accepted on the NT family, refused on the old one.
struct RepeatCase {
  const char* name;
  uint32_t version;
  DWORD reason;
  BOOL second;
};
class ModuleEntryRepeat : public testing::TestWithParam<RepeatCase> {};

TEST_P(ModuleEntryRepeat, SecondCall) {
  Entry e(GetParam().version);
  if (GetParam().reason == DLL_PROCESS_DETACH) {
    ASSERT_EQ(e.run(DLL_PROCESS_ATTACH), TRUE);
  }
  EXPECT_EQ(e.run(GetParam().reason), TRUE);
  EXPECT_EQ(e.run(GetParam().reason), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(
    Families, ModuleEntryRepeat,
    testing::Values(RepeatCase{"NtAttach", kNtFamily, DLL_PROCESS_ATTACH, TRUE},
                    RepeatCase{"NtDetach", kNtFamily, DLL_PROCESS_DETACH, TRUE},
                    RepeatCase{"OldAttach", kOldFamily, DLL_PROCESS_ATTACH, FALSE},
                    RepeatCase{"OldDetach", kOldFamily, DLL_PROCESS_DETACH, FALSE}),
    [](const testing::TestParamInfo<RepeatCase>& c) { return std::string(c.param.name); });

TEST(ModuleEntry, ThreadDetachFreesTheBlockAndAttachMakesAFreshOne) {
  Entry e(kNtFamily);
  ASSERT_EQ(e.run(DLL_PROCESS_ATTACH), TRUE);
  auto* first = static_cast<ThreadErrorBlockData*>(e.block());
  ASSERT_NE(first, nullptr);
  first->lastError = 4;
  EXPECT_EQ(e.run(DLL_THREAD_DETACH), TRUE);
  EXPECT_EQ(e.block(), nullptr);
  EXPECT_EQ(e.run(DLL_THREAD_DETACH), TRUE) << "nothing left to free";
  EXPECT_EQ(e.run(DLL_THREAD_ATTACH), TRUE);
  EXPECT_TRUE(isZeroBlock(e.block()));
}

}  // namespace
}  // namespace nadiro::win32
