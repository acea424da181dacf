// Loading the companion module on Windows: NadiroDlgs.dll from the folder of
// NadiroUser.dll first, then by the normal search order.
#include <windows.h>

#include <cwchar>

#include "frame/companion.h"

namespace nadiro {
namespace {

constexpr size_t kPathChars = MAX_PATH;  // 260

constexpr const wchar_t* kCompanionFile = L"NadiroDlgs.dll";

HMODULE loadCompanion() {
  const wchar_t* fileName = kCompanionFile;
  // Without NadiroUser.dll (the library linked into a program) this is the
  // program's own path, so the program's folder is searched first.
  wchar_t path[kPathChars] = {};
  GetModuleFileNameW(GetModuleHandleW(L"NadiroUser.dll"), path, kPathChars);
  path[kPathChars - 1] = L'\0';  // older systems leave a truncated path unterminated
  if (wchar_t* slash = std::wcsrchr(path, L'\\')) {
    const size_t folder = static_cast<size_t>(slash - path) + 1;
    if (folder + std::wcslen(fileName) < kPathChars) {
      std::wcscpy(slash + 1, fileName);
      if (HMODULE own = LoadLibraryW(path)) return own;
    }
  }
  return LoadLibraryW(fileName);
}

}  // namespace

CompanionModule::CompanionModule() : module_(loadCompanion()) {}

void* CompanionModule::find(const char* name) const {
  if (!module_) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module_), name));
}

void CompanionModule::release() {
  if (module_) FreeLibrary(static_cast<HMODULE>(module_));
  module_ = nullptr;
}

}  // namespace nadiro
