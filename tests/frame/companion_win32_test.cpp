// NadiroUser.dll looks for its companion in its own folder before the normal
// search: a copy of the DLL in another folder finds the companion placed
// beside it there. The library linked into the test program finds none: its
// folder holds no companion.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "companions/changed_values.h"
#include "frame/companion.h"

namespace nadiro {
namespace {

std::wstring folderOf(HMODULE module) {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(module, path, MAX_PATH);
  std::wstring s(path);
  return s.substr(0, s.rfind(L'\\') + 1);
}

// A fresh folder holding NadiroUser.dll and, under the companion's name, the
// test companion that changes values; removed at the end.
class DllFolder {
 public:
  DllFolder() {
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    folder_ =
        std::wstring(temp) + L"nadiro-companion-" + std::to_wstring(GetCurrentProcessId()) + L"\\";
    CreateDirectoryW(folder_.c_str(), nullptr);
    const std::wstring here = folderOf(nullptr);
    ok_ = CopyFileW((here + L"..\\NadiroUser.dll").c_str(), (folder_ + L"NadiroUser.dll").c_str(),
                    FALSE) &&
          CopyFileW((here + L"companions\\change\\NadiroDlgs.dll").c_str(),
                    (folder_ + L"NadiroDlgs.dll").c_str(), FALSE);
  }
  ~DllFolder() {
    DeleteFileW((folder_ + L"NadiroUser.dll").c_str());
    DeleteFileW((folder_ + L"NadiroDlgs.dll").c_str());
    RemoveDirectoryW(folder_.c_str());
  }
  DllFolder(const DllFolder&) = delete;
  DllFolder& operator=(const DllFolder&) = delete;
  bool ok() const { return ok_; }
  const std::wstring& path() const { return folder_; }

 private:
  std::wstring folder_;
  bool ok_ = false;
};

TEST(CompanionWin32, FoundNextToNadiroUserDll) {
  DllFolder folder;
  ASSERT_TRUE(folder.ok());
  HMODULE dll = LoadLibraryW((folder.path() + L"NadiroUser.dll").c_str());
  ASSERT_NE(dll, nullptr);
  {
    CompanionModule companion;
    ASSERT_TRUE(companion);
    EXPECT_EQ(folderOf(static_cast<HMODULE>(companion.native())), folder.path());
    // And it is the one that changes values, not the shipped one.
    int32_t brightness = 0, contrast = 0;
    auto contrastUi = companion.lookup(companion::kContrastUi);
    ASSERT_NE(contrastUi, nullptr);
    EXPECT_NE(contrastUi(nullptr, &brightness, &contrast), 0);
    EXPECT_EQ(brightness, test::changed::kBrightness);
  }
  FreeLibrary(dll);
  // Without it the program's own folder is searched, and holds none.
  CompanionModule none;
  EXPECT_FALSE(none);
}

}  // namespace
}  // namespace nadiro
