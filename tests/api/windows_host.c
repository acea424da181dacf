/* A Windows host written in C: links NadiroUser.dll through its import
 * library and the public header, hands it a GlobalAlloc'd image and frees the
 * result with GlobalFree. Exits 0 when every check holds. */
#include <nadiro/nadiro.h>
#include <stdio.h>
#include <string.h>
#include <windows.h>

#include "ordered_example.h"

static int failures = 0;
static void check(int ok, const char* what) {
  if (!ok) {
    printf("FAILED: %s\n", what);
    ++failures;
  }
}

int main(void) {
  char version[16];
  memset(version, '#', sizeof version);
  check(GetNadiroVersion(version, 16) == 0, "GetNadiroVersion(buffer, 16) returns 0");
  check(strcmp(version, "Version 13.10") == 0, "the version string");
  check(GetNadiroVersion(version, 5) == (intptr_t)version, "a short buffer gets its address back");

  HGLOBAL image = GlobalAlloc(GHND, kOrderedExampleBytes);
  unsigned char* p = (unsigned char*)GlobalLock(image);
  if (!p) return 1;
  writeOrderedExample(p);
  GlobalUnlock(image);

  HGLOBAL mono = DitherOrdered(image, kOrderedExampleType);
  check(mono != NULL, "DitherOrdered returns a new image");
  if (mono) {
    const unsigned char* q = (const unsigned char*)GlobalLock(mono);
    check(q && q[kOrderedExampleBitsAt] == 1 && q[kOrderedExampleRowAt] == kOrderedExampleRow,
          "the 1-bit result");
    GlobalUnlock(mono);
    check(GlobalFree(mono) == NULL, "the result is an ordinary global block");
  }
  check(DitherOrdered(NULL, 4) == NULL, "a null image is refused");
  GlobalFree(image);
  printf("windows_host: %d failure(s)\n", failures);
  return failures != 0;
}
