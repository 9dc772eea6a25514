#include "line/line_loop.h"

namespace qx::QX_ISA {

// BT.601, studio range, matrix times 8192. Each product / 512 is floored before the sum, and the sum / 16 is:
// the truncations must stay. The results lie within 16 to 240: there is nothing to clamp.
constexpr int kU[] = {3596, -2383, -1212};  //  0.439, -0.291, -0.148 of blue, green, red
constexpr int kY[] = {803, 4128, 2105};     //  0.098,  0.504,  0.257
constexpr int kV[] = {-581, -3014, 3596};   // -0.071, -0.368,  0.439

void argb2ayuv(Ayuv32* dst, const Argb32* src, int32_t count) {
    auto formula = [](Pair px) QX_LAMBDA {
        auto bgr = planes_of(px);
        auto u = sum_of_512ths<kU>(bgr), y = sum_of_512ths<kY>(bgr), v = sum_of_512ths<kV>(bgr);
        return pixels_of_sixteenths(u, y, v, 128 | 16 << 8 | 128 << 16, px);
    };
    map_pairs(dst, count, formula, src);
}

}  // namespace qx::QX_ISA
