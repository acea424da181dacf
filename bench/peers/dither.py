"""Rows of the comparison: dithering, ordered dithering, convolution,
channel split and merge; and the dithering engine against the fixed
8-colour path."""
import ctypes

import numpy as np

from . import Row, freeing

# nadiro/dither_engine.h
PIXELS_RGB24, PIXELS_INDEX8 = 2, 6
METHOD_DIFFUSION, KERNEL_FS, PALETTE_CUSTOM = 0, 0, 4
u32, i32 = ctypes.c_uint32, ctypes.c_int32


class Source(ctypes.Structure):
    _fields_ = [("pixels", ctypes.c_void_p), ("width", u32), ("height", u32),
                ("stride", u32), ("format", u32)]


class Target(ctypes.Structure):
    _fields_ = [("pixels", ctypes.c_void_p), ("stride", u32), ("format", u32),
                ("paletteCount", u32), ("palette", ctypes.c_uint8 * 768)]


class Kernel(ctypes.Structure):
    _fields_ = [("columns", u32), ("rows", u32), ("origin", u32), ("divisor", i32),
                ("weights", i32 * 45)]


class Matrix(ctypes.Structure):
    _fields_ = [("width", u32), ("height", u32), ("values", ctypes.c_void_p)]


class Options(ctypes.Structure):
    _fields_ = [(n, u32) for n in ("size", "method", "kernel", "matrix", "matrixSize",
                                   "palette", "paletteCount")] + [
        ("paletteColors", ctypes.c_void_p)] + [
        (n, u32) for n in ("serpentine", "strength", "clampError", "space", "distance",
                           "showProgress")] + [
        ("progressOwner", ctypes.c_void_p), ("customKernel", Kernel), ("customMatrix", Matrix)]


# The classic 16-colour display palette.
SIXTEEN = np.array([0, 0, 0, 0, 0, 170, 0, 170, 0, 0, 170, 170, 170, 0, 0, 170, 0, 170,
                    170, 85, 0, 170, 170, 170, 85, 85, 85, 85, 85, 255, 85, 255, 85, 85, 255,
                    255, 255, 85, 85, 255, 85, 255, 255, 255, 85, 255, 255, 255], dtype=np.uint8)


def engine_fs16(lib, rgb):
    """NadiroDither: Floyd-Steinberg (serpentine, the default) to SIXTEEN."""
    fn = lib.NadiroDither
    fn.restype = i32
    fn.argtypes = [ctypes.POINTER(Source), ctypes.POINTER(Target), ctypes.POINTER(Options)]
    lib.NadiroDitherOptionsInit.argtypes = [ctypes.POINTER(Options)]
    options = Options()
    lib.NadiroDitherOptionsInit(ctypes.byref(options))
    options.method, options.kernel, options.palette = METHOD_DIFFUSION, KERNEL_FS, PALETTE_CUSTOM
    options.paletteCount, options.paletteColors = 16, SIXTEEN.ctypes.data
    h, w = rgb.shape[:2]
    source = Source(rgb.ctypes.data, w, h, rgb.strides[0], PIXELS_RGB24)

    def run():
        out = np.empty((h, w), dtype=np.uint8)
        target = Target(out.ctypes.data, w, PIXELS_INDEX8, 0)
        if fn(ctypes.byref(source), ctypes.byref(target), ctypes.byref(options)) != 0:
            raise RuntimeError("the engine refused the benchmark picture")
    return run


def rows(ctx):
    lib, dib, pil = ctx.lib, ctx.dib24, ctx.pil_rgb

    return [
        Row("DitherFS4 24->1", "PIL convert('1') (Floyd-Steinberg)",
            lambda: freeing(lib, lib.DitherFS4(dib.handle, 1)),
            lambda: pil.convert("1"), 0.5),
        Row("NadiroDither FS, 16-colour caller palette", "DitherFS4 24->4 (8 colours)",
            engine_fs16(lib, ctx.rgb),
            lambda: freeing(lib, lib.DitherFS4(dib.handle, 4)), 2.0),
    ]
