"""A title, and how it is laid over a frame of any pixel format.

Only the title's box, the part of the frame in which it shows, goes through the kernels and so through 8-bit BGRA; and of
that, only what the title covers comes back. The rest of a frame keeps its bytes.
"""

from __future__ import annotations

from functools import lru_cache
from typing import Any, Iterator

import av
import numpy as np
import numpy.typing as npt

import qxpixlib

from . import JobError

Bytes = npt.NDArray[np.uint8]
Picture = npt.NDArray[np.uint32]

FAMILIES = {"blend": qxpixlib.blend, "lblend": qxpixlib.lblend, "sblend": qxpixlib.sblend}
_BLOCK = 16  # pixels in each direction that every subsampling of colour divides
# The same bytes on every processor, so that it makes no difference which machine composes a segment.
_SCALE_FLAGS = "flags=bicubic+accurate_rnd+full_chroma_int+full_chroma_inp+bitexact"


def load_png(path: str) -> Picture:
    try:
        with av.open(path) as file:
            if file.streams and file.streams[0].codec_context.name in ("png", "apng"):
                frame = next(file.decode(video=0))
                return np.ascontiguousarray(frame.reformat(format="bgra").to_ndarray()).view(np.uint32)[..., 0]
    except (av.error.FFmpegError, StopIteration) as error:
        raise JobError(f"{path} cannot be read as a PNG: {error}") from error
    raise JobError(f"{path} is no PNG")


def opacity_of(n: int, frames: int, opacity: int, fade_in: int, fade_out: int) -> int:
    """Of frame number n; the fades are titler's."""
    left = frames - n
    return min(
        opacity * (n + 1) // (fade_in + 1) if n < fade_in else opacity,
        opacity * left // (fade_out + 1) if left <= fade_out else opacity,
    )


class Title:
    """A title, ready to be laid over the frames of a video of one pixel format, matrix and range."""

    def __init__(self, picture: Picture, matte: Picture | None, family: str, source_format: str, pixel_format: str,
                 matrix: str, colour_range: str) -> None:
        self._blend = FAMILIES[family]
        coverage = None if matte is None else (matte >> 8 & 255).astype(np.uint8)  # green, as in titler
        shown = picture >> 24 != 0 if coverage is None else (picture >> 24 != 0) & (coverage != 0)
        if not shown.any():
            raise JobError("the title shows nowhere: it is transparent, or its matte is black, all over")
        self._rows, self._columns = _blocks(shown.any(axis=1)), _blocks(shown.any(axis=0))
        self._covered = [_at_plane(shown[self._rows, self._columns], *steps) for steps in _plane_steps(pixel_format)]
        self._picture = picture[self._rows, self._columns]
        self._coverage = None if coverage is None else coverage[self._rows, self._columns]

        height, width = self._picture.shape
        self._box = av.VideoFrame(width, height, pixel_format)
        to_bgra, from_bgra = (
            "" if self._box.format.is_rgb else f"{side}_color_matrix={matrix}:{side}_range={colour_range}:"
            for side in ("in", "out")
        )
        self._to_bgra = _scaler(width, height, pixel_format, "bgra", to_bgra)
        self._from_bgra = _scaler(width, height, "bgra", pixel_format, from_bgra)
        self._converter = None
        if source_format != pixel_format:
            self._converter = _scaler(picture.shape[1], picture.shape[0], source_format, pixel_format,
                                      f"in_color_matrix={matrix}:in_range={colour_range}:" + from_bgra)

    def laid_over(self, frame: Any, opacity: int) -> Any:
        """A frame of the pixel format, which shares nothing with the one that is given."""
        if self._converter is None:
            titled = av.VideoFrame(frame.width, frame.height, frame.format.name)
            for dst, src in zip(_planes(titled), _planes(frame)):
                dst[:] = src
        else:
            self._converter.push(frame)
            titled = self._converter.pull()
        if opacity:
            self._compose(titled, opacity)
        return titled

    def _compose(self, frame: Any, opacity: int) -> None:
        for dst, src in zip(_planes(self._box), self._planes_in_box(frame)):
            dst[:] = src
        self._to_bgra.push(self._box)
        pixels = self._to_bgra.pull().to_ndarray().view(np.uint32)[..., 0]
        width = pixels.shape[1]
        # Where two pixels are left of four, the kernels blend one with its neighbour's foreground.
        for columns in (slice(0, width - 1), slice(width - 1, width)) if width % 4 == 2 else (slice(0, width),):
            part = pixels[:, columns]
            self._blend(part, self._picture[:, columns], opacity=opacity, out=part,
                        mask=None if self._coverage is None else self._coverage[:, columns])
        self._from_bgra.push(av.VideoFrame.from_ndarray(pixels.view(np.uint8).reshape(*pixels.shape, 4), "bgra"))
        for dst, src, covered in zip(self._planes_in_box(frame), _planes(self._from_bgra.pull()), self._covered):
            np.copyto(dst, src, where=covered)

    def _planes_in_box(self, frame: Any) -> Iterator[Bytes]:
        for plane, (unit, x_step, y_step) in zip(_planes(frame), _plane_steps(frame.format.name)):
            left, right = self._columns.start // x_step * unit, -(-self._columns.stop // x_step) * unit
            yield plane[self._rows.start // y_step : -(-self._rows.stop // y_step), left:right]


def _blocks(shown: npt.NDArray[np.bool_]) -> slice:
    """From the first to the last that is shown, in whole blocks but at the frame's end."""
    places = np.flatnonzero(shown)
    return slice(int(places[0]) // _BLOCK * _BLOCK, min(-(-(int(places[-1]) + 1) // _BLOCK) * _BLOCK, len(shown)))


def _at_plane(shown: npt.NDArray[np.bool_], unit: int, x_step: int, y_step: int) -> npt.NDArray[np.bool_]:
    """The bytes of a plane that have a part in any pixel that is shown."""
    height, width = shown.shape
    whole = np.pad(shown, ((0, -height % y_step), (0, -width % x_step)))
    parts = whole.reshape(-(-height // y_step), y_step, -1, x_step)
    return np.repeat(np.any(parts, axis=(1, 3)), unit, axis=1)


def _scaler(width: int, height: int, from_format: str, to_format: str, arguments: str) -> Any:
    graph = av.filter.Graph()
    nodes = [graph.add_buffer(width=width, height=height, format=from_format, time_base=1),
             graph.add("scale", arguments + _SCALE_FLAGS), graph.add("format", to_format), graph.add("buffersink")]
    for node, following in zip(nodes, nodes[1:]):
        node.link_to(following)
    graph.configure()
    return graph


@lru_cache
def _plane_steps(pixel_format: str) -> list[tuple[int, int, int]]:
    """For each plane: the bytes of an element, and the pixels in x and in y that share one."""
    side = 64  # such lines have no padding
    planes = av.VideoFrame(side, side, pixel_format).planes
    return [(p.line_size // p.width, side // p.width, side // p.height) for p in planes]


def _planes(frame: Any) -> list[Bytes]:
    """The rows of each plane, without their padding."""
    return [
        np.frombuffer(p, np.uint8).reshape(-1, p.line_size)[: p.height, : p.width * unit]
        for p, (unit, _, _) in zip(frame.planes, _plane_steps(frame.format.name))
    ]
