#include "line/line_loop.h"

namespace qx::QX_ISA {

// The last count % 4 pixels are left out.
void zoom_in2x1d(Argb32* dst, const Argb32* src, int32_t count) { map_doubled(dst, count / 4 * 4, src); }

static void average_rows(Argb32* dst, int32_t count, const Argb32* above, const Argb32* below) {
    map(
        dst, count, [](U8 a, U8 b) QX_LAMBDA { return average(a, b); }, above, below);
}

// Even rows are source rows doubled; an odd row is the average of those around it, the last row a copy. The
// odd rows are whole even where the even ones are not: what was at the end of those takes part.
void zoom_in2x2d(Argb32* dst, const Argb32* src, int32_t width, int32_t height, int32_t src_stride) {
    const ptrdiff_t pitch = 2 * ptrdiff_t{width};
    const int32_t averaged = static_cast<int32_t>(pitch / 4 * 4);
    Argb32* row = dst;
    for (int32_t y = 0; y < height; ++y, row += 2 * pitch) {
        if (width >= 4) zoom_in2x1d(row, src + ptrdiff_t{y} * src_stride, width);
        if (y > 0 && averaged > 0) average_rows(row - pitch, averaged, row - 2 * pitch, row);
    }
    Argb32* last = height > 0 ? row - pitch : dst + pitch;
    __builtin_memcpy(last, last - pitch, static_cast<size_t>(pitch) * sizeof(Argb32));
}

}  // namespace qx::QX_ISA
