#!/usr/bin/env python3
"""Lays a title over a background, raw B, G, R, A pictures of one size, with a blending family of the library.

usage: compose.py LIBRARY BACKGROUND.bgra TITLE.bgra WIDTH OUT.bgra [blend|lblend|sblend]
"""
import ctypes
import sys

import numpy as np


def load(path, width):
    return np.fromfile(path, dtype="<u4").reshape(-1, width)


def main(library, background, title, width, out, family="sblend"):
    line = np.ctypeslib.ndpointer(np.uint32, ndim=1, flags="C")
    blend = getattr(ctypes.CDLL(library), "qx_" + family)
    blend.argtypes = [line, line, line, ctypes.c_int32]
    blend.restype = None

    bg, fg = load(background, int(width)), load(title, int(width))
    if bg.shape != fg.shape:
        sys.exit("compose.py: the pictures differ in size")
    result = np.empty_like(bg)
    for dst, under, over in zip(result, bg, fg):
        blend(dst, under, over, len(dst))
    result.tofile(out)


if __name__ == "__main__":
    if len(sys.argv) not in (6, 7):
        sys.exit(__doc__)
    main(*sys.argv[1:])
