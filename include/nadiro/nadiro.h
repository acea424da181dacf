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
  NADIRO_PIXEL_OK = 0,             /* success */
  NADIRO_PIXEL_NO_MEMORY = 1,      /* a working buffer or the output could not be made */
  NADIRO_PIXEL_BAD_ARGUMENT = 8,   /* null handle, bad depth, header not 40 bytes, range */
  NADIRO_PIXEL_ONE_BIT = 13,       /* brightness/contrast: 1-bit image */
  NADIRO_PIXEL_CANNOT_LOCK = 17,   /* an image handle could not be locked */
  NADIRO_PIXEL_COMPRESSED = 18,    /* brightness/contrast: compressed image */
  NADIRO_PIXEL_EMPTY = 19,         /* brightness/contrast: width or height 0 */
  NADIRO_PIXEL_BAD_SOURCE_DEPTH = 20 /* dithering: source depth not accepted */
};

enum NadiroLastError {
  NADIRO_OK = 0,                   /* success; set on entry */
  NADIRO_ERR_NO_MEMORY = 1,        /* working copy or block could not be made */
  NADIRO_ERR_COMPRESSED = 2,       /* compressed/unlockable image, bad model id or tag */
  NADIRO_ERR_NO_OUTPUT_IMAGE = 3,  /* the 32-bit output image could not be made */
  NADIRO_ERR_BAD_ARGUMENT = 4,     /* null handle, parameter out of range, format not taken */
  NADIRO_ERR_NO_PROGRESS = 6,      /* the progress dialog could not be created */
  NADIRO_ERR_NO_DIALOG_ENTRY = 7,  /* the companion dialog entry point was not found */
  NADIRO_ERR_SPLIT_CONVERSION = 8  /* split: converting into the requested model failed */
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
