// Arithmetic on whole pixels that several kernels share.
#pragma once

#include "vec/vec_bytes.h"

namespace qx::QX_ISA {

constexpr Argb32 kAlphaByte = 0xFF000000;

QX_INLINE U8 opaque(U8 px) { return px | splat(kAlphaByte); }

// The colour of one pixel with the alpha of another.
QX_INLINE U8 with_alpha_of(U8 px, U8 alpha) { return select(splat(kAlphaByte), alpha, px); }

QX_INLINE U16 spread_alpha(U8 px) { return spread_byte<3>(px); }
QX_INLINE U16 spread_alpha_x256(U8 px) { return spread_byte_x256<3>(px); }

// 16-bit arithmetic on bytes, without widening and packing: the bytes at even places of a vector and those at
// odd places, each a plain number in a 16-bit lane. A result for an even place stays in the low byte of its
// lane, with 0 above it; one for an odd place goes to the high byte, and what lies below it is dropped.
struct ByteLanes {
    U16 even, odd;
};

QX_INLINE ByteLanes split(U8 px) { return {U16(px) & 0x00FF, U16(px) >> 8}; }
QX_INLINE U8 merge(ByteLanes results) {
    return select_over_zeros(U8(splat_16(0xFF00)), U8(results.odd), U8(results.even));
}

// Every byte times weight / 256, truncated, weight 0 to 256. The even bytes are multiplied as x256, so that
// the result is the high half of the product; for the odd ones it is the high byte of the low half. The
// second form has a weight of its own for the odd bytes.
QX_INLINE ByteLanes scale(U8 px, U16 weight_even, U16 weight_odd) {
    return {mul_hi(U16(px) << 8, weight_even), (U16(px) >> 8) * weight_odd};
}
QX_INLINE ByteLanes scale(U8 px, U16 weight) { return scale(px, weight, weight); }

// Every byte times weight / 65536, truncated, weight 0 to 65535: of the even bytes of one vector and the odd
// ones of another.
QX_INLINE ByteLanes scale_64k(U8 even, U8 odd, U16 weight) {
    return {mul_hi(U16(even) & 0x00FF, weight), mul_hi(U16(odd) & 0xFF00, weight)};
}

// Sums of two results, saturated or known to stay below 256. The odd ones are added as bytes, so that nothing
// is carried into them from below.
QX_INLINE U8 add(ByteLanes a, ByteLanes b) { return merge({a.even + b.even, U16(U8(a.odd) + U8(b.odd))}); }
QX_INLINE U8 add_saturated(ByteLanes a, ByteLanes b) {
    return merge({U16(add_saturated(U8(a.even), U8(b.even))), U16(add_saturated(U8(a.odd), U8(b.odd)))});
}

}  // namespace qx::QX_ISA
