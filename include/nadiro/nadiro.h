/*
 * Nadiro image-processing library: the public C interface.
 *
 * Images cross this interface as packed device-independent bitmaps (a
 * 40-byte BITMAPINFOHEADER, the colour table, then bottom-up rows padded to
 * 4 bytes) held in one global-memory block and passed by its handle. On
 * Windows the handles are real HGLOBALs; on other platforms the library
 * keeps its own handle table, reached through the NadiroGlobal* functions
 * below. A handle returned by an export is new and belongs to the caller.
 *
 * Compiles as C and as C++.
 */
#ifndef NADIRO_NADIRO_H
#define NADIRO_NADIRO_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

/* The calling convention of every export: __stdcall on 32-bit Windows. */
#if defined(_WIN32) && !defined(_WIN64)
#define NADIRO_CALL __stdcall
#else
#define NADIRO_CALL
#endif

/* Three-byte colour records returned by value (the pixel conversions whose
 * target is not CMYK) follow the 32-bit Windows compiler convention: the
 * caller passes a hidden pointer to the result as the first stack argument,
 * the callee writes the record there, returns that pointer in EAX and, under
 * __stdcall, pops its arguments including the hidden pointer (ret 8 for one
 * visible argument). Put NADIRO_RECORD_RETURN on every such export, between
 * the return type and NADIRO_CALL:
 *
 *   NADIRO_API <record type> NADIRO_RECORD_RETURN NADIRO_CALL RGBtoHSV(const uint8_t* rgb);
 *
 * GCC already pops the hidden pointer in __stdcall functions; the attribute
 * states it explicitly so the calling convention does not rest on a compiler
 * default (for other conventions GCC targeting Windows leaves it to the
 * caller). A test calls the exports through void* (__stdcall*)(void*, const
 * void*) and counts the bytes popped. */
#if defined(_WIN32) && !defined(_WIN64) && defined(__GNUC__) && !defined(__clang__)
#define NADIRO_RECORD_RETURN __attribute__((callee_pop_aggregate_return(1)))
#else
#define NADIRO_RECORD_RETURN
#endif

/* Export visibility. On Windows the module-definition file fixes the names. */
#if !defined(_WIN32) && defined(NADIRO_BUILDING_LIBRARY)
#define NADIRO_API __attribute__((visibility("default")))
#else
#define NADIRO_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A movable global-memory handle (HGLOBAL on Windows). */
typedef void* NadiroHandle;
/* A window handle (HWND on Windows); owners of the progress dialog. */
typedef void* NadiroWindow;

/* ------------------------------------------------------------------------
 * Result codes. Each thread has two code fields:
 *   field 1, the pixel status: written by the dithering exports and by
 *            ColorBrightnessContrast; not readable through any export;
 *   field 2, the last-error code: written by the conversion, channel and
 *            other adjustment exports; read with GetLastColorConvertError.
 * ------------------------------------------------------------------------ */
enum NadiroPixelStatus {
  NADIRO_PIXEL_OK = 0,               /* success */
  NADIRO_PIXEL_NO_MEMORY = 1,        /* a working buffer or the output could not be made */
  NADIRO_PIXEL_BAD_ARGUMENT = 8,     /* null handle, bad depth, header not 40 bytes, range */
  NADIRO_PIXEL_ONE_BIT = 13,         /* brightness/contrast: 1-bit image */
  NADIRO_PIXEL_NOT_RGB24 = 13,       /* convolution: bit count not 24 */
  NADIRO_PIXEL_CANNOT_LOCK = 17,     /* an image handle could not be locked */
  NADIRO_PIXEL_COMPRESSED = 18,      /* brightness/contrast: compressed image */
  NADIRO_PIXEL_EMPTY = 19,           /* brightness/contrast: width or height 0 */
  NADIRO_PIXEL_BAD_SOURCE_DEPTH = 20 /* dithering: source depth not accepted */
};

