#include "line/line_loop.h"
#include "line/pixel.h"

namespace qx::QX_ISA {

// BT.601, studio range, matrix times 8192. A byte times -128, times a coefficient's opposite, has the product
// / 512 in its high half, floored; three of them / 16 are the sum of products / 8192, but for the
// truncations, which must stay. The results lie within 16 to 240: there is nothing to clamp.
void argb2ayuv(Ayuv32* dst, const Argb32* src, int32_t count) {
    auto formula = [](Pair px) QX_LAMBDA {
        auto [b, g, r] = planes_x_minus_128(px);
        auto weigh = [b = b, g = g, r = r](int16_t from_r, int16_t from_g, int16_t from_b) QX_LAMBDA {
            return mul_hi(r, I16{} - from_r) + mul_hi(g, I16{} - from_g) + mul_hi(b, I16{} - from_b);
        };
        I16 u = weigh(-1212, -2383, 3596);  // -0.148, -0.291,  0.439
        I16 y = weigh(2105, 4128, 803);     //  0.257,  0.504,  0.098
        I16 v = weigh(3596, -3014, -581);   //  0.439, -0.368, -0.071
        Pair woven = weave_sixteenths(u, y, v, px);
        const U8 offsets = splat(128 | 16 << 8 | 128 << 16);
        return Pair{woven.first + offsets, woven.second + offsets};
    };
    map_pairs(dst, count, formula, src);
}

}  // namespace qx::QX_ISA
