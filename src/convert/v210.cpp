#include "vec/vec.h"

namespace qx::QX_ISA {

// A block of six pixels is a stream of twelve samples, Cb0 Y0 Cr0 Y1 Cb1 Y2 and so on, three to a 32-bit
// word, from bits 0, 10 and 20 up.
constexpr int sample_bit(int block, int sample) {
    return 128 * block + 32 * (sample / 3) + 10 * (sample % 3);
}

struct Luma {
    static constexpr int kPerBlock = 6;
    static constexpr int bit(int k) { return sample_bit(k / 6, k % 6 * 2 + 1); }
};
struct Cb {
    static constexpr int kPerBlock = 3;
    static constexpr int bit(int k) { return sample_bit(k / 3, k % 3 * 4); }
};
struct Cr {
    static constexpr int kPerBlock = 3;
    static constexpr int bit(int k) { return sample_bit(k / 3, k % 3 * 4 + 2); }
};

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
