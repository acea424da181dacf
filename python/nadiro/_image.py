"""Images: numpy arrays and Pillow pictures in and out of the library's blocks."""
import numpy as np

from ._binding import ffi, lib

GREY, RGB, BGR, RGBA = (lib.NADIRO_FORMAT_GREY, lib.NADIRO_FORMAT_RGB, lib.NADIRO_FORMAT_BGR,
                        lib.NADIRO_FORMAT_RGBA)
_CHANNELS = {GREY: 1, RGB: 3, BGR: 3, RGBA: 4}
# Colour-model names and ids, from the header's NADIRO_MODEL_* constants.
MODELS = dict(sorted(((name[len("NADIRO_MODEL_"):], getattr(lib, name)) for name in dir(lib)
                      if name.startswith("NADIRO_MODEL_")), key=lambda item: item[1]))

CODE_IMAGE, CODE_PIXEL, CODE_LAST_ERROR = (lib.NADIRO_CODE_IMAGE, lib.NADIRO_CODE_PIXEL,
                                           lib.NADIRO_CODE_LAST_ERROR)


class NadiroError(RuntimeError):
    """The library refused a call. `code` is the library's code, `kind` which
    list it belongs to (CODE_IMAGE, CODE_PIXEL or CODE_LAST_ERROR), `call`
    the function that failed."""

    def __init__(self, call, code, kind):
        self.call, self.code, self.kind = call, int(code), kind
        text = ffi.string(lib.NadiroStatusText(kind, self.code)).decode()
        if self.code == 0 and kind != CODE_IMAGE:
            text = "image refused (depth not supported)"
        super().__init__("%s failed: %s (code %d)" % (call, text, self.code))


def check_image_status(call, status):
    if status != lib.NADIRO_IMAGE_OK:
        raise NadiroError(call, status, CODE_IMAGE)


def _pil():
    from PIL import Image as PILImage  # imported on demand: Pillow is optional
    return PILImage


def is_pil(obj):
    try:
        return isinstance(obj, _pil().Image)
    except ImportError:
        return False