enum NadiroLastError {
  NADIRO_OK = 0,                  /* success; set on entry */
  NADIRO_ERR_NO_MEMORY = 1,       /* working copy or block could not be made */
  NADIRO_ERR_COMPRESSED = 2,      /* compressed/unlockable image, bad model id or tag */
  NADIRO_ERR_NO_OUTPUT_IMAGE = 3, /* the 32-bit output image could not be made */
  NADIRO_ERR_BAD_ARGUMENT = 4,    /* null handle, parameter out of range, format not taken */
  NADIRO_ERR_NO_PROGRESS = 6,     /* the progress dialog could not be created */
  NADIRO_ERR_NO_DIALOG_ENTRY = 7, /* the companion dialog entry point was not found */
  NADIRO_ERR_SPLIT_CONVERSION = 8 /* split: converting into the requested model failed */
};

/* ------------------------------------------------------------------------
 * Version
 * ------------------------------------------------------------------------ */

/* Copies "Version 13.10" into buffer.
 *   size <= 0:  writes nothing, returns size.
 *   size 1..13: copies exactly size bytes WITHOUT a terminating zero and
 *               returns the buffer's address.
 *   size >= 14: copies the string with its zero and returns 0. */
NADIRO_API intptr_t NADIRO_CALL GetNadiroVersion(char* buffer, int32_t size);

/* ------------------------------------------------------------------------
 * Dithering
 * ------------------------------------------------------------------------ */

/* Ordered dithering of an 8-bit image to a new 1-bit black-and-white image.
 * The index bytes themselves are taken as intensities and scaled by the
 * image's largest value; type 0..6 chooses the threshold matrix (0, 1 6x6
 * clustered, 2 5x5 spiral, 3 5x5, 4 8x8 Bayer, 5 8x8, 6 16x16).
 * Returns the new image, or 0 (no error code is set). */
NADIRO_API NadiroHandle NADIRO_CALL DitherOrdered(NadiroHandle image, uint32_t type);

/* Error diffusion of a 4, 8 or 24-bit image to a new image of bits = 1, 4
 * or 8 bits per pixel (the source must be deeper than the target). 1 bit:
 * black and white from the grey value; 4 bits: each of red, green, blue
 * on or off (16-entry palette, even indices only); 8 bits: the 3-3-2
 * palette. Rows of the source are read at the fixed offsets 104 (4-bit),
 * 1064 (8-bit) and 40 (24-bit). The pixel status (field 1) is 0 on
 * success; 8 bad bits, null handle or malformed image; 17 the image does
 * not lock; 20 source depth not accepted; 1 out of memory.
 * The Ex forms take a flag: non-zero accumulates the shares of the rows
 * below, 0 (the plain forms' choice, and always for 8-bit targets) lets
 * each pixel overwrite them. */
NADIRO_API NadiroHandle NADIRO_CALL DitherFS4(NadiroHandle image, int32_t bits);
NADIRO_API NadiroHandle NADIRO_CALL DitherFS4Ex(NadiroHandle image, int32_t bits, int32_t flag);
NADIRO_API NadiroHandle NADIRO_CALL DitherJJN(NadiroHandle image, int32_t bits);
NADIRO_API NadiroHandle NADIRO_CALL DitherJJNEx(NadiroHandle image, int32_t bits, int32_t flag);
NADIRO_API NadiroHandle NADIRO_CALL DitherStucki(NadiroHandle image, int32_t bits);
NADIRO_API NadiroHandle NADIRO_CALL DitherBurkes(NadiroHandle image, int32_t bits);
NADIRO_API NadiroHandle NADIRO_CALL DitherSierra(NadiroHandle image, int32_t bits);
NADIRO_API NadiroHandle NADIRO_CALL DitherSA(NadiroHandle image, int32_t bits);

/* Sliding two-by-two window dithering to bits = 1 or 4 bits per pixel,
 * same sources and outputs as the error-diffusion exports. Their codes
 * differ: 8 bits not 1 or 4 (or malformed image); 17 null handle; 1 the
 * image does not lock (or out of memory); 20 source depth not accepted,
 * in which case the image is left locked. */
NADIRO_API NadiroHandle NADIRO_CALL DitherSharp(NadiroHandle image, int32_t bits);
NADIRO_API NadiroHandle NADIRO_CALL DitherSmooth(NadiroHandle image, int32_t bits);

