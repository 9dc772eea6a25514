#include "line/line_loop.h"

namespace qx::QX_ISA {

// BT.601, studio range, inverse matrix times 8192. Green is the sum of two terms that are floored on their
// own, unlike blue and red.
void ayuv2argb(Argb32* dst, const Ayuv32* src, int32_t count) {
    auto formula = [](Pair px) QX_LAMBDA {
        auto uyv = offset_planes(px, 128, 16, 128);
        auto b = sum_of_8192ths<0>(uyv, 16531, 9535);        //  2.018 of u,  1.164 of y
        auto g_of_uy = sum_of_8192ths<0>(uyv, -3203, 9535);  // -0.391 of u,  1.164 of y
        auto g_of_v = sum_of_8192ths<2>(uyv, -6660, 0);      // -0.813 of v
        auto r = sum_of_8192ths<2>(uyv, 13074, 9535);        //  1.596 of v,  1.164 of y
        return pixels_of_sums(b, g_of_uy, g_of_v, r, px);
    };
    map_pairs(dst, count, formula, src);
}

}  // namespace qx::QX_ISA
