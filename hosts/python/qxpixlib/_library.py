"""The library and its functions, by ctypes, which lets go of the GIL during a call."""

import ctypes
import sys
from pathlib import Path
from typing import Callable

_TYPES = {"p": ctypes.c_void_p, "i": ctypes.c_int32, "u": ctypes.c_uint32}

# The arguments of each function as qxpixlib.h has them: p is a pointer, i an int32_t, u a uint32_t.
_BLEND_ARGUMENTS = {"": "pppi", "_t": "pppiu", "_m": "pppip", "_mt": "pppipu", "_mlt": "pppippu"}
_ARGUMENTS = {
    "fill": "pui",
    "argb2ayuv": "ppi",
    "ayuv2argb": "ppi",
    "v210yuv422p10": "ppi",
    "alpha": "ppi",
    "mask": "pppi",
    "lin_pix": "pppui",
    "zoom_in2x1d": "ppi",
    "zoom_in2x2d": "ppiii",
    "scale_1d": "pipi",
    "scale_horz": "piipiii",
    "zoom_outNx": "piipii",
    **{
        family + variant: arguments
        for family in ("blend", "lblend", "sblend")
        for variant, arguments in _BLEND_ARGUMENTS.items()
    },
}


def _load() -> ctypes.CDLL:
    """A wheel carries the library beside this file; else it is the system's."""
    name = "qxpixlib.dll" if sys.platform == "win32" else "libqxpixlib.so.1"
    carried = Path(__file__).with_name(name)
    return ctypes.CDLL(str(carried) if carried.exists() else name)


def _declared(name: str, arguments: str) -> Callable[..., None]:
    function: ctypes._FuncPointer = getattr(library, "qx_" + name)
    function.argtypes = [_TYPES[letter] for letter in arguments]
    function.restype = None
    return function


library = _load()
kernels = {name: _declared(name, arguments) for name, arguments in _ARGUMENTS.items()}
