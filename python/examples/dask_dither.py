#!/usr/bin/env python3
"""Dithers every picture of a folder on a Dask cluster.

    python3 dask_dither.py IN_DIR OUT_DIR [--method fs] [--bits 1]
                           [--scheduler tcp://host:8786] [--workers 2]

Each picture is one task: a worker reads it with Pillow, dithers it with
nadiro and writes OUT_DIR/<name>.png. Without --scheduler the script starts
a LocalCluster of --workers processes on this machine; with one it runs the
same tasks on an existing distributed cluster whose workers can import
nadiro and see both folders.
"""
import argparse
import os

PICTURES = (".png", ".jpg", ".jpeg", ".bmp")


def dither_file(source, target, method, bits):
    """Runs on a worker: one picture in, one palette PNG out; returns the target."""
    from PIL import Image
    import nadiro

    with Image.open(source) as picture:
        result = nadiro.dither(picture.convert("RGB"), method, bits=bits)
    result.save(target)
    return target


def dither_folder(client, source_dir, target_dir, method="fs", bits=1):
    """Submits one task per picture of source_dir to `client`; returns the
    written paths in name order once all have finished."""
    os.makedirs(target_dir, exist_ok=True)
    names = sorted(n for n in os.listdir(source_dir) if n.lower().endswith(PICTURES))
    futures = client.map(dither_file,
                         [os.path.join(source_dir, n) for n in names],
                         [os.path.join(target_dir, os.path.splitext(n)[0] + ".png") for n in names],
                         method=method, bits=bits, pure=False)
    return client.gather(futures)


def main():
    from dask.distributed import Client, LocalCluster

    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("source_dir")
    parser.add_argument("target_dir")
    parser.add_argument("--method", default="fs")
    parser.add_argument("--bits", type=int, default=1)
    parser.add_argument("--scheduler", help="address of an existing scheduler")
    parser.add_argument("--workers", type=int, default=2)
    args = parser.parse_args()
    if args.scheduler:
        client = Client(args.scheduler)
    else:
        client = Client(LocalCluster(n_workers=args.workers, threads_per_worker=1,
                                     dashboard_address=None))
    with client:
        for path in dither_folder(client, args.source_dir, args.target_dir, args.method, args.bits):
            print(path)


if __name__ == "__main__":
    main()
