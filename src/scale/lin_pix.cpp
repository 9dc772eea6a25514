#include "line/line_loop.h"
#include "line/pixel.h"

namespace qx::QX_ISA {

// a * (256 - n) / 256 + b * n / 256 of every byte, each term floored on its own, for n of 0 to 127.
QX_INLINE U8 mix(U8 a, U8 b, int n) {
#if defined(QX_MULTIPLIES_BYTES)
    // The first term is a + floor(-a * n / 256). Products of bytes need no splitting; their high bytes are
    // the quotients.
    auto times = [](U8 px, int factor, int shift) QX_LAMBDA {
        return U8(mul_add_bytes(px, I16(splat_16(static_cast<uint32_t>(factor & 255) << shift))));
    };
    U8 even = times(a, -n, 0) + times(b, n, 0), odd = times(a, -n, 8) + times(b, n, 8);
    return a + join_upper_bytes(U16(even), U16(odd));
#else
    return add(scale(a, splat_16(256 - n)), scale(b, splat_16(n)));
#endif
}

void lin_pix(Argb32* dst, const Argb32* src1, const Argb32* src2, uint32_t weight, int32_t count) {
    if (weight == 128) {
        const U8 even = splat(0xFEFEFEFE);  // half of either is half of its even part
        map(
            dst, count, [=](U8 a, U8 b) { return average(a & even, b & even); }, src1, src2);
    } else if (weight > 128) {
        map(
            dst, count, [=](U8 a, U8 b) { return mix(a, b, 256 - weight); }, src1, src2);
    } else {
        map(
            dst, count, [=](U8 a, U8 b) { return mix(b, a, weight); }, src1, src2);
    }
}

}  // namespace qx::QX_ISA
