// Loading the companion module on POSIX systems: libNadiroDlgs.so next to
// the loaded libNadiroUser.so (or the program the library is linked into)
// first, then the dynamic loader's normal search.
#include <dlfcn.h>

#include <climits>
#include <cstring>

#include "frame/companion.h"

namespace nadiro {
namespace {

constexpr const char* kCompanionFile = "libNadiroDlgs.so";

// Any object of this module: dladdr names the file it was loaded from.
const char gModuleAnchor = 0;

void* openInOwnFolder(const char* fileName) {
  Dl_info info{};
  if (!dladdr(&gModuleAnchor, &info) || !info.dli_fname) return nullptr;
  const char* slash = std::strrchr(info.dli_fname, '/');
  if (!slash) return nullptr;
  char path[PATH_MAX];
  const size_t folder = static_cast<size_t>(slash - info.dli_fname) + 1;  // with the slash
  const size_t name = std::strlen(fileName);
  if (folder + name >= sizeof path) return nullptr;
  std::memcpy(path, info.dli_fname, folder);
  std::memcpy(path + folder, fileName, name + 1);
  return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

}  // namespace

CompanionModule::CompanionModule() {
  module_ = openInOwnFolder(kCompanionFile);
  if (!module_) module_ = dlopen(kCompanionFile, RTLD_NOW | RTLD_LOCAL);
}

void* CompanionModule::find(const char* name) const {
  return module_ ? dlsym(module_, name) : nullptr;
}

void CompanionModule::release() {
  if (module_) dlclose(module_);
  module_ = nullptr;
}

}  // namespace nadiro
