"""Pixel kernels for video and graphics, on NumPy arrays: the functions of the library qxpixlib, with the same bytes.

A picture is an array (..., height, width) of uint32, each pixel the number 0xAARRGGBB, or (..., height, width, 4) of
uint8, in the order B, G, R, A; one row has no height. Rows may lie anywhere, as in a part of a picture or in one upside
down, but the pixels of a row lie side by side. What is no such array, or has no meaning for a function, is a TypeError
or a ValueError that names the argument.

Every function makes a new array, of the kind of its first argument, or fills `out` and returns it. Unless it says
otherwise, `out` may be the same pixels as an input, and must not overlap one in any other way. Other threads run
during a call.
"""

from ._functions import (alpha, argb2ayuv, ayuv2argb, blend, fill, lblend, lin_pix, mask, sblend, scale_1d, scale_horz,
                         v210yuv422p10, zoom_in2x1d, zoom_in2x2d, zoom_outNx)

__all__ = ["alpha", "argb2ayuv", "ayuv2argb", "blend", "fill", "lblend", "lin_pix", "mask", "sblend", "scale_1d",
           "scale_horz", "v210yuv422p10", "zoom_in2x1d", "zoom_in2x2d", "zoom_outNx"]
