"""From arrays to lines: what may go to the library, where its rows lie, and the calls for all of them."""

import ctypes
import operator
from itertools import repeat
from typing import Any, Callable, Iterable, Iterator, Sequence

import numpy as np
import numpy.typing as npt

INT32_MAX = 2**31 - 1
COUNT = object()  # stands for the pixels of a line among the arguments of by_lines

_UINT8 = np.dtype(np.uint8)
_UINT32 = np.dtype(np.uint32)

Array = npt.NDArray[Any]
Shape = tuple[int, ...]


class Lines:
    """An array that has passed: lines of elements side by side, wherever the lines lie."""

    __slots__ = ("name", "given", "array", "shape", "strides", "size", "bytes", "gapless", "writeable", "address")

    def __init__(self, name: str, given: Array, array: Any, shape: Shape, strides: Shape, size: int):
        """`array` is what is `given`, without what a subclass would say of itself. `shape` and `strides` are those of
        the elements, of `size` bytes each: pixels, or bytes of a mask."""
        if not shape:
            raise ValueError(f"{name} has to have an axis at least, and is a single number")
        if strides[-1] != size and shape[-1] > 1:
            raise ValueError(f"{name} has to have the elements of a row side by side; its strides are {array.strides}")
        flags = array.flags
        self.name = name
        self.given = given
        self.array = array
        self.shape = shape
        self.strides = strides
        self.size = size
        self.bytes: int = array.nbytes
        self.gapless: bool = flags.c_contiguous
        self.writeable: bool = flags.writeable
        if not self.bytes:
            raise ValueError(f"{name} is empty: its shape is {array.shape}")
        if self.bytes > INT32_MAX and max(shape[-2:]) > INT32_MAX:
            raise ValueError(f"{name} has more than {INT32_MAX} rows, or elements in a row")
        self.address: int
        if self.gapless and self.writeable:  # by the buffer in half the time
            self.address = ctypes.addressof(ctypes.c_char.from_buffer(array))
        else:
            self.address = array.ctypes.data

    def addresses(self, inner_axes: int) -> Iterable[int]:
        """Of every row, or of what else the last `inner_axes` axes make up."""
        found: Iterable[int] = (self.address,)
        for count, stride in zip(self.shape[:-inner_axes], self.strides[:-inner_axes]):
            found = _steps(found, count, stride)
        return found

    def bounds(self) -> tuple[int, int]:
        """The first byte, and the one after the last."""
        if self.gapless:
            return self.address, self.address + self.bytes
        first = last = self.address
        for count, stride in zip(self.shape, self.strides):
            if stride > 0:
                last += (count - 1) * stride
            else:
                first += (count - 1) * stride
        return first, last + self.size

    def places(self) -> tuple[int, list[int]]:
        """Equal for two arrays of one shape whose elements are the very same."""
        return self.address, [stride for count, stride in zip(self.shape, self.strides) if count > 1]

    def overlaps_itself(self) -> bool:
        """Whether rows may have bytes in common, as those of a window that slides."""
        extent = self.shape[-1] * self.size
        for stride, count in sorted((abs(s), n) for n, s in zip(self.shape[:-1], self.strides) if n > 1):
            if stride < extent:
                return True
            extent += (count - 1) * stride
        return False


def _steps(starts: Iterable[int], count: int, stride: int) -> Iterator[int]:
    for start in starts:
        yield from range(start, start + count * stride, stride) if stride else repeat(start, count)


# ---- arguments ----


def number(name: str, value: Any, low: int, high: int) -> int:
    if type(value) is not int:
        if isinstance(value, (bool, np.bool_)) or not hasattr(value, "__index__"):
            raise TypeError(f"{name} has to be a whole number, not {type(value).__name__}")
        try:
            value = operator.index(value)
        except TypeError as e:  # an array, of more than a whole number
            raise TypeError(f"{name} has to be a whole number: {e}") from None
    if not low <= value <= high:
        raise ValueError(f"{name} has to be {low} to {high}, and is {value}")
    return int(value)


def _base(name: str, given: Any) -> Array:
    if not isinstance(given, np.ndarray):
        raise TypeError(f"{name} has to be a NumPy array, not {type(given).__name__}")
    return given if type(given) is np.ndarray else np.asarray(given)


def pixels(name: str, given: Any, shape: Shape | None = None) -> Lines:
    """Pixels of four bytes: uint32, or uint8 with the four channels on the last axis."""
    array = _base(name, given)
    own, strides = array.shape, array.strides
    kind = array.dtype
    if kind is not _UINT32 and kind == _UINT8:
        if len(own) < 2 or own[-1] != 4:
            raise ValueError(f"{name} is uint8 and has to have four channels on its last axis; its shape is {own}")
        if strides[-1] != 1:
            raise ValueError(f"{name} has to have the bytes of a pixel side by side; its strides are {strides}")
        own, strides = own[:-1], strides[:-1]
    elif kind is not _UINT32 and kind != _UINT32:
        raise TypeError(f"{name} has to be uint32, or uint8 with four channels, and is {kind}")
    return _of_shape(Lines(name, given, array, own, strides, 4), shape)


