// Loads the real shared module and uses nothing but the public header, as a
// host program does.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

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

// The shipped companion beside the shared module: its dialogs accept and
// change nothing, so a dialog call gives what a plain call gives.
TEST_F(SharedModule, ShippedCompanionAcceptsAndChangesNothing) {
  ASSERT_NE(module_, nullptr);
  auto alloc = entry<decltype(NadiroGlobalAlloc)>("NadiroGlobalAlloc");
  auto lock = entry<decltype(NadiroGlobalLock)>("NadiroGlobalLock");
  auto unlock = entry<decltype(NadiroGlobalUnlock)>("NadiroGlobalUnlock");
  auto size = entry<decltype(NadiroGlobalSize)>("NadiroGlobalSize");
  auto release = entry<decltype(NadiroGlobalFree)>("NadiroGlobalFree");
  auto gamma = entry<decltype(GammaCorrection)>("GammaCorrection");
  auto lastError = entry<decltype(GetLastColorConvertError)>("GetLastColorConvertError");
  NadiroHandle img = alloc(NADIRO_GMEM_MOVEABLE_ZERO, 40 + 8);
  auto* p = static_cast<unsigned char*>(lock(img));
  const unsigned char header[16] = {40, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 1, 0, 24, 0};
  std::memcpy(p, header, sizeof header);
  for (int i = 0; i < 6; ++i) p[40 + i] = static_cast<unsigned char>(40 * i + 7);
  unlock(img);
  std::string outputs[2];
  for (int mode : {0, 2}) {
    NadiroHandle out = gamma(img, 150, 80, 30, mode, nullptr);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(lastError(), 0u) << "the entry point is there";
    outputs[mode / 2].assign(static_cast<const char*>(lock(out)), size(out));
    unlock(out);
    release(out);
  }
  EXPECT_EQ(outputs[0], outputs[1]);
  release(img);
}

}  // namespace
