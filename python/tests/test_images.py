"""Arrays and Pillow pictures into the library's blocks and back."""
import numpy as np
import pytest
from PIL import Image as PILImage

import nadiro
from nadiro import Image

SHAPES = [(1, 1), (5, 7), (8, 3, 3), (4, 6, 4)]
VIEWS = {
    "contiguous": lambda a: a,
    "flipped rows": lambda a: a[::-1],
    "every other row": lambda a: a[::2],
    "cropped columns": lambda a: a[:, 1:],
    "transposed": lambda a: a.swapaxes(0, 1),
}


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("view", VIEWS)
def test_pixels_come_back_as_given(shape, view):
    base = np.random.default_rng(3).integers(0, 256, (shape[0] * 2 + 1, shape[1] + 1) + shape[2:],
                                             dtype=np.uint8)
    a = VIEWS[view](base)
    with Image.from_array(a) as image:
        out = image.to_array()
        want = a[..., :3] if a.ndim == 3 else a  # alpha is dropped
        assert out.shape == want.shape and (out == want).all()
        assert image.bits == (8 if a.ndim == 2 else 24)


def test_grey_images_carry_a_grey_palette():
    image = Image.from_array(np.zeros((2, 2), np.uint8))
    assert (image.palette == np.arange(256)[:, None].repeat(3, 1)).all()
    assert Image.from_array(np.zeros((2, 2, 3), np.uint8)).palette.shape == (0, 3)


@pytest.mark.parametrize("mode, out_mode", [("RGB", "RGB"), ("L", "L"), ("RGBA", "RGB"),
                                            ("P", "RGB"), ("1", "L"), ("CMYK", "RGB")])
def test_pillow_modes_in_and_out(mode, out_mode):
    picture = PILImage.new("RGB", (5, 3), (200, 100, 50)).convert(mode)
    back = Image.from_pil(picture).to_pil()
    assert back.mode == out_mode and back.size == (5, 3)
    assert np.array_equal(np.asarray(back), np.asarray(picture.convert(out_mode)))


def test_palette_results_become_pillow_palette_pictures(rgb):
    four = nadiro.dither(Image.from_array(rgb), "fs", bits=4)
    picture = four.to_pil()
    assert picture.mode == "P"
    colours = np.asarray(picture.getpalette()[:48], np.uint8).reshape(16, 3)
    assert (colours == four.palette).all()
    assert (np.asarray(picture) == four.to_array()).all()


@pytest.mark.parametrize("bad, message", [
    (np.zeros((3, 3), np.uint16), "uint8"),
    (np.zeros((3, 3, 2), np.uint8), "H x W"),
    (np.zeros((0, 3, 3), np.uint8), "width and height"),
    (np.zeros(5, np.uint8), "H x W"),
    ("picture.png", "numpy array"),
])
def test_bad_pictures_are_refused(bad, message):
    with pytest.raises(ValueError, match=message):
        nadiro.desaturate(bad)


def test_a_closed_image_refuses_use():
    image = Image.from_array(np.zeros((2, 2), np.uint8))
    image.close()
    with pytest.raises(ValueError, match="closed"):
        image.to_array()
