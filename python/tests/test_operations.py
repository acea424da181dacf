"""Every family on arrays and Pillow pictures, checked against other paths
through the library or against what the operation must do."""
import os
import subprocess
import sys

import numpy as np
import pytest
from PIL import Image as PILImage

import nadiro
from conftest import SOURCE_TREE

OPERATIONS = [  # (call, keyword arguments, grey input)
    (nadiro.dither, dict(method="fs", bits=1), True),
    (nadiro.dither, dict(method="jjn", bits=4, accumulate=True), False),
    (nadiro.dither, dict(method="sierra", bits=8), False),
    (nadiro.dither_ordered, dict(matrix=6), True),
    (nadiro.brightness_contrast, dict(brightness=20, contrast=-10), True),
    (nadiro.hue_saturation, dict(hue=40, saturation=10, hue_range=(300, 60)), False),
    (nadiro.cmyk_levels, dict(cyan=50, black=-20), False),
    (nadiro.desaturate, dict(), False),
    (nadiro.gamma, dict(red=150, blue=60), False),
    (nadiro.replace_color, dict(color=(255, 0, 0), tolerance=(90, 90, 90), hue=30), False),
    (nadiro.convolve, dict(filter="gaussian", size=5), False),
    (nadiro.convolve, dict(kernel=[[0, -1, 0], [-1, 5, -1], [0, -1, 0]], luma=True), False),
]


@pytest.mark.parametrize("call, kwargs, grey", OPERATIONS)
def test_arrays_pillow_and_images_give_the_same_pixels(call, kwargs, grey, rgb, ramp):
    source = ramp if grey else rgb
    from_array = call(source, **kwargs)
    from_pil = call(PILImage.fromarray(source), **kwargs)
    from_image = call(nadiro.Image.from_array(source), **kwargs)
    assert isinstance(from_array, np.ndarray) and isinstance(from_pil, PILImage.Image)
    assert from_array.shape[:2] == source.shape[:2]
    assert np.array_equal(from_image.to_array(), from_array)
    if from_pil.mode != "P":  # RGB, L, or 1 (indices 0 and 1 as False and True)
        want = from_array.astype(bool) if from_pil.mode == "1" else from_array
        assert np.array_equal(np.asarray(from_pil), want)


def test_identities(rgb):
    assert np.array_equal(nadiro.gamma(rgb), rgb)
    grey = nadiro.desaturate(rgb)
    assert (grey[..., 0] == grey[..., 1]).all() and (grey[..., 1] == grey[..., 2]).all()
    for model in ("RGB", "CMY", "CMYK"):
        assert np.array_equal(nadiro.merge_channels(nadiro.split_channels(rgb, model), model), rgb)
    assert all(np.array_equal(c, rgb[..., i]) for i, c in enumerate(nadiro.split_channels(rgb)))


@pytest.mark.parametrize("source, target", [("RGB", "HSV"), ("RGB", "CMYK"), ("HSV", "LAB"),
                                            ("CMYK", "YIQ"), ("LAB", "XYZ"), ("YUV", "HSI")])
def test_buffer_conversion_agrees_with_single_colours(source, target, rgb):
    pixels = rgb if source != "CMYK" else np.dstack([rgb, rgb[..., :1]])
    out = nadiro.convert(pixels, source, target)
    for y, x in [(0, 0), (4, 7), (8, 12)]:
        assert tuple(out[y, x]) == nadiro.convert_color(pixels[y, x], source, target)


BAD_ARGUMENTS = [
    (nadiro.dither, dict(method="floyd")), (nadiro.dither, dict(bits=2)),
    (nadiro.dither, dict(method="sharp", bits=8)), (nadiro.dither, dict(method="sa", accumulate=True)),
    (nadiro.dither_ordered, dict(matrix=7)), (nadiro.brightness_contrast, dict(brightness=101)),
    (nadiro.hue_saturation, dict(hue=-181)), (nadiro.hue_saturation, dict(hue_range=(20, 20))),
    (nadiro.cmyk_levels, dict(yellow=1.5)), (nadiro.gamma, dict(green=9)),
    (nadiro.replace_color, dict(color=(0, 0, 256))), (nadiro.convolve, dict(filter="gaussian", size=7)),
    (nadiro.convolve, dict(kernel=np.full((3, 3), 20))), (nadiro.convolve, dict(kernel=np.ones((4, 4), int))),
    (nadiro.split_channels, dict(model="RGBA")), (nadiro.desaturate, dict()),
]


@pytest.mark.parametrize("call, kwargs", BAD_ARGUMENTS)
def test_bad_arguments_raise_before_the_library_runs(call, kwargs, rgb, ramp, monkeypatch):
    class NoLibrary:
        def __getattr__(self, name):
            raise AssertionError("library called: " + name)
    monkeypatch.setattr(nadiro._ops, "lib", NoLibrary())
    if call is nadiro.replace_color:
        kwargs.setdefault("color", (0, 0, 0))
    # Each case is wrong in one way only: the ordered dithering gets its grey
    # picture, desaturation (24 bits only) the grey one as its fault.
    source = ramp if call in (nadiro.dither_ordered, nadiro.desaturate) else rgb
    with pytest.raises(ValueError):
        call(source, **kwargs)


def test_library_refusals_carry_code_and_kind(rgb):
    hsv = nadiro.Image(nadiro.raw.ConvertDIBColorSpace(nadiro.Image.from_array(rgb).handle, 1, 6, 0,
                                                       nadiro.ffi.NULL))
    with pytest.raises(nadiro.NadiroError, match="code 2") as split:
        nadiro.split_channels(hsv, "CMYK")
    assert (split.value.code, split.value.kind) == (2, nadiro.CODE_LAST_ERROR)
    with pytest.raises(nadiro.NadiroError, match="compressed image") as convolution:
        nadiro.convolve(hsv)
    assert (convolution.value.code, convolution.value.kind) == (18, nadiro.CODE_PIXEL)


def test_every_export_is_reachable_raw():
    definition = os.path.join(SOURCE_TREE, "src", "exports", "NadiroUser.def")
    if not os.path.exists(definition):
        pytest.skip("not run from the source tree")
    with open(definition) as f:
        names = [line.split("@")[0].strip() for line in f.read().split("EXPORTS")[1].splitlines()
                 if line.strip() and not line.strip().startswith(";")]
    assert len(names) == 97
    assert [n for n in names if not callable(getattr(nadiro.raw, n, None))] == []
    assert nadiro.version() == "Version 13.10"


def test_declarations_match_the_headers():
    script = os.path.join(SOURCE_TREE, "python", "gen_cdef.py")
    result = subprocess.run([sys.executable, script, "--check"], capture_output=True, text=True)
    assert result.returncode == 0, result.stderr
