#include <string>

#include "companions/test_companion.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#endif

namespace nadiro::test {
namespace {

// companions/<kind>/ beside the test program.
std::string modulePath(Companion kind) {
  const char* folderName = kind == Companion::Cancel   ? "cancel"
                           : kind == Companion::Change ? "change"
                                                       : "partial";
#if defined(_WIN32)
  char self[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, self, MAX_PATH);
  std::string path(self);
  path.erase(path.rfind('\\') + 1);
  return path + "companions\\" + folderName + "\\NadiroDlgs.dll";
#else
  char self[PATH_MAX] = {};
  const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  std::string path(self, n > 0 ? static_cast<size_t>(n) : 0);
  path.erase(path.rfind('/') + 1);
  return path + "companions/" + folderName + "/libNadiroDlgs.so";
#endif
}

}  // namespace

TestCompanion::TestCompanion(Companion kind) {
#if defined(_WIN32)
  module_ = LoadLibraryA(modulePath(kind).c_str());
#else
  module_ = dlopen(modulePath(kind).c_str(), RTLD_NOW | RTLD_LOCAL);
#endif
}

TestCompanion::~TestCompanion() {
  if (!module_) return;
#if defined(_WIN32)
  FreeLibrary(static_cast<HMODULE>(module_));
#else
  dlclose(module_);
#endif
}

void* TestCompanion::find(const char* name) const {
  if (!module_) return nullptr;
#if defined(_WIN32)
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module_), name));
#else
  return dlsym(module_, name);
#endif
}

NadiroHandle TestCompanion::lastImage() const {
  auto* fn = reinterpret_cast<NadiroHandle(NADIRO_CALL*)()>(find("TestLastImage"));
  return fn ? fn() : nullptr;
}

int32_t TestCompanion::lastNameLength() const {
  auto* fn = reinterpret_cast<int32_t(NADIRO_CALL*)()>(find("TestLastNameLength"));
  return fn ? fn() : -2;
}

}  // namespace nadiro::test
