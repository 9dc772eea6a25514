// Arithmetic on alphas by themselves, in two forms: spread, a U16 with the alpha of each pixel of one vector
// in both of its lanes; and packed, a U8 with the alphas of a whole block, where a build packs bytes.
#pragma once

#include "frame/pixel.h"
#include "frame/reciprocal_table.h"
#include "frame/vec_block.h"

namespace qx::QX_ISA {

// a * b / 256, truncated.
QX_INLINE U16 scale_alphas(U16 a, U16 b) { return a * b >> 8; }

// (65535 / whole) * part / 256, truncated twice, for part <= whole; 0 where both are 0. The reciprocal times
// part is at most 65535 and the result at most 255.
template <typename Alphas>
struct Shares;

template <>
struct Shares<U16> {
    QX_INLINE_MEMBER U16 operator()(U16 part, U16 whole) const {
        U16 quotient = U16(reciprocal(U32(whole) & 0x0000FFFF));
        return spread_byte<1>(U8(quotient * part));
    }
};

#if defined(QX_PACKS_BYTES)
QX_INLINE U8 scale_alphas(U8 a, U8 b) { return merge(scale(a, split(b).even, split(b).odd)); }

template <>
struct Shares<U8> {
    ByteTable low = byte_table<0>(ReciprocalTable), high = byte_table<1>(ReciprocalTable);

    QX_INLINE_MEMBER U8 operator()(U8 part, U8 whole) const {
        U8 low_bytes = low[whole], high_bytes = high[whole];
        U16 even = (U16(low_bytes) & 0x00FF) | U16(high_bytes) << 8;
        U16 odd = U16(low_bytes) >> 8 | (U16(high_bytes) & 0xFF00);
        return merge({even * split(part).even >> 8, odd * split(part).odd});
    }
};
#endif

}  // namespace qx::QX_ISA
