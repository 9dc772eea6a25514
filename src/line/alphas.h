// Arithmetic on alphas by themselves, in two forms: spread, a U16 with the alpha of each pixel of one vector
// in both of its lanes; and Packed, where a build packs bytes, with the alphas of a whole block.
#pragma once

#include "line/pixel.h"
#include "line/reciprocal_table.h"
#include "vec/vec_block.h"

namespace qx::QX_ISA {

// a * b / 256, truncated. Spread, one factor is x256 and the other a plain number; packed there is no such
// difference, but for a uniform factor of 0 to 256, which is a plain number in 16-bit lanes.
#if defined(QX_PACKS_BYTES)
QX_INLINE Packed mul_hi(Packed a, Packed b) {
    U16 x = U16(a.bytes), y = U16(b.bytes);
    return {join_upper_bytes((x & 0x00FF) * (y & 0x00FF), mul_hi(x & 0xFF00, y & 0xFF00))};
}
QX_INLINE Packed mul_hi(Packed a, U16 factor) { return {merge(scale(a.bytes, factor))}; }
#endif

// The alphas of pixels, which may be packed already.
QX_INLINE U16 alphas_of(U8 px) { return spread_alpha(px); }
QX_INLINE U16 alphas_x256_of(U8 px) { return spread_alpha_x256(px); }
#if defined(QX_PACKS_BYTES)
QX_INLINE Packed alphas_of(Packed alphas) { return alphas; }
QX_INLINE Packed alphas_x256_of(Packed alphas) { return alphas; }
#endif

// How a layer of some weight lies over alphas: the alpha of both, and the layer's share of the colours.
template <typename Alphas>
struct Cover {
    Alphas alpha, share;
};

// alpha = weight + under * (255 - weight) / 256, and share = (65535 / alpha) * weight / 256, each quotient
// truncated; share is 0 where alpha is. weight is at most alpha, so that the reciprocal times weight is at
// most 65535 and share at most 255.
struct SpreadCover {
    QX_INLINE_MEMBER Cover<U16> operator()(U16 under, U16 weight) const {
        U16 alpha = weight + (under * (255 - weight) >> 8);
        return {alpha, spread_byte<1>(U8(U16(reciprocal(alpha)) * weight))};
    }
};

#if defined(QX_PACKS_BYTES)
struct PackedCover {
    ByteTable low = byte_table<0>(ReciprocalTable), high = byte_table<1>(ReciprocalTable);

    QX_INLINE_MEMBER Cover<Packed> operator()(Packed under, Packed weight) const {
        U8 alpha = weight.bytes + mul_hi(under, Packed{255 - weight.bytes}).bytes;
        U8 low_bytes = low[alpha], high_bytes = high[alpha];
        U16 even = join_bytes<0>(low_bytes, high_bytes), odd = join_bytes<1>(low_bytes, high_bytes);
        ByteLanes weights = split(weight.bytes);
        return {{alpha}, {join_upper_bytes(even * weights.even, odd * weights.odd)}};
    }
};
#endif

}  // namespace qx::QX_ISA