/* ------------------------------------------------------------------------
 * Colour models
 *
 * Nine models: RGB, CMY, CMYK, HSV, HSI (the hue/saturation/lightness
 * double cone), YIQ, YUV, XYZ and LAB. A colour record holds a model's
 * components as bytes in model order; every model has three components but
 * CMYK, which has four (C, M, Y, K). Hue bytes span 0..360 degrees; the
 * signed components of YIQ, YUV and LAB are offset and scaled into 0..255.
 * Every result byte is a double truncated toward zero after clamping to
 * 0..255, never rounded.
 * ------------------------------------------------------------------------ */

/* A three-component colour record, components in model order. */
typedef struct NadiroColor3 {
  uint8_t v[3];
} NadiroColor3;

/* A CMYK colour record: v[0] C, v[1] M, v[2] Y, v[3] K. */
typedef struct NadiroColor4 {
  uint8_t v[4];
} NadiroColor4;

/* A CMYK result packed into 32 bits: C in the lowest byte, then M, Y, and K
 * in the highest byte. */
typedef uint32_t NadiroPackedCMYK;

/* Colour-model identifiers of ConvertDIBColorSpace and ConvertColorSpace. An
 * image holding a model other than RGB says so in its biCompression field:
 * the tag beside each id (model 10 is written with CMYK's tag 12 and is
 * never accepted as a source image). */
enum NadiroColorModel {
  NADIRO_MODEL_RGB = 1,      /* tag 0 */
  NADIRO_MODEL_YUV = 2,      /* tag 10 */
  NADIRO_MODEL_CMY = 3,      /* tag 11 */
  NADIRO_MODEL_CMYK = 4,     /* tag 12; 4 bytes per pixel, stored K, Y, M, C */
  NADIRO_MODEL_YIQ = 5,      /* tag 13 */
  NADIRO_MODEL_HSV = 6,      /* tag 14 */
  NADIRO_MODEL_HSI = 7,      /* tag 15 */
  NADIRO_MODEL_XYZ = 8,      /* tag 16 */
  NADIRO_MODEL_LAB = 9,      /* tag 17 */
  NADIRO_MODEL_CMYK_UCR = 10 /* tag 12; CMYK with fixed under-colour removal */
};

/* The 72 single-colour conversions, one per ordered pair of models. Each
 * reads the record at its argument and returns the converted record: by
 * value for three-component targets, packed for CMYK. They keep no state
 * and set no error code. */

