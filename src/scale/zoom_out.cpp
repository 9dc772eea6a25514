#include <stddef.h>

#include "vec/vec.h"

namespace qx::QX_ISA {

static ptrdiff_t factor(int32_t src_size, int32_t dst_size) {
    return src_size / dst_size + (src_size % dst_size != 0);
}

void zoom_outNx(Argb32* dst, int32_t dst_width, int32_t dst_height, const Argb32* src, int32_t src_width,
                int32_t src_height) {
    const ptrdiff_t fx = factor(src_width, dst_width), fy = factor(src_height, dst_height);
    if (fx <= 0 || fy <= 0) return;
    for (int32_t y = 0; y < dst_height; ++y, dst += dst_width) {
        const Argb32* row = src + y * fy * src_width;
        ptrdiff_t x = 0;
        if (fx == 2)
            for (; dst_width - x >= kPixels; x += kPixels) store(dst + x, load_every_second(row + 2 * x));
        if (fx == 3 && kPixels > 4)  // fewer are copied as fast
            for (; dst_width - x >= kPixels; x += kPixels) store(dst + x, load_every_third(row + 3 * x));
        auto copy = [=](ptrdiff_t x) QX_LAMBDA { copy_four(dst + x, row + x * fx, fx); };
        for (; dst_width - x >= 8; x += 8) {
            copy(x);
            copy(x + 4);
        }
        if (dst_width - x >= 4) {
            copy(x);
            x += 4;
        }
        for (; x < dst_width; ++x) __builtin_memcpy(dst + x, row + x * fx, sizeof(Argb32));
    }
}

}  // namespace qx::QX_ISA
