// What sse2, avx2 and avx512 do better, in 32 and in 64 bits: the operations that the portable formulas call.
// "x256" says that a lane holds a byte in its high half.
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

// For every byte k of a pixel, the place of byte `from_k` of that pixel in its 16-byte block; no place for a
// negative one.
template <int from_0, int from_1, int from_2, int from_3>
QX_INLINE Bits places_within_pixels() {
    static constexpr auto index = constant<uint8_t>([](int i) {
        constexpr int from[4] = {from_0, from_1, from_2, from_3};
        return from[i % 4] < 0 ? 0x80 : i % 16 / 4 * 4 + from[i % 4];
    });
    return Bits(index.vector());
}

// Byte k of every pixel of the result is byte `from_k` of that pixel; a negative one gives 0.
template <int from_0, int from_1, int from_2, int from_3>
QX_INLINE U8 shuffle_pixels(U8 px) {
    return U8(QX_OP(shuffle_epi8)(Bits(px), places_within_pixels<from_0, from_1, from_2, from_3>()));
}

#if QX_VECTOR_BYTES == 64
template <uint64_t bits>
QX_INLINE __mmask64 byte_mask() {
    static constexpr uint64_t in_memory = bits;
    if constexpr (sizeof(void*) == 8) return bits;
    // In 32 bits g++ would put it together on the stack, and wait there.
    __mmask64 mask;
    asm("kmovq %1, %0" : "=k"(mask) : "m"(in_memory));
    return mask;
}
// The bytes of every pixel for which a bit of `bytes` is set, from the lowest on.
template <unsigned bytes>
QX_INLINE __mmask64 bytes_of_pixels() {
    return byte_mask<0x1111111111111111u * bytes>();
}

// The same, but a negative one leaves the byte of `px`. (A permutation of two vectors takes twice as long.)
template <int from_0, int from_1, int from_2, int from_3>
QX_INLINE U8 replace_bytes(U8 px, U8 by) {
    constexpr unsigned replaced =
        (from_0 >= 0) | (from_1 >= 0) << 1 | (from_2 >= 0) << 2 | (from_3 >= 0) << 3;
    return U8(_mm512_mask_shuffle_epi8(Bits(px), bytes_of_pixels<replaced>(), Bits(by),
                                       places_within_pixels<from_0, from_1, from_2, from_3>()));
}

QX_INLINE U8 merge_high(U16 low, U16 high) { return replace_bytes<1, -1, 3, -1>(U8(high), U8(low)); }

QX_INLINE U8 add_high_to_colours(U8 px, U16 even, U16 odd) {
    return U8(
        _mm512_mask_add_epi8(Bits(px), bytes_of_pixels<0b0111>(), Bits(px), Bits(merge_high(even, odd))));
}
#endif

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

QX_INLINE U16 scaled_alpha(U8 px, U16 number) { return mul_hi(alpha_x256(px), number); }

QX_INLINE Terms scale_lanes(U8 px, U16 even, U16 odd) {
    return {mul_hi(U16(px) << 8, even), (U16(px) >> 8) * odd};
}

// ---- memory ----

QX_INLINE U8 load(const Argb32* p) {
    U8 px = *reinterpret_cast<const U8Anywhere*>(p);
    asm("" : "+v"(px));  // or g++ loads again for every use
    return px;
}

