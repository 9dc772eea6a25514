// Pixels of a line that lie apart.
#pragma once

#include "vec/portable.h"
#include "vec/x86_memory.h"

namespace qx::QX_ISA {

// Vectors of four pixels one after the other.
#if QX_VECTOR_BYTES == 64
QX_INLINE U8 concat(const __m128i (&four)[4]) {
    __m256i low = _mm256_inserti128_si256(_mm256_castsi128_si256(four[0]), four[1], 1);
    __m256i high = _mm256_inserti128_si256(_mm256_castsi128_si256(four[2]), four[3], 1);
    return U8(_mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1));
}
#elif QX_VECTOR_BYTES == 32
QX_INLINE U8 concat(const __m128i (&four)[2]) { return U8(_mm256_set_m128i(four[1], four[0])); }
#else
QX_INLINE U8 concat(const __m128i (&four)[1]) { return U8(four[0]); }
#endif

QX_INLINE U8 load_every(const Argb32* src, ptrdiff_t step) {
    __m128i four[kPixels / 4];
    for (__m128i& px : four) {
        __m128i low = _mm_unpacklo_epi32(_mm_loadu_si32(src), _mm_loadu_si32(src + step));
        __m128i high = _mm_unpacklo_epi32(_mm_loadu_si32(src + 2 * step), _mm_loadu_si32(src + 3 * step));
        px = _mm_unpacklo_epi64(low, high);
        src += 4 * step;
    }
    return concat(four);
}

#if QX_VECTOR_BYTES >= 32
// The pixels at even places of a vector, each followed by the one at the same place of another.
QX_INLINE U8 follow_by(U8 even, U8 px) {
#if QX_VECTOR_BYTES == 64
    return U8(_mm512_mask_shuffle_epi32(Bits(even), 0xAAAA, Bits(px), _MM_PERM_CCAA));
#else
    return U8(_mm256_blend_epi32(Bits(even), _mm256_shuffle_epi32(Bits(px), _MM_SHUFFLE(2, 2, 0, 0)), 0xAA));
#endif
}

// The pixels at index, 0 to 2 * kPixels - 1, of a pair of vectors; or of its first one.
QX_INLINE U8 permute_pixels(U8 px, U32 index) {
#if QX_VECTOR_BYTES == 64
    return U8(_mm512_permutexvar_epi32(Bits(index), Bits(px)));
#else
    return U8(_mm256_permutevar8x32_epi32(Bits(px), Bits(index)));
#endif
}
QX_INLINE U8 permute_pixels(Pair px, U32 index) {
#if QX_VECTOR_BYTES == 64
    return U8(_mm512_permutex2var_epi32(Bits(px.first), Bits(index), Bits(px.second)));
#else
    auto first = _mm256_castsi256_ps(Bits(permute_pixels(px.first, index)));
    auto second = _mm256_castsi256_ps(Bits(permute_pixels(px.second, index)));
    auto from_second = _mm256_castsi256_ps(Bits(index << 28));  // bit 3 to the top
    return U8(_mm256_castps_si256(_mm256_blendv_ps(first, second, from_second)));
#endif
}
#endif

QX_INLINE U8 load_every_second(const Argb32* src) {
    U8 first = load(src), second = load(src + kPixels - 1);  // which ends with the last pixel asked for
#if QX_VECTOR_BYTES == 64
    static constexpr auto index =
        constant<uint32_t>([](int i) { return i < kPixels / 2 ? 2 * i : 2 * i + 1; });
    return permute_pixels(Pair{first, second}, index.vector());
#elif QX_VECTOR_BYTES == 32
    Bits mixed = _mm256_castps_si256(_mm256_shuffle_ps(
        _mm256_castsi256_ps(Bits(first)), _mm256_castsi256_ps(Bits(second)), _MM_SHUFFLE(3, 1, 2, 0)));
    return U8(_mm256_permute4x64_epi64(mixed, _MM_SHUFFLE(3, 1, 2, 0)));
#else
    return U8(_mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(Bits(first)), _mm_castsi128_ps(Bits(second)),
                                              _MM_SHUFFLE(3, 1, 2, 0))));
#endif
}

// Taps one by one, a pair of neighbours at a load, for four outputs; those from n on, which may be all of
// them, repeat the one before.
struct FourTaps {
    __m128i left, right;
};
QX_INLINE FourTaps load_four_taps(const Argb32* src, uint32_t position, uint32_t step, int n) {
    auto pixel_of = [=](int k) QX_LAMBDA {
        return src + ((position + static_cast<uint32_t>(k < n ? k : n - 1) * step) >> 8);
    };
    auto pair_at = [](const Argb32* p)
                       QX_LAMBDA { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); };
    auto one_at = [](const Argb32* p) QX_LAMBDA { return _mm_loadu_si32(p); };
    __m128i left = _mm_unpacklo_epi64(pair_at(pixel_of(0)), pair_at(pixel_of(2)));
    __m128i right01 = _mm_unpacklo_epi32(one_at(pixel_of(0) + 1), one_at(pixel_of(1) + 1));
    __m128i right23 = _mm_unpacklo_epi32(one_at(pixel_of(2) + 1), one_at(pixel_of(3) + 1));
    return {left, _mm_unpacklo_epi64(right01, right23)};
}

// Out of one or two vectors where those reach far enough and end within the line.
QX_INLINE Taps load_taps(const Argb32* src, [[maybe_unused]] int32_t src_count, uint32_t position,
                         uint32_t step, int n) {
    static constexpr auto lane = constant<uint32_t>([](int i) { return i; });
    U32 positions = (position & 255) + lane.vector() * step;  // from the first left tap on
    Spread fraction = byte_weight<0>(U8(positions));
#if QX_VECTOR_BYTES >= 32
    // The last right tap of a vector is at most (255 + (kPixels - 1) * step) / 256 + 1 pixels after its base.
    constexpr uint32_t kOneVector = (kPixels - 2) * 256 / (kPixels - 1);
    constexpr uint32_t kTwoVectors = (2 * kPixels - 2) * 256 / (kPixels - 1);

    const int32_t base = static_cast<int32_t>(position >> 8), reach = src_count - base;
    U32 index = positions >> 8;
    auto taps_from = [=](auto px) QX_LAMBDA -> Taps {
        U8 right = permute_pixels(px, index + 1);
        return {follow_by(permute_pixels(px, index), right), right, fraction};
    };
    if (step <= kOneVector && reach >= kPixels) return taps_from(load(src + base));
    if (step <= kTwoVectors && reach >= 2 * kPixels)
        return taps_from(Pair{load(src + base), load(src + base + kPixels)});
#endif
    __m128i lefts[kPixels / 4], rights[kPixels / 4];
    for (int k = 0; k < kPixels; k += 4) {
        FourTaps four = load_four_taps(src, position + static_cast<uint32_t>(k) * step, step, n - k);
        lefts[k / 4] = four.left;
        rights[k / 4] = four.right;
    }
    return {concat(lefts), concat(rights), fraction};
}

}  // namespace qx::QX_ISA