def octets(name: str, given: Any, shape: Shape | None = None) -> Lines:
    """Lines of bytes: a mask, or packed data."""
    array = _base(name, given)
    if array.dtype != _UINT8:
        raise TypeError(f"{name} has to be uint8, and is {array.dtype}")
    return _of_shape(Lines(name, given, array, array.shape, array.strides, 1), shape)


def _of_shape(lines: Lines, shape: Shape | None) -> Lines:
    if shape is not None and lines.shape != shape:
        raise ValueError(f"{lines.name} has to have the shape {shape} in pixels, and has {lines.shape}")
    return lines


def table_of(name: str, table: Any) -> Lines:
    if isinstance(table, (bytes, bytearray)):
        table = np.frombuffer(table, np.uint8)
    elif isinstance(table, np.ndarray):
        table = np.ascontiguousarray(table)
    lines = octets(name, table)
    if lines.shape != (256,):
        raise ValueError(f"{name} has to have 256 bytes, and has the shape {lines.shape}")
    return lines


def picture(name: str, given: Any) -> Lines:
    lines = pixels(name, given)
    if len(lines.shape) < 2:
        raise ValueError(f"{name} has to be a picture, and is a row")
    return lines


def pixel_stride(lines: Lines) -> int | None:
    """From a row to the next in pixels, where the library can be told so."""
    if len(lines.shape) == 1 or lines.shape[-2] == 1:
        return lines.shape[-1]
    stride, rest = divmod(lines.strides[-2], 4)
    return None if rest or abs(stride) > INT32_MAX else stride


def pictures_without_gaps(lines: Lines) -> bool:
    return pixel_stride(lines) == lines.shape[-1]


def packed(lines: Lines) -> Lines:
    """The same pixels, in a copy without gaps."""
    return pixels(lines.name, np.ascontiguousarray(lines.array))


def destination(out: Any, shape: Shape | None = None) -> Lines:
    lines = pixels("out", out, shape)
    if not lines.writeable:
        raise ValueError("out is read-only")
    if not lines.gapless and lines.overlaps_itself():
        raise ValueError(f"out has rows that overlap each other; its strides are {lines.array.strides}")
    return lines


def result(
    out: Any,
    model: Lines,
    shape: Shape,
    *,
    same: Sequence[Lines] = (),
    apart: Sequence[Lines] = (),
    new: Callable[..., Array] = np.empty,
) -> Lines:
    """The lines of `out`, which may be any of `same` and has no byte of `apart`; without it those of a new array, of
    the model's kind of pixels."""
    if out is None:
        kind = model.array.dtype
        return pixels("out", new(shape if kind == _UINT32 else shape + (4,), kind))
    lines = destination(out, shape)
    first, end = lines.bounds()
    for other in (*same, *apart):
        other_first, other_end = other.bounds()
        if end <= other_first or other_end <= first or other in same and lines.places() == other.places():
            continue
        if _share_bytes(lines.array, other.array):
            raise ValueError(f"out overlaps {other.name}" + " without being the same pixels" * (other in same))
    return lines


def _share_bytes(a: Array, b: Array) -> bool:
    try:
        return np.shares_memory(a, b, max_work=100000)
    except RuntimeError:  # too hard to tell
        return True


# ---- calls ----


def by_rows(function: Callable[..., None], *arguments: Any, inner_axes: int = 1) -> None:
    """Calls for every row (or picture, where two axes are inner ones) with its address in each array, and with the
    numbers as they are."""
    columns = (a.addresses(inner_axes) if isinstance(a, Lines) else repeat(a) for a in arguments)
    for row in zip(*columns):
        function(*row)


def by_lines(function: Callable[..., None], *arguments: Any, last_two: bool = False) -> None:
    """The same for arrays of one shape, the first argument among them, with their pixels for COUNT, and one call for
    all rows where those have no gaps. A function that has a way of its own with the `last_two` pixels where count % 4
    is 2 gives other bytes so, unless this is true neither of a row nor of all."""
    first = arguments[0]
    count, total = first.shape[-1], first.bytes // first.size
    if total != count and (
        total > INT32_MAX
        or last_two and 2 in (count % 4, total % 4)
        or not all(a.gapless for a in arguments if isinstance(a, Lines))
    ):
        by_rows(function, *(count if a is COUNT else a for a in arguments))
    else:
        function(*[a.address if isinstance(a, Lines) else total if a is COUNT else a for a in arguments])
