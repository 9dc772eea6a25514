// Weights, and bytes multiplied by them.
#pragma once

#include "vec/portable.h"
#include "vec/x86_memory.h"

namespace qx::QX_ISA {

// Alpha x256 has the quotient by 256 of its product with mask x256 in its high byte.
QX_INLINE U8 scale_alpha(U8 px, MaskX256 mask) {
    return with_alpha(px, U8(mul_hi(mask.lanes, U16(px & splat(kAlphaByte)))));
}

QX_INLINE Spread weight_of(U8 fg, Opacity opacity) {
    return {mul_hi(alpha_x256(fg), splat_16(opacity.number))};
}
QX_INLINE Spread weight_of(U8 fg, MaskX256 mask) { return {mul_hi(mask.lanes, spread_byte<3>(fg))}; }
QX_INLINE Spread weight_of(U8 fg, MaskX256 mask, Opacity opacity) {
    return {mul_hi(alpha_x256(fg), mul_hi(mask.lanes, splat_16(opacity.number)))};
}

QX_INLINE Terms scale_premultiplied(U8 px, Spread weight) {
    U16 factor = spread_byte<3>(px) * weight.lanes;
    return {mul_hi(U16(px) & 0x00FF, factor), mul_hi(U16(opaque(px)) & 0xFF00, factor)};
}

#if QX_VECTOR_BYTES >= 32
// In each 16-bit lane, the sum of the products of the lower and of the upper bytes: of pixels times factors
// of -128 to 127.
QX_INLINE I16 mul_add_bytes(U8 px, I16 factors) { return I16(QX_OP(maddubs_epi16)(Bits(px), Bits(factors))); }

// The first term is a + floor(-a * n / 256). Products of bytes need no splitting; their high bytes are the
// quotients.
QX_INLINE U8 mix(U8 a, U8 b, int n) {
    auto times = [](U8 px, int factor, int shift) QX_LAMBDA {
        return U8(mul_add_bytes(px, I16(splat_16(static_cast<uint32_t>(factor & 255) << shift))));
    };
    U8 even = times(a, -n, 0) + times(b, n, 0), odd = times(a, -n, 8) + times(b, n, 8);
    return a + merge_high(U16(even), U16(odd));
}
#endif

}  // namespace qx::QX_ISA
