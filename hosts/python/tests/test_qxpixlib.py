"""The package against the library's own bytes: every row by a call of its own in C, on a copy."""

import ctypes
import inspect
import os
import re
import sys
import threading
import time
from itertools import product

import numpy as np
import pytest
from numpy.lib.stride_tricks import as_strided, sliding_window_view

import qxpixlib as qx
from qxpixlib._library import kernels, library

C = ctypes.CDLL(os.environ["QXPIXLIB_LIBRARY"])
P, N, U = ctypes.c_void_p, ctypes.c_int32, ctypes.c_uint32
random = np.random.default_rng(1)
TABLE = random.integers(0, 256, 256, np.uint8)


def c(name, *arguments):
    """Numbers as N or U, arrays by their address."""
    assert all(a.flags.c_contiguous for a in arguments if isinstance(a, np.ndarray))
    getattr(C, "qx_" + name)(*(P(a.ctypes.data) if isinstance(a, np.ndarray) else a for a in arguments))


def noise(shape, dtype):
    return random.integers(0, np.iinfo(dtype).max, shape, dtype, endpoint=True)


# ---- how the elements of a picture may lie; each makes noise of a shape, pixels by 4 bytes or a mask by 1 ----


def gapless(shape, dtype):
    return noise(shape, dtype)


def part(shape, dtype):
    return noise((*shape[:-1], shape[-1] + 3), dtype)[..., 1:-2]


def upside_down(shape, dtype):
    return noise(shape, dtype)[::-1] if len(shape) > 1 else noise(shape, dtype)


def every_second_row(shape, dtype):
    return noise((*shape[:-1], 2, shape[-1]), dtype)[..., 0, :]


def other_order_of_rows(shape, dtype):
    return np.moveaxis(noise((*shape[-2:-1], *shape[:-2], *shape[-1:]), dtype), 0, len(shape) - 2)


def one_row_for_all(shape, dtype):
    return np.broadcast_to(noise(shape[-1:], dtype), shape)


def channels(shape, dtype):
    return noise((*shape, 4), np.uint8) if dtype == np.uint32 else noise(shape, dtype)


def bytes_anywhere(shape, dtype):
    """Rows that start at any byte."""
    size = np.dtype(dtype).itemsize
    rows = noise((*shape[:-1], shape[-1] * size + 3), np.uint8)[..., 2:-1]
    return rows if size == 1 else as_strided(rows, (*shape, 4), (*rows.strides[:-1], 4, 1))


LAYOUTS = [gapless, part, upside_down, every_second_row, other_order_of_rows, one_row_for_all, channels,
           bytes_anywhere]
# Pixels of a row, and of all, leave 2 when divided by 4: both, neither, one of them.
SHAPES = [(6,), (7,), (1, 6), (3, 6), (2, 8), (4, 5), (2, 3, 4), (2, 6), (2, 5), (2, 3, 7)]


def numbers(array, dtype=np.uint32):
    """A copy, a pixel as a number."""
    packed = np.ascontiguousarray(array)
    return packed.copy() if packed.dtype == dtype else packed.view(np.uint32)[..., 0].copy()


# ---- functions from lines to lines of one length: the call in Python, and in C for a row ----

LINE_CASES = {
    "argb2ayuv": (lambda a, b, m, out: qx.argb2ayuv(a, out=out), lambda d, a, b, m, n: c("argb2ayuv", d, a, n)),
    "ayuv2argb": (lambda a, b, m, out: qx.ayuv2argb(a, out=out), lambda d, a, b, m, n: c("ayuv2argb", d, a, n)),
    "alpha": (lambda a, b, m, out: qx.alpha(a, out=out), lambda d, a, b, m, n: c("alpha", d, a, n)),
    "mask": (lambda a, b, m, out: qx.mask(a, m, out=out), lambda d, a, b, m, n: c("mask", d, a, m, n)),
    "lin_pix": (lambda a, b, m, out: qx.lin_pix(a, b, 77, out=out),
                lambda d, a, b, m, n: c("lin_pix", d, a, b, U(77), n)),
}
for family, (variant, in_python, in_c) in product(("blend", "lblend", "sblend"), (
    ("", lambda m: {}, lambda m: ()),
    ("_t", lambda m: {"opacity": 255}, lambda m: (U(255),)),
    ("_m", lambda m: {"mask": m}, lambda m: (m,)),
    ("_mt", lambda m: {"mask": m, "opacity": 0}, lambda m: (m, U(0))),
    ("_mlt", lambda m: {"mask": m, "table": TABLE}, lambda m: (m, TABLE, U(256))),
    ("_mlt", lambda m: {"mask": m, "table": bytes(TABLE), "opacity": 99}, lambda m: (m, TABLE, U(99))),
)):
    LINE_CASES[f"{family}{variant} {len(LINE_CASES)}"] = (
        lambda a, b, m, out, family=family, options=in_python: getattr(qx, family)(a, b, out=out, **options(m)),
        lambda d, a, b, m, n, name=family + variant, rest=in_c: c(name, d, a, b, n, *rest(m)),
    )