/* From RGB (R, G, B). */
/* RGB to CMY (C, M, Y): bytes only; 255 - x. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL RGBtoCMY(const NadiroColor3* rgb);
/* RGB to CMYK (C, M, Y, K): bytes only; K = min of the complements. */
NADIRO_API NadiroPackedCMYK NADIRO_CALL RGBtoCMYK(const NadiroColor3* rgb);
/* RGB to HSV (H, S, V): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL RGBtoHSV(const NadiroColor3* rgb);
/* RGB to HSI (H, S, L): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL RGBtoHSI(const NadiroColor3* rgb);
/* RGB to YIQ (Y, I, Q): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL RGBtoYIQ(const NadiroColor3* rgb);
/* RGB to YUV (Y, U, V): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL RGBtoYUV(const NadiroColor3* rgb);
/* RGB to XYZ (X, Y, Z): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL RGBtoXYZ(const NadiroColor3* rgb);
/* RGB to LAB (L, a, b): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL RGBtoLAB(const NadiroColor3* rgb);

/* From CMY (C, M, Y). */
/* CMY to RGB (R, G, B): bytes only; 255 - x. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYtoRGB(const NadiroColor3* cmy);
/* CMY to CMYK (C, M, Y, K): bytes only; K = min(C, M, Y). */
NADIRO_API NadiroPackedCMYK NADIRO_CALL CMYtoCMYK(const NadiroColor3* cmy);
/* CMY to HSV (H, S, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYtoHSV(const NadiroColor3* cmy);
/* CMY to HSI (H, S, L): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYtoHSI(const NadiroColor3* cmy);
/* CMY to YIQ (Y, I, Q): complemented bytes passed to RGBtoYIQ. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYtoYIQ(const NadiroColor3* cmy);
/* CMY to YUV (Y, U, V): complemented bytes passed to RGBtoYUV. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYtoYUV(const NadiroColor3* cmy);
/* CMY to XYZ (X, Y, Z): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYtoXYZ(const NadiroColor3* cmy);
/* CMY to LAB (L, a, b): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYtoLAB(const NadiroColor3* cmy);

/* From CMYK (C, M, Y, K). */
/* CMYK to RGB (R, G, B): bytes only; 255 - (C+K) wrapping modulo 256. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYKtoRGB(const NadiroColor4* cmyk);
/* CMYK to CMY (C, M, Y): bytes only; C+K etc. wrap modulo 256. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYKtoCMY(const NadiroColor4* cmyk);
/* CMYK to HSV (H, S, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYKtoHSV(const NadiroColor4* cmyk);
/* CMYK to HSI (H, S, L): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYKtoHSI(const NadiroColor4* cmyk);
/* CMYK to YIQ (Y, I, Q): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYKtoYIQ(const NadiroColor4* cmyk);
/* CMYK to YUV (Y, U, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYKtoYUV(const NadiroColor4* cmyk);
/* CMYK to XYZ (X, Y, Z): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYKtoXYZ(const NadiroColor4* cmyk);
/* CMYK to LAB (L, a, b): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL CMYKtoLAB(const NadiroColor4* cmyk);

/* From HSV (H, S, V). */
/* HSV to RGB (R, G, B): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSVtoRGB(const NadiroColor3* hsv);
/* HSV to CMY (C, M, Y): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSVtoCMY(const NadiroColor3* hsv);
/* HSV to CMYK (C, M, Y, K): through RGB in doubles, no byte in between. */
NADIRO_API NadiroPackedCMYK NADIRO_CALL HSVtoCMYK(const NadiroColor3* hsv);
/* HSV to HSI (H, S, L): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSVtoHSI(const NadiroColor3* hsv);
/* HSV to YIQ (Y, I, Q): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSVtoYIQ(const NadiroColor3* hsv);
/* HSV to YUV (Y, U, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSVtoYUV(const NadiroColor3* hsv);
/* HSV to XYZ (X, Y, Z): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSVtoXYZ(const NadiroColor3* hsv);
/* HSV to LAB (L, a, b): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSVtoLAB(const NadiroColor3* hsv);

/* From HSI (H, S, L). */
/* HSI to RGB (R, G, B): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSItoRGB(const NadiroColor3* hsi);
/* HSI to CMY (C, M, Y): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSItoCMY(const NadiroColor3* hsi);
/* HSI to CMYK (C, M, Y, K): through RGB in doubles, no byte in between. */
NADIRO_API NadiroPackedCMYK NADIRO_CALL HSItoCMYK(const NadiroColor3* hsi);
/* HSI to HSV (H, S, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSItoHSV(const NadiroColor3* hsi);
/* HSI to YIQ (Y, I, Q): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSItoYIQ(const NadiroColor3* hsi);
/* HSI to YUV (Y, U, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSItoYUV(const NadiroColor3* hsi);
/* HSI to XYZ (X, Y, Z): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSItoXYZ(const NadiroColor3* hsi);
/* HSI to LAB (L, a, b): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL HSItoLAB(const NadiroColor3* hsi);

/* From YIQ (Y, I, Q). */
/* YIQ to RGB (R, G, B): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YIQtoRGB(const NadiroColor3* yiq);
/* YIQ to CMY (C, M, Y): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YIQtoCMY(const NadiroColor3* yiq);
/* YIQ to CMYK (C, M, Y, K): through RGB in doubles, no byte in between. */
NADIRO_API NadiroPackedCMYK NADIRO_CALL YIQtoCMYK(const NadiroColor3* yiq);
/* YIQ to HSV (H, S, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YIQtoHSV(const NadiroColor3* yiq);
/* YIQ to HSI (H, S, L): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YIQtoHSI(const NadiroColor3* yiq);
/* YIQ to YUV (Y, U, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YIQtoYUV(const NadiroColor3* yiq);
/* YIQ to XYZ (X, Y, Z): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YIQtoXYZ(const NadiroColor3* yiq);
/* YIQ to LAB (L, a, b): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YIQtoLAB(const NadiroColor3* yiq);

/* From YUV (Y, U, V). */
/* YUV to RGB (R, G, B): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YUVtoRGB(const NadiroColor3* yuv);
/* YUV to CMY (C, M, Y): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YUVtoCMY(const NadiroColor3* yuv);
/* YUV to CMYK (C, M, Y, K): through RGB in doubles, no byte in between. */
NADIRO_API NadiroPackedCMYK NADIRO_CALL YUVtoCMYK(const NadiroColor3* yuv);
/* YUV to HSV (H, S, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YUVtoHSV(const NadiroColor3* yuv);
/* YUV to HSI (H, S, L): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YUVtoHSI(const NadiroColor3* yuv);
/* YUV to YIQ (Y, I, Q): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YUVtoYIQ(const NadiroColor3* yuv);
/* YUV to XYZ (X, Y, Z): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YUVtoXYZ(const NadiroColor3* yuv);
/* YUV to LAB (L, a, b): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL YUVtoLAB(const NadiroColor3* yuv);

/* From XYZ (X, Y, Z). */
/* XYZ to RGB (R, G, B): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL XYZtoRGB(const NadiroColor3* xyz);
/* XYZ to CMY (C, M, Y): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL XYZtoCMY(const NadiroColor3* xyz);
/* XYZ to CMYK (C, M, Y, K): through RGB in doubles, no byte in between. */
NADIRO_API NadiroPackedCMYK NADIRO_CALL XYZtoCMYK(const NadiroColor3* xyz);
/* XYZ to HSV (H, S, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL XYZtoHSV(const NadiroColor3* xyz);
/* XYZ to HSI (H, S, L): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL XYZtoHSI(const NadiroColor3* xyz);
/* XYZ to YIQ (Y, I, Q): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL XYZtoYIQ(const NadiroColor3* xyz);
/* XYZ to YUV (Y, U, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL XYZtoYUV(const NadiroColor3* xyz);
/* XYZ to LAB (L, a, b): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL XYZtoLAB(const NadiroColor3* xyz);

/* From LAB (L, a, b). */
/* LAB to RGB (R, G, B): direct, in doubles. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL LABtoRGB(const NadiroColor3* lab);
/* LAB to CMY (C, M, Y): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL LABtoCMY(const NadiroColor3* lab);
/* LAB to CMYK (C, M, Y, K): through RGB in doubles, no byte in between. */
NADIRO_API NadiroPackedCMYK NADIRO_CALL LABtoCMYK(const NadiroColor3* lab);
/* LAB to HSV (H, S, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL LABtoHSV(const NadiroColor3* lab);
/* LAB to HSI (H, S, L): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL LABtoHSI(const NadiroColor3* lab);
/* LAB to YIQ (Y, I, Q): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL LABtoYIQ(const NadiroColor3* lab);
/* LAB to YUV (Y, U, V): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL LABtoYUV(const NadiroColor3* lab);
/* LAB to XYZ (X, Y, Z): through RGB in doubles, no byte in between. */
NADIRO_API NadiroColor3 NADIRO_RECORD_RETURN NADIRO_CALL LABtoXYZ(const NadiroColor3* lab);

