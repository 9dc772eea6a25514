// The pixels of a line that a linear resampler mixes.
#pragma once

#include "frame/vec_memory.h"

namespace qx::QX_ISA {

// For output k of a vector, at position + k * step in 1/256 of a pixel, i(k) being its whole part: right is
// src[i(k) + 1]; left is src[i(k)] for even k and src[i(k - 1) + 1] for odd k. fraction is the position's, a
// plain number in both 16-bit lanes.
struct Taps {
    U8 left, right;
    U16 fraction;
};

#if defined(__AVX2__)
struct LaneNumbers {
    alignas(kBytes) uint32_t lane[kPixels];
    QX_INLINE_MEMBER operator U32() const { return *reinterpret_cast<const U32*>(lane); }
};
template <typename Rule>
constexpr LaneNumbers lane_numbers(Rule rule) {
    LaneNumbers numbers{};
    for (int i = 0; i < kPixels; ++i) numbers.lane[i] = static_cast<uint32_t>(rule(i));
    return numbers;
}

// The pixels at index in each of the first n lanes, one by one.
QX_INLINE U8 gather(const Argb32* p, U32 index, int n) {
#if defined(__AVX512VBMI__)
    const __mmask16 lanes = static_cast<__mmask16>((1u << n) - 1);
    return U8(_mm512_mask_i32gather_epi32(Bits{}, lanes, Bits(index), p, 4));
#else
    static constexpr LaneNumbers lane = lane_numbers([](int i) { return i; });
    Bits lanes = _mm256_cmpgt_epi32(_mm256_set1_epi32(n), Bits(U32(lane)));
    return U8(_mm256_mask_i32gather_epi32(Bits{}, reinterpret_cast<const int*>(p), Bits(index), lanes, 4));
#endif
}

// The pixels at index, 0 to 2 * kPixels - 1, of a pair of vectors; or of its first one.
QX_INLINE U8 permute_pixels(U8 px, U32 index) {
#if defined(__AVX512VBMI__)
    return U8(_mm512_permutexvar_epi32(Bits(index), Bits(px)));
#else
    return U8(_mm256_permutevar8x32_epi32(Bits(px), Bits(index)));
#endif
}
QX_INLINE U8 permute_pixels(Pair px, U32 index) {
#if defined(__AVX512VBMI__)
    return U8(_mm512_permutex2var_epi32(Bits(px.first), Bits(index), Bits(px.second)));
#else
    auto first = _mm256_castsi256_ps(Bits(permute_pixels(px.first, index)));
    auto second = _mm256_castsi256_ps(Bits(permute_pixels(px.second, index)));
    auto from_second = _mm256_castsi256_ps(Bits(index << 28));  // bit 3 to the top
    return U8(_mm256_castps_si256(_mm256_blendv_ps(first, second, from_second)));
#endif
}

// Every lane at an even place also in the place behind it.
QX_INLINE U32 repeat_even_lanes(U32 lanes) {
#if defined(__AVX512VBMI__)
    return U32(_mm512_shuffle_epi32(Bits(lanes), _MM_PERM_CCAA));
#else
    return U32(_mm256_shuffle_epi32(Bits(lanes), _MM_SHUFFLE(2, 2, 0, 0)));
#endif
}

// The taps of n outputs, within src[0 .. src_count - 1]. They come out of one or two vectors where those
// reach far enough and end within the line.
QX_INLINE Taps load_taps(const Argb32* src, int32_t src_count, uint32_t position, uint32_t step, int n) {
    static constexpr LaneNumbers lane = lane_numbers([](int i) { return i; });
    static constexpr LaneNumbers odd_lane = lane_numbers([](int i) { return i % 2; });
    // From the first pixel's middle, the last right tap of a vector is at (255 + (kPixels - 1) * step) / 256
    // + 1.
    constexpr uint32_t kOneVector = (kPixels - 2) * 256 / (kPixels - 1);
    constexpr uint32_t kTwoVectors = (2 * kPixels - 2) * 256 / (kPixels - 1);

    const int32_t base = static_cast<int32_t>(position >> 8);
    U32 positions = (position & 255) + U32(lane) * step;
    U32 right = (positions >> 8) + 1;
    U32 left = repeat_even_lanes(positions >> 8) + U32(odd_lane);
    U16 fraction = spread_byte<0>(U8(positions));
    src += base;
    if (step <= kOneVector && src_count - base >= kPixels) {
        U8 px = load(src);
        return {permute_pixels(px, left), permute_pixels(px, right), fraction};
    }
    if (step <= kTwoVectors && src_count - base >= 2 * kPixels) {
        Pair px = {load(src), load(src + kPixels)};
        return {permute_pixels(px, left), permute_pixels(px, right), fraction};
    }
    return {gather(src, left, n), gather(src, right, n), fraction};
}
#else
QX_INLINE Taps load_taps(const Argb32* src, int32_t, uint32_t position, uint32_t step, int n) {
    // Lanes from n on repeat the last output, whose taps are there.
    auto position_of = [=](int k)
                           QX_LAMBDA { return position + static_cast<uint32_t>(k < n ? k : n - 1) * step; };
    const uint32_t at[4] = {position_of(0), position_of(1), position_of(2), position_of(3)};
    auto right_of = [=](uint32_t p) QX_LAMBDA { return _mm_loadu_si32(src + (p >> 8) + 1); };
    auto pair_of = [=](uint32_t p) QX_LAMBDA {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + (p >> 8)));
    };
    Bits left = _mm_unpacklo_epi64(pair_of(at[0]), pair_of(at[2]));
    Bits right = _mm_unpacklo_epi64(_mm_unpacklo_epi32(right_of(at[0]), right_of(at[1])),
                                    _mm_unpacklo_epi32(right_of(at[2]), right_of(at[3])));
    U32 positions = {at[0], at[1], at[2], at[3]};
    return {U8(left), U8(right), spread_byte<0>(U8(positions))};
}
#endif

}  // namespace qx::QX_ISA
