"""The functions of the library, on arrays: the checks that each needs, and its call."""

from __future__ import annotations  # help() shows them as they are written

from typing import Any

import numpy as np
import numpy.typing as npt

from ._library import kernels
from ._lines import (COUNT, INT32_MAX, Lines, by_lines, by_rows, destination, number, octets, packed, picture,
                     pictures_without_gaps, pixel_stride, pixels, result, table_of)

Bytes = npt.NDArray[np.uint8]
Pixels = npt.NDArray[np.uint32] | Bytes
Samples = npt.NDArray[np.uint16]

# ---- frame ----


def fill(out: Pixels, value: int) -> Pixels:
    """Writes one 32-bit value, 0 to 0xFFFFFFFF, into every pixel of `out`, and returns it.

    >>> import numpy as np, qxpixlib as qx
    >>> [hex(px) for px in qx.fill(np.empty(2, np.uint32), 0x80FF0000)]  # half-transparent red
    ['0x80ff0000', '0x80ff0000']
    """
    dst = destination(out)
    by_lines(kernels["fill"], dst, number("value", value, 0, 2**32 - 1), COUNT)
    return out


# ---- conversion ----


def _converted(name: str, src: Any, out: Any) -> Pixels:
    line = pixels("src", src)
    dst = result(out, line, line.shape, same=(line,))
    by_lines(kernels[name], dst, line, COUNT)
    return dst.given


def argb2ayuv(src: Pixels, *, out: Pixels | None = None) -> Pixels:
    """ARGB to AYUV by ITU-R BT.601 in studio range, bytes U, Y, V, A; alpha unchanged.

    >>> import numpy as np, qxpixlib as qx
    >>> hex(qx.argb2ayuv(np.array([0xFF000000], np.uint32))[0])  # opaque black: V 128, Y 16, U 128
    '0xff801080'
    """
    return _converted("argb2ayuv", src, out)


def ayuv2argb(src: Pixels, *, out: Pixels | None = None) -> Pixels:
    """AYUV by ITU-R BT.601 in studio range, bytes U, Y, V, A, to ARGB; alpha unchanged.

    >>> import numpy as np, qxpixlib as qx
    >>> hex(qx.ayuv2argb(np.array([0xFF801080], np.uint32))[0])
    '0xff000000'
    """
    return _converted("ayuv2argb", src, out)


