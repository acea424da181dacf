"""Loads libNadiroUser through cffi in ABI mode: no compiler at install time.

The declarations are nadiro/_cdef.h, generated from the public C headers
(gen_cdef.py). The library is looked for, in order:
  1. the file named by the environment variable NADIRO_LIBRARY;
  2. a build tree around this package (build/<preset>/libNadiroUser.so of
     the source tree that holds python/);
  3. the system's library search path (an installed libNadiroUser.so.N).
"""
import ctypes.util
import glob
import os

import cffi

SONAME_MAJOR = 13  # libNadiroUser.so.13: the interface this package declares

ffi = cffi.FFI()
with open(os.path.join(os.path.dirname(__file__), "_cdef.h")) as _f:
    ffi.cdef(_f.read())


def _candidates():
    env = os.environ.get("NADIRO_LIBRARY")
    if env:
        yield env
        return
    tree = os.path.normpath(os.path.join(os.path.dirname(__file__), "..", ".."))
    for preset in ("release", "debug", "asan"):
        yield os.path.join(tree, "build", preset, "libNadiroUser.so")
    yield from sorted(glob.glob(os.path.join(tree, "build", "*", "libNadiroUser.so")))
    found = ctypes.util.find_library("NadiroUser")
    if found:
        yield found
    yield "libNadiroUser.so.%d" % SONAME_MAJOR


def _load():
    tried = []
    for path in _candidates():
        if os.path.sep in path and not os.path.exists(path):
            tried.append(path)
            continue
        try:
            return ffi.dlopen(path), path
        except OSError as e:
            tried.append("%s (%s)" % (path, e))
    raise ImportError("libNadiroUser not found; set NADIRO_LIBRARY to its path. Tried: "
                      + "; ".join(tried))


lib, library_path = _load()
