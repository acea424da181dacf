/* The worked example that host-side tests hand to DitherOrdered through the
 * real module: an 8-bit image 3 pixels wide and 1 high whose pixels are 0,
 * 10 and 200. With the 8x8 Bayer matrix (type 4), 0 and the largest value
 * come out white and 10 ((10 * 63) / 200 = 3.15 against the matrix's 48)
 * black, so the 1-bit result's first row byte is 1010 0000. C and C++. */
#ifndef NADIRO_TESTS_ORDERED_EXAMPLE_H
#define NADIRO_TESTS_ORDERED_EXAMPLE_H

#include <stdint.h>
#include <string.h>

enum {
  kOrderedExampleBytes = 40 + 1024 + 4, /* header, 256-entry table, one row */
  kOrderedExampleType = 4,              /* the 8x8 Bayer matrix */
  kOrderedExampleBitsAt = 14,           /* bit count in the result's header */
  kOrderedExampleRowAt = 48,            /* the result's first row byte */
  kOrderedExampleRow = 0xA0
};

/* Fills a zeroed block of kOrderedExampleBytes. */
static inline void writeOrderedExample(unsigned char* p) {
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
}

#endif
