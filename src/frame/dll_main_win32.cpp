// The DLL entry of NadiroUser.dll: hands every load and unload event to the
// module's attach/detach entry. Linked into the DLL only; a program that
// links the library statically attaches it itself.
#include <windows.h>

#include "frame/module_win32.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
  return nadiro::win32::moduleEntry(instance, reason);
}