@pytest.mark.parametrize("case", LINE_CASES)
def test_the_bytes_of_rows_in_c(case):
    in_python, in_c = LINE_CASES[case]
    for layout, shape in product(LAYOUTS, SHAPES):
        a, b, m = layout(shape, np.uint32), layout(shape, np.uint32), layout(shape, np.uint8)
        expected = np.zeros(shape, np.uint32)
        for row in np.ndindex(shape[:-1]):
            in_c(expected[row], numbers(a)[row], numbers(b)[row], numbers(m, np.uint8)[row], N(shape[-1]))
        where = f"{layout.__name__} {shape}"
        new = in_python(a, b, m, None)
        assert new.dtype == a.dtype and new.flags.c_contiguous and np.array_equal(numbers(new), expected), where
        if layout is not one_row_for_all:
            out = layout(shape, np.uint32)
            assert in_python(a, b, m, out) is out and np.array_equal(numbers(out), expected), where
            assert in_python(a, b, m, a) is a and np.array_equal(numbers(a), expected), where


def test_fill():
    for layout, shape in product(LAYOUTS, SHAPES):
        if layout is not one_row_for_all:
            out = layout(shape, np.uint32)
            assert qx.fill(out, 0x81020304) is out and np.all(numbers(out) == 0x81020304)


# ---- functions that change sizes ----

SIZE_CASES = {
    "zoom_in2x1d": (lambda w: w * 2, lambda a, out: qx.zoom_in2x1d(a, out=out),
                    lambda d, a: c("zoom_in2x1d", d, a, N(len(a)))),
    "scale_1d": (lambda w: 11, lambda a, out: qx.scale_1d(a, 11, out=out),
                 lambda d, a: c("scale_1d", d, N(11), a, N(len(a)))),
    "scale_horz": (lambda w: 9, lambda a, out: qx.scale_horz(a, np.int64(9), out=out),
                   lambda d, a: c("scale_1d", d, N(9), a, N(len(a)))),
}


@pytest.mark.parametrize("case", SIZE_CASES)
def test_the_sizes_of_rows_in_c(case):
    out_width, in_python, in_c = SIZE_CASES[case]
    for layout, out_layout, shape in product(LAYOUTS, LAYOUTS, SHAPES):
        a = layout(shape, np.uint32)
        out_shape = (*shape[:-1], out_width(shape[-1]))
        out = (gapless if out_layout is one_row_for_all else out_layout)(out_shape, np.uint32)
        for given, expected in (None, np.zeros(out_shape, np.uint32)), (out, numbers(out)):
            for row in np.ndindex(shape[:-1]):
                in_c(expected[row], numbers(a)[row])
            got = in_python(a, given)
            assert np.array_equal(numbers(got), expected), f"{layout.__name__} {out_layout.__name__} {shape}"


def test_pictures_at_twice_their_size():
    for layout, shape in product(LAYOUTS, [(1, 4), (3, 4), (2, 7), (2, 3, 6)]):
        a = layout(shape, np.uint32)
        *stack, height, width = shape
        out = noise((*stack, 2 * height, 2 * width), np.uint32)
        for given, expected in (None, np.zeros_like(out)), (out, out.copy()):
            for picture in np.ndindex(*stack):
                c("zoom_in2x2d", expected[picture], numbers(a)[picture], N(width), N(height), N(width))
            assert np.array_equal(numbers(qx.zoom_in2x2d(a, out=given)), expected), f"{layout.__name__} {shape}"


