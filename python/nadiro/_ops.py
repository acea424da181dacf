"""The library's operation families on numpy arrays, Pillow pictures and
nadiro.Image objects. Each checks its arguments (ValueError) before the
library sees them and returns its result in the kind it was given."""
import numpy as np

from ._binding import ffi, lib
from ._image import (CODE_LAST_ERROR, CODE_PIXEL, MODELS, Image, NadiroError, as_image, is_pil,
                     like)

NO_OWNER = ffi.NULL


def _int_in(name, value, low, high):
    if isinstance(value, bool) or not isinstance(value, (int, np.integer)):
        raise ValueError("%s must be an integer, got %r" % (name, value))
    if not low <= value <= high:
        raise ValueError("%s must be %d .. %d, got %d" % (name, low, high, value))
    return int(value)


def _choice(name, value, choices):
    if value not in choices:
        raise ValueError("%s must be one of %s, got %r" % (name, ", ".join(map(str, choices)), value))
    return choices[value] if isinstance(choices, dict) else value


def _model(name, value, allowed=tuple(MODELS)):
    return _choice(name, value.upper() if isinstance(value, str) else value,
                   {m: MODELS[m] for m in allowed})


def _with_depth(image, depths, call):
    source = as_image(image)
    if source.bits not in depths:
        raise ValueError("%s takes %s-bit images, got %d bits (grey arrays are 8-bit, "
                         "colour arrays 24-bit)" % (call, "/".join(map(str, depths)), source.bits))
    return source


def _result(call, handle, kind):
    """Wraps an export's new image, or raises with the thread's code."""
    if handle == ffi.NULL:
        code = lib.NadiroImagePixelStatus() if kind == CODE_PIXEL else lib.GetLastColorConvertError()
        raise NadiroError(call, code, kind)
    return Image(handle)


# -- dithering ---------------------------------------------------------------
_DIFFUSION = {"fs": "DitherFS4", "jjn": "DitherJJN", "stucki": "DitherStucki",
              "burkes": "DitherBurkes", "sierra": "DitherSierra", "sa": "DitherSA",
              "sharp": "DitherSharp", "smooth": "DitherSmooth"}
_ACCUMULATING = {"fs": "DitherFS4Ex", "jjn": "DitherJJNEx"}


def dither(image, method="fs", bits=1, accumulate=False):
    """Reduces a grey (8-bit), RGB (24-bit) or 4-bit Image to `bits` bits per pixel.

    method: 'fs' (Floyd-Steinberg), 'jjn' (Jarvis-Judice-Ninke), 'stucki',
        'burkes', 'sierra', 'sa' (Stevenson-Arce) diffuse the error; 'sharp'
        and 'smooth' slide a two-by-two window (1 or 4 bits only).
    bits: 1 (black and white), 4 (red, green, blue each on or off) or 8 (the
        3-3-2 palette; RGB sources only); fewer bits than the source has.
    accumulate: 'fs' and 'jjn' only: add the error shares of the rows below
        instead of letting each pixel overwrite them.
    Returns palette indices (numpy), a Pillow picture of mode '1' or 'P', or an Image.
    """
    name = _choice("method", method, _DIFFUSION)
    window = method in ("sharp", "smooth")
    _choice("bits", bits, (1, 4) if window else (1, 4, 8))
    if accumulate and method not in _ACCUMULATING:
        raise ValueError("accumulate is only for methods fs and jjn")
    source = _with_depth(image, (4, 8, 24), "dither")
    if bits >= source.bits:
        raise ValueError("bits must be fewer than the source's %d" % source.bits)
    if accumulate:
        handle = getattr(lib, _ACCUMULATING[method])(source.handle, bits, 1)
    else:
        handle = getattr(lib, name)(source.handle, bits)
    return like(image, _result(name, handle, CODE_PIXEL))


