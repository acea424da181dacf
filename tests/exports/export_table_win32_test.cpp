// NadiroUser.dll as a host sees it: its export directory is exactly the list
// in NadiroUser.def (undecorated names), it imports system
// DLLs only, and its exports follow the __stdcall contract when called
// through GetProcAddress, including the three-byte record returns.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "support/pixel_family.h"

namespace {

// The list kept in src/exports/NadiroUser.def.
const std::vector<std::string> kDefNames = {
#include "export_names.inc"
};

// NadiroUser.dll beside the test program's folder.
std::wstring modulePath() {
  wchar_t self[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring path(self);
  return path.substr(0, path.rfind(L'\\') + 1) + L"..\\NadiroUser.dll";
}

// ---- reading the loaded image's PE directories -----------------------------

class Dll : public testing::Test {
 protected:
  static void SetUpTestSuite() { module_ = LoadLibraryW(modulePath().c_str()); }
  static void TearDownTestSuite() {
    if (module_) FreeLibrary(module_);
    module_ = nullptr;
  }
  void SetUp() override { ASSERT_NE(module_, nullptr) << "NadiroUser.dll beside the test folder"; }

  static const uint8_t* base() { return reinterpret_cast<const uint8_t*>(module_); }
  static const IMAGE_DATA_DIRECTORY& directory(int which) {
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base());
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS32*>(base() + dos->e_lfanew);
    return nt->OptionalHeader.DataDirectory[which];
  }
  static const IMAGE_EXPORT_DIRECTORY* exports() {
    return reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        base() + directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress);
  }
  static std::vector<std::string> exportedNames() {
    const IMAGE_EXPORT_DIRECTORY* e = exports();
    const auto* names = reinterpret_cast<const DWORD*>(base() + e->AddressOfNames);
    std::vector<std::string> out;
    for (DWORD i = 0; i < e->NumberOfNames; ++i)
      out.emplace_back(reinterpret_cast<const char*>(base() + names[i]));
    return out;
  }
  static std::vector<std::string> importedModules() {
    const IMAGE_DATA_DIRECTORY& d = directory(IMAGE_DIRECTORY_ENTRY_IMPORT);
    std::vector<std::string> out;
    if (d.VirtualAddress == 0) return out;
    for (const auto* i =
             reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base() + d.VirtualAddress);
         i->Name != 0; ++i) {
      std::string name(reinterpret_cast<const char*>(base() + i->Name));
      std::transform(name.begin(), name.end(), name.begin(),
                     [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      out.push_back(name);
    }
    return out;
  }
  static HMODULE module_;
};
HMODULE Dll::module_ = nullptr;

TEST_F(Dll, ExportDirectoryIsExactlyTheDefinitionList) {
  std::vector<std::string> exported = exportedNames();
  std::vector<std::string> listed = kDefNames;
  std::sort(exported.begin(), exported.end());
  std::sort(listed.begin(), listed.end());
  ASSERT_FALSE(listed.empty());
  EXPECT_EQ(exported, listed);
  EXPECT_EQ(exports()->NumberOfFunctions, exports()->NumberOfNames) << "no ordinal-only exports";
  EXPECT_STREQ(reinterpret_cast<const char*>(base() + exports()->Name), "NadiroUser.dll");
  for (const std::string& name : exported) {
    EXPECT_EQ(name.find('@'), std::string::npos) << name << " is decorated";
    EXPECT_NE(name.front(), '_') << name;
  }
}

TEST_F(Dll, ImportsSystemDllsOnly) {
  const std::set<std::string> system = {"kernel32.dll", "user32.dll", "comctl32.dll",
                                        "msvcrt.dll",   "gdi32.dll",  "advapi32.dll"};
  const std::vector<std::string> imports = importedModules();
  EXPECT_FALSE(imports.empty());
  for (const std::string& name : imports) EXPECT_EQ(system.count(name), 1u) << name;
  EXPECT_EQ(directory(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT).VirtualAddress, 0u);
}

}  // namespace

// ---- calling through __stdcall pointers ------------------------------------

// Calls fn with `count` 32-bit stack arguments (args[0] pushed last, so it is
// the first argument), and reports how many bytes the callee popped; returns
// EAX. Only a __stdcall callee pops anything.
extern "C" uint32_t nadiroCallCountingPops(const void* fn, const uint32_t* args, uint32_t count,
                                           uint32_t* popped);
