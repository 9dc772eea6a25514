// Every kernel as the loop that one would write without vectors.
#include "plain.h"

namespace {

// ---- pixels: everything in 32-bit numbers, which is what compilers make vectors of ----

inline uint32_t byte(uint32_t px, int k) { return px >> (8 * k) & 255; }
inline uint32_t fade(uint32_t value, uint32_t weight) { return value * weight >> 8; }

// 65535 / i, truncated; 0 for 0.
struct Reciprocals {
    uint32_t of[256] = {};
    constexpr Reciprocals() {
        for (uint32_t i = 1; i < 256; ++i) of[i] = 65535 / i;
    }
};
constexpr Reciprocals reciprocals;

uint32_t blend_px(uint32_t bg, uint32_t fg, uint32_t w) {
    uint32_t out = 0, under = byte(bg, 3) * (256 - w);
    for (int k = 0; k < 3; ++k) out |= (fade(byte(fg, k), w) + (byte(bg, k) * under >> 16)) << (8 * k);
    return out | (fade(255, w) + (255 * under >> 16)) << 24;
}

uint32_t lblend_px(uint32_t bg, uint32_t fg, uint32_t w) {
    uint32_t out = 0, alpha = byte(bg, 3) + fade(byte(fg, 3), w);
    for (int k = 0; k < 3; ++k) out |= (fade(byte(bg, k), 256 - w) + fade(byte(fg, k), w)) << (8 * k);
    return out | (alpha < 255 ? alpha : 255) << 24;
}

uint32_t sblend_px(uint32_t bg, uint32_t fg, uint32_t w) {
    uint32_t alpha = w + fade(byte(bg, 3), 255 - w), share = fade(reciprocals.of[alpha], w), out = 0;
    for (int k = 0; k < 3; ++k) {
        int32_t way = int32_t(byte(fg, k)) - int32_t(byte(bg, k));
        out |= (byte(bg, k) + uint32_t(int32_t(share) * way >> 8)) << (8 * k);
    }
    return out | alpha << 24;
}

uint32_t mix_px(uint32_t px1, uint32_t px2, uint32_t w) {
    uint32_t out = 0;
    for (int k = 0; k < 4; ++k) out |= (fade(byte(px1, k), w) + fade(byte(px2, k), 256 - w)) << (8 * k);
    return out;
}

uint32_t average_px(uint32_t px1, uint32_t px2) {
    uint32_t out = 0;
    for (int k = 0; k < 4; ++k) out |= ((byte(px1, k) + byte(px2, k)) >> 1) << (8 * k);
    return out;
}

uint32_t clamped(int32_t value) { return uint32_t(value < 0 ? 0 : value > 255 ? 255 : value); }

// ---- lines ----

#define QX_EACH(...) \
    for (int32_t i = 0; i < count; ++i) dst[i] = (__VA_ARGS__)

// In a remainder of two both pixels take the last one's foreground.
#define QX_PLAIN_KERNEL(name, px, weight, ...)                                                         \
    void name(Argb32* __restrict dst, const Argb32* bg, const Argb32* fg, int32_t count __VA_ARGS__) { \
        auto at = [=](int32_t i, uint32_t over) {                                                      \
            uint32_t alpha = over >> 24;                                                               \
            return px(bg[i], over, weight);                                                            \
        };                                                                                             \
        QX_EACH(at(i, fg[i]));                                                                         \
        if (count % 4 == 2) dst[count - 2] = at(count - 2, fg[count - 1]);                             \
    }
#define QX_COMMA ,
#define QX_PLAIN_FAMILY(family)                                                                  \
    QX_PLAIN_KERNEL(family, family##_px, alpha, )                                                \
    QX_PLAIN_KERNEL(family##_t, family##_px, fade(alpha, opacity), QX_COMMA uint32_t opacity)    \
    QX_PLAIN_KERNEL(family##_m, family##_px, fade(alpha, mask[i]), QX_COMMA const uint8_t* mask) \
    QX_PLAIN_KERNEL(family##_mt, family##_px, fade(alpha, fade(mask[i], opacity)),               \
                    QX_COMMA const uint8_t* mask QX_COMMA uint32_t opacity)                      \
    QX_PLAIN_KERNEL(family##_mlt, family##_px, fade(alpha, fade(lut[mask[i]], opacity)),         \
                    QX_COMMA const uint8_t* mask QX_COMMA const uint8_t* lut QX_COMMA uint32_t opacity)

QX_PLAIN_FAMILY(blend)
QX_PLAIN_FAMILY(lblend)
QX_PLAIN_FAMILY(sblend)

void fill(Argb32* dst, uint32_t value, int32_t count) { QX_EACH(value); }
void alpha(Argb32* __restrict dst, const Argb32* src, int32_t count) {
    QX_EACH((src[i] >> 24) * 0x01010101u);
}
void mask(Argb32* __restrict dst, const Argb32* src, const uint8_t* mask, int32_t count) {
    QX_EACH((src[i] & 0xFFFFFF) | fade(src[i] >> 24, mask[i]) << 24);
}
void lin_pix(Argb32* __restrict dst, const Argb32* src1, const Argb32* src2, uint32_t weight, int32_t count) {
    QX_EACH(mix_px(src1[i], src2[i], weight));
}

void argb2ayuv(Ayuv32* __restrict dst, const Argb32* src, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        auto channel = [](uint32_t px, int k) { return int32_t(byte(px, k)); };
        int32_t b = channel(src[i], 0), g = channel(src[i], 1), r = channel(src[i], 2);
        auto sum = [=](int32_t from_r, int32_t from_g, int32_t from_b, int32_t offset) {
            return uint32_t((((r * from_r) >> 9) + ((g * from_g) >> 9) + ((b * from_b) >> 9)) >> 4) +
                   uint32_t(offset);
        };
        dst[i] = sum(-1212, -2383, 3596, 128) | sum(2105, 4128, 803, 16) << 8 |
                 sum(3596, -3014, -581, 128) << 16 | (src[i] & 0xFF000000);
    }
}

void ayuv2argb(Argb32* __restrict dst, const Ayuv32* src, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        int32_t u = int32_t(byte(src[i], 0)) - 128, y = int32_t(byte(src[i], 1)) - 16,
                v = int32_t(byte(src[i], 2)) - 128;
        dst[i] = clamped((16531 * u + 9535 * y) >> 13) |
                 clamped(((-3203 * u + 9535 * y) >> 13) + ((-6660 * v) >> 13)) << 8 |
                 clamped((13074 * v + 9535 * y) >> 13) << 16 | (src[i] & 0xFF000000);
    }
}

void v210yuv422p10(uint16_t* __restrict dst, const void* src, int32_t count) {
    const uint32_t* word = static_cast<const uint32_t*>(src);
    uint16_t *y = dst, *cb = y + count, *cr = cb + count / 2;
    auto samples = [&](uint16_t*& first, uint16_t*& second, uint16_t*& third) {
        *first++ = uint16_t(*word & 1023);
        *second++ = uint16_t(*word >> 10 & 1023);
        *third++ = uint16_t(*word++ >> 20 & 1023);
    };
    int32_t i = 0;
    for (; count - i >= 6; i += 6) {
        samples(cb, y, cr);
        samples(y, cb, y);
        samples(cr, y, cb);
        samples(y, cr, y);
    }
    uint16_t* plane[3] = {cb, y, cr};
    for (int32_t k = 0; k < 2 * (count - i); ++k)
        *plane[k % 2 ? 1 : k % 4]++ = uint16_t(word[k / 3] >> (k % 3 * 10) & 1023);
}

// ---- pictures ----

void zoom_in2x1d(Argb32* __restrict dst, const Argb32* src, int32_t count) {
    count = count / 4 * 4;
    if (count == 0) return;
    dst[0] = dst[1] = src[0];
    for (int32_t i = 1; i < count; ++i) {
        dst[2 * i] = average_px(src[i - 1], src[i]);
        dst[2 * i + 1] = src[i];
    }
}

void zoom_in2x2d(Argb32* dst, const Argb32* src, int32_t width, int32_t height, int32_t src_stride) {
    const int32_t pitch = 2 * width;
    for (int32_t y = 0; y < height; ++y) zoom_in2x1d(dst + 2L * y * pitch, src + 1L * y * src_stride, width);
    for (int32_t y = 0; y < height; ++y) {
        Argb32* __restrict odd = dst + (2L * y + 1) * pitch;
        const Argb32 *above = odd - pitch, *below = y + 1 < height ? odd + pitch : above;
        for (int32_t x = 0; x < pitch; ++x) odd[x] = average_px(above[x], below[x]);
    }
}

void scale_1d(Argb32* __restrict dst, int32_t dst_count, const Argb32* src, int32_t src_count) {
    const uint32_t end = uint32_t(src_count - 1) * 256, step = (end - 1) / uint32_t(dst_count - 1);
    for (int32_t j = 0; j < dst_count / 4 * 4; ++j) {
        uint32_t position = j == dst_count - 1 ? end - 1 : uint32_t(j) * step;
        uint32_t left = j % 2 == 0 ? position >> 8 : (uint32_t(j - 1) * step >> 8) + 1;
        dst[j] = mix_px(src[(position >> 8) + 1], src[left], position & 255);
    }
}

void scale_horz(Argb32* dst, int32_t dst_width, int32_t dst_stride, const Argb32* src, int32_t src_width,
                int32_t height, int32_t src_stride) {
    for (int32_t y = 0; y < height; ++y)
        scale_1d(dst + 1L * y * dst_stride, dst_width, src + 1L * y * src_stride, src_width);
}

void zoom_outNx(Argb32* __restrict dst, int32_t dst_width, int32_t dst_height, const Argb32* src,
                int32_t src_width, int32_t src_height) {
    const int32_t fx = (src_width + dst_width - 1) / dst_width,
                  fy = (src_height + dst_height - 1) / dst_height;
    for (int32_t y = 0; y < dst_height; ++y)
        for (int32_t x = 0; x < dst_width; ++x)
            dst[1L * y * dst_width + x] = src[1L * y * fy * src_width + x * fx];
}

const qx::KernelTable kernels = {
#define QX_ENTRY(name) name,
    QX_KERNELS(QX_ENTRY)
#undef QX_ENTRY
};

PlainBuild build = {QX_PLAIN_NAME, &kernels, nullptr};

__attribute__((constructor)) void join() {
    build.next = plain_builds;
    plain_builds = &build;
}

}  // namespace
