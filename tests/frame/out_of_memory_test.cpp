// Every export fails cleanly when memory runs out: its documented failure
// result and out-of-memory code, the caller's image unchanged and unlocked,
// and no exception through the interface. This program replaces the global
// allocation functions so that they fail on demand; the handle table is
// first filled to its reserved capacity, so every block an export asks for
// needs memory that is not there.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <vector>

#include "frame/thread_state.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace {
bool gFail = false;

void* allocate(std::size_t n) {
  return gFail ? nullptr : std::malloc(n ? n : 1);
}
void* allocateOrThrow(std::size_t n) {
  if (void* p = allocate(n)) return p;
  throw std::bad_alloc();
}
}  // namespace

void* operator new(std::size_t n) {
  return allocateOrThrow(n);
}
void* operator new[](std::size_t n) {
  return allocateOrThrow(n);
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  return allocate(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  return allocate(n);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}

namespace nadiro {
namespace {

struct Case {
  const char* name;
  std::function<bool(MemHandle rgb, MemHandle grey)> fails;  // true: failure result
  const uint32_t* field;    // where the export reports its code (null: nowhere)
  uint32_t code;            // NADIRO_ERR_* or NADIRO_PIXEL_* out-of-memory code
  bool leavesLock = false;  // the documented lock left on the source
};

TEST(OutOfMemory, EveryExportFailsCleanly) {
  const auto rgbBytes = test::makeDib({.width = 9, .height = 5, .bits = 24});
  const auto greyBytes = test::makeDib({.width = 9, .height = 5, .bits = 8});
  test::ImageHandle rgb(rgbBytes), grey(greyBytes);
  MemHandle channels[4] = {};
  uint32_t errorOut = 0;
  const uint32_t* const lastError = &threadErrorBlock()->lastError;
  const uint32_t* const pixelStatus = &threadErrorBlock()->pixelStatus;
  const Case cases[] = {
      {"NadiroGlobalAlloc", [](MemHandle, MemHandle) { return !NadiroGlobalAlloc(66, 16); },
       nullptr, 0},
      {"ConvertDIBColorSpace copy",
       [](MemHandle c, MemHandle) { return !ConvertDIBColorSpace(c, 1, 2, 0, nullptr); }, lastError,
       NADIRO_ERR_NO_MEMORY},
      {"ConvertDIBColorSpace 32-bit",
       [](MemHandle c, MemHandle) { return !ConvertDIBColorSpace(c, 1, 4, 0, nullptr); }, lastError,
       NADIRO_ERR_NO_OUTPUT_IMAGE, true},
      {"SplitColorChannels",
       [&](MemHandle c, MemHandle) { return SplitColorChannels(c, channels, 2) == 0; }, lastError,
       NADIRO_ERR_SPLIT_CONVERSION},
      {"Desaturate", [](MemHandle c, MemHandle) { return !Desaturate(c, 0, nullptr); }, lastError,
       NADIRO_ERR_NO_MEMORY},
      {"ColorBrightnessContrast",
       [](MemHandle c, MemHandle) { return !ColorBrightnessContrast(c, 10, 10, 0); }, pixelStatus,
       NADIRO_PIXEL_NO_MEMORY},
      {"ColorConvolutionW",
       [&](MemHandle c, MemHandle) {
         return !ColorConvolutionW(c, 1, 0, 3, 3, nullptr, nullptr, &errorOut, 0, nullptr);
       },
       &errorOut, NADIRO_PIXEL_NO_MEMORY},
      {"ColorConvolutionA",
       [&](MemHandle c, MemHandle) {
         return !ColorConvolutionA(c, 0, 0, 3, 3, "", nullptr, &errorOut, 0, nullptr);
       },
       &errorOut, NADIRO_PIXEL_NO_MEMORY},
      {"DitherFS4", [](MemHandle, MemHandle g) { return !DitherFS4(g, 1); }, pixelStatus,
       NADIRO_PIXEL_NO_MEMORY},
      {"DitherSharp", [](MemHandle, MemHandle g) { return !DitherSharp(g, 1); }, pixelStatus,
       NADIRO_PIXEL_NO_MEMORY},
      {"DitherOrdered", [](MemHandle, MemHandle g) { return !DitherOrdered(g, 4); }, nullptr, 0},
  };

  // Fill the handle table up to what it has room for.
  std::vector<MemHandle> filler;
  filler.reserve(1 << 20);
  gFail = true;
  while (filler.size() < filler.capacity()) {
    MemHandle h = NadiroGlobalAlloc(66, 1);
    if (!h) break;
    filler.push_back(h);
  }
  const bool tableFull = filler.size() < filler.capacity();
  gFail = false;
  ASSERT_TRUE(tableFull) << "the table never needed memory";

  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(cases[i].name);
    bool failed = false;
    gFail = true;
    try {
      failed = cases[i].fails(rgb.get(), grey.get());
    } catch (...) {
      gFail = false;
      ADD_FAILURE() << "an exception crossed the interface";
      continue;
    }
    gFail = false;
    EXPECT_TRUE(failed);
    if (cases[i].field) {
      EXPECT_EQ(*cases[i].field, cases[i].code);
    }
    EXPECT_EQ(test::blockBytes(rgb.get()), rgbBytes);
    EXPECT_EQ(test::blockBytes(grey.get()), greyBytes);
    if (cases[i].leavesLock) {
      EXPECT_EQ(NadiroGlobalUnlock(rgb.get()), 0);
    }
    EXPECT_TRUE(test::notLocked(rgb.get()));
    EXPECT_TRUE(test::notLocked(grey.get()));
  }
  for (MemHandle h : filler) EXPECT_EQ(NadiroGlobalFree(h), nullptr);
}

}  // namespace
}  // namespace nadiro