/* Converts a whole 24-bit (or 32-bit) image between models and returns a new
 * image holding the target's components, tagged in biCompression; pixels are
 * stored in reversed component order (B, G, R for RGB; K, Y, M, C for the
 * 32-bit CMYK images). `from` must match the image's tag. Equal models
 * return the very handle passed in. A 32-bit source that is not CMYK is
 * walked with 24-bit rows. With showProgress non-zero a progress dialog
 * owned by `owner` is shown and can cancel. Returns 0 on failure, the code
 * in GetLastColorConvertError. */
NADIRO_API NadiroHandle NADIRO_CALL ConvertDIBColorSpace(NadiroHandle image, int32_t from,
                                                         int32_t to, int32_t showProgress,
                                                         NadiroWindow owner);

/* Converts a raw buffer of `length` bytes, pixels in model order (3 bytes,
 * or 4 for a CMYK source), into `target`. A pixel starts at every multiple
 * of 3 (4) below length and is read whole, even past length; target must
 * hold 3 bytes for each pixel started, or 4 for CMYK targets (models 4 and
 * 10; a CMYK source writes nothing to them): RGB to CMYK with length 7
 * starts 3 pixels and writes 12 bytes. Returns the number of bytes walked
 * (length, or less when cancelled), or -1 on failure. */
