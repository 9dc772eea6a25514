#include "line/line_loop.h"
#include "line/pixel.h"

namespace qx::QX_ISA {

// The high half of alpha x256 times mask x256 is alpha * mask, with the quotient by 256 in its high byte.
void mask(Argb32* dst, const Argb32* src, const uint8_t* mask, int32_t count) {
    map(
        dst, count,
        [](U8 px, U16 mask_x256) {
            return with_alpha_of(px, U8(mul_hi(mask_x256, U16(px & splat(kAlphaByte)))));
        },
        src, mask);
}

}  // namespace qx::QX_ISA
