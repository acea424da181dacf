"""Rows of the comparison: colour conversions and colour adjustments."""
import cv2

from . import MODELS, Row, freeing


def rows(ctx):
    lib, dib, bgr = ctx.lib, ctx.dib24, ctx.bgr

    def convert(to):
        return lambda: freeing(lib, lib.ConvertDIBColorSpace(dib.handle, MODELS["RGB"],
                                                             MODELS[to], 0, None))

    return [
        Row("ConvertDIBColorSpace RGB->HSV", "cv2.cvtColor BGR2HSV",
            convert("HSV"), lambda: cv2.cvtColor(bgr, cv2.COLOR_BGR2HSV), 1.0),
    ]