NADIRO_API int32_t NADIRO_CALL ConvertColorSpace(const uint8_t* source, uint8_t* target,
                                                 int32_t length, int32_t from, int32_t to,
                                                 int32_t showProgress, NadiroWindow owner);

/* The calling thread's last-error code (NADIRO_OK or a NADIRO_ERR_* value)
 * left by the conversion, channel and adjustment exports. */
NADIRO_API uint32_t NADIRO_CALL GetLastColorConvertError(void);

/* ------------------------------------------------------------------------
 * Channels and convolution
 * ------------------------------------------------------------------------ */

/* Splits a 24-bit image (any model) or a 32-bit image (model 1 only) into
 * 8-bit greyscale images, one per component of `model` (NadiroColorModel;
 * only the low 8 bits count). Each channel image has a 256-entry grey table.
 * With the converted pixel's bytes numbered 0, 1, 2 (3), channel 1 receives
 * byte 2, channel 2 byte 1, channel 3 byte 0 and channel 4 byte 3: R, G, B
 * for RGB; M, Y, K, C for the 32-bit CMYK models. The handles are stored in
 * channels[0..3] (room for four); they belong to the caller. Returns the
 * number of channel images (3, or 4 for a 32-bit result), 0 on failure
 * with the code in GetLastColorConvertError: 4 bad model, null handle or
 * array, 32-bit source with a model other than 1 (the source is then left
 * locked); 2 compressed or unreadable source; 8 conversion or channel
 * allocation failed. Other depths give 0 and code 0. */
NADIRO_API uint32_t NADIRO_CALL SplitColorChannels(NadiroHandle image, NadiroHandle* channels,
                                                   uint32_t model);

/* Reads 8-bit channel images of equal size as the components of `model`
 * (1..10; channel 4 used by models 4 and 10 only, model 10 holding the
 * complemented inks of the under-colour-removal CMYK form) and writes the
 * RGB result into the caller's 24-bit image `dest` of the same size.
 * Returns 1, or 0 with the code in GetLastColorConvertError: 4 a required
 * channel is null, the model is outside 1..10, or dest is too small (a
 * missing fourth channel leaves the others and dest locked); 2 a channel is
 * compressed or unreadable (a compressed fourth channel also leaves the
 * locks standing). Wrong depth or size gives 0 and code 0. */
NADIRO_API uint32_t NADIRO_CALL MergeColorChannels(NadiroHandle h1, NadiroHandle h2,
                                                   NadiroHandle h3, NadiroHandle h4,
                                                   NadiroHandle dest, uint32_t model);

/* Filters a 24-bit image with an n x n kernel (size 3, 5 or 7). The kernel
 * convolves one scalar per pixel (lumaMode 1: (3 R + 15 G + 8 B) / 26; any
 * other value: (B + G + R) / 3) and the change of that scalar is added to
 * all three bytes of the pixel; neighbours outside the picture repeat the
 * edge pixels.
 *   kernelSource (low 16 bits): 1 the array `kernel`: n * n values, value
 *     i * n + j weighing the pixel (n/2 - i) columns to the right and
 *     (n/2 - j) stored rows up, then the divisor; 2 the same from the file
 *     `fileName` (little-endian 16-bit values, 2 n n + 2 bytes); 3 mean;
 *     4 Gaussian (3, 5); 5 four-neighbour sharpen (3, 5); 6 eight-neighbour
 *     sharpen (3, 5). Sizes 6 and 7 only with sources 1 and 3.
 *   Caller kernels: every weight within -127..127, the positive weights and
 *     the negative ones each summing to at most 127 in magnitude. Divisor 0
 *     means the weight sum (1 if that is 0); a negative divisor negates the
 *     kernel.
 *   newImage 0 filters in place and returns `image`; otherwise the source is
 *     left as it is and a new image (header and rows, no table) returned.
 *   flags 1 progress dialog owned by progressOwner, 2 the parameter dialog
 *     "ColorConvUIW" of the companion module, 3 both, others neither.
 * Returns the filtered image, or 0 on failure or cancel. *errorOut gets a
 * pixel-status code: NADIRO_PIXEL_OK, or NADIRO_PIXEL_NO_MEMORY (1),
 * NADIRO_PIXEL_BAD_ARGUMENT (8: handle, header, kernel source, size, kernel
 * or file), NADIRO_PIXEL_NOT_RGB24 (13), NADIRO_PIXEL_CANNOT_LOCK (17: a
 * block does not lock), NADIRO_PIXEL_COMPRESSED (18), NADIRO_PIXEL_EMPTY
 * (19: width or height 0). */
