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

  /* An 8-bit image 3 x 1 of 0, 10 and 200. With the 8x8 Bayer matrix (type
   * 4), 0 and the largest value come out white and 10 ((10 * 63) / 200 = 3.15
   * against the matrix's 48) black: the result's first row byte is 1010 0000. */
  HGLOBAL image = GlobalAlloc(GHND, 40 + 1024 + 4);
  unsigned char* p = (unsigned char*)GlobalLock(image);
  if (!p) return 1;
  const int32_t header[3] = {40, 3, 1};
  memcpy(p, header, sizeof header);
  p[12] = 1; /* planes */
  p[14] = 8; /* bits */
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
