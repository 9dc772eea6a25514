#include <stddef.h>

#include "frame/vec_samples.h"

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

QX_INLINE void unpack_group(uint16_t* y, uint16_t* cb, uint16_t* cr, const uint8_t* group) {
    unpack_plane<Luma>(y, group);
    unpack_plane<Cb>(cb, group);
    unpack_plane<Cr>(cr, group);
}

// count is even. The rest of a line goes through a copy of its blocks, so that nothing behind them is read.
void v210yuv422p10(uint16_t* dst, const void* src, int32_t count) {
    const uint8_t* group = static_cast<const uint8_t*>(src);
    uint16_t *y = dst, *cb = y + count, *cr = cb + count / 2;
    for (; count >= kGroupPixels; count -= kGroupPixels) {
        unpack_group(y, cb, cr, group);
        y += kGroupPixels;
        cb += kGroupPixels / 2;
        cr += kGroupPixels / 2;
        group += kGroupBytes;
    }
    if (count > 0) {
        uint8_t blocks[kGroupBytes] = {};
        uint16_t rest[2 * kGroupPixels];
        __builtin_memcpy(blocks, group, static_cast<size_t>((count + 5) / 6 * 16));
        unpack_group(rest, rest + kGroupPixels, rest + kGroupPixels * 3 / 2, blocks);
        __builtin_memcpy(y, rest, static_cast<size_t>(count) * 2);
        __builtin_memcpy(cb, rest + kGroupPixels, static_cast<size_t>(count));
        __builtin_memcpy(cr, rest + kGroupPixels * 3 / 2, static_cast<size_t>(count));
    }
}

}  // namespace qx::QX_ISA
