/*
 * Nadiro dithering engine: one call that dithers a caller's pixel buffer to
 * palette indices or to colours, with orthogonal options (error diffusion by
 * any kernel or ordered dithering by any threshold matrix; fixed, caller or
 * picture-chosen palettes; serpentine scanning; strength; error clamping;
 * matching in sRGB bytes or in linear light).
 *
 * Plain buffers in, plain buffers out: no handles. Every call is
 * independent and may run on any thread. The calling convention is the one
 * of the library's other exports (NADIRO_CALL).
 *
 * ABI: NadiroDitherOptions starts with its own size. Fill it with
 * NadiroDitherOptionsInit, change the fields you need, and pass it on; a
 * library that does not know the size refuses it instead of misreading it.
 *
 * Compiles as C and as C++.
 */
#ifndef NADIRO_DITHER_ENGINE_H
#define NADIRO_DITHER_ENGINE_H

#include "nadiro/nadiro.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes of NadiroDither and NadiroDitherOptionsInit. Arguments are
 * checked in the order the codes are listed (a NULL palette or matrix inside
 * the options is BAD_PALETTE or BAD_MATRIX); options that the chosen method
 * does not use are not checked. On any code but NADIRO_DITHER_OK nothing
 * was written to the target. */
enum NadiroDitherStatus {
  NADIRO_DITHER_OK = 0,
  NADIRO_DITHER_NULL_ARGUMENT = 1,    /* a required pointer is NULL */
  NADIRO_DITHER_BAD_OPTIONS_SIZE = 2, /* options->size is not one this library knows */
  NADIRO_DITHER_BAD_SIZE = 3,         /* width or height 0, or above NADIRO_DITHER_MAX_SIDE */
  NADIRO_DITHER_BAD_FORMAT = 4,       /* unknown source or output pixel format */
  NADIRO_DITHER_BAD_STRIDE = 5,       /* a stride shorter than a row of its format */
  NADIRO_DITHER_BAD_METHOD = 6,       /* unknown method, kernel or matrix */
  NADIRO_DITHER_BAD_KERNEL = 7,       /* caller kernel: sizes, divisor, or a tap on a done pixel */
  NADIRO_DITHER_BAD_MATRIX = 8,       /* matrix size, or caller matrix sizes/values */
  NADIRO_DITHER_BAD_PALETTE = 9,      /* unknown palette, or colour count out of range */
  NADIRO_DITHER_BAD_SETTING = 10,     /* strength above 100, unknown space or distance */
  NADIRO_DITHER_NO_MEMORY = 11,       /* working memory could not be had */
  NADIRO_DITHER_NO_PROGRESS = 12,     /* progress was asked for and could not be shown */
  NADIRO_DITHER_CANCELLED = 13        /* Cancel was pressed; the output is untouched */
};

/* Largest width and height taken. */
#define NADIRO_DITHER_MAX_SIDE 65535u

/* Pixel formats. Channels are bytes in the order of the name; rows run top
 * down, `stride` bytes apart. Grey and indices are one byte a pixel. */
enum NadiroPixelFormat {
  NADIRO_PIXELS_GREY8 = 1,
  NADIRO_PIXELS_RGB24 = 2,
  NADIRO_PIXELS_BGR24 = 3,
  NADIRO_PIXELS_RGBA32 = 4,
  NADIRO_PIXELS_BGRA32 = 5,
  NADIRO_PIXELS_INDEX8 = 6 /* output only: palette indices */
};

/* The picture to dither. Alpha, when there is one, is not dithered. */
typedef struct NadiroDitherSource {
  const void* pixels; /* the first (top) row */
  uint32_t width;
  uint32_t height;
  uint32_t stride; /* bytes from one row to the next */
  uint32_t format; /* NadiroPixelFormat, not INDEX8 */
} NadiroDitherSource;

