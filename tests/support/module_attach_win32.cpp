// The test program links the library statically, so no DLL entry runs for
// it: attach the module with the program's own instance (which also carries
// the progress dialog's resources) before any test, as the loader does for
// NadiroUser.dll, and detach it at exit.
#include <windows.h>

#include "frame/module_win32.h"

namespace {

struct ModuleAttach {
  ModuleAttach() { nadiro::win32::moduleEntry(GetModuleHandleW(nullptr), DLL_PROCESS_ATTACH); }
  ~ModuleAttach() { nadiro::win32::moduleEntry(GetModuleHandleW(nullptr), DLL_PROCESS_DETACH); }
};
const ModuleAttach attach;

}  // namespace