def dither_ordered(image, matrix=4):
    """Ordered dithering of a grey (8-bit) picture to black and white.

    matrix: 0 .. 6 (0, 1 6x6 clustered, 2 5x5 spiral, 3 5x5, 4 8x8 Bayer,
        5 8x8, 6 16x16). The grey levels are scaled by the picture's largest.
    """
    _int_in("matrix", matrix, 0, 6)
    source = _with_depth(image, (8,), "dither_ordered")
    handle = lib.DitherOrdered(source.handle, matrix)
    if handle == ffi.NULL:
        raise NadiroError("DitherOrdered", 0, CODE_PIXEL)
    return like(image, Image(handle))


# -- colour adjustments ------------------------------------------------------
def brightness_contrast(image, brightness=0, contrast=0):
    """Brightness and contrast, each -100 .. 100, of a grey or RGB picture."""
    _int_in("brightness", brightness, -100, 100)
    _int_in("contrast", contrast, -100, 100)
    source = _with_depth(image, (4, 8, 24), "brightness_contrast")
    handle = lib.ColorBrightnessContrast(source.handle, brightness, contrast, 0)
    return like(image, _result("ColorBrightnessContrast", handle, CODE_PIXEL))


def hue_saturation(image, hue=0, saturation=0, intensity=0, hue_range=(0, 0)):
    """Shifts hue (degrees -180 .. 180), saturation and intensity (-255 .. 255)
    of the RGB pixels whose hue lies in hue_range (degrees 0 .. 360 each; a
    start above the end wraps through 0; (0, 0) selects every hue)."""
    _int_in("hue", hue, -180, 180)
    _int_in("saturation", saturation, -255, 255)
    _int_in("intensity", intensity, -255, 255)
    start, end = (_int_in("hue_range", v, 0, 360) for v in hue_range)
    if start == end and start != 0:
        raise ValueError("hue_range ends must differ (or both be 0)")
    source = _with_depth(image, (24,), "hue_saturation")
    handle = lib.ColorHueSaturation(source.handle, hue, saturation, intensity, start, end, 0,
                                    NO_OWNER)
    return like(image, _result("ColorHueSaturation", handle, CODE_LAST_ERROR))


def cmyk_levels(image, cyan=0, magenta=0, yellow=0, black=0):
    """Scales each ink of an RGB picture: -100 removes it, 0 keeps it, 100 doubles it."""
    inks = [_int_in(n, v, -100, 100) for n, v in
            (("cyan", cyan), ("magenta", magenta), ("yellow", yellow), ("black", black))]
    source = _with_depth(image, (24,), "cmyk_levels")
    handle = lib.ColorCMYKLevels(source.handle, *inks, 0, NO_OWNER)
    return like(image, _result("ColorCMYKLevels", handle, CODE_LAST_ERROR))


def desaturate(image):
    """A grey RGB copy of an RGB picture (HSI saturation set to 0)."""
    source = _with_depth(image, (24,), "desaturate")
    return like(image, _result("Desaturate", lib.Desaturate(source.handle, 0, NO_OWNER),
                               CODE_LAST_ERROR))


def gamma(image, red=100, green=100, blue=100):
    """A power curve per channel of an RGB picture; each value 10 .. 500 is
    what the curve gives at 100 (100 keeps the channel)."""
    values = [_int_in(n, v, 10, 500) for n, v in (("red", red), ("green", green), ("blue", blue))]
    source = _with_depth(image, (24,), "gamma")
    handle = lib.GammaCorrection(source.handle, *values, 0, NO_OWNER)
    return like(image, _result("GammaCorrection", handle, CODE_LAST_ERROR))


def replace_color(image, color, tolerance=(0, 0, 0), hue=0, saturation=0, intensity=0):
    """Shifts hue (-180 .. 180), saturation and intensity (-255 .. 255) of the
    pixels of an RGB picture within `tolerance` (R, G, B widths, 0 .. 255
    each) of `color` (R, G, B, 0 .. 255 each)."""
    if len(color) != 3 or len(tolerance) != 3:
        raise ValueError("color and tolerance are (R, G, B) triples")
    r, g, b = (_int_in("color", v, 0, 255) for v in color)
    tr, tg, tb = (_int_in("tolerance", v, 0, 255) for v in tolerance)
    _int_in("hue", hue, -180, 180)
    _int_in("saturation", saturation, -255, 255)
    _int_in("intensity", intensity, -255, 255)
    source = _with_depth(image, (24,), "replace_color")
    handle = lib.ReplaceColor(source.handle, b | g << 8 | r << 16, tr | tg << 8 | tb << 16, hue,
                              saturation, intensity, 0, NO_OWNER)
    return like(image, _result("ReplaceColor", handle, CODE_LAST_ERROR))


