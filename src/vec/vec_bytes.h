// Bytes of pixels moved about: within their pixels, from pixels to planes and back.
#pragma once

#include "vec/vec.h"

namespace qx::QX_ISA {

#if defined(__AVX2__)
// Byte k of every pixel of the result is byte `from_k` of that pixel; a negative one gives 0.
template <int from_0, int from_1, int from_2, int from_3>
QX_INLINE U8 shuffle_pixels(U8 px) {
    static constexpr auto index = constant<uint8_t>([](int i) {
        constexpr int from[4] = {from_0, from_1, from_2, from_3};
        return from[i % 4] < 0 ? 0x80 : i % 16 / 4 * 4 + from[i % 4];
    });
    return U8(QX_OP(shuffle_epi8)(Bits(px), index.bits()));
}
#endif

// Byte `from` of every pixel in both 16-bit lanes of the pixel, as a plain number or x256.
template <int from>
QX_INLINE U16 spread_byte(U8 px) {
#if defined(__AVX2__)
    return U16(shuffle_pixels<from, -1, from, -1>(px));
#else
    U32 byte = U32(px) << (24 - 8 * from) >> 24;
    return U16(byte | byte << 16);
#endif
}
template <int from>
QX_INLINE U16 spread_byte_x256(U8 px) {
#if defined(__AVX2__)
    return U16(shuffle_pixels<-1, from, -1, from>(px));
#else
    U32 byte = U32(px) << (24 - 8 * from) >> 24 << 24;
    return U16(byte | byte >> 16);
#endif
}

// All four bytes of every pixel are its byte `from`.
template <int from>
QX_INLINE U8 repeat_byte(U8 px) {
#if defined(__AVX2__)
    return shuffle_pixels<from, from, from, from>(px);
#else
    U16 twice = spread_byte<from>(px);
    return U8(twice | twice << 8);
#endif
}

// Two bytes of every pixel as plain numbers in its lower and its upper 16-bit lane.
template <int lower, int upper>
QX_INLINE I16 widen_bytes(U8 px) {
#if defined(__AVX2__)
    return I16(shuffle_pixels<lower, -1, upper, -1>(px));
#else
    return I16(U32(px) << (24 - 8 * lower) >> 24 | U32(px) << (24 - 8 * upper) >> 24 << 16);
#endif
}

// The upper bytes of the 16-bit lanes of two vectors in their lower and in their upper bytes.
QX_INLINE U8 join_upper_bytes(U16 lower, U16 upper) {
#if defined(__AVX512VBMI__)
    static constexpr auto index =
        constant<uint8_t>([](int i) { return (i % 2 == 0 ? 0 : kBytes) + (i | 1); });
    return U8(_mm512_permutex2var_epi8(Bits(lower), index.bits(), Bits(upper)));
#else
    return select_over_zeros(U8(U16{} + 0xFF00), U8(upper), U8(lower >> 8));
#endif
}

// Packs and weaves work within 128-bit blocks: what a pack of two vectors puts out of order, a weave puts
// back.
QX_INLINE U8 pack_saturated(I16 a, I16 b) { return U8(QX_OP(packus_epi16)(Bits(a), Bits(b))); }
QX_INLINE Pair weave_words(U16 a, U16 b) {
    return {U8(QX_OP(unpacklo_epi16)(Bits(a), Bits(b))), U8(QX_OP(unpackhi_epi16)(Bits(a), Bits(b)))};
}

// Bytes 0, 1 and 2 of the pixels of two vectors, times -128 (a factor that a byte can hold), each in a vector
// of its own; the pixels in some order, which weave_sixteenths undoes.
struct Planes {
    I16 byte_0, byte_1, byte_2;
};
QX_INLINE Planes planes_x_minus_128(Pair px) {
#if defined(__AVX2__)
    static constexpr auto lower = constant<uint8_t>([](int i) { return i % 2 == 0 ? 0x80 : 0; });
    static constexpr auto upper = constant<uint8_t>([](int i) { return i % 2 == 1 ? 0x80 : 0; });
    auto multiply = [](Bits bytes, Bits factors)
                        QX_LAMBDA { return I16(QX_OP(maddubs_epi16)(bytes, factors)); };
#if defined(__AVX512VBMI__)
    static constexpr auto index = constant<uint8_t>(
        [](int i) { return (i % 16 < 8 ? 0 : kBytes) + i / 16 * 16 + i % 8 / 2 * 4 + i % 2; });
    Bits bytes_01 = _mm512_permutex2var_epi8(Bits(px.first), index.bits(), Bits(px.second));
    Bits bytes_23 = _mm512_permutex2var_epi8(Bits(px.first), Bits(index.vector() + 2), Bits(px.second));
#else
    static constexpr auto index =
        constant<uint8_t>([](int i) { return i % 8 / 2 * 4 + i % 16 / 8 * 2 + i % 2; });
    Bits first = _mm256_shuffle_epi8(Bits(px.first), index.bits());
    Bits second = _mm256_shuffle_epi8(Bits(px.second), index.bits());
    Bits bytes_01 = _mm256_unpacklo_epi64(first, second), bytes_23 = _mm256_unpackhi_epi64(first, second);
#endif
    return {multiply(bytes_01, lower.bits()), multiply(bytes_01, upper.bits()),
            multiply(bytes_23, lower.bits())};
#else
    auto plane = [=](int from) QX_LAMBDA {
        auto byte = [=](U8 v) QX_LAMBDA { return Bits(U32(v) << (24 - 8 * from) >> 24); };
        return I16(_mm_packs_epi32(byte(px.first), byte(px.second))) * -128;
    };
    return {plane(0), plane(1), plane(2)};
#endif
}

// The pixels that planes_x_minus_128 took apart: bytes 0, 1 and 2 are the sums / 16, floored, modulo 256;
// byte 3 is that of px.
QX_INLINE Pair weave_sixteenths(I16 byte_0, I16 byte_1, I16 byte_2, Pair px) {
    const U8 alpha = splat(0xFF000000);
    U8 words_01 = select(U8(U16{} + 0xFF00), U8(byte_1 << 4), U8(byte_0 >> 4));
    Pair out = weave_words(U16(words_01), U16(byte_2 >> 4));
    return {select(alpha, px.first, out.first), select(alpha, px.second, out.second)};
}

// The upper 16-bit lanes of the pixels of two vectors in the lower and the upper lanes of one.
QX_INLINE U16 join_upper(U32 lower, U32 upper) {
#if defined(__AVX512VBMI__)
    static constexpr auto index =
        constant<uint16_t>([](int i) { return (i % 2 == 0 ? 0 : kBytes / 2) + (i | 1); });
    return U16(_mm512_permutex2var_epi16(Bits(lower), index.bits(), Bits(upper)));
#elif defined(__AVX2__)
    return U16(_mm256_blend_epi16(Bits(lower >> 16), Bits(upper), 0xAA));
#else
    return U16(lower >> 16 | (upper & 0xFFFF0000));
#endif
}

// Pixels of bytes 0 and 2 from the lanes of bytes_0_2, saturated, byte 1 from the upper lanes of upper_1, and
// byte 3 from that of px.
QX_INLINE U8 pack_pixels(I16 bytes_0_2, U32 upper_1, U8 px) {
#if defined(__AVX2__)
    Bits packed = Bits(pack_saturated(bytes_0_2, I16(upper_1)));
    static constexpr auto index = constant<uint8_t>([](int i) {
        constexpr int from[4] = {0, 9, 1, 0};
        return i % 4 == 3 && kBytes == 64 ? kBytes + i : i / 16 * 16 + i % 16 / 4 * 2 + from[i % 4];
    });
#if defined(__AVX512VBMI__)
    return U8(_mm512_permutex2var_epi8(packed, index.bits(), Bits(px)));
#else
    return select(splat(0xFF000000), px, U8(_mm256_shuffle_epi8(packed, index.bits())));
#endif
#else
    Bits packed = Bits(pack_saturated(bytes_0_2, I16(upper_1 >> 16)));
    return select(splat(0xFF000000), px, U8(_mm_unpacklo_epi8(packed, _mm_srli_si128(packed, 8))));
#endif
}

}  // namespace qx::QX_ISA