class Image:
    """One image block of the library, owned by this object: freed by
    close(), by leaving a `with` block, or when the object is collected."""

    def __init__(self, handle):
        if handle == ffi.NULL:
            raise ValueError("null image handle")
        self._handle = ffi.gc(handle, lib.NadiroImageFree)

    @property
    def handle(self):
        """The raw NadiroHandle, for the exports of nadiro.raw."""
        if self._handle is None:
            raise ValueError("image is closed")
        return self._handle

    def close(self):
        if self._handle is not None:
            ffi.release(self._handle)
            self._handle = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    # -- in ----------------------------------------------------------------
    @classmethod
    def from_array(cls, array):
        """An image from an H x W uint8 array (8-bit grey image with a grey
        palette) or H x W x 3 (RGB) / H x W x 4 (RGBA, alpha dropped) array
        (24-bit image). Rows may have any stride and run either way; the
        pixels are copied once, into the library's block."""
        a = np.asarray(array)
        if a.dtype != np.uint8:
            raise ValueError("pixels must be uint8, not %s" % a.dtype)
        if a.ndim == 2:
            fmt = GREY
        elif a.ndim == 3 and a.shape[2] in (3, 4):
            fmt = RGB if a.shape[2] == 3 else RGBA
        else:
            raise ValueError("expected H x W, H x W x 3 or H x W x 4, got %s" % (a.shape,))
        if a.shape[0] < 1 or a.shape[1] < 1 or max(a.shape[:2]) >= 2 ** 31:
            raise ValueError("width and height must be 1 .. 2^31 - 1, got %s" % (a.shape[:2],))
        pixel = _CHANNELS[fmt]
        if a.strides[1] != pixel or (a.ndim == 3 and a.strides[2] != 1):
            a = np.ascontiguousarray(a)  # pixels not packed within a row
        order = lib.NADIRO_TOP_DOWN
        address = a.__array_interface__["data"][0]
        stride = a.strides[0]
        if stride < 0:  # a flipped view: its last row comes first in memory
            address += stride * (a.shape[0] - 1)
            stride, order = -stride, lib.NADIRO_BOTTOM_UP
        stride = max(stride, a.shape[1] * pixel)  # one-row arrays may report 0
        size = stride * (a.shape[0] - 1) + a.shape[1] * pixel
        out = ffi.new("NadiroHandle*")
        check_image_status("NadiroImageCreate", lib.NadiroImageCreate(
            ffi.cast("void*", address), size, a.shape[1], a.shape[0], stride, fmt, order, out))
        return cls(out[0])

    @classmethod
    def from_pil(cls, picture):
        """An image from a Pillow picture: modes L and 1 become 8-bit grey
        (1 as levels 0 and 255), RGB and RGBA 24-bit (alpha dropped); other
        modes are made RGB by Pillow first."""
        if picture.mode in ("1", "L"):
            picture = picture.convert("L")
        elif picture.mode != "RGBA":
            picture = picture.convert("RGB")
        return cls.from_array(np.asarray(picture))

    # -- out ---------------------------------------------------------------
    def info(self):
        """(width, height, bits per pixel, palette entries, colour model id)."""
        info = ffi.new("NadiroImageInfo*")
        check_image_status("NadiroImageGetInfo", lib.NadiroImageGetInfo(self.handle, info))
        return info.width, info.height, info.bitsPerPixel, info.paletteSize, info.model

    @property
    def bits(self):
        return self.info()[2]

    @property
    def model(self):
        """The colour model the pixels hold: 'RGB', 'HSV', ... ."""
        number = self.info()[4]
        return next((name for name, n in MODELS.items() if n == number), None)

    @property
    def palette(self):
        """The colour table as an N x 3 uint8 array (R, G, B); empty for 24 bits."""
        entries = self.info()[3]
        out = np.empty((entries, 3), np.uint8)
        if entries:
            check_image_status("NadiroImageGetPalette", lib.NadiroImageGetPalette(
                self.handle, ffi.from_buffer(out), out.nbytes))
        return out

    def to_array(self):
        """The pixels: H x W uint8 palette indices for 1, 4 and 8-bit images
        (grey levels for grey images), H x W x 3 for 24 bits (the model's
        components in order: R, G, B or H, S, V ...), H x W x 4 for 32 bits."""
        width, height, bits, _, _ = self.info()
        if bits <= 8:
            shape, fmt = (height, width), GREY
        elif bits == 24:
            shape, fmt = (height, width, 3), RGB
        else:
            shape, fmt = (height, width, 4), RGBA
        out = np.empty(shape, np.uint8)
        if out.size:
            check_image_status("NadiroImageGetPixels", lib.NadiroImageGetPixels(
                self.handle, ffi.from_buffer(out), out.nbytes, 0, fmt, lib.NADIRO_TOP_DOWN))
        return out

    def to_pil(self):
        """A Pillow picture: 'RGB' for 24-bit RGB, 'L' for grey palettes, '1'
        for black-and-white 1-bit images, 'P' with the palette otherwise."""
        PILImage = _pil()
        pixels, palette = self.to_array(), self.palette
        if pixels.ndim == 3:
            if self.model != "RGB" or pixels.shape[2] != 3:
                raise ValueError("a %s image has no Pillow mode; use to_array()" % self.model)
            return PILImage.fromarray(pixels, "RGB")
        if len(palette) == 256 and (palette == np.arange(256)[:, None]).all():
            return PILImage.fromarray(pixels, "L")
        if len(palette) == 2 and (palette == [[0, 0, 0], [255, 255, 255]]).all():
            return PILImage.fromarray(pixels.astype(bool))
        picture = PILImage.fromarray(pixels, "P")
        picture.putpalette(palette.tobytes())
        return picture


def as_image(obj):
    """An Image from an Image (as is), a numpy array or a Pillow picture."""
    if isinstance(obj, Image):
        return obj
    if is_pil(obj):
        return Image.from_pil(obj)
    if isinstance(obj, np.ndarray):
        return Image.from_array(obj)
    raise ValueError("expected a numpy array, a Pillow image or a nadiro.Image, got %s"
                     % type(obj).__name__)


def like(template, image):
    """The result in the kind of the caller's input."""
    if isinstance(template, Image):
        return image
    if is_pil(template):
        return image.to_pil()
    return image.to_array()
