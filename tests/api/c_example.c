/* The README's example: make an 8-bit image, dither it, read the result.
 * Built as C against the public header and the shared library. */
#include <nadiro/nadiro.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  const int32_t width = 64, height = 32;
  const size_t stride = (size_t)((width * 8 + 31) / 32 * 4);
  const size_t bytes = 40 + 256 * 4 + stride * (size_t)height;

  /* 1. Allocate a packed DIB: 40-byte header, 256 grey entries, rows. */
  NadiroHandle image = NadiroGlobalAlloc(NADIRO_GMEM_MOVEABLE_ZERO, bytes);
  unsigned char* p = (unsigned char*)NadiroGlobalLock(image);
  if (!p) return 1;
  const uint32_t headerSize = 40;
  const uint16_t planes = 1, bits = 8;
  memcpy(p + 0, &headerSize, 4);
  memcpy(p + 4, &width, 4);
  memcpy(p + 8, &height, 4);
  memcpy(p + 12, &planes, 2);
  memcpy(p + 14, &bits, 2);
  for (int i = 0; i < 256; ++i) p[40 + 4 * i] = p[41 + 4 * i] = p[42 + 4 * i] = (unsigned char)i;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      p[1064 + (size_t)y * stride + (size_t)x] = (unsigned char)(x * 4);
  NadiroGlobalUnlock(image);

  /* 2. Call an export; 0 means it refused. */
  NadiroHandle mono = DitherOrdered(image, 4);
  if (!mono) {
    fprintf(stderr, "DitherOrdered refused the image\n");
    return 1;
  }

  /* 3. Read the result: a 1-bit DIB with a two-entry palette. */
  const unsigned char* q = (const unsigned char*)NadiroGlobalLock(mono);
  uint16_t outBits;
  memcpy(&outBits, q + 14, 2);
  printf("result: %u bits per pixel, %zu bytes\n", (unsigned)outBits, NadiroGlobalSize(mono));
  NadiroGlobalUnlock(mono);

  /* 4. Both handles belong to the caller. */
  NadiroGlobalFree(mono);
  NadiroGlobalFree(image);

  char version[32];
  GetNadiroVersion(version, sizeof version);
  printf("%s\n", version);
  return outBits == 1 ? 0 : 1;
}