NADIRO_API NadiroHandle NADIRO_CALL ColorConvolutionW(NadiroHandle image, uint32_t newImage,
                                                      int32_t lumaMode, uint32_t kernelSource,
                                                      int32_t size, const wchar_t* fileName,
                                                      const int16_t* kernel, uint32_t* errorOut,
                                                      uint32_t flags, NadiroWindow progressOwner);
/* The same with a narrow file name: the ANSI code page on Windows, UTF-8
 * elsewhere. The name must be a valid string (empty when unused). */
NADIRO_API NadiroHandle NADIRO_CALL ColorConvolutionA(NadiroHandle image, uint32_t newImage,
                                                      int32_t lumaMode, uint32_t kernelSource,
                                                      int32_t size, const char* fileName,
                                                      const int16_t* kernel, uint32_t* errorOut,
                                                      uint32_t flags, NadiroWindow progressOwner);

/* ------------------------------------------------------------------------
 * Colour adjustments
 *
 * Each returns a new image (the caller's is never changed) or 0. The mode
 * argument (flags) of all but ColorBrightnessContrast: 1 shows a progress
 * dialog owned by `owner` whose Cancel makes the call return 0, 2 first asks
 * for the parameters in the companion module's dialog (Cancel returns 0), 3
 * both, any other value neither. A missing dialog entry point sets last
 * error NADIRO_ERR_NO_DIALOG_ENTRY and the call goes on with the values
 * passed. Images of an unsupported depth give 0 with no code.
 * ------------------------------------------------------------------------ */

/* Every colour byte through one table of brightness and contrast (each
 * -100..100; only the low 16 bits of value + 100 are checked and used).
 * 4 and 8-bit images change their colour table only, 24-bit images every
 * pixel byte; other depths (not 1) come back with zeroed pixels. A non-zero
 * showDialog first shows the "CONTRASTUI" dialog. Codes go to the pixel
 * status (NADIRO_PIXEL_*), not the last error. */
NADIRO_API NadiroHandle NADIRO_CALL ColorBrightnessContrast(NadiroHandle image, int32_t brightness,
                                                            int32_t contrast, int32_t showDialog);

/* Shifts hue (degrees -180..180), saturation and intensity (-255..255, added
 * to the HSI bytes) of the pixels of a 24-bit image whose hue lies in
 * rangeStart..rangeEnd (degrees 0..360; a start above the end wraps through
 * 0; both 0 select every hue). NADIRO_ERR_BAD_ARGUMENT for a null image or a
 * value out of range, including equal range ends other than 0, 0. */
NADIRO_API NadiroHandle NADIRO_CALL ColorHueSaturation(NadiroHandle image, int32_t hue,
                                                       int32_t saturation, int32_t intensity,
                                                       uint32_t rangeStart, uint32_t rangeEnd,
                                                       int32_t mode, NadiroWindow owner);

/* Scales the C, M, Y and K bytes of every pixel of a 24-bit image (settings
 * -100..100: -100 removes the ink, 0 keeps it, 100 doubles it) on the way
 * RGB -> CMYK -> RGB through RGBtoCMYK and CMYKtoRGB. */
