// Vectors from memory and back.
#pragma once

#include "vec/x86_bytes.h"

namespace qx::QX_ISA {

typedef uint8_t BitsAnywhere __attribute__((vector_size(kBytes), aligned(1), may_alias));

QX_INLINE U8 load(const Argb32* p) {
    U8 px = *reinterpret_cast<const BitsAnywhere*>(p);
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

QX_INLINE __m128i load_mask_bytes(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
QX_INLINE __m128i load_mask_bytes(const uint8_t* p, int n) { return _mm_maskz_loadu_epi8(first_lanes(n), p); }
QX_INLINE MaskX256 spread_mask(__m128i bytes) {
    return {U16(
        _mm512_maskz_permutexvar_epi8(0xAAAAAAAAAAAAAAAA, unpack_index(0), _mm512_castsi128_si512(bytes)))};
}
#else
// The bytes of up to eight pixels in a number, each passed through `map`.
template <typename Map>
QX_INLINE uint64_t load_mask_bytes(const uint8_t* p, int n, Map map) {
    uint64_t bytes = 0;
    for (int k = 0; k < n; ++k) bytes |= uint64_t{map(p[k])} << (8 * k);
    return bytes;
}
QX_INLINE uint64_t load_mask_bytes(const uint8_t* p, int n) {
    return load_mask_bytes(p, n, [](uint8_t m) { return m; });
}
QX_INLINE uint64_t load_mask_bytes(const uint8_t* p) {
    uint64_t bytes = 0;
    __builtin_memcpy(&bytes, p, kPixels);
    return bytes;
}
QX_INLINE MaskX256 spread_mask(uint64_t bytes) {
#if QX_VECTOR_BYTES == 32
    static constexpr auto index = constant<uint8_t>([](int i) { return i % 2 == 0 ? 0x80 : i / 4; });
    Bits four_times = _mm256_set1_epi64x(static_cast<long long>(bytes));
    return {U16(_mm256_shuffle_epi8(four_times, Bits(index.vector())))};
#else
    Bits words = _mm_unpacklo_epi8(_mm_setzero_si128(), _mm_cvtsi32_si128(static_cast<int>(bytes)));
    return {U16(_mm_unpacklo_epi16(words, words))};
#endif
}

QX_INLINE MaskX256 load_n(const uint8_t* mask, TableInMemory table, int n) {
    return spread_mask(load_mask_bytes(mask, n, [=](uint8_t m) QX_LAMBDA { return table.bytes[m]; }));
}
#endif

QX_INLINE MaskX256 load(const uint8_t* mask) { return spread_mask(load_mask_bytes(mask)); }
QX_INLINE MaskX256 load_n(const uint8_t* mask, int n) { return spread_mask(load_mask_bytes(mask, n)); }

}  // namespace qx::QX_ISA
