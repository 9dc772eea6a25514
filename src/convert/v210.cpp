#include "convert/v210_planes.h"
#include "vec/vec.h"

namespace qx::QX_ISA {

// A plane of so many blocks, as many as a group has or more. The last group ends with the last block, over
// samples that the one before has written already.
template <typename Plane>
QX_INLINE void unpack_groups(uint16_t* dst, const uint8_t* src, int32_t blocks) {
    const int32_t last = blocks - group_blocks();
    auto unpack = [=](ptrdiff_t block)
                      QX_LAMBDA { unpack_plane<Plane>(dst + block * Plane::kPerBlock, src + block * 16); };
    for (ptrdiff_t block = 0; block < last; block += group_blocks()) unpack(block);
    unpack(last);
}

// count is even. One plane after the other, so that a line is written from its beginning to its end.
void v210yuv422p10(uint16_t* dst, const void* src, int32_t count) {
    const uint8_t* block = static_cast<const uint8_t*>(src);
    uint16_t *y = dst, *cb = y + count, *cr = cb + count / 2;
    if (int32_t blocks = count / 6; blocks >= group_blocks()) {
        unpack_groups<Luma>(y, block, blocks);
        unpack_groups<Cb>(cb, block, blocks);
        unpack_groups<Cr>(cr, block, blocks);
        y += 6 * blocks;
        cb += 3 * blocks;
        cr += 3 * blocks;
        block += ptrdiff_t{16} * blocks;
        count -= 6 * blocks;
    }
    for (; count >= 6; count -= 6, y += 6, cb += 3, cr += 3, block += 16)
        unpack_block<Luma, Cb, Cr>(y, cb, cr, block, 6);
    if (count > 0) unpack_block<Luma, Cb, Cr>(y, cb, cr, block, count);
}

}  // namespace qx::QX_ISA
