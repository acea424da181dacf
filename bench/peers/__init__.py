"""Shared pieces of bench/compare: the library, DIB blocks, pictures, timing.

Nadiro is called through ctypes on the same numpy pixels the peers get. Our
timings include allocating the result block (the exports return fresh
images) and freeing it; the peers' include allocating their outputs.
"""
import ctypes
import os
import statistics
import time
from dataclasses import dataclass
from typing import Callable, List

import numpy as np

GMEM_MOVEABLE_ZERO = 66

MODELS = {"RGB": 1, "YUV": 2, "CMY": 3, "CMYK": 4, "YIQ": 5, "HSV": 6, "HSI": 7,
          "XYZ": 8, "LAB": 9, "CMYK_UCR": 10}


def load_library(path):
    lib = ctypes.CDLL(path)
    h = ctypes.c_void_p
    i32, u32 = ctypes.c_int32, ctypes.c_uint32
    sigs = {
        "NadiroGlobalAlloc": (h, [u32, ctypes.c_size_t]),
        "NadiroGlobalLock": (ctypes.c_void_p, [h]),
        "NadiroGlobalUnlock": (i32, [h]),
        "NadiroGlobalSize": (ctypes.c_size_t, [h]),
        "NadiroGlobalFree": (h, [h]),
        "ConvertDIBColorSpace": (h, [h, i32, i32, i32, h]),
        "ConvertColorSpace": (i32, [ctypes.c_void_p, ctypes.c_void_p, i32, i32, i32, i32, h]),
        "GetLastColorConvertError": (u32, []),
        "ColorHueSaturation": (h, [h, i32, i32, i32, u32, u32, i32, h]),
        "ReplaceColor": (h, [h, u32, u32, i32, i32, i32, i32, h]),
        "ColorCMYKLevels": (h, [h, i32, i32, i32, i32, i32, h]),
        "GammaCorrection": (h, [h, u32, u32, u32, i32, h]),
        "ColorBrightnessContrast": (h, [h, i32, i32, i32]),
        "Desaturate": (h, [h, i32, h]),
        "DitherOrdered": (h, [h, u32]),
        "DitherFS4": (h, [h, i32]),
        "DitherFS4Ex": (h, [h, i32, i32]),
        "DitherJJN": (h, [h, i32]),
        "DitherStucki": (h, [h, i32]),
        "DitherBurkes": (h, [h, i32]),
        "DitherSierra": (h, [h, i32]),
        "DitherSA": (h, [h, i32]),
        "DitherSharp": (h, [h, i32]),
        "DitherSmooth": (h, [h, i32]),
        "ColorConvolutionA": (h, [h, u32, i32, u32, i32, ctypes.c_char_p,
                                  ctypes.POINTER(ctypes.c_int16), ctypes.POINTER(u32), u32, h]),
        "SplitColorChannels": (u32, [h, ctypes.POINTER(h), u32]),
        "MergeColorChannels": (u32, [h, h, h, h, h, u32]),
    }
    for name, (res, args) in sigs.items():
        fn = getattr(lib, name)
        fn.restype, fn.argtypes = res, args
    return lib


class Dib:
    """A packed DIB in one of the library's handles, built from numpy pixels."""

    def __init__(self, lib, pixels, palette=None, tag=0):
        self.lib = lib
        h, w = pixels.shape[:2]
        bits = 24 if pixels.ndim == 3 else 8
        stride = (w * bits + 31) // 32 * 4
        colours = 256 if bits == 8 else 0
        size = 40 + colours * 4 + stride * h
        self.handle = lib.NadiroGlobalAlloc(GMEM_MOVEABLE_ZERO, size)
        if not self.handle:
            raise MemoryError("NadiroGlobalAlloc failed")
        p = lib.NadiroGlobalLock(self.handle)
        block = np.ctypeslib.as_array((ctypes.c_uint8 * size).from_address(p))
        header = np.array([40, w, h], dtype="<i4").tobytes() + np.array(
            [1, bits], dtype="<u2").tobytes() + np.array(
            [tag, stride * h, 0, 0, colours, 0], dtype="<u4").tobytes()
        block[:40] = np.frombuffer(header, dtype=np.uint8)
        if colours:
            if palette is None:  # grey ramp
                ramp = np.arange(256, dtype=np.uint8)
                palette = np.stack([ramp, ramp, ramp], axis=1)
            quads = np.zeros((256, 4), dtype=np.uint8)
            quads[:, 0:3] = palette[:, ::-1]  # RGBQUAD is B, G, R, 0
            block[40:40 + 1024] = quads.reshape(-1)
        rows = block[40 + colours * 4:].reshape(h, stride)
        flipped = pixels[::-1]
        if bits == 24:
            rows[:, :w * 3] = flipped[:, :, ::-1].reshape(h, w * 3)  # B, G, R
        else:
            rows[:, :w] = flipped
        lib.NadiroGlobalUnlock(self.handle)

    def free(self):
        if self.handle:
            self.lib.NadiroGlobalFree(self.handle)
            self.handle = None


def freeing(lib, handle):
    """Frees a result handle; a zero handle means the export refused."""
    if not handle:
        raise RuntimeError("the export refused the benchmark picture")
    lib.NadiroGlobalFree(handle)


def photo_like(width, height, seed=1):
    """A deterministic picture with what photographs have: smooth shading,
    edges, textures and fine noise, so tables and caches see realistic
    colour statistics."""
    rng = np.random.default_rng(seed)
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    x /= width
    y /= height
    r = 120 + 90 * np.sin(3.1 * x + 1.3 * y) + 30 * np.cos(17 * x * y)
    g = 110 + 80 * np.sin(2.3 * y - 0.7 * x + 1.0) + 25 * np.sin(23 * x)
    b = 100 + 100 * np.cos(1.7 * x + 2.9 * y) * np.sin(4 * y + 0.5)
    img = np.stack([r, g, b], axis=2)
    # A few hard-edged shapes.
    for _ in range(12):
        cx, cy, rad = rng.random(), rng.random(), 0.03 + 0.12 * rng.random()
        mask = (x - cx) ** 2 + ((y - cy) * height / width) ** 2 < rad * rad
        img[mask] = img[mask] * 0.4 + rng.integers(0, 256, 3) * 0.6
    # Sensor-like noise, coarse and fine.
    coarse = rng.normal(0, 6, (height // 8 + 1, width // 8 + 1, 3)).astype(np.float32)
    img += np.repeat(np.repeat(coarse, 8, axis=0), 8, axis=1)[:height, :width]
    img += rng.normal(0, 3, img.shape).astype(np.float32)
    return np.clip(img, 0, 255).astype(np.uint8)


@dataclass
class Row:
    """One line of the table: our call against a peer's, and the target ratio."""
    name: str
    peer: str
    ours: Callable[[], None]
    theirs: Callable[[], None]
    target: float
    setup: Callable[[], None] = None      # run once before timing
    teardown: Callable[[], None] = None   # run once after timing


def time_interleaved(row: Row, runs: int):
    """Runs ours and theirs alternately, `runs` times each after a warm-up;
    returns the medians (seconds) and the median of the pairwise ratios."""
    row.ours()
    row.theirs()
    ours, theirs, ratios = [], [], []
    for _ in range(runs):
        t0 = time.perf_counter()
        row.ours()
        t1 = time.perf_counter()
        row.theirs()
        t2 = time.perf_counter()
        ours.append(t1 - t0)
        theirs.append(t2 - t1)
        ratios.append((t1 - t0) / (t2 - t1))
    return statistics.median(ours), statistics.median(theirs), statistics.median(ratios)
