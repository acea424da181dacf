"""Nadiro for Python: the Nadiro image-processing library on numpy arrays and
Pillow pictures.

    import nadiro, numpy as np
    grey = np.tile(np.arange(0, 256, 4, dtype=np.uint8), (32, 1))
    mono = nadiro.dither(grey, "fs", bits=1)        # 32 x 64 indices 0/1
    hsv = nadiro.convert(rgb_array, "RGB", "HSV")   # H x W x 3 -> H x W x 3

Every operation takes an H x W (grey, 8-bit) or H x W x 3 (RGB, 24-bit)
uint8 array, a Pillow picture or a nadiro.Image, and returns the same kind.
Bad arguments raise ValueError before the library is called; a refusal by
the library raises NadiroError with its code. `nadiro.raw` is the library
itself: every export of nadiro.h and nadiro_image.h under its C name, with
`nadiro.ffi` to make its arguments.
"""
from ._binding import ffi, lib as raw, library_path
from ._image import CODE_IMAGE, CODE_LAST_ERROR, CODE_PIXEL, MODELS, Image, NadiroError
from ._ops import (brightness_contrast, cmyk_levels, convert, convert_color, convolve, desaturate,
                   dither, dither_ordered, gamma, hue_saturation, merge_channels, replace_color,
                   split_channels, version)

__all__ = ["ffi", "raw", "library_path", "Image", "NadiroError", "MODELS", "CODE_IMAGE",
           "CODE_PIXEL", "CODE_LAST_ERROR", "brightness_contrast", "cmyk_levels", "convert",
           "convert_color", "convolve", "desaturate", "dither", "dither_ordered", "gamma",
           "hue_saturation", "merge_channels", "replace_color", "split_channels", "version"]
