/* The README's convenience-layer example: RGB rows in, a 1-bit dithering
 * out as one index byte per pixel, without a header in sight. Built as C
 * against the shared library and against installed trees. */
#include <nadiro/nadiro_image.h>
#include <stdio.h>

enum { width = 16, height = 4 };

int main(void) {
  unsigned char rgb[height][width][3], indices[height][width];
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int c = 0; c < 3; ++c) rgb[y][x][c] = x < width / 2 ? 0 : 255;

  NadiroHandle image;
  int32_t status = NadiroImageCreate(rgb, sizeof rgb, width, height, 0, NADIRO_FORMAT_RGB,
                                     NADIRO_TOP_DOWN, &image);
  if (status) {
    printf("%s\n", NadiroStatusText(NADIRO_CODE_IMAGE, (uint32_t)status));
    return 1;
  }
  NadiroHandle mono = DitherFS4(image, 1);
  if (!mono) {
    printf("%s\n", NadiroStatusText(NADIRO_CODE_PIXEL, NadiroImagePixelStatus()));
    return 1;
  }
  status =
      NadiroImageGetPixels(mono, indices, sizeof indices, 0, NADIRO_FORMAT_GREY, NADIRO_TOP_DOWN);
  NadiroImageFree(mono);
  NadiroImageFree(image);
  if (status) return 1;

  /* Black stays index 0 and white index 1. */
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      if (indices[y][x] != (x < width / 2 ? 0 : 1)) return 1;
  printf("layer: %d x %d dithered\n", width, height);
  return 0;
}