/* Where the result goes. `pixels` may be the source's own buffer (dithering
 * in place) when the formats have the same size. Colour formats receive the
 * palette colours (alpha copied from an RGBA/BGRA source, else 255); GREY8
 * receives each palette colour's green channel, which is exact for grey
 * palettes. The palette used is returned in every case. */
typedef struct NadiroDitherTarget {
  void* pixels;
  uint32_t stride;
  uint32_t format;         /* NadiroPixelFormat */
  uint32_t paletteCount;   /* out: colours in `palette` */
  uint8_t palette[256][3]; /* out: R, G, B of each index */
} NadiroDitherTarget;

enum NadiroDitherMethod {
  NADIRO_METHOD_DIFFUSION = 0, /* error diffusion by `kernel` */
  NADIRO_METHOD_ORDERED = 1,   /* ordered dithering by `matrix` */
  NADIRO_METHOD_NEAREST = 2    /* each pixel to its nearest colour, no dithering */
};

/* Error-diffusion kernels. */
enum NadiroDitherKernel {
  NADIRO_KERNEL_FLOYD_STEINBERG = 0,
  NADIRO_KERNEL_JARVIS_JUDICE_NINKE = 1,
  NADIRO_KERNEL_STUCKI = 2,
  NADIRO_KERNEL_BURKES = 3,
  NADIRO_KERNEL_SIERRA3 = 4,
  NADIRO_KERNEL_SIERRA2 = 5,
  NADIRO_KERNEL_SIERRA_LITE = 6,
  NADIRO_KERNEL_ATKINSON = 7,
  NADIRO_KERNEL_STEVENSON_ARCE = 8,
  NADIRO_KERNEL_CUSTOM = 9 /* customKernel */
};

/* A caller kernel: `rows` rows of `columns` weights, the weight of row r,
 * column c at weights[r * NADIRO_KERNEL_MAX_COLUMNS + c]. The pixel being
 * quantised is column `origin` of row 0, so row 0 holds zeros up to and
 * including it. Each tap receives error * weight / divisor. */
#define NADIRO_KERNEL_MAX_COLUMNS 9u
#define NADIRO_KERNEL_MAX_ROWS 5u
typedef struct NadiroCustomKernel {
  uint32_t columns; /* 1 .. NADIRO_KERNEL_MAX_COLUMNS */
  uint32_t rows;    /* 1 .. NADIRO_KERNEL_MAX_ROWS */
  uint32_t origin;  /* < columns */
  int32_t divisor;  /* 1 .. 1 << 20 */
  int32_t weights[NADIRO_KERNEL_MAX_ROWS * NADIRO_KERNEL_MAX_COLUMNS]; /* |w| <= 65535 */
} NadiroCustomKernel;

/* Threshold matrices of ordered dithering. */
enum NadiroDitherMatrix {
  NADIRO_MATRIX_BAYER = 0,      /* matrixSize 2, 4, 8 or 16 */
  NADIRO_MATRIX_CLUSTERED = 1,  /* round dots growing from the cell's centre; matrixSize 3 .. 16 */
  NADIRO_MATRIX_BLUE_NOISE = 2, /* 64 x 64, made by void-and-cluster at first use */
  NADIRO_MATRIX_CUSTOM = 3      /* customMatrix */
};

/* A caller matrix of `width` x `height` thresholds, row-major. Each value v
 * shifts its pixels by (v + 0.5) / (max + 1) - 0.5 palette steps, max being
 * the largest value given. */
#define NADIRO_MATRIX_MAX_SIDE 64u
typedef struct NadiroCustomMatrix {
  uint32_t width;         /* 1 .. NADIRO_MATRIX_MAX_SIDE */
  uint32_t height;        /* 1 .. NADIRO_MATRIX_MAX_SIDE */
  const uint16_t* values; /* width * height values */
} NadiroCustomMatrix;

