#include "convert/v210_planes.h"
#include "vec/vec.h"

namespace qx::QX_ISA {

constexpr int kGroupPixels = 48;

// count is even.
void v210yuv422p10(uint16_t* dst, const void* src, int32_t count) {
    const uint8_t* group = static_cast<const uint8_t*>(src);
    uint16_t *y = dst, *cb = y + count, *cr = cb + count / 2;
    for (; count >= kGroupPixels; count -= kGroupPixels) {
        unpack_plane<Luma>(y, group);
        unpack_plane<Cb>(cb, group);
        unpack_plane<Cr>(cr, group);
        y += kGroupPixels;
        cb += kGroupPixels / 2;
        cr += kGroupPixels / 2;
        group += kGroupBytes;
    }
    unpack_samples<Luma>(y, group, count);
    unpack_samples<Cb>(cb, group, count / 2);
    unpack_samples<Cr>(cr, group, count / 2);
}

}  // namespace qx::QX_ISA
