// Lines of v210 footage, on their way to ARGB.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qxpixlib.h"

// A line is padded to whole groups of 48 pixels, 128 bytes.
inline size_t v210_pitch(int width) { return size_t(width + 47) / 48 * 128; }

// Planes of 10-bit samples to ARGB: the upper 8 bits of each sample, both pixels of a pair with its colour.
inline void planes_to_argb(Argb32* dst, const uint16_t* y, const uint16_t* cb, const uint16_t* cr,
                           int width) {
    for (int i = 0; i < width; ++i) {
        auto top8 = [](uint16_t sample) { return uint32_t(sample >> 2); };
        dst[i] = 0xFF000000 | top8(cr[i / 2]) << 16 | top8(y[i]) << 8 | top8(cb[i / 2]);
    }
    qx_ayuv2argb(dst, dst, width);
}