/* Palettes. The fixed ones, by index:
 *   BLACK_WHITE  0 black, 1 white;
 *   RGB_CORNERS  index = 4r + 2g + b of the eight on/off corners;
 *   RGB332       index = r << 5 | g << 2 | b, levels spread evenly over 0..255;
 *   WEB_SAFE     index = 36r + 6g + b, levels 0, 51, .. 255.
 * CUSTOM keeps the caller's colours and order exactly. MEDIAN_CUT and
 * KMEANS choose up to paletteCount colours from the picture, deterministically. */
enum NadiroDitherPalette {
  NADIRO_PALETTE_BLACK_WHITE = 0,
  NADIRO_PALETTE_RGB_CORNERS = 1,
  NADIRO_PALETTE_RGB332 = 2,
  NADIRO_PALETTE_WEB_SAFE = 3,
  NADIRO_PALETTE_CUSTOM = 4,
  NADIRO_PALETTE_MEDIAN_CUT = 5,
  NADIRO_PALETTE_KMEANS = 6
};

/* Where errors are measured and colours matched. */
enum NadiroDitherSpace {
  NADIRO_SPACE_SRGB = 0,  /* the bytes as they are */
  NADIRO_SPACE_LINEAR = 1 /* linear light (the sRGB curve undone) */
};

enum NadiroDitherDistance {
  NADIRO_DISTANCE_EUCLIDEAN = 0, /* plain Euclidean distance */
  NADIRO_DISTANCE_WEIGHTED = 1   /* perceptual weights 2, 4, 3 for red, green, blue */
};

typedef struct NadiroDitherOptions {
  uint32_t size;         /* sizeof(NadiroDitherOptions); set by NadiroDitherOptionsInit */
  uint32_t method;       /* NadiroDitherMethod; default DIFFUSION */
  uint32_t kernel;       /* NadiroDitherKernel; default FLOYD_STEINBERG */
  uint32_t matrix;       /* NadiroDitherMatrix; default BLUE_NOISE */
  uint32_t matrixSize;   /* BAYER and CLUSTERED side; default 8 */
  uint32_t palette;      /* NadiroDitherPalette; default MEDIAN_CUT */
  uint32_t paletteCount; /* CUSTOM: colours given (1..256); chosen: colours wanted (1..256); default
                            16 */
  const uint8_t* paletteColors; /* CUSTOM: paletteCount R, G, B triples */
  uint32_t serpentine;   /* non-zero: odd rows run right to left, the kernel mirrored; default 1 */
  uint32_t strength;     /* 0..100 % of the error diffused / of the threshold spread; default 100 */
  uint32_t clampError;   /* non-zero: pixel plus error is clamped to the colour range; default 1 */
  uint32_t space;        /* NadiroDitherSpace; default SRGB */
  uint32_t distance;     /* NadiroDitherDistance; default EUCLIDEAN */
  uint32_t showProgress; /* non-zero: report progress (and take Cancel); default 0 */
  NadiroWindow progressOwner; /* owner of the progress dialog */
  NadiroCustomKernel customKernel;
  NadiroCustomMatrix customMatrix;
} NadiroDitherOptions;

/* Fills *options with the defaults listed above and sets its size.
 * Returns NADIRO_DITHER_OK, or NULL_ARGUMENT for a NULL pointer. */
NADIRO_API int32_t NADIRO_CALL NadiroDitherOptionsInit(NadiroDitherOptions* options);

/* Dithers `source` into `target` as `options` say (NULL options: the
 * defaults). Returns a NadiroDitherStatus. The source is only read. */
NADIRO_API int32_t NADIRO_CALL NadiroDither(const NadiroDitherSource* source,
                                            NadiroDitherTarget* target,
                                            const NadiroDitherOptions* options);

/* A short English text for a status code (never NULL). */
NADIRO_API const char* NADIRO_CALL NadiroDitherStatusText(int32_t status);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* NADIRO_DITHER_ENGINE_H */
