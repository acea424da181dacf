"""Rows of the comparison: dithering, ordered dithering, convolution,
channel split and merge."""
from . import Row, freeing


def rows(ctx):
    lib, dib, pil = ctx.lib, ctx.dib24, ctx.pil_rgb

    return [
        Row("DitherFS4 24->1", "PIL convert('1') (Floyd-Steinberg)",
            lambda: freeing(lib, lib.DitherFS4(dib.handle, 1)),
            lambda: pil.convert("1"), 0.5),
    ]