# -- convolution ---------------------------------------------------------------
_FILTERS = {"mean": (3, (3, 5, 6, 7)), "gaussian": (4, (3, 5)), "sharpen4": (5, (3, 5)),
            "sharpen8": (6, (3, 5))}


def convolve(image, kernel=None, divisor=0, filter="mean", size=3, luma=False):
    """Filters an RGB picture through a luminance convolution.

    kernel: an n x n integer array (n 3, 5, 6 or 7), weights -127 .. 127,
        positive weights and negative ones each summing to at most 127 in
        magnitude; element [i, j] weighs the pixel n//2 - i columns right and
        n//2 - j stored rows up. divisor -32768 .. 32767 (0: the weight sum).
    filter, size: without a kernel, 'mean' (size 3, 5, 6, 7), 'gaussian',
        'sharpen4' or 'sharpen8' (size 3 or 5).
    luma: True weighs the channels (3 R + 15 G + 8 B) / 26, False averages them.
    """
    if kernel is not None:
        k = np.asarray(kernel)
        if k.ndim != 2 or k.shape[0] != k.shape[1] or k.shape[0] not in (3, 5, 6, 7):
            raise ValueError("kernel must be n x n with n 3, 5, 6 or 7, got %s" % (k.shape,))
        if not np.issubdtype(k.dtype, np.integer) or k.min() < -127 or k.max() > 127:
            raise ValueError("kernel weights must be integers -127 .. 127")
        if k[k > 0].sum() > 127 or k[k < 0].sum() < -127:
            raise ValueError("positive and negative weights must each sum to at most 127")
        _int_in("divisor", divisor, -32768, 32767)
        source_id, size = 1, k.shape[0]
        values = ffi.new("int16_t[]", [int(v) for v in k.ravel()] + [int(divisor)])
    else:
        source_id, sizes = _choice("filter", filter, _FILTERS)
        _choice("size", size, sizes)
        values = ffi.NULL
    source = _with_depth(image, (24,), "convolve")
    error = ffi.new("uint32_t*")
    handle = lib.ColorConvolutionA(source.handle, 1, 1 if luma else 0, source_id, size, b"",
                                   values, error, 0, NO_OWNER)
    if handle == ffi.NULL:
        raise NadiroError("ColorConvolutionA", error[0], CODE_PIXEL)
    return like(image, Image(handle))


# -- channels ------------------------------------------------------------------
def split_channels(image, model="RGB"):
    """One grey picture per component of `model` ('RGB', 'CMY', 'CMYK', 'HSV',
    'HSI', 'YIQ', 'YUV', 'XYZ', 'LAB', 'CMYK_UCR'), in the model's order."""
    number = _model("model", model)
    source = _with_depth(image, (24,), "split_channels")
    handles = ffi.new("NadiroHandle[4]")
    count = lib.SplitColorChannels(source.handle, handles, number)
    if count == 0:
        raise NadiroError("SplitColorChannels", lib.GetLastColorConvertError(), CODE_LAST_ERROR)
    channels = [Image(handles[i]) for i in range(count)]
    if model in ("CMYK", "CMYK_UCR"):  # channels 1..4 hold M, Y, K, C
        channels = channels[3:] + channels[:3]
    return [like(image, c) for c in channels]


