// A companion module whose convolution dialog is always cancelled.
#include "frame/companion_entries.h"

#if defined(_WIN32)
#define TEST_DLGS_EXPORT __declspec(dllexport)
#else
#define TEST_DLGS_EXPORT __attribute__((visibility("default")))
#endif

extern "C" TEST_DLGS_EXPORT int32_t NADIRO_CALL ColorConvUIW(NadiroHandle, uint32_t, int32_t,
                                                             uint32_t, int32_t, const wchar_t*,
                                                             const int16_t*, uint32_t*) {
  return 0;
}
