"""Rows of the comparison: dithering, ordered dithering, convolution,
channel split and merge; and the dithering engine against the fixed
8-colour path."""
import ctypes

import cv2
import numpy as np
from PIL import Image

from . import Dib, Row, freeing

# DitherOrdered's matrix 4 is the 8 x 8 Bayer matrix (entries 0..63).
BAYER8 = 4


def _palette_image(colours):
    """A Pillow palette image holding `colours` (RGB triples), for quantize."""
    flat = [c for rgb in colours for c in rgb]
    image = Image.new("P", (1, 1))
    image.putpalette(flat + [0] * (768 - len(flat)))
    return image


def _palette_332():
    step = 255 / 7
    return [(int(r * step), int(g * step), b * 85)
            for r in range(8) for g in range(8) for b in range(4)]


def _corners():
    return [(r, g, b) for r in (0, 255) for g in (0, 255) for b in (0, 255)]


def _bayer_plane(grey):
    """The tiled threshold plane cv2.compare needs, scaled to the picture's
    largest value as DitherOrdered scales its pixels (built once, untimed)."""
    bayer = np.array([[0, 32, 8, 40, 2, 34, 10, 42], [48, 16, 56, 24, 50, 18, 58, 26],
                      [12, 44, 4, 36, 14, 46, 6, 38], [60, 28, 52, 20, 62, 30, 54, 22],
                      [3, 35, 11, 43, 1, 33, 9, 41], [51, 19, 59, 27, 49, 17, 57, 25],
                      [15, 47, 7, 39, 13, 45, 5, 37], [63, 31, 55, 23, 61, 29, 53, 21]])
    levels = (bayer * int(grey.max()) // 63).astype(np.uint8)
    h, w = grey.shape
    return np.ascontiguousarray(np.tile(levels, (h // 8 + 1, w // 8 + 1))[:h, :w])

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
    lib, dib, dib8, pil, bgr = ctx.lib, ctx.dib24, ctx.dib8, ctx.pil_rgb, ctx.bgr
    fs = Image.Dither.FLOYDSTEINBERG
    pal332, corners = _palette_image(_palette_332()), _palette_image(_corners())
    thresholds = _bayer_plane(ctx.grey)

    def dither(fn, bits):
        return lambda: freeing(lib, fn(dib.handle, bits))

    def to_one():
        return pil.convert("1")

    error = ctypes.c_uint32(0)
    box7 = (ctypes.c_int16 * 50)(*([1] * 49 + [0]))

    def convolve(source, size, kernel=None):
        return lambda: freeing(lib, lib.ColorConvolutionA(dib.handle, 1, 0, source, size, b"",
                                                         kernel, ctypes.byref(error), 0, None))

    gauss3 = np.outer([1, 2, 1], [1, 2, 1]).astype(np.float32) / 16
    g5 = np.array([1, 4, 6, 4, 1], dtype=np.float32)
    gauss5 = np.outer(g5, g5) / 256
    box7f = np.ones((7, 7), np.float32) / 49

    def filter2d(kernel):
        return lambda: cv2.filter2D(bgr, -1, kernel, borderType=cv2.BORDER_REPLICATE)

    def split():
        handles = (ctypes.c_void_p * 4)()
        count = lib.SplitColorChannels(dib.handle, handles, 1)
        if count != 3:
            raise RuntimeError("SplitColorChannels refused the benchmark picture")
        for k in range(count):
            lib.NadiroGlobalFree(handles[k])

    merge_state = {}

    def merge_setup():
        handles = (ctypes.c_void_p * 4)()
        lib.SplitColorChannels(dib.handle, handles, 1)
        merge_state["channels"] = handles
        merge_state["planes"] = cv2.split(bgr)
        merge_state["dest"] = Dib(lib, ctx.rgb)

    def merge_teardown():
        for k in range(3):
            lib.NadiroGlobalFree(merge_state["channels"][k])
        merge_state["dest"].free()

    def merge():
        c = merge_state["channels"]
        if not lib.MergeColorChannels(c[0], c[1], c[2], None, merge_state["dest"].handle, 1):
            raise RuntimeError("MergeColorChannels refused the benchmark picture")

    rows = [
        Row("DitherFS4 24->1", "PIL convert('1') (Floyd-Steinberg)",
            dither(lib.DitherFS4, 1), to_one, 0.5),
        Row("DitherFS4 24->8 (3-3-2)", "PIL quantize 3-3-2 palette, FS",
            dither(lib.DitherFS4, 8), lambda: pil.quantize(palette=pal332, dither=fs), 0.33),
        Row("DitherFS4 24->4", "PIL quantize 8 RGB corners, FS",
            dither(lib.DitherFS4, 4), lambda: pil.quantize(palette=corners, dither=fs), 0.33),
        Row("NadiroDither FS, 16-colour caller palette", "DitherFS4 24->4 (8 colours)",
            engine_fs16(lib, ctx.rgb), dither(lib.DitherFS4, 4), 2.0),
    ]
    for name in ("JJN", "Stucki", "Burkes", "Sierra", "SA"):
        rows.append(Row(f"Dither{name} 24->1", "PIL convert('1') (Floyd-Steinberg)",
                        dither(getattr(lib, f"Dither{name}"), 1), to_one, 0.8))
    for name in ("Sharp", "Smooth"):
        rows.append(Row(f"Dither{name} 24->1", "PIL convert('1') (Floyd-Steinberg)",
                        dither(getattr(lib, f"Dither{name}"), 1), to_one, 1.0))
    rows += [
        Row("DitherOrdered 8->1 (8x8 Bayer)", "cv2.compare vs tiled thresholds (floor)",
            lambda: freeing(lib, lib.DitherOrdered(dib8.handle, BAYER8)),
            lambda: cv2.compare(ctx.grey, thresholds, cv2.CMP_GE), 3.0),
        Row("ColorConvolutionA 3x3 Gaussian", "cv2.filter2D 8UC3 3x3",
            convolve(4, 3), filter2d(gauss3), 0.7),
        Row("ColorConvolutionA 5x5 Gaussian", "cv2.filter2D 8UC3 5x5",
            convolve(4, 5), filter2d(gauss5), 0.5),
        Row("ColorConvolutionA 7x7 box", "cv2.filter2D 8UC3 7x7",
            convolve(1, 7, box7), filter2d(box7f), 0.5),
        Row("SplitColorChannels RGB", "cv2.split", split, lambda: cv2.split(bgr), 1.2),
        Row("MergeColorChannels RGB", "cv2.merge", merge,
            lambda: cv2.merge(merge_state["planes"]), 1.2, merge_setup, merge_teardown),
    ]
    return rows
