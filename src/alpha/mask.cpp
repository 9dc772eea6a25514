#include "frame/line_loop.h"
#include "frame/pixel.h"

namespace qx::QX_ISA {

// Alpha is the high byte of its lane, and alpha * mask / 256 comes out as a plain number there.
void mask(Argb32* dst, const Argb32* src, const uint8_t* mask, int32_t count) {
    map(
        dst, count,
        [](U8 px, U16 mask_x256) { return with_alpha_of(px, U8(mul_hi(mask_x256, U16(px) >> 8) << 8)); }, src,
        mask);
}

}  // namespace qx::QX_ISA
