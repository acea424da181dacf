/* A Windows host written in C: links NadiroUser.dll through its import
 * library and the public header, hands it a GlobalAlloc'd image and frees the
 * result with GlobalFree. Exits 0 when every check holds. */
#include <nadiro/nadiro.h>
#include <stdio.h>
#include <string.h>
#include <windows.h>

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

  /* An 8-bit image 3 pixels wide: 0 and the largest value come out white,
     10 (3.15 against the Bayer matrix's 48) black. */
  HGLOBAL image = GlobalAlloc(GHND, 40 + 1024 + 4);
  unsigned char* p = (unsigned char*)GlobalLock(image);
  if (!p) return 1;
  const uint32_t header = 40;
  const int32_t width = 3, height = 1;
  const uint16_t planes = 1, bits = 8;
  memcpy(p, &header, 4);
  memcpy(p + 4, &width, 4);
  memcpy(p + 8, &height, 4);
  memcpy(p + 12, &planes, 2);
  memcpy(p + 14, &bits, 2);
  p[1064] = 0;
  p[1065] = 10;
  p[1066] = 200;
  GlobalUnlock(image);

  HGLOBAL mono = DitherOrdered(image, 4);
  check(mono != NULL, "DitherOrdered returns a new image");
  if (mono) {
    const unsigned char* q = (const unsigned char*)GlobalLock(mono);
    check(q && q[14] == 1 && q[48] == 0xA0, "the 1-bit result");
    GlobalUnlock(mono);
    check(GlobalFree(mono) == NULL, "the result is an ordinary global block");
  }
  check(DitherOrdered(NULL, 4) == NULL, "a null image is refused");
  GlobalFree(image);
  printf("windows_host: %d failure(s)\n", failures);
  return failures != 0;
}
