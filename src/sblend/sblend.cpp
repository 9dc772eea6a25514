#include "frame/composite.h"

namespace qx::QX_ISA {

// Over, with a straight result. w <= alpha, so that reciprocal * w <= 65535 and share <= 255; where alpha is
// 0, w is 0 too. bg + floor(share * (fg - bg) / 256) lies between bg and fg, so that only its low byte
// matters, and share * (fg - bg) needs no more than its low half.
constexpr auto step = [](U8 bg, U8 fg, U16 w) {
    U16 alpha = w + (spread_alpha(bg) * (255 - w) >> 8);
    U32 alpha_32 = U32(alpha) & 0x0000FFFF;
    U16 share = spread_byte<1>(U8(U16(reciprocal(alpha_32)) * w));
    ByteLanes from = split(bg), to = split(fg);
    U8 moved = bg + merge({(to.even - from.even) * share >> 8, (to.odd - from.odd) * share});
    return with_alpha_of(moved, U8(alpha_32 << 24));
};

void sblend(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count) {
    composite(step, plain_weight, dst, bg, fg, count);
}

}  // namespace qx::QX_ISA
