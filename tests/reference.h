// The formulas of the kernels, one pixel at a time in plain integers: what the vectors are held against.
// Nothing here is shared with src.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "qxpixlib.h"

namespace reference {

// A pixel's bytes in memory order; byte 3 is alpha.
using Bytes = std::array<int, 4>;

inline Bytes bytes_of(uint32_t px) {
    return {int(px & 255), int(px >> 8 & 255), int(px >> 16 & 255), int(px >> 24)};
}
inline uint32_t pixel_of(const Bytes& b) {
    return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
}

// The quotient towards minus infinity, for a divisor above 0.
inline int floor_div(int n, int divisor) { return n / divisor - (n % divisor < 0); }

// The three families: background, foreground and the foreground's weight in 1/256.
using Step = Bytes (*)(const Bytes& bg, const Bytes& fg, int w);

inline Bytes blend(const Bytes& bg, const Bytes& fg, int w) {
    Bytes out;
    for (int c = 0; c < 4; ++c) {
        uint32_t over = c == 3 ? 255 : fg[c], under = c == 3 ? 255 : bg[c];
        out[c] = int(over * w / 256 + under * bg[3] * (256 - w) / 65536);
    }
    return out;
}

inline Bytes lblend(const Bytes& bg, const Bytes& fg, int w) {
    Bytes out;
    for (int c = 0; c < 3; ++c) out[c] = bg[c] * (256 - w) / 256 + fg[c] * w / 256;
    out[3] = std::min(255, bg[3] + fg[3] * w / 256);
    return out;
}

inline Bytes sblend(const Bytes& bg, const Bytes& fg, int w) {
    int alpha = w + bg[3] * (255 - w) / 256;
    int share = alpha == 0 ? 0 : 65535 / alpha * w / 256;
    Bytes out;
    for (int c = 0; c < 3; ++c) out[c] = bg[c] + floor_div(share * (fg[c] - bg[c]), 256);
    out[3] = alpha;
    return out;
}

// A line of a family, weight(i, fg alpha) giving the weight of pixel i. In a remainder of two both pixels
// take the last one's foreground.
template <typename Weight>
void composite(Step step, Weight weight, Argb32* dst, const Argb32* bg, const Argb32* fg, int count) {
    for (int i = 0; i < count; ++i) {
        bool first_of_two = count % 4 == 2 && i == count - 2;
        Bytes over = bytes_of(fg[first_of_two ? i + 1 : i]);
        dst[i] = pixel_of(step(bytes_of(bg[i]), over, weight(i, over[3])));
    }
}

}  // namespace reference
