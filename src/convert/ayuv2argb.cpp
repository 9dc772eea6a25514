#include "line/line_loop.h"

namespace qx::QX_ISA {

// BT.601, studio range, inverse matrix times 8192. U - 128, Y - 16 and V - 128 are multiplied by 8, so that
// the high half of a 32-bit sum of products is the sum / 8192, floored.
void ayuv2argb(Argb32* dst, const Ayuv32* src, int32_t count) {
    auto formula = [](U8 px) QX_LAMBDA {
        I16 u_y = 8 * (widen_bytes<0, 1>(px) - splat_pair(128, 16));
        I16 v_y = 8 * (widen_bytes<2, 1>(px) - splat_pair(128, 16));
        I32 b = mul_add_pairs(u_y, splat_pair(16531, 9535));  //  2.018 * 8192,  1.164 * 8192
        I32 r = mul_add_pairs(v_y, splat_pair(13074, 9535));  //  1.596 * 8192,  1.164 * 8192
        // Green is the sum of two terms that are floored on their own, unlike blue and red: of high halves.
        U16 g = U16(mul_add_pairs(u_y, splat_pair(-3203, 9535))) +  // -0.391 * 8192,  1.164 * 8192
                U16(mul_add_pairs(v_y, splat_pair(-6660, 0)));      // -0.813 * 8192
        return pack_pixels(I16(join_upper(U32(b), U32(r))), U32(g), px);
    };
    map(dst, count, formula, src);
}

}  // namespace qx::QX_ISA