def merge_channels(channels, model="RGB"):
    """An RGB picture from grey pictures of equal size holding the
    components of `model` in its order (C, M, Y, K for 'CMYK'; 'CMYK_UCR'
    takes the complemented inks of the under-colour-removal form)."""
    number = _model("model", model)
    want = 4 if model in ("CMYK", "CMYK_UCR") else 3
    if len(channels) != want:
        raise ValueError("model %s takes %d channels, got %d" % (model, want, len(channels)))
    images = [_with_depth(c, (8,), "merge_channels") for c in channels]
    sizes = {i.info()[:2] for i in images}
    if len(sizes) != 1:
        raise ValueError("channels differ in size: %s" % sorted(sizes))
    width, height = sizes.pop()
    dest = Image.from_array(np.zeros((height, width, 3), np.uint8))
    handles = [i.handle for i in images] + [ffi.NULL] * (4 - want)
    if not lib.MergeColorChannels(*handles, dest.handle, number):
        raise NadiroError("MergeColorChannels", lib.GetLastColorConvertError(), CODE_LAST_ERROR)
    return like(channels[0], dest)


# -- colour models ---------------------------------------------------------------
def convert(pixels, source, target):
    """Converts an H x W x 3 uint8 array (H x W x 4 for a CMYK source) from
    colour model `source` into `target`, through the library's buffer
    conversion, straight from the array's memory. Returns an H x W x 3
    array (H x W x 4 for CMYK targets). Models: 'RGB', 'CMY', 'CMYK',
    'HSV', 'HSI', 'YIQ', 'YUV', 'XYZ', 'LAB'; 'CMYK_UCR' as a target.
    Hue bytes span 0 .. 360 degrees; signed components are offset into 0 .. 255."""
    src = _model("source", source, [m for m in MODELS if m != "CMYK_UCR"])
    dst = _model("target", target)
    if is_pil(pixels):
        pixels = np.asarray(pixels.convert("RGB")) if src == 1 else np.asarray(pixels)
    a = np.ascontiguousarray(pixels)
    width_in = 4 if src == 4 else 3
    width_out = 4 if dst in (4, 10) else 3
    if a.dtype != np.uint8 or a.ndim < 1 or a.shape[-1] != width_in:
        raise ValueError("expected uint8 pixels of %d components, got %s %s"
                         % (width_in, a.dtype, a.shape))
    if a.nbytes >= 2 ** 31 // 4:
        raise ValueError("at most 2^29 bytes per call")
    out = np.empty(a.shape[:-1] + (width_out,), np.uint8)
    if a.size == 0:
        return out
    # A CMYK source is walked in 4-byte steps, other sources in 3-byte ones;
    # the length counts the source's bytes.
    walked = lib.ConvertColorSpace(ffi.from_buffer(a), ffi.from_buffer(out), a.nbytes, src, dst,
                                   0, NO_OWNER)
    if walked < 0:
        raise NadiroError("ConvertColorSpace", lib.GetLastColorConvertError(), CODE_LAST_ERROR)
    return out


def convert_color(color, source, target):
    """One colour (a tuple of bytes) from model `source` to `target` through
    the single-colour exports (RGBtoHSV ...). Returns a tuple (4 for CMYK)."""
    src = _model("source", source, [m for m in MODELS if m != "CMYK_UCR"])
    dst = _model("target", target, [m for m in MODELS if m != "CMYK_UCR"])
    names = {v: k for k, v in MODELS.items()}
    if src == dst:
        raise ValueError("source and target are the same model")
    values = [_int_in("color", v, 0, 255) for v in color]
    if len(values) != (4 if src == 4 else 3):
        raise ValueError("a %s colour has %d components" % (source, 4 if src == 4 else 3))
    record = ffi.new("NadiroColor4*" if src == 4 else "NadiroColor3*", [values])
    result = getattr(lib, "%sto%s" % (names[src], names[dst]))(record)
    if dst == 4:
        return tuple((result >> shift) & 255 for shift in (0, 8, 16, 24))
    return tuple(result.v)


def version():
    """The library's version string, 'Version 13.10'."""
    buffer = ffi.new("char[32]")
    lib.GetNadiroVersion(buffer, 32)
    return ffi.string(buffer).decode()
