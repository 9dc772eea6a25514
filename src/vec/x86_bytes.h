// Bytes, lanes and pixels moved about.
#pragma once

#include <immintrin.h>

#include "vec/base.h"

#if QX_VECTOR_BYTES == 64
#define QX_OP(name) _mm512_##name
#elif QX_VECTOR_BYTES == 32
#define QX_OP(name) _mm256_##name
#else
#define QX_OP(name) _mm_##name
#endif

namespace qx::QX_ISA {

#if QX_VECTOR_BYTES == 64
using Bits = __m512i;
#elif QX_VECTOR_BYTES == 32
using Bits = __m256i;
#else
using Bits = __m128i;
#endif

QX_INLINE U8 average(U8 a, U8 b) {  // the processor's average rounds up, which an odd sum undoes
    return U8(QX_OP(avg_epu8)(Bits(a), Bits(b))) - ((a ^ b) & 1);
}

QX_INLINE U8 add_saturated(U8 a, U8 b) { return U8(QX_OP(adds_epu8)(Bits(a), Bits(b))); }

QX_INLINE U16 at_least_1(U16 number) { return U16(QX_OP(max_epi16)(Bits(number), Bits(splat_16(1)))); }

// Pack and unpack work within 128-bit blocks: what the one puts out of order, the other puts back.
QX_INLINE U8 pack_saturated(I16 a, I16 b) { return U8(QX_OP(packus_epi16)(Bits(a), Bits(b))); }
QX_INLINE Pair zip_in_blocks(U16 a, U16 b) {
    return {U8(QX_OP(unpacklo_epi16)(Bits(a), Bits(b))), U8(QX_OP(unpackhi_epi16)(Bits(a), Bits(b)))};
}

#if QX_VECTOR_BYTES >= 32
QX_INLINE U8 select(U8 mask, U8 set, U8 clear) {
#if QX_VECTOR_BYTES == 64
    return U8(_mm512_ternarylogic_epi32(Bits(mask), Bits(set), Bits(clear), 0xCA));
#else
    return U8(_mm256_blendv_epi8(Bits(clear), Bits(set), Bits(mask)));
#endif
}

QX_INLINE U8 merge_high(U16 low, U16 high) {
#if QX_VECTOR_BYTES == 64
    static constexpr auto index =
        constant<uint8_t>([](int i) { return (i % 2 == 0 ? 0 : kBytes) + (i | 1); });
    return U8(_mm512_permutex2var_epi8(Bits(low), Bits(index.vector()), Bits(high)));
#else
    return select(U8(splat_16(0xFF00)), U8(high), U8(low >> 8));
#endif
}

QX_INLINE U8 merge(Terms terms) { return select(U8(splat_16(0xFF00)), U8(terms.odd), U8(terms.even)); }

// Byte k of every pixel of the result is byte `from_k` of that pixel; a negative one gives 0.
template <int from_0, int from_1, int from_2, int from_3>
QX_INLINE U8 shuffle_pixels(U8 px) {
    static constexpr auto index = constant<uint8_t>([](int i) {
        constexpr int from[4] = {from_0, from_1, from_2, from_3};
        return from[i % 4] < 0 ? 0x80 : i % 16 / 4 * 4 + from[i % 4];
    });
    return U8(QX_OP(shuffle_epi8)(Bits(px), Bits(index.vector())));
}
template <int from>
QX_INLINE U16 spread_byte(U8 px) {
    return U16(shuffle_pixels<from, -1, from, -1>(px));
}
template <int from>
QX_INLINE U8 repeat_byte(U8 px) {
    return shuffle_pixels<from, from, from, from>(px);
}
#endif

QX_INLINE U8 preceding(U8 before, U8 px) {
#if QX_VECTOR_BYTES == 64
    return U8(_mm512_alignr_epi32(Bits(px), Bits(before), kPixels - 1));
#elif QX_VECTOR_BYTES == 32
    Bits middle = _mm256_permute2x128_si256(Bits(before), Bits(px), 0x21);
    return U8(_mm256_alignr_epi8(Bits(px), middle, 12));
#else
    return U8(_mm_or_si128(_mm_slli_si128(Bits(px), 4), _mm_srli_si128(Bits(before), 12)));
#endif
}

// The alpha of every pixel in both of its 16-bit lanes, x256.
QX_INLINE U16 alpha_x256(U8 px) {
#if QX_VECTOR_BYTES >= 32
    return U16(shuffle_pixels<-1, 3, -1, 3>(px));
#else
    U32 alpha = U32(px) & kAlphaByte;
    return U16(alpha | alpha >> 16);
#endif
}

// The high half of a product is its quotient by 65536: with one factor x256, the quotient by 256 of the plain
// numbers.
QX_INLINE U16 mul_hi(U16 a, U16 b) { return U16(QX_OP(mulhi_epu16)(Bits(a), Bits(b))); }
QX_INLINE I16 mul_hi(I16 a, I16 b) { return I16(QX_OP(mulhi_epi16)(Bits(a), Bits(b))); }

QX_INLINE Terms scale_lanes(U8 px, U16 even, U16 odd) {
    return {mul_hi(U16(px) << 8, even), (U16(px) >> 8) * odd};
}

}  // namespace qx::QX_ISA
