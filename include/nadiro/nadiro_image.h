/*
 * Nadiro convenience layer: images from and to a caller's pixel buffer.
 *
 * The exports of nadiro.h take and return packed bitmaps in memory handles.
 * These functions make such an image from plain pixel rows, read an image's
 * size, depth and palette, copy its pixels back into plain rows, and free
 * it, so that a host never assembles a header or a colour table. They live
 * in the same library (on Windows in the static library only; NadiroUser.dll
 * keeps exactly the exports of nadiro.h).
 *
 * Every function returns a status (NadiroImageStatus): 0 on success, and on
 * failure the caller's buffers and images are left as they were. The
 * dithering exports and ColorBrightnessContrast keep their result in the
 * thread's pixel status, which NadiroImagePixelStatus() reads; every other
 * export's code is read with GetLastColorConvertError(). NadiroStatusText()
 * names any of these codes.
 *
 * Compiles as C and as C++.
 */
#ifndef NADIRO_NADIRO_IMAGE_H
#define NADIRO_NADIRO_IMAGE_H

#include "nadiro.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The layout of one pixel in a caller's buffer. */
enum NadiroPixelFormat {
  /* 1 byte: grey level in; out of a palette image (1, 4 or 8 bits) the
   * palette index. Images made from it are 8-bit with a 256-level grey
   * palette, so for them index and grey level agree. */
  NADIRO_FORMAT_GREY = 1,
  /* 3 bytes, components in model order: R, G, B for RGB images; for a
   * 24-bit image holding another model its components in that model's
   * order (H, S, V for HSV). */
  NADIRO_FORMAT_RGB = 2,
  /* 3 bytes, the same components in reverse order (B, G, R). */
  NADIRO_FORMAT_BGR = 3,
  /* 4 bytes: R, G, B and a fourth byte. In: the fourth byte is ignored.
   * Out: 255, the fourth stored byte of a 32-bit RGB image, or for a 32-bit
   * CMYK image its components C, M, Y, K. */
  NADIRO_FORMAT_RGBA = 4
};

/* The order of the rows in a caller's buffer. */
enum NadiroRowOrder {
  NADIRO_TOP_DOWN = 0, /* the first row in memory is the picture's top row */
  NADIRO_BOTTOM_UP = 1 /* the first row in memory is its bottom row */
};

/* Results of the functions of this header. */
enum NadiroImageStatus {
  NADIRO_IMAGE_OK = 0,
  NADIRO_IMAGE_BAD_ARGUMENT = 1,    /* null pointer, width or height below 1, unknown
                                     * format or order, stride shorter than a row */
  NADIRO_IMAGE_NO_MEMORY = 2,       /* the image block could not be allocated */
  NADIRO_IMAGE_BAD_HANDLE = 3,      /* null, unknown or freed handle; the block does not lock */
  NADIRO_IMAGE_MALFORMED = 4,       /* header not 40 bytes, rows beyond the block,
                                     * compressed or unknown tag */
  NADIRO_IMAGE_UNSUPPORTED = 5,     /* a depth (16 bits) or format (grey out of a
                                     * 24 or 32-bit image) this layer does not convert */
  NADIRO_IMAGE_TOO_LARGE = 6,       /* the image would exceed 2^31 - 1 bytes */
  NADIRO_IMAGE_BUFFER_TOO_SMALL = 7 /* the caller's buffer is shorter than the rows need */
};

/* What an image is. */
typedef struct NadiroImageInfo {
  int32_t width;        /* pixels, >= 0 */
  int32_t height;       /* rows, >= 0 */
  int32_t bitsPerPixel; /* 1, 4, 8, 16, 24 or 32 */
  int32_t paletteSize;  /* colour-table entries (usually 0 for 24 and 32 bits) */
  int32_t model;        /* NadiroColorModel its tag names (1 for plain RGB) */
} NadiroImageInfo;

/* Kinds of codes NadiroStatusText() names. */
enum NadiroCodeKind {
  NADIRO_CODE_IMAGE = 0,     /* NadiroImageStatus, returned by this header's functions */
  NADIRO_CODE_PIXEL = 1,     /* NadiroImagePixelStatus(), and ColorConvolution's *errorOut */
  NADIRO_CODE_LAST_ERROR = 2 /* GetLastColorConvertError() */
};

/* Makes a new image from width x height pixels (each at least 1) in `format`
 * at `pixels`: rows `stride` bytes apart (0: packed, width times the pixel
 * size), in `order`; `bytes` is the size of the buffer, which must hold
 * every row. Grey gives an 8-bit image with a 256-level grey palette, the
 * other formats a 24-bit RGB image (the fourth byte of RGBA is dropped).
 * Stores the new image, which belongs to the caller (NadiroImageFree), in
 * *image, or NULL on failure. */
NADIRO_API int32_t NadiroImageCreate(const void* pixels, size_t bytes, int32_t width,
                                     int32_t height, size_t stride, int32_t format, int32_t order,
                                     NadiroHandle* image);

/* Fills *info for an image made by NadiroImageCreate or returned by an export. */
NADIRO_API int32_t NadiroImageGetInfo(NadiroHandle image, NadiroImageInfo* info);

/* Copies the colour table as R, G, B bytes (3 per entry, paletteSize
 * entries) to rgb, which holds `bytes` bytes. */
NADIRO_API int32_t NadiroImageGetPalette(NadiroHandle image, uint8_t* rgb, size_t bytes);

/* Copies the image's pixels into the caller's buffer of `bytes` bytes:
 * width x height pixels of `format`, rows `stride` bytes apart (0: packed)
 * in `order`. Palette images (1, 4, 8 bits) give their indices as grey or
 * the palette colours (an index beyond the table reads black); 24 and 32-bit
 * images give colours. The image is not changed. */
NADIRO_API int32_t NadiroImageGetPixels(NadiroHandle image, void* pixels, size_t bytes,
                                        size_t stride, int32_t format, int32_t order);

/* Frees an image made by NadiroImageCreate or returned by an export. */
NADIRO_API int32_t NadiroImageFree(NadiroHandle image);

/* The calling thread's pixel status (NadiroPixelStatus codes), as left by
 * the last dithering export or ColorBrightnessContrast. Reading it changes
 * nothing. */
NADIRO_API uint32_t NadiroImagePixelStatus(void);

/* A short English description of `code` of the given kind (NadiroCodeKind);
 * never NULL (an unknown code or kind gives "unknown code"). */
NADIRO_API const char* NadiroStatusText(int32_t kind, uint32_t code);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* NADIRO_NADIRO_IMAGE_H */