def test_pictures_at_a_fraction_of_their_size():
    for src_width, src_height, width, height in product(range(1, 8), range(1, 5), range(1, 9), range(1, 6)):
        layout = LAYOUTS[random.integers(len(LAYOUTS))]
        a = layout((2, src_height, src_width), np.uint32)
        x, y = np.arange(width) * -(-src_width // width), np.arange(height) * -(-src_height // height)
        places = y[:, None] * src_width + x
        if places.max() < src_width * src_height:
            expected = numbers(a).reshape(2, -1)[:, places]
            out = noise(expected.shape, np.uint32)
            assert np.array_equal(numbers(qx.zoom_outNx(a, width, height)), expected)
            assert np.array_equal(qx.zoom_outNx(a, width, height, out=out), expected)
        else:
            with pytest.raises(ValueError, match="^(width|height) .* would read"):
                qx.zoom_outNx(a, width, height)


def test_v210():
    for width, padding, rows in product((2, 4, 6, 46, 48, 50, 96), (0, 3, 16, 128), ((), (1,), (3,), (2, 3))):
        data = noise((*rows, -(-width // 6) * 16 + padding), np.uint8)
        for given in data, data[::-1] if rows else data, np.concatenate([data, data], -1)[..., : data.shape[-1]]:
            planes = qx.v210yuv422p10(given, width)
            assert [p.shape for p in planes] == [(*rows, n) for n in (width, width // 2, width // 2)]
            for row in np.ndindex(rows):
                expected = np.empty(2 * width, np.uint16)
                c("v210yuv422p10", expected, np.ascontiguousarray(given[row]), N(width))
                assert np.array_equal(np.concatenate([p[row] for p in planes]), expected)


# ---- what is refused ----

row, frame, rgba = np.zeros(8, np.uint32), np.zeros((6, 8), np.uint32), np.zeros((6, 8, 4), np.uint8)
coverage = np.zeros((6, 8), np.uint8)
locked = frame.copy()
locked.flags.writeable = False
sliding = sliding_window_view(np.zeros(13, np.uint32), 8, writeable=True)
endless = np.broadcast_to(np.zeros(4, np.uint32), (2**31, 4))

REFUSED = [
    (TypeError, "background .* not list", lambda: qx.blend([1], row)),
    (TypeError, "foreground .* not NoneType", lambda: qx.blend(row, None)),
    (TypeError, "background .* float64", lambda: qx.blend(row.astype(float), row)),
    (TypeError, "background .* int32", lambda: qx.blend(row.astype(np.int32), row)),
    (TypeError, "src .* >u4", lambda: qx.alpha(row.astype(">u4"))),
    (TypeError, "src .* object", lambda: qx.alpha(row.astype(object))),
    (ValueError, "src .* four channels", lambda: qx.alpha(rgba[..., :3])),
    (ValueError, "src .* four channels", lambda: qx.alpha(np.zeros(4, np.uint8))),
    (ValueError, "src .* bytes of a pixel side by side", lambda: qx.alpha(rgba[..., ::-1])),
    (ValueError, "src .* side by side", lambda: qx.alpha(frame[:, ::2])),
    (ValueError, "src .* side by side", lambda: qx.alpha(frame[:, ::-1])),
    (ValueError, "src .* side by side", lambda: qx.alpha(rgba[:, ::2])),
    (ValueError, "src .* side by side", lambda: qx.alpha(frame.T)),
    (ValueError, "src .* axis", lambda: qx.alpha(np.zeros((), np.uint32))),
    (ValueError, "src is empty", lambda: qx.alpha(frame[:0])),
    (ValueError, "src is empty", lambda: qx.alpha(rgba[:, :0])),
    (ValueError, "src has more than 2147483647 rows", lambda: qx.alpha(endless)),
    (ValueError, r"foreground .*\(6, 8\).*\(8,\)", lambda: qx.sblend(frame, row)),
    (ValueError, r"foreground .*\(6, 8\).*\(1, 8\)", lambda: qx.sblend(frame, frame[:1])),
    (ValueError, "src2 .* shape", lambda: qx.lin_pix(frame, row, 1)),
    *[(error, "(opacity|weight) has to be", lambda f=f, n=n: f(n))
      for f in (lambda n: qx.sblend(row, row, opacity=n), lambda n: qx.lin_pix(row, row, n))
      for error, n in ((TypeError, True), (TypeError, np.True_), (TypeError, 1.0), (TypeError, "1"), (TypeError, None),
                       (TypeError, row), (ValueError, -1), (ValueError, 257), (ValueError, 2**32), (ValueError, 2**64))],
    (ValueError, "mask .* shape", lambda: qx.sblend(frame, frame, mask=coverage[:, :7])),
    (ValueError, "mask .* shape", lambda: qx.sblend(frame, frame, mask=np.zeros((6, 8, 1), np.uint8))),
    (ValueError, "mask .* side by side", lambda: qx.mask(frame, rgba[..., 3])),
    (TypeError, "mask .* bool", lambda: qx.mask(frame, coverage.astype(bool))),
    (TypeError, "mask .* not int", lambda: qx.sblend(frame, frame, mask=255)),
    (ValueError, "table .* 256", lambda: qx.sblend(frame, frame, mask=coverage, table=TABLE[:255])),
    (ValueError, "table .* 256", lambda: qx.sblend(frame, frame, mask=coverage, table=bytes(257))),
    (ValueError, "table is empty", lambda: qx.sblend(frame, frame, mask=coverage, table=b"")),
    (TypeError, "table .* int64", lambda: qx.blend(frame, frame, mask=coverage, table=TABLE.astype(np.int64))),
    (TypeError, "table .* not list", lambda: qx.sblend(frame, frame, mask=coverage, table=list(TABLE))),
    (ValueError, "table .* mask", lambda: qx.sblend(frame, frame, table=TABLE)),
    (ValueError, "out is read-only", lambda: qx.alpha(frame, out=locked)),
    (ValueError, "out is read-only", lambda: qx.fill(locked, 1)),
    (ValueError, "out .* shape", lambda: qx.alpha(frame, out=frame[1:])),
    (TypeError, "out .* not NoneType", lambda: qx.fill(None, 1)),
    (ValueError, "value has to be 0 to 4294967295", lambda: qx.fill(frame, -1)),
    (ValueError, "out has rows that overlap each other", lambda: qx.fill(sliding, 1)),
    (ValueError, "out has rows that overlap each other",
     lambda: qx.fill(as_strided(np.zeros(32, np.uint32), (2, 3, 4), (32, 16, 4)), 1)),
    (ValueError, "out overlaps src without", lambda: qx.alpha(frame[1:], out=frame[:-1])),
    (ValueError, "out overlaps src without", lambda: qx.alpha(frame[:3], out=frame[4:1:-1])),
    (ValueError, "out overlaps src without", lambda: qx.alpha(frame, out=frame[::-1])),
    (ValueError, "out overlaps foreground", lambda: qx.lblend(rgba[:3], frame[1:4], out=frame[:3])),
    (ValueError, "out overlaps mask", lambda: qx.mask(row[:2], row.view(np.uint8)[6:8], out=row[:2])),
    (ValueError, "out overlaps table", lambda: qx.sblend(rgba[0], rgba[0], mask=coverage[0],
                                                         table=(t := TABLE.copy()), out=t[:32].reshape(8, 4))),
    (ValueError, "out overlaps src$", lambda: qx.zoom_in2x1d(row[:4], out=row)),
    (ValueError, "src .* 4 to", lambda: qx.zoom_in2x1d(frame[:, :3])),
    (ValueError, "src .* 4 to", lambda: qx.zoom_in2x2d(frame[:, :3])),
    (ValueError, "src .* picture", lambda: qx.zoom_in2x2d(row)),
    (ValueError, "out .* gaps", lambda: qx.zoom_in2x2d(frame[:2, :4], out=np.zeros((4, 9), np.uint32)[:, :8])),
    (ValueError, "src .* 2 to 8388607", lambda: qx.scale_1d(row[:1], 8)),
    (ValueError, "src .* 2 to 8388607", lambda: qx.scale_horz(np.zeros((1, 8388608), np.uint32), 8)),
    (ValueError, "count .* 4 to", lambda: qx.scale_1d(row, 3)),
    (ValueError, "width .* 4 to", lambda: qx.scale_horz(row, 2**32 + 8)),
    (ValueError, "width .* 1 to", lambda: qx.zoom_outNx(frame, 0, 1)),
    (ValueError, "height .* 1 to", lambda: qx.zoom_outNx(frame, 1, -1)),
    (TypeError, "height .* float", lambda: qx.zoom_outNx(frame, 1, 1.0)),
    (ValueError, "out .* gaps", lambda: qx.zoom_outNx(frame, 4, 3, out=np.zeros((3, 8), np.uint32)[:, :4])),
    (ValueError, "data .* 15 bytes, and needs 16", lambda: qx.v210yuv422p10(np.zeros((2, 15), np.uint8), 2)),
    (ValueError, "width has to be even", lambda: qx.v210yuv422p10(np.zeros(16, np.uint8), 3)),
    (ValueError, "width .* 2 to", lambda: qx.v210yuv422p10(np.zeros(16, np.uint8), 0)),
    (TypeError, "data .* uint32", lambda: qx.v210yuv422p10(frame, 2)),
]


@pytest.mark.parametrize("k", range(len(REFUSED)))
def test_is_refused(k):
    error, words, call = REFUSED[k]
    with pytest.raises(error, match=words) as caught:
        call()
    assert caught.type is error


def test_a_subclass_is_what_its_memory_is():
    class Liar(np.ndarray):
        shape = (2**20,)

    liar = noise(8, np.uint32).view(Liar)
    expected = qx.alpha(np.array(liar))
    assert qx.alpha(liar, out=liar) is liar and np.array_equal(np.asarray(liar), expected)


def test_halves_of_one_picture_do_not_overlap():
    both = noise((6, 16), np.uint32)
    right = both[:, 8:].copy()
    expected = qx.alpha(both[:, :8].copy())
    qx.alpha(both[:, :8], out=both[:, :8])
    assert np.array_equal(both, np.hstack([expected, right]))
    assert np.array_equal(qx.argb2ayuv(both[:, :8], out=both[:, 8:]), qx.argb2ayuv(expected))


def test_any_arguments_at_all():
    """Whatever comes, it is done or refused by name, and no byte outside of `out` changes."""
    canvas = noise(16384, np.uint8)  # of which no array below leaves the middle

    def some_array():
        dtype = random.choice([np.uint32, np.uint32, np.uint8, np.uint8, np.uint16])
        axes, size = random.integers(0, 5), np.dtype(dtype).itemsize
        shape = tuple(random.choice([0, 1, 2, 3, 4, 5, 8], axes, p=[0.02, 0.18, 0.2, 0.1, 0.2, 0.1, 0.2]).tolist())
        strides = list(random.choice([-64, -36, 0, 7, 32, 40, 128], axes))
        if axes and random.random() < 0.9:
            strides[-1] = size
            if dtype == np.uint8 and axes > 1 and random.random() < 0.8:
                shape, strides[-2] = (*shape[:-1], 4), 4
        array = as_strided(canvas[8192 + random.integers(8):][:size].view(dtype), shape, strides)
        if random.random() < 0.1:
            array.flags.writeable = False
        return array

    shared = [some_array() for _ in range(40)]
    functions = [getattr(qx, name) for name in qx.__all__]
    done = 0
    for _ in range(6000):
        function = functions[random.integers(len(functions))]
        names = inspect.signature(function).parameters
        arguments, same = {}, shared[random.integers(40)]
        for name, parameter in names.items():
            if name in ("opacity", "weight", "value", "count", "width", "height"):
                choice = [0, 2, 4, 8, 255, 256, 257, -1, 2**31, 2**32, True, 1.5]
                arguments[name] = choice[random.choice(12, p=[0.05, 0.15, 0.25, 0.15] + [0.05] * 8)]
                if function is qx.scale_1d or function is qx.scale_horz:
                    arguments[name] = min(arguments[name], 300)
            elif parameter.default is None and random.random() < 0.6:
                continue
            elif name == "table":
                arguments[name] = TABLE
            else:
                arguments[name] = same if random.random() < 0.6 else shared[random.integers(40)]
        before, out = canvas.copy(), arguments.get("out")
        try:
            function(**arguments)
            done += 1
        except (TypeError, ValueError) as e:
            assert str(e).split()[0] in names, str(e)
            assert np.array_equal(canvas, before)
            continue
        if out is not None:
            out[...] = 0
            after = canvas.copy()
            canvas[:] = before
            out[...] = 0
            assert np.array_equal(canvas, after), function
        else:
            assert np.array_equal(canvas, before), function
        canvas[:] = before
    assert done > 500


# ---- the library ----


def test_the_library_is_the_package_s_own():
    carried = os.path.dirname(qx.__file__)
    assert carried.startswith(sys.prefix) and os.path.dirname(library._name) == carried


def test_arguments_are_those_of_the_header():
    with open(os.environ["QXPIXLIB_HEADER"]) as file:
        header = re.findall(r"QX_CALL qx_(\w+)\(([^)]*)\);", file.read())
    types = {"int32_t": ctypes.c_int32, "uint32_t": ctypes.c_uint32}
    declared = {
        name: [P if "*" in argument else types[argument.split()[0]] for argument in arguments.split(",")]
        for name, arguments in header
        if arguments != "void"
    }
    assert declared == {name: function.argtypes for name, function in kernels.items()}


def test_other_threads_run_during_a_call():
    picture, go, ran = np.zeros(2**22, np.uint32), threading.Event(), threading.Event()
    other = threading.Thread(target=lambda: (go.wait(), ran.set()))
    other.start()
    interval = sys.getswitchinterval()
    sys.setswitchinterval(60)  # a thread that holds on to the interpreter would keep it for so long
    try:
        go.set()
        end = time.monotonic() + 20
        while not ran.is_set() and time.monotonic() < end:
            qx.fill(picture, 1)
        assert ran.is_set()
    finally:
        sys.setswitchinterval(interval)
        other.join()