// Lane masks where a masked access is as good as a plain one; elsewhere register moves, the larger pieces
// first.
#if QX_VECTOR_BYTES == 64
QX_INLINE __mmask16 first_lanes(int n) { return static_cast<__mmask16>((1u << n) - 1); }
QX_INLINE U8 load_n(const Argb32* p, int n) { return U8(_mm512_maskz_loadu_epi32(first_lanes(n), p)); }
QX_INLINE void store_n(Argb32* p, U8 px, int n) { _mm512_mask_storeu_epi32(p, first_lanes(n), Bits(px)); }
#else
QX_INLINE __m128i load_up_to_3(const Argb32* p, int n) {
    if (n == 0) return _mm_setzero_si128();
    if (n == 1) return _mm_loadu_si32(p);
    __m128i two = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return n == 2 ? two : _mm_unpacklo_epi64(two, _mm_loadu_si32(p + 2));
}
QX_INLINE void store_up_to_3(Argb32* p, __m128i px, int n) {
    if (n & 2) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), px);
        px = _mm_unpackhi_epi64(px, px);
    }
    if (n & 1) _mm_storeu_si32(p + (n & 2), px);
}
#if QX_VECTOR_BYTES == 32
QX_INLINE U8 load_n(const Argb32* p, int n) {
    if (n < 4) return U8(_mm256_zextsi128_si256(load_up_to_3(p, n)));
    __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    return U8(_mm256_inserti128_si256(_mm256_castsi128_si256(low), load_up_to_3(p + 4, n - 4), 1));
}
QX_INLINE void store_n(Argb32* p, U8 px, int n) {
    __m128i part = _mm256_castsi256_si128(Bits(px));
    if (n & 4) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), part);
        part = _mm256_extracti128_si256(Bits(px), 1);
    }
    store_up_to_3(p + (n & 4), part, n & 3);
}
#else
QX_INLINE U8 load_n(const Argb32* p, int n) { return U8(load_up_to_3(p, n)); }
QX_INLINE void store_n(Argb32* p, U8 px, int n) { store_up_to_3(p, Bits(px), n); }
#endif
#endif

// ---- masks ----

struct MaskX256 {
    U16 lanes;  // the byte x256 in both lanes of its pixel
};

#if QX_VECTOR_BYTES == 64
// One byte of a vector for every pixel, those of vector k of a block, in all bytes of their pixels.
QX_INLINE Bits unpack_index(int k) {
    static constexpr auto index = constant<uint8_t>([](int i) { return i / 4; });
    return Bits(index.vector() + uint8_t(k * kPixels));
}

QX_INLINE MaskX256 spread_mask(__m128i bytes) {
    return {U16(_mm512_maskz_permutexvar_epi8(bytes_of_pixels<0b1010>(), unpack_index(0),
                                              _mm512_castsi128_si512(bytes)))};
}
QX_INLINE __m128i load_bytes(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
QX_INLINE __m128i load_bytes(const uint8_t* p, int n) { return _mm_maskz_loadu_epi8(first_lanes(n), p); }
QX_INLINE MaskX256 load(const uint8_t* mask) { return spread_mask(load_bytes(mask)); }
QX_INLINE MaskX256 load_n(const uint8_t* mask, int n) { return spread_mask(load_bytes(mask, n)); }
#elif QX_VECTOR_BYTES == 32
QX_INLINE MaskX256 spread_mask(__m128i eight) {
    static constexpr auto index = constant<uint8_t>([](int i) { return i % 2 == 0 ? 0x80 : i / 4; });
    return {U16(_mm256_shuffle_epi8(_mm256_broadcastq_epi64(eight), Bits(index.vector())))};
}
QX_INLINE MaskX256 spread_mask(uint64_t eight) {
    if constexpr (sizeof(void*) == 8) return spread_mask(_mm_set_epi64x(0, static_cast<long long>(eight)));
    // In 32 bits it would go through memory, and wait there.
    __m128i low = _mm_cvtsi32_si128(static_cast<int>(eight));
    return spread_mask(_mm_insert_epi32(low, static_cast<int>(eight >> 32), 1));
}
QX_INLINE MaskX256 load(const uint8_t* mask) {
    return spread_mask(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(mask)));
}
#else
QX_INLINE MaskX256 spread_mask(uint64_t four) {
    Bits words = _mm_unpacklo_epi8(_mm_setzero_si128(), _mm_cvtsi32_si128(static_cast<int>(four)));
    return {U16(_mm_unpacklo_epi16(words, words))};
}
#endif

}  // namespace qx::QX_ISA
