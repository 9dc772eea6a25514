#include "line/line_loop.h"

namespace qx::QX_ISA {

// The positions of the outputs in the source line, in 1/256 of a pixel: j * step, but for the last one, which
// is pinned 1/256 before the end, so that its right tap is the last pixel. The truncated step falls short of
// that by up to a pixel for every 256 outputs.
struct Positions {
    uint32_t step, last;
};

QX_INLINE Positions scale_step_table(int32_t src_count, int32_t dst_count) {
    const uint32_t last = static_cast<uint32_t>(src_count - 1) * 256 - 1;
    return {last / static_cast<uint32_t>(dst_count - 1), last};
}

// Each term floored on its own.
QX_INLINE U8 interpolate(const Taps& taps) {
    return add(scale(taps.left, rest_of(taps.fraction)), scale(taps.right, taps.fraction));
}

// Whole groups of four outputs. The second of every two outputs has the first one's right neighbour for its
// left tap, whatever its own position says: it looks wrong, and is the contract.
QX_INLINE void scale_line_interp(Argb32* dst, const Argb32* src, int32_t dst_count, int32_t src_count,
                                 Positions positions) {
    const bool pinned = dst_count % 4 == 0;  // else the last output is not written
    const int32_t regular = dst_count / 4 * 4 - pinned;
    with_taps(src, src_count, positions.step, [=](auto taps_at) QX_LAMBDA {
        generate(dst, regular, [=](int32_t j, int n) QX_LAMBDA {
            return interpolate(taps_at(static_cast<uint32_t>(j) * positions.step, n));
        });
    });
    if (pinned) {
        uint32_t before = static_cast<uint32_t>(regular - 1) * positions.step;
        Taps taps = {load_n(src + (before >> 8) + 1, 1), load_n(src + (positions.last >> 8) + 1, 1),
                     splat_weight(positions.last & 255)};
        store_n(dst + regular, interpolate(taps), 1);
    }
}

void scale_1d(Argb32* dst, int32_t dst_count, const Argb32* src, int32_t src_count) {
    scale_line_interp(dst, src, dst_count, src_count, scale_step_table(src_count, dst_count));
}

void scale_horz(Argb32* dst, int32_t dst_width, int32_t dst_stride, const Argb32* src, int32_t src_width,
                int32_t height, int32_t src_stride) {
    for (int32_t y = 0; y < height; ++y, dst += dst_stride, src += src_stride)
        scale_1d(dst, dst_width, src, src_width);
}

}  // namespace qx::QX_ISA
