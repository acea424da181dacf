"""Rows of the comparison: colour conversions and colour adjustments."""
import cv2
import numpy as np

from . import MODELS, Row, freeing

# Our conversion from RGB, the OpenCV code a user would pick, the target.
CONVERSIONS = (
    ("HSV", cv2.COLOR_BGR2HSV, 1.0),
    ("HSI", cv2.COLOR_BGR2HLS, 1.0),
    ("YUV", cv2.COLOR_BGR2YUV, 1.5),
    ("XYZ", cv2.COLOR_BGR2XYZ, 1.0),
    ("LAB", cv2.COLOR_BGR2Lab, 2.0),
    ("YIQ", cv2.COLOR_BGR2YUV, 3.0),
    ("CMY", cv2.COLOR_BGR2RGB, 3.0),
)


def hls_round_trip(bgr, shift):
    """BGR -> HLS, hue moved (OpenCV's hue is 0..179), HLS -> BGR."""
    hls = cv2.cvtColor(bgr, cv2.COLOR_BGR2HLS)
    h = hls[:, :, 0]
    np.add(h, shift, out=h, casting="unsafe")
    np.remainder(h, 180, out=h)
    return cv2.cvtColor(hls, cv2.COLOR_HLS2BGR)


def cmyk_round_trip(bgr, lut):
    """The ink scaling a user would write: per-channel tables on the
    complement, the same three passes over the picture."""
    inv = cv2.bitwise_not(bgr)
    return cv2.bitwise_not(cv2.LUT(inv, lut))


def rows(ctx):
    lib, dib, bgr = ctx.lib, ctx.dib24, ctx.bgr
    h = dib.handle

    def convert(to):
        return lambda: freeing(lib, lib.ConvertDIBColorSpace(h, MODELS["RGB"], MODELS[to], 0, None))

    out = [Row(f"ConvertDIBColorSpace RGB->{name}", f"cv2.cvtColor {code_name(code)}",
               convert(name), (lambda c=code: cv2.cvtColor(bgr, c)), target)
           for name, code, target in CONVERSIONS]

    ramp = np.arange(256, dtype=np.uint8)
    gamma_lut = np.clip(255.0 * (ramp / 255.0) ** 0.8, 0, 255).astype(np.uint8)
    lut3 = np.stack([gamma_lut] * 3, axis=1).reshape(256, 1, 3)
    out += [
        Row("ColorHueSaturation hue +30", "cv2 BGR2HLS + hue shift + HLS2BGR",
            lambda: freeing(lib, lib.ColorHueSaturation(h, 30, 0, 0, 0, 0, 0, None)),
            lambda: hls_round_trip(bgr, 15), 1.0),
        Row("ReplaceColor hue +30 (wide box)", "cv2 BGR2HLS + hue shift + HLS2BGR",
            lambda: freeing(lib, lib.ReplaceColor(h, 0x808080, 0x808080, 30, 0, 0, 0, None)),
            lambda: hls_round_trip(bgr, 15), 1.0),
        Row("ColorCMYKLevels 20,-20,10,30", "cv2 not + LUT + not",
            lambda: freeing(lib, lib.ColorCMYKLevels(h, 20, -20, 10, 30, 0, None)),
            lambda: cmyk_round_trip(bgr, lut3), 1.0),
        Row("GammaCorrection 80,80,80", "cv2.LUT",
            lambda: freeing(lib, lib.GammaCorrection(h, 80, 80, 80, 0, None)),
            lambda: cv2.LUT(bgr, lut3), 1.2),
        Row("ColorBrightnessContrast 20,30", "cv2.LUT",
            lambda: freeing(lib, lib.ColorBrightnessContrast(h, 20, 30, 0)),
            lambda: cv2.LUT(bgr, lut3), 1.2),
        Row("Desaturate", "cv2.LUT",
            lambda: freeing(lib, lib.Desaturate(h, 0, None)),
            lambda: cv2.LUT(bgr, lut3), 1.2),
    ]
    return out


def code_name(code):
    for name in dir(cv2):
        if name.startswith("COLOR_BGR2") and getattr(cv2, name) == code:
            return name[len("COLOR_"):]
    return str(code)
