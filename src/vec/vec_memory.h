// Vectors from memory and back, at any address. Nothing outside the pixels, or mask bytes, that are asked for
// is touched. The loops take anything as a line that has `+ i`, load and load_n.
#pragma once

#include "vec/vec_block.h"

namespace qx::QX_ISA {

// ---- pixels ----

typedef uint8_t U8Anywhere __attribute__((vector_size(kBytes), aligned(1), may_alias));

QX_INLINE U8 load(const Argb32* p) {
    U8 px = *reinterpret_cast<const U8Anywhere*>(p);
    asm("" : "+v"(px));  // or g++ loads again for every use
    return px;
}
QX_INLINE void store(Argb32* p, U8 px) { *reinterpret_cast<U8Anywhere*>(p) = px; }

// The first n pixels, 0 < n < kPixels; load_n leaves zeros after them. Lane masks where a masked access is
// as good as a plain one; elsewhere register moves, the larger pieces first.
#if defined(__AVX512VBMI__)
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
#if defined(__AVX2__)
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

// The first n pixels of a pair of vectors, 0 < n < 2 * kPixels.
QX_INLINE Pair load_up_to(const Argb32* p, int n) {
    if (n < kPixels) return {load_n(p, n), U8{}};
    return {load(p), n == kPixels ? U8{} : load_n(p + kPixels, n - kPixels)};
}
QX_INLINE void store_up_to(Argb32* p, Pair px, int n) {
    if (n < kPixels) return store_n(p, px.first, n);
    store(p, px.first);
    if (n > kPixels) store_n(p + kPixels, px.second, n - kPixels);
}

// ---- masks: one byte for each pixel, loaded into both 16-bit lanes of the pixel, x256 ----

#if defined(__AVX512VBMI__)
QX_INLINE __m128i load_mask_bytes(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
QX_INLINE __m128i load_mask_bytes(const uint8_t* p, int n) { return _mm_maskz_loadu_epi8(first_lanes(n), p); }
QX_INLINE U16 spread_mask(__m128i bytes) {
    return U16(
        _mm512_maskz_permutexvar_epi8(0xAAAAAAAAAAAAAAAA, unpack_index(0), _mm512_castsi128_si512(bytes)));
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
QX_INLINE U16 spread_mask(uint64_t bytes) {
#if defined(__AVX2__)
    static constexpr auto index = constant<uint8_t>([](int i) { return i % 2 == 0 ? 0x80 : i / 4; });
    return U16(_mm256_shuffle_epi8(_mm256_set1_epi64x(static_cast<long long>(bytes)), index.bits()));
#else
    Bits words = _mm_unpacklo_epi8(_mm_setzero_si128(), _mm_cvtsi32_si128(static_cast<int>(bytes)));
    return U16(_mm_unpacklo_epi16(words, words));
#endif
}
QX_INLINE uint64_t load_mask_bytes(const uint8_t* p) {
    uint64_t bytes = 0;
    __builtin_memcpy(&bytes, p, kPixels);
    return bytes;
}
#endif

QX_INLINE U16 load(const uint8_t* mask) { return spread_mask(load_mask_bytes(mask)); }
QX_INLINE U16 load_n(const uint8_t* mask, int n) { return spread_mask(load_mask_bytes(mask, n)); }

// A mask line seen through a table of 256 bytes. Two loads a pixel are all that builds without tables in
// registers have: there it stays in the caller's memory.
struct MappedMask {
    const uint8_t* mask;
#if defined(QX_PACKS_BYTES)
    ByteTable table;
#else
    const uint8_t* table;
#endif
};
QX_INLINE MappedMask operator+(MappedMask line, ptrdiff_t i) {
    line.mask += i;
    return line;
}

#if defined(QX_PACKS_BYTES)
QX_INLINE MappedMask map_mask(const uint8_t* mask, const uint8_t* lut) { return {mask, byte_table(lut)}; }

QX_INLINE U16 spread_mapped(__m128i bytes, const ByteTable& table) {
    Bits index = _mm512_permutexvar_epi8(unpack_index(0), _mm512_castsi128_si512(bytes));
    return U16(table[U8(index)]) & 0xFF00;
}
QX_INLINE U16 load(const MappedMask& line) { return spread_mapped(load_mask_bytes(line.mask), line.table); }
QX_INLINE U16 load_n(const MappedMask& line, int n) {
    return spread_mapped(load_mask_bytes(line.mask, n), line.table);
}

// The bytes of a block of pixels.
QX_INLINE Packed load_packed(const uint8_t* mask) { return {U8(_mm512_loadu_si512(mask))}; }
QX_INLINE Packed load_packed(const MappedMask& line) { return {line.table[load_packed(line.mask).bytes]}; }
#else
QX_INLINE MappedMask map_mask(const uint8_t* mask, const uint8_t* lut) { return {mask, lut}; }

QX_INLINE U16 load_n(const MappedMask& line, int n) {
    auto map = [table = line.table](uint8_t m) QX_LAMBDA { return table[m]; };
    return spread_mask(load_mask_bytes(line.mask, n, map));
}
QX_INLINE U16 load(const MappedMask& line) { return load_n(line, kPixels); }
#endif

}  // namespace qx::QX_ISA
