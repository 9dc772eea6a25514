#include "line/line_loop.h"

namespace qx::QX_ISA {

void lin_pix(Argb32* dst, const Argb32* src1, const Argb32* src2, uint32_t weight, int32_t count) {
    if (weight == 128) {
        const U8 even = splat(0xFEFEFEFE);  // half of either is half of its even part
        map(
            dst, count, [=](U8 a, U8 b) QX_LAMBDA { return average(a & even, b & even); }, src1, src2);
    } else if (weight > 128) {
        map(
            dst, count, [=](U8 a, U8 b) QX_LAMBDA { return mix(a, b, 256 - weight); }, src1, src2);
    } else {
        map(
            dst, count, [=](U8 a, U8 b) QX_LAMBDA { return mix(b, a, weight); }, src1, src2);
    }
}

}  // namespace qx::QX_ISA
