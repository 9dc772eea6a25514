"""Calls the Linux library at random, for the test of the WebAssembly module: usage linux_calls.py LIBRARY CALLS SEED.

Writes a line of JSON with the bytes of an arena, then one for each call: name, arguments (a list of one number is an
offset in the arena) and the SHA-256 of the arena after it. Every call begins with the arena as it was.
"""
import base64
import ctypes
import hashlib
import json
import random
import sys

library = ctypes.CDLL(sys.argv[1])
r = random.Random(int(sys.argv[3]))
ZONE = 4608
start = bytearray(r.randbytes(4 * ZONE))
for i in range(0, 3 * ZONE, 4):  # alphas of 0 and 255 are as frequent as the rest
    start[i] = r.choice((0, 255, start[i], start[i]))
arena = (ctypes.c_uint8 * len(start))()


def zone(k):
    return [k * ZONE + r.randrange(4, 20)]


def count():
    return r.choice((r.randrange(-2, 20), r.randrange(300), r.choice((254, 255, 256, 257, 258, 1000))))


def blend():
    dst, bg, fg, mask = zone(0), zone(1), zone(2), zone(3)
    name = r.choice(("qx_blend", "qx_lblend", "qx_sblend")) + r.choice(("", "_t", "_m", "_mt", "_mlt"))
    variant = name.split("_")[2] if name.count("_") == 2 else ""
    args = [r.choice((dst, dst, bg, fg)), bg, fg, count()]
    if "m" in variant:
        args.append(mask)
    if "l" in variant:
        args.append([mask[0] + 1024])
    if "t" in variant:
        args.append(r.choice((0, 1, 255, 256, 257, -1, r.randrange(257))))
    return name, args


def other():
    dst, a, b, mask = zone(0), zone(1), zone(2), zone(3)
    width, height = r.randrange(1, 17), r.randrange(-1, 7)
    return r.choice((
        ("qx_fill", [dst, r.randrange(2**32), count()]),
        ("qx_argb2ayuv", [r.choice((dst, a)), a, count()]),
        ("qx_ayuv2argb", [r.choice((dst, a)), a, count()]),
        ("qx_v210yuv422p10", [dst, a, count()]),
        ("qx_alpha", [r.choice((dst, a)), a, count()]),
        ("qx_mask", [r.choice((dst, a)), a, mask, count()]),
        ("qx_lin_pix", [r.choice((dst, a, b)), a, b, r.choice((0, 127, 128, 129, 256, -1, r.randrange(256))), count()]),
        ("qx_zoom_in2x1d", [dst, a, r.randrange(-1, 200)]),
        ("qx_zoom_in2x2d", [dst, a, width, height, width + r.randrange(3)]),
        ("qx_scale_1d", [dst, r.randrange(-1, 400), a, r.randrange(-1, 400)]),
        ("qx_scale_horz", [dst, width + 4, width + 5, a, r.randrange(1, 40), height, 40]),
        ("qx_zoom_outNx", [dst, r.randrange(1, 31), r.randrange(1, 21), a, 30, 20]),
    ))


print(json.dumps(base64.b64encode(start).decode()))
for _ in range(int(sys.argv[2])):
    name, args = r.choice((blend, other))()
    ctypes.memmove(arena, bytes(start), len(start))
    values = [ctypes.addressof(arena) + arg[0] if isinstance(arg, list) else arg for arg in args]
    getattr(library, name)(*(ctypes.c_void_p(v) if isinstance(a, list) else ctypes.c_uint32(v % 2**32)
                             for a, v in zip(args, values)))
    print(json.dumps([name, args, hashlib.sha256(bytes(arena)).hexdigest()]))
