// Loads the real shared module and uses nothing but the public header, as a
// host program does.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "api/ordered_example.h"
#include "nadiro/nadiro.h"

namespace {

class SharedModule : public testing::Test {
 protected:
  static void SetUpTestSuite() { module_ = dlopen(NADIRO_MODULE_PATH, RTLD_NOW | RTLD_LOCAL); }
  static void TearDownTestSuite() {
    if (module_) dlclose(module_);
  }
  template <typename F>
  F* entry(const char* name) {
    return reinterpret_cast<F*>(dlsym(module_, name));
  }
  static void* module_;
};
void* SharedModule::module_ = nullptr;

TEST_F(SharedModule, ExportsTheDocumentedNames) {
  ASSERT_NE(module_, nullptr) << dlerror();
  for (const char* name :
       {"GetNadiroVersion", "DitherOrdered", "NadiroGlobalAlloc", "NadiroGlobalLock",
        "NadiroGlobalUnlock", "NadiroGlobalSize", "NadiroGlobalFree"})
    EXPECT_NE(dlsym(module_, name), nullptr) << name;
  // Internal helpers stay internal.
  EXPECT_EQ(dlsym(module_, "thresholdToMonochrome"), nullptr);
}

// Every name the Windows module exports (src/exports/NadiroUser.def) is
// exported here too.
TEST_F(SharedModule, ExportsEveryNameOfTheWindowsModule) {
  ASSERT_NE(module_, nullptr);
  const char* const names[] = {
#include "export_names.inc"
  };
  for (const char* name : names) EXPECT_NE(dlsym(module_, name), nullptr) << name;
  EXPECT_NE(dlsym(module_, "NadiroSetProgressHook"), nullptr);
}

TEST_F(SharedModule, DithersATwoPixelImage) {
  ASSERT_NE(module_, nullptr);
  auto alloc = entry<decltype(NadiroGlobalAlloc)>("NadiroGlobalAlloc");
  auto lock = entry<decltype(NadiroGlobalLock)>("NadiroGlobalLock");
  auto unlock = entry<decltype(NadiroGlobalUnlock)>("NadiroGlobalUnlock");
  auto release = entry<decltype(NadiroGlobalFree)>("NadiroGlobalFree");
  auto dither = entry<decltype(DitherOrdered)>("DitherOrdered");

  NadiroHandle img = alloc(NADIRO_GMEM_MOVEABLE_ZERO, kOrderedExampleBytes);
  auto* p = static_cast<unsigned char*>(lock(img));
  ASSERT_NE(p, nullptr);
  writeOrderedExample(p);
  unlock(img);

  NadiroHandle out = dither(img, kOrderedExampleType);
  ASSERT_NE(out, nullptr);
  auto* q = static_cast<unsigned char*>(lock(out));
  ASSERT_NE(q, nullptr);
  EXPECT_EQ(q[kOrderedExampleBitsAt], 1);
  EXPECT_EQ(q[kOrderedExampleRowAt], kOrderedExampleRow);
  unlock(out);
  EXPECT_EQ(release(out), nullptr);
  EXPECT_EQ(release(img), nullptr);
  EXPECT_EQ(lock(img), nullptr);
}

TEST_F(SharedModule, Version) {
  ASSERT_NE(module_, nullptr);
  auto version = entry<decltype(GetNadiroVersion)>("GetNadiroVersion");
  char buf[16] = {};
  EXPECT_EQ(version(buf, 16), 0);
  EXPECT_EQ(std::string(buf), "Version 13.10");
}

}  // namespace
