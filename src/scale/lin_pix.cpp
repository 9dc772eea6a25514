#include "frame/line_loop.h"
#include "frame/pixel.h"

namespace qx::QX_ISA {

void lin_pix(Argb32* dst, const Argb32* src1, const Argb32* src2, uint32_t weight, int32_t count) {
    // Two terms, each floored on its own: together they are never above 255.
    auto formula = [w1 = splat_16(weight), w2 = splat_16(256 - weight)](U8 a, U8 b) {
        return add(scale(a, w1), scale(b, w2));
    };
    map(dst, count, formula, src1, src2);
}

}  // namespace qx::QX_ISA
