#include "frame/line_loop.h"

namespace qx::QX_ISA {

// Every source pixel, behind the average of it and the one before it; the first one has itself before it. The
// last count % 4 pixels are left out.
void zoom_in2x1d(Argb32* dst, const Argb32* src, int32_t count) {
    U8 first = load_n(src, 1);
    store_n(dst, zip_pixels({first, first}).first, 2);
    auto doubled = [](U8 before, U8 px) { return Pair{average(before, px), px}; };
    map_doubled(dst + 2, count / 4 * 4 - 1, doubled, src, src + 1);
}

// Even rows are source rows doubled; an odd row is the average of those around it, the last row a copy. The
// odd rows are whole even where the even ones are not: what was at the end of those takes part.
void zoom_in2x2d(Argb32* dst, const Argb32* src, int32_t width, int32_t height, int32_t src_stride) {
    const ptrdiff_t pitch = 2 * ptrdiff_t{width};
    const int32_t averaged = static_cast<int32_t>(pitch / 4 * 4);
    Argb32* row = dst;
    for (int32_t y = 0; y < height; ++y, row += 2 * pitch) {
        if (width >= 4) zoom_in2x1d(row, src + ptrdiff_t{y} * src_stride, width);
        if (y > 0 && averaged > 0) map(row - pitch, averaged, average, row - 2 * pitch, row);
    }
    Argb32* last = height > 0 ? row - pitch : dst + pitch;
    __builtin_memcpy(last, last - pitch, static_cast<size_t>(pitch) * sizeof(Argb32));
}

}  // namespace qx::QX_ISA
