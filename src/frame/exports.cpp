// The C boundary: it guards, and hands its arguments to the active build.
#include "frame/load.h"
#include "qxpixlib.h"

using qx::active;

// Opacities and weights are unsigned: what a caller means as negative is large, and full.
static uint32_t at_most_256(uint32_t weight) { return weight < 256 ? weight : 256; }

extern "C" {

void qx_pixinit() {}

// One entry with two names.
void qx_r210argb() __attribute__((alias("qx_pixinit")));

void qx_fill(Argb32* dst, uint32_t value, int32_t count) {
    if (count > 0) active->fill(dst, value, count);
}

void qx_argb2ayuv(Ayuv32* dst, const Argb32* src, int32_t count) {
    if (count > 0) active->argb2ayuv(dst, src, count);
}

void qx_ayuv2argb(Argb32* dst, const Ayuv32* src, int32_t count) {
    if (count > 0) active->ayuv2argb(dst, src, count);
}

void qx_v210yuv422p10(uint16_t* dst, const void* src, int32_t count) {
    if (count > 0 && count % 2 == 0) active->v210yuv422p10(dst, src, count);
}

#define QX_EXPORT_FAMILY(family)                                                                             \
    void qx_##family(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count) {                       \
        if (count > 0) active->family(dst, bg, fg, count);                                                   \
    }                                                                                                        \
    void qx_##family##_t(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, uint32_t opacity) { \
        if (count > 0) active->family##_t(dst, bg, fg, count, at_most_256(opacity));                         \
    }                                                                                                        \
    void qx_##family##_m(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,                     \
                         const uint8_t* mask) {                                                              \
        if (count > 0) active->family##_m(dst, bg, fg, count, mask);                                         \
    }                                                                                                        \
    void qx_##family##_mt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,                    \
                          const uint8_t* mask, uint32_t opacity) {                                           \
        if (count > 0) active->family##_mt(dst, bg, fg, count, mask, at_most_256(opacity));                  \
    }                                                                                                        \
    void qx_##family##_mlt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,                   \
                           const uint8_t* mask, const uint8_t* lut, uint32_t opacity) {                      \
        if (count > 0) active->family##_mlt(dst, bg, fg, count, mask, lut, at_most_256(opacity));            \
    }

QX_EXPORT_FAMILY(blend)
QX_EXPORT_FAMILY(lblend)
QX_EXPORT_FAMILY(sblend)

void qx_alpha(Argb32* dst, const Argb32* src, int32_t count) {
    if (count > 0) active->alpha(dst, src, count);
}

void qx_mask(Argb32* dst, const Argb32* src, const uint8_t* mask, int32_t count) {
    if (count > 0) active->mask(dst, src, mask, count);
}

void qx_lin_pix(Argb32* dst, const Argb32* src1, const Argb32* src2, uint32_t weight, int32_t count) {
    if (count > 0) active->lin_pix(dst, src1, src2, at_most_256(weight), count);
}

void qx_zoom_in2x1d(Argb32* dst, const Argb32* src, int32_t count) {
    if (count >= 4) active->zoom_in2x1d(dst, src, count);
}

// Any height: one of 0 or below still copies a row. A doubled row has to be a count.
void qx_zoom_in2x2d(Argb32* dst, const Argb32* src, int32_t width, int32_t height, int32_t src_stride) {
    if (width > 0 && width <= INT32_MAX / 2) active->zoom_in2x2d(dst, src, width, height, src_stride);
}

// The scalers write whole groups of four outputs, and hold positions in 1/256 of a pixel in 31 bits.
static bool can_scale(int32_t dst_count, int32_t src_count) {
    return dst_count >= 4 && src_count >= 2 && src_count <= 8388607;
}

void qx_scale_1d(Argb32* dst, int32_t dst_count, const Argb32* src, int32_t src_count) {
    if (can_scale(dst_count, src_count)) active->scale_1d(dst, dst_count, src, src_count);
}

void qx_scale_horz(Argb32* dst, int32_t dst_width, int32_t dst_stride, const Argb32* src, int32_t src_width,
                   int32_t height, int32_t src_stride) {
    if (can_scale(dst_width, src_width))
        active->scale_horz(dst, dst_width, dst_stride, src, src_width, height, src_stride);
}

void qx_zoom_outNx(Argb32* dst, int32_t dst_width, int32_t dst_height, const Argb32* src, int32_t src_width,
                   int32_t src_height) {
    if (dst_width > 0 && dst_height > 0)
        active->zoom_outNx(dst, dst_width, dst_height, src, src_width, src_height);
}

}  // extern "C"