def v210yuv422p10(data: Bytes, width: int) -> tuple[Samples, Samples, Samples]:
    """Unpacks v210 (10-bit 4:2:2), and returns the planes Y, Cb and Cr.

    `data` has a row of bytes for each row of `width` pixels, an even number: (..., height, row_bytes) of uint8, with 16
    bytes a row for every six pixels begun, and any padding after them. The planes are (..., height, width) and twice
    (..., height, width / 2) of uint16, 0 to 1023; they may be views with a row stride.

    >>> import numpy as np, qxpixlib as qx
    >>> words = np.array([[1 << 20 | 2 << 10 | 3, 4 << 10 | 0, 0, 0]], "<u4")  # Cr, Y, Cb; Cb, Y
    >>> qx.v210yuv422p10(words.view(np.uint8), 2)
    (array([[2, 0]], dtype=uint16), array([[3]], dtype=uint16), array([[1]], dtype=uint16))
    """
    lines = octets("data", data)
    width = number("width", width, 2, INT32_MAX)
    if width % 2:
        raise ValueError(f"width has to be even, and is {width}")
    needed = -(-width // 6) * 16
    if lines.shape[-1] < needed:
        raise ValueError(f"data has rows of {lines.shape[-1]} bytes, and needs {needed} for {width} pixels")
    # Blocks of six pixels do not depend on each other: all rows are one line, with what pads them.
    rows = lines.array
    if rows.shape[-1] % 16 or not rows.flags.c_contiguous:
        rows = np.ascontiguousarray(rows[..., :needed])
    count = rows.size // 16 * 6
    if count > INT32_MAX:
        raise ValueError(f"data has more than {INT32_MAX} pixels")
    samples = np.empty(2 * count, np.uint16)
    kernels["v210yuv422p10"](samples.ctypes.data, rows.ctypes.data, count)
    luma = samples[:count].reshape(*rows.shape[:-1], -1)
    cb, cr = samples[count:].reshape(2, *rows.shape[:-1], -1)
    return luma[..., :width], cb[..., : width // 2], cr[..., : width // 2]


# ---- blending ----


def _composite(family: str, background: Any, foreground: Any, opacity: Any, mask: Any, table: Any,
               out: Any) -> Pixels:
    bg = pixels("background", background)
    fg = pixels("foreground", foreground, bg.shape)
    opacity = number("opacity", opacity, 0, 256)
    matte = None if mask is None else octets("mask", mask, bg.shape)
    lut = None if table is None else table_of("table", table)
    dst = result(out, bg, bg.shape, same=(bg, fg), apart=[w for w in (matte, lut) if w is not None])

    weights: tuple[Any, ...]
    if lut is not None:
        if matte is None:
            raise ValueError("table is given without the mask that it is for")
        variant, weights = "_mlt", (matte, lut.address, opacity)
    else:
        variant, weights = ("", ()) if matte is None else ("_m", (matte,))
        if opacity < 256:
            variant, weights = (variant or "_") + "t", weights + (opacity,)
    by_lines(kernels[family + variant], dst, bg, fg, COUNT, *weights, last_two=True)
    return dst.given


def blend(background: Pixels, foreground: Pixels, *, opacity: int = 256, mask: Bytes | None = None,
          table: Bytes | bytes | None = None, out: Pixels | None = None) -> Pixels:
    """Lays `foreground` over `background`, both of straight alpha; the result is premultiplied.

    The foreground's alpha is weighted by `opacity`, 0 to 256 for full, and by `mask`, of the picture's shape in uint8,
    seen through `table`, of 256 bytes. `out` may be either picture. Where a row's pixels leave 2 when divided by 4, the
    last but one blends the last foreground pixel, as in C.

    >>> import numpy as np, qxpixlib as qx
    >>> hex(qx.blend(np.array([0xFF000000], np.uint32), np.array([0x80FFFFFF], np.uint32))[0])
    '0xfe7f7f7f'
    """
    return _composite("blend", background, foreground, opacity, mask, table, out)


def lblend(background: Pixels, foreground: Pixels, *, opacity: int = 256, mask: Bytes | None = None,
           table: Bytes | bytes | None = None, out: Pixels | None = None) -> Pixels:
    """Mixes the colours of `background` and `foreground` by the foreground's alpha alone, and adds the alphas.

    The arguments are those of blend: `opacity` of 0 to 256, `mask` of the picture's shape, `table` of 256 bytes.

    >>> import numpy as np, qxpixlib as qx
    >>> hex(qx.lblend(np.array([0xFF000000], np.uint32), np.array([0x80FFFFFF], np.uint32))[0])
    '0xff7f7f7f'
    """
    return _composite("lblend", background, foreground, opacity, mask, table, out)


def sblend(background: Pixels, foreground: Pixels, *, opacity: int = 256, mask: Bytes | None = None,
           table: Bytes | bytes | None = None, out: Pixels | None = None) -> Pixels:
    """Lays `foreground` over `background`, both of straight alpha; the result has straight alpha too.

    The arguments are those of blend: `opacity` of 0 to 256, `mask` of the picture's shape, `table` of 256 bytes.

    >>> import numpy as np, qxpixlib as qx
    >>> frame = np.full((1080, 1920), 0xFF000000, np.uint32)
    >>> title = np.full((200, 400), 0x80FFFFFF, np.uint32)
    >>> part = frame[-250:-50, 100:500]
    >>> hex(qx.sblend(part, title, opacity=128, out=part)[0, 0])
    '0xfe3f3f3f'
    """
    return _composite("sblend", background, foreground, opacity, mask, table, out)


# ---- alpha and mask ----


def alpha(src: Pixels, *, out: Pixels | None = None) -> Pixels:
    """The alpha channel as a grey picture: all four bytes of a pixel are its alpha.

    >>> import numpy as np, qxpixlib as qx
    >>> hex(qx.alpha(np.array([0x40123456], np.uint32))[0])
    '0x40404040'
    """
    return _converted("alpha", src, out)


def mask(src: Pixels, mask: Bytes, *, out: Pixels | None = None) -> Pixels:
    """Scales alpha by `mask`, uint8 of the picture's shape: alpha * mask / 256. `out` must not overlap the mask.

    >>> import numpy as np, qxpixlib as qx
    >>> hex(qx.mask(np.array([0xFF123456], np.uint32), np.array([128], np.uint8))[0])
    '0x7f123456'
    """
    line = pixels("src", src)
    matte = octets("mask", mask, line.shape)
    dst = result(out, line, line.shape, same=(line,), apart=(matte,))
    by_lines(kernels["mask"], dst, line, matte, COUNT)
    return dst.given


# ---- interpolation, zoom, scaling ----


def lin_pix(src1: Pixels, src2: Pixels, weight: int, *, out: Pixels | None = None) -> Pixels:
    """Mixes two pictures: src1 * weight / 256 + src2 * (256 - weight) / 256 for every byte, `weight` 0 to 256.

    >>> import numpy as np, qxpixlib as qx
    >>> hex(qx.lin_pix(np.array([0xFF808080], np.uint32), np.array([0xFF000000], np.uint32), 64)[0])
    '0xfe202020'
    """
    first = pixels("src1", src1)
    second = pixels("src2", src2, first.shape)
    weight = number("weight", weight, 0, 256)
    dst = result(out, first, first.shape, same=(first, second))
    by_lines(kernels["lin_pix"], dst, first, second, weight, COUNT)
    return dst.given


def _has_rows(lines: Lines, low: int, high: int) -> None:
    if not low <= lines.shape[-1] <= high:
        raise ValueError(f"src has to have rows of {low} to {high} pixels, and has them of {lines.shape[-1]}")


def zoom_in2x1d(src: Pixels, *, out: Pixels | None = None) -> Pixels:
    """Doubles every row: (..., width) pixels become (..., 2 * width).

    Works on whole groups of four source pixels, so that a width below 4 is refused; of the last width % 4, the outputs
    are 0 in a new array and stay as they were in `out`, which must not overlap the source.

    >>> import numpy as np, qxpixlib as qx
    >>> qx.zoom_in2x1d(np.array([0, 2, 4, 8], np.uint32))
    array([0, 0, 1, 2, 3, 4, 6, 8], dtype=uint32)
    """
    line = pixels("src", src)
    _has_rows(line, 4, INT32_MAX // 2)
    width = line.shape[-1]
    dst = result(out, line, line.shape[:-1] + (2 * width,), apart=(line,), new=np.zeros)
    by_rows(kernels["zoom_in2x1d"], dst, line, width)
    return dst.given


def _gapless_out(dst: Lines) -> None:
    if not pictures_without_gaps(dst):
        raise ValueError(f"out has to be without gaps between its rows; its strides are {dst.array.strides}")


def zoom_in2x2d(src: Pixels, *, out: Pixels | None = None) -> Pixels:
    """Doubles a picture: (..., height, width) pixels become (..., 2 * height, 2 * width).

    Even rows are those of zoom_in2x1d, odd rows the averages between them. `out` is without gaps between rows, and must
    not overlap the source.

    >>> import numpy as np, qxpixlib as qx
    >>> qx.zoom_in2x2d(np.array([[0, 0, 0, 0], [8, 8, 8, 8]], np.uint32))[:, 0]
    array([0, 4, 8, 8], dtype=uint32)
    """
    source = picture("src", src)
    _has_rows(source, 4, INT32_MAX // 2)
    *stack, height, width = source.shape
    dst = result(out, source, (*stack, 2 * height, 2 * width), apart=(source,), new=np.zeros)
    _gapless_out(dst)
    stride = pixel_stride(source)
    if stride is None:
        source, stride = packed(source), width
    by_rows(kernels["zoom_in2x2d"], dst, source, width, height, stride, inner_axes=2)
    return dst.given


def _prepared_to_scale(src: Any, name: str, count: Any, out: Any) -> tuple[Lines, Lines]:
    line = pixels("src", src)
    _has_rows(line, 2, 8388607)
    count = number(name, count, 4, INT32_MAX)
    return result(out, line, line.shape[:-1] + (count,), apart=(line,), new=np.zeros), line


def scale_1d(src: Pixels, count: int, *, out: Pixels | None = None) -> Pixels:
    """Resamples every row to `count` pixels, 4 at least: (..., width) pixels become (..., count).

    Makes whole groups of four: the last count % 4 are 0 in a new array and stay as they were in `out`, which must not
    overlap the source. A row has 2 to 8388607 pixels.

    >>> import numpy as np, qxpixlib as qx
    >>> qx.scale_1d(np.array([0, 100, 200], np.uint32), 4)
    array([  0,  99, 132, 199], dtype=uint32)
    """
    dst, line = _prepared_to_scale(src, "count", count, out)
    by_rows(kernels["scale_1d"], dst, dst.shape[-1], line, line.shape[-1])
    return dst.given


def scale_horz(src: Pixels, width: int, *, out: Pixels | None = None) -> Pixels:
    """The same as scale_1d, faster for pictures: (..., height, any) pixels become (..., height, width).

    >>> import numpy as np, qxpixlib as qx
    >>> qx.scale_horz(np.zeros((1080, 1920), np.uint32), 1280).shape
    (1080, 1280)
    """
    dst, line = _prepared_to_scale(src, "width", width, out)
    dst_stride, src_stride = pixel_stride(dst), pixel_stride(line)
    height = line.shape[-2] if len(line.shape) > 1 else 1
    if dst_stride is None or src_stride is None:
        dst_stride, src_stride, height, inner_axes = 0, 0, 1, 1
    else:
        inner_axes = 2
    by_rows(kernels["scale_horz"], dst, dst.shape[-1], dst_stride, line, line.shape[-1], height, src_stride,
            inner_axes=inner_axes)
    return dst.given


def zoom_outNx(src: Pixels, width: int, height: int, *, out: Pixels | None = None) -> Pixels:
    """Shrinks a picture to `width` x `height` pixels by whole factors without a filter.

    The pixel x, y is the source's x * fx, y * fy, the factors being rounded up. Sizes that lead below the source are
    refused; with those that lead to the right of it, the last columns come from the next row. `out` is without gaps
    between rows, and must not overlap the source.

    >>> import numpy as np, qxpixlib as qx
    >>> qx.zoom_outNx(np.arange(8, dtype=np.uint32).reshape(2, 4), 2, 1)
    array([[0, 2]], dtype=uint32)
    """
    source = picture("src", src)
    width, height = number("width", width, 1, INT32_MAX), number("height", height, 1, INT32_MAX)
    *stack, src_height, src_width = source.shape
    last_x, last_y = -(-src_width // width) * (width - 1), -(-src_height // height) * (height - 1)
    if last_y >= src_height:
        raise ValueError(f"height {height} would read row {last_y} of a source of {src_height}")
    if last_y * src_width + last_x >= src_height * src_width:
        raise ValueError(f"width {width} would read column {last_x} of {src_width} in a last row, below the source")
    dst = result(out, source, (*stack, height, width), apart=(source,))
    _gapless_out(dst)
    if not pictures_without_gaps(source):
        source = packed(source)
    by_rows(kernels["zoom_outNx"], dst, width, height, source, src_width, src_height, inner_axes=2)
    return dst.given