asm(R"(
    .text
    .globl _nadiroCallCountingPops
_nadiroCallCountingPops:
    pushl %ebp
    movl  %esp, %ebp
    pushl %esi
    pushl %edi
    pushl %ebx
    movl  12(%ebp), %esi
    movl  16(%ebp), %ecx
1:  testl %ecx, %ecx
    jz    2f
    decl  %ecx
    pushl (%esi,%ecx,4)
    jmp   1b
2:  movl  %esp, %edi
    call  *8(%ebp)
    movl  %esp, %ecx
    subl  %edi, %ecx
    movl  20(%ebp), %edx
    movl  %ecx, (%edx)
    leal  -12(%ebp), %esp
    popl  %ebx
    popl  %edi
    popl  %esi
    popl  %ebp
    ret
)");

namespace {

uint32_t word(const void* p) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p));
}

// GetProcAddress typed as the export's own function pointer.
template <typename Fn>
Fn procAddress(HMODULE module, const char* name) {
  return reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

using VersionFn = intptr_t(__stdcall*)(char* buffer, int32_t size);
using RecordFn = void*(__stdcall*)(void* result, const void* input);

TEST_F(Dll, VersionThroughItsStdcallPointer) {
  auto version = procAddress<VersionFn>(module_, "GetNadiroVersion");
  ASSERT_NE(version, nullptr);
  char buffer[16] = {};
  const uint32_t args[] = {word(buffer), 16};
  uint32_t popped = 0;
  EXPECT_EQ(nadiroCallCountingPops(reinterpret_cast<const void*>(version), args, 2, &popped), 0u);
  EXPECT_EQ(popped, 8u) << "__stdcall: the callee pops its two arguments";
  EXPECT_STREQ(buffer, "Version 13.10");
}

// The record convention: hidden result pointer first, the record (the one
// the header's declaration gives) written there, that pointer back in EAX,
// 8 bytes popped (hidden pointer + input).
TEST_F(Dll, EveryExportedRecordConversionFollowsTheConvention) {
  const uint8_t input[4] = {200, 100, 50, 25};  // four bytes: CMYK sources read them all
  int checked = 0;
  for (const auto& m : nadiro::test::kPixelFamily) {
    if (m.to == NADIRO_MODEL_CMYK) continue;  // packed into EAX
    SCOPED_TRACE(m.name);
    auto fn = procAddress<RecordFn>(module_, m.name);
    ASSERT_NE(fn, nullptr);
    uint8_t record[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    const uint32_t args[] = {word(record), word(input)};
    uint32_t popped = 0;
    EXPECT_EQ(nadiroCallCountingPops(reinterpret_cast<const void*>(fn), args, 2, &popped),
              word(record))
        << "the result pointer comes back in EAX";
    EXPECT_EQ(popped, 8u) << "the callee pops the hidden pointer too";
    const auto viaHeader = m.run(input);
    EXPECT_EQ(std::memcmp(record, viaHeader.data(), 3), 0);
    EXPECT_EQ(record[3], 0xEE) << "exactly three bytes written";
    ++checked;
  }
  EXPECT_EQ(checked, 64) << "every conversion whose target is not CMYK";
}

// Loading and unloading runs the attach/detach entry each time; threads
// started while it is loaded get their blocks at thread attach.
DWORD WINAPI callVersion(void* fn) {
  char buffer[16] = {};
  return reinterpret_cast<VersionFn>(fn)(buffer, 16) == 0 &&
         std::strcmp(buffer, "Version 13.10") == 0;
}

TEST(DllLifeCycle, LoadsUnloadsAndServesNewThreads) {
  for (int round = 0; round < 3; ++round) {
    HMODULE m = LoadLibraryW(modulePath().c_str());
    ASSERT_NE(m, nullptr) << "round " << round;
    void* fn = reinterpret_cast<void*>(GetProcAddress(m, "GetNadiroVersion"));
    ASSERT_NE(fn, nullptr);
    HANDLE threads[4];
    for (HANDLE& t : threads) t = CreateThread(nullptr, 0, callVersion, fn, 0, nullptr);
    WaitForMultipleObjects(4, threads, TRUE, INFINITE);
    for (HANDLE t : threads) {
      DWORD code = 0;
      GetExitCodeThread(t, &code);
      EXPECT_EQ(code, 1u);
      CloseHandle(t);
    }
    EXPECT_TRUE(FreeLibrary(m));
  }
}

}  // namespace