NADIRO_API NadiroHandle NADIRO_CALL ColorCMYKLevels(NadiroHandle image, int32_t cyan,
                                                    int32_t magenta, int32_t yellow, int32_t black,
                                                    int32_t mode, NadiroWindow owner);

/* A grey 24-bit copy: each pixel through HSI with its saturation set to 0. */
NADIRO_API NadiroHandle NADIRO_CALL Desaturate(NadiroHandle image, int32_t mode,
                                               NadiroWindow owner);

/* A power curve per channel of a 24-bit image: out = v ^ (ln g / ln 100) on
 * the byte value v, truncated; each g 10..500 is the value the curve gives
 * at 100 (100 keeps the channel). */
NADIRO_API NadiroHandle NADIRO_CALL GammaCorrection(NadiroHandle image, uint32_t red,
                                                    uint32_t green, uint32_t blue, int32_t flags,
                                                    NadiroWindow owner);

/* Shifts hue (degrees -180..180), saturation and intensity (-255..255) of
 * the pixels of a 24-bit image inside a box around a colour. colour holds
 * blue, green, red in bytes 0, 1, 2; tolerance holds the widths for red,
 * green, blue in bytes 0, 1, 2 (the reverse order). */
NADIRO_API NadiroHandle NADIRO_CALL ReplaceColor(NadiroHandle image, uint32_t colour,
                                                 uint32_t tolerance, int32_t hueShift,
                                                 int32_t saturationShift, int32_t intensityShift,
                                                 int32_t flags, NadiroWindow owner);

/* ------------------------------------------------------------------------
 * Image memory on platforms without Windows global memory. These behave
 * like GlobalAlloc/GlobalLock/GlobalUnlock/GlobalSize/GlobalFree: flags 66
 * (movable, zero-filled) or 64 (fixed, zero-filled); locks nest; an unknown
 * or freed handle locks to NULL and has size 0.
 * ------------------------------------------------------------------------ */
#if !defined(_WIN32)
#define NADIRO_GMEM_FIXED_ZERO 64u
#define NADIRO_GMEM_MOVEABLE_ZERO 66u
NADIRO_API NadiroHandle NadiroGlobalAlloc(uint32_t flags, size_t bytes);
NADIRO_API void* NadiroGlobalLock(NadiroHandle handle);
/* Undoes one lock; returns non-zero while the block stays locked. */
NADIRO_API int32_t NadiroGlobalUnlock(NadiroHandle handle);
/* The size as allocated, or 0 for an unknown handle. */
NADIRO_API size_t NadiroGlobalSize(NadiroHandle handle);
/* Releases the block; returns NULL on success, the handle on failure. */
NADIRO_API NadiroHandle NadiroGlobalFree(NadiroHandle handle);
#endif

/* ------------------------------------------------------------------------
 * Progress on platforms without the Windows dialog manager. Operations asked
 * to show progress report to a hook that the host installs for the calling
 * thread (progress belongs to the thread, as the Windows dialog does). With
 * no hook installed nothing is shown and the operations run as if a dialog
 * were open that nobody cancels.
 * ------------------------------------------------------------------------ */
#if !defined(_WIN32)
typedef struct NadiroProgressHook {
  void* context; /* handed back to every callback */
  /* The dialog opens: owner as given to the export, `total` work units, one
   * step every `divisor` units (the Windows bar runs 0 .. total/divisor + 1).
   * Return 0 when it cannot be shown; the operation then fails as it does
   * when the dialog cannot be created. */
  int32_t (*create)(void* context, NadiroWindow owner, int32_t total, int32_t divisor);
  /* The bar advances by one step from `position`. Return non-zero to press
   * Cancel: the dialog closes at once (destroy is called) and the operation
   * stops at its next unit and fails. */
  int32_t (*step)(void* context, int32_t position);
  /* The dialog closes: the operation ended, or Cancel was pressed. */
  void (*destroy)(void* context);
} NadiroProgressHook;

/* Installs a copy of *hook for the calling thread; NULL removes it. Any
 * callback may be NULL. */
NADIRO_API void NadiroSetProgressHook(const NadiroProgressHook* hook);
#endif

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* NADIRO_NADIRO_H */
