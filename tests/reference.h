// The formulas of the kernels, one pixel at a time in plain integers: what the vectors are held against.
// Nothing here is shared with src.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

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

// One pixel of the other line kernels.
inline uint32_t argb2ayuv(uint32_t px) {
    auto [b, g, r, a] = bytes_of(px);
    auto sum = [r = r, g = g, b = b](int from_r, int from_g, int from_b) {
        int terms = floor_div(r * from_r, 512) + floor_div(g * from_g, 512) + floor_div(b * from_b, 512);
        return floor_div(terms, 16);
    };
    Bytes out = {sum(-1212, -2383, 3596) + 128, sum(2105, 4128, 803) + 16, sum(3596, -3014, -581) + 128, a};
    for (int& byte : out) byte = std::clamp(byte, 0, 255);
    return pixel_of(out);
}

inline uint32_t ayuv2argb(uint32_t px) {
    auto [u, y, v, a] = bytes_of(px);
    u -= 128, y -= 16, v -= 128;
    Bytes out = {floor_div(16531 * u + 9535 * y, 8192),
                 floor_div(-3203 * u + 9535 * y, 8192) + floor_div(-6660 * v, 8192),
                 floor_div(13074 * v + 9535 * y, 8192), a};
    for (int& byte : out) byte = std::clamp(byte, 0, 255);
    return pixel_of(out);
}

inline uint32_t alpha(uint32_t px) { return (px >> 24) * 0x01010101u; }

inline uint32_t mask(uint32_t px, uint32_t m) { return (px & 0xFFFFFF) | (px >> 24) * m / 256 << 24; }

// The mix that lin_pix and the scalers make of two pixels, the second one's weight being the complement.
inline uint32_t mix(uint32_t px1, uint32_t px2, int w) {
    Bytes a = bytes_of(px1), b = bytes_of(px2), out;
    for (int c = 0; c < 4; ++c) out[c] = a[c] * w / 256 + b[c] * (256 - w) / 256;
    return pixel_of(out);
}

inline uint32_t average(uint32_t px1, uint32_t px2) {
    Bytes a = bytes_of(px1), b = bytes_of(px2), out;
    for (int c = 0; c < 4; ++c) out[c] = (a[c] + b[c]) / 2;
    return pixel_of(out);
}

// The samples of a line of v210: Y, Cb, Cr planes of count, count / 2, count / 2 samples.
inline void v210yuv422p10(uint16_t* dst, const uint8_t* src, int count) {
    auto sample = [src](int block, int n) {  // n-th of the twelve samples of a block
        const uint8_t* word = src + 16 * block + n / 3 * 4;
        uint32_t bits = word[0] | word[1] << 8 | word[2] << 16 | uint32_t(word[3]) << 24;
        return uint16_t(bits >> (n % 3 * 10) & 0x3FF);
    };
    for (int i = 0; i < count; ++i)
        dst[i] = sample(i / 6, 2 * (i % 6) + 1);  // every other one is Y, Cb before
    for (int i = 0; i < count / 2; ++i) {         // even pixels and Cr before odd ones
        dst[count + i] = sample(i / 3, 4 * (i % 3));
        dst[count + count / 2 + i] = sample(i / 3, 4 * (i % 3) + 2);
    }
}

inline void zoom_in2x1d(Argb32* dst, const Argb32* src, int count) {
    for (int i = 0; i < count / 4 * 4; ++i) {
        dst[2 * i] = average(src[std::max(i - 1, 0)], src[i]);
        dst[2 * i + 1] = src[i];
    }
}

inline void zoom_in2x2d(Argb32* dst, const Argb32* src, int width, int height, int src_stride) {
    const int pitch = 2 * width;
    for (int y = 0; y < height; ++y) zoom_in2x1d(dst + 2 * y * pitch, src + y * src_stride, width);
    for (int y = 0; y + 1 < height; ++y) {
        Argb32* odd = dst + (2 * y + 1) * pitch;
        for (int x = 0; x < pitch / 4 * 4; ++x) odd[x] = average(odd[x - pitch], odd[x + pitch]);
    }
    Argb32* copied = dst + (height > 0 ? 2 * height - 2 : 0) * pitch;
    std::copy_n(copied, pitch, copied + pitch);
}

inline void scale_1d(Argb32* dst, int dst_count, const Argb32* src, int src_count) {
    std::vector<int> position(size_t(dst_count), 0);
    const int end = src_count * 256 - 256, step = (end - 1) / (dst_count - 1);
    for (int j = 1; j < dst_count - 1; ++j) position[size_t(j)] = position[size_t(j - 1)] + step;
    position.back() = end - 1;
    for (int j = 0; j < dst_count / 4 * 4; ++j) {
        int p = position[size_t(j)];
        int left = j % 2 == 0 ? p / 256 : position[size_t(j - 1)] / 256 + 1;
        dst[j] = mix(src[p / 256 + 1], src[left], p % 256);
    }
}

inline void zoom_outNx(Argb32* dst, int dst_width, int dst_height, const Argb32* src, int src_width,
                       int src_height) {
    const int fx = src_width / dst_width + (src_width % dst_width ? 1 : 0);
    const int fy = src_height / dst_height + (src_height % dst_height ? 1 : 0);
    if (fx <= 0 || fy <= 0) return;
    for (int y = 0; y < dst_height; ++y)
        for (int x = 0; x < dst_width; ++x) dst[y * dst_width + x] = src[y * fy * src_width + x * fx];
}

}  // namespace reference
