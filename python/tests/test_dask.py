"""The Dask example dithers a folder on a LocalCluster of worker processes."""
import os
import sys

import numpy as np
from PIL import Image as PILImage

import nadiro
from conftest import SOURCE_TREE

sys.path.insert(0, os.path.join(SOURCE_TREE, "python", "examples"))
import dask_dither  # noqa: E402


def test_a_folder_dithered_on_a_local_cluster(tmp_path):
    from dask.distributed import Client, LocalCluster

    source, target = tmp_path / "in", tmp_path / "out"
    source.mkdir()
    rng = np.random.default_rng(5)
    pictures = {"a.png": (24, 32), "b.jpg": (17, 9), "c.bmp": (40, 40), "d.png": (1, 5)}
    for name, size in pictures.items():
        PILImage.fromarray(rng.integers(0, 256, size + (3,), dtype=np.uint8)).save(source / name)
    (source / "notes.txt").write_text("not a picture")

    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                      dashboard_address=None) as cluster, Client(cluster) as client:
        written = dask_dither.dither_folder(client, str(source), str(target), "stucki", 4)

    assert [os.path.basename(p) for p in written] == ["a.png", "b.png", "c.png", "d.png"]
    for name in pictures:
        with PILImage.open(source / name) as picture:
            want = nadiro.dither(picture.convert("RGB"), "stucki", bits=4)
        with PILImage.open(target / (os.path.splitext(name)[0] + ".png")) as got:
            assert got.mode == "P" and np.array_equal(np.asarray(got), np.asarray(want))
