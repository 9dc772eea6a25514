#include "frame/line_loop.h"
#include "frame/pixel.h"

namespace qx::QX_ISA {

// BT.601, studio range, matrix times 8192. A byte times 128, times a coefficient, has the product / 512 in
// its high half, floored; three of them / 16 are the sum of products / 8192, but for the truncations, which
// must stay. The results lie within 16 to 240: there is nothing to clamp.
void argb2ayuv(Ayuv32* dst, const Argb32* src, int32_t count) {
    auto formula = [](Pair px) QX_LAMBDA {
        I16 b = plane_x128<0>(px), g = plane_x128<1>(px), r = plane_x128<2>(px);
        auto weigh = [=](int16_t from_r, int16_t from_g, int16_t from_b) QX_LAMBDA {
            return U16((mul_hi(r, I16{} + from_r) + mul_hi(g, I16{} + from_g) + mul_hi(b, I16{} + from_b)) >>
                       4);
        };
        U16 u = weigh(-1212, -2383, 3596) + 128;  // -0.148, -0.291,  0.439
        U16 y = weigh(2105, 4128, 803) + 16;      //  0.257,  0.504,  0.098
        U16 v = weigh(3596, -3014, -581) + 128;   //  0.439, -0.368, -0.071
        Pair words = weave_words(u | y << 8, v);
        return Pair{with_alpha_of(words.first, px.first), with_alpha_of(words.second, px.second)};
    };
    map_pairs(dst, count, formula, src);
}

}  // namespace qx::QX_ISA
