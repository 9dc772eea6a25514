// 10-bit samples out of a group of 128 bytes, eight blocks of 16. A plane says where its samples lie:
// Plane::kPerBlock of them in every block, sample k at bit Plane::bit(k) of the group, never across a 32-bit
// word.
#pragma once

#include "vec/vec.h"

namespace qx::QX_ISA {

constexpr int kGroupBytes = 128;

// The first n samples, one by one.
template <typename Plane>
QX_INLINE void unpack_samples(uint16_t* dst, const uint8_t* block, int n) {
    typedef uint16_t Sample __attribute__((aligned(1), may_alias));
    typedef uint32_t Word __attribute__((aligned(1), may_alias));
    Sample* out = reinterpret_cast<Sample*>(dst);
    auto unpack = [&](int k) QX_LAMBDA {
        out[k] = reinterpret_cast<const Word*>(block)[Plane::bit(k) / 32] >> Plane::bit(k) % 32 & 0x3FF;
    };
    for (; n >= Plane::kPerBlock; n -= Plane::kPerBlock, out += Plane::kPerBlock, block += 16)
        for (int k = 0; k < Plane::kPerBlock; ++k) unpack(k);
    for (int k = 0; k < n; ++k) unpack(k);
}

#if defined(__AVX512VBMI__)
// 32 samples from `first` on; those after the group's last are no samples.
template <typename Plane, int first>
QX_INLINE U16 samples(const uint8_t* group) {
    static constexpr auto index =
        constant<uint8_t>([](int i) { return Plane::bit(first + i / 2) / 8 + i % 2; });
    static constexpr auto shifts = constant<uint16_t>([](int i) { return Plane::bit(first + i) % 8; });
    Bits bytes =
        _mm512_permutex2var_epi8(_mm512_loadu_si512(group), index.bits(), _mm512_loadu_si512(group + kBytes));
    return U16(bytes) >> shifts.vector() & 0x03FF;
}

template <typename Plane>
QX_INLINE void unpack_plane(uint16_t* dst, const uint8_t* group) {
    constexpr int kSamples = 8 * Plane::kPerBlock;
    Bits out = Bits(samples<Plane, 0>(group));
    if constexpr (kSamples > 32) {
        _mm512_storeu_si512(dst, out);
        out = Bits(samples<Plane, 32>(group));
        dst += 32;
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm512_castsi512_si256(out));
    if constexpr (kSamples % 32 == 24)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 16), _mm512_extracti32x4_epi32(out, 2));
}
#elif defined(__AVX2__)
// Half of a group: block k and, in the upper half of the vector, block k + 4, where the same samples lie.
QX_INLINE Bits load_blocks(const uint8_t* group, int k) {
    auto block = [=](int n)
                     QX_LAMBDA { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(group) + n); };
    return _mm256_inserti128_si256(_mm256_castsi128_si256(block(k)), block(k + 4), 1);
}

// The bytes that eight samples from `first` on have in block k; 0 for samples of other blocks.
template <typename Plane, int first, int k>
QX_INLINE U8 sample_bytes(const uint8_t* group) {
    if constexpr (Plane::bit(first + 7) < 128 * k || Plane::bit(first) >= 128 * (k + 1)) return U8{};
    static constexpr auto index = constant<uint8_t>([](int i) {
        int bit = Plane::bit(first + i % 16 / 2);
        return bit / 128 == k ? bit % 128 / 8 + i % 2 : 0x80;
    });
    return U8(_mm256_shuffle_epi8(load_blocks(group, k), index.bits()));
}

// Eight samples of each half from `first` on. The product moves a sample to the top of its lane, whatever bit
// of its bytes it starts at.
template <typename Plane, int first>
QX_INLINE U16 samples(const uint8_t* group) {
    static constexpr auto factors =
        constant<uint16_t>([](int i) { return 64 >> Plane::bit(first + i % 8) % 8; });
    U8 bytes = sample_bytes<Plane, first, 0>(group) | sample_bytes<Plane, first, 1>(group) |
               sample_bytes<Plane, first, 2>(group) | sample_bytes<Plane, first, 3>(group);
    return U16(bytes) * factors.vector() >> 6;
}

template <typename Plane, int first = 0>
QX_INLINE void unpack_plane(uint16_t* dst, const uint8_t* group) {
    constexpr int kHalf = 4 * Plane::kPerBlock;
    Bits out = Bits(samples<Plane, first>(group));
    __m128i lower = _mm256_castsi256_si128(out), upper = _mm256_extracti128_si256(out, 1);
    auto at = [=](int i) QX_LAMBDA { return reinterpret_cast<__m128i*>(dst + i); };
    if constexpr (kHalf - first >= 8) {
        _mm_storeu_si128(at(first), lower);
        _mm_storeu_si128(at(kHalf + first), upper);
    } else {
        _mm_storel_epi64(at(first), lower);
        _mm_storel_epi64(at(kHalf + first), upper);
    }
    if constexpr (kHalf - first > 8) unpack_plane<Plane, first + 8>(dst, group);
}
#else
template <typename Plane>
QX_INLINE void unpack_plane(uint16_t* dst, const uint8_t* group) {
    unpack_samples<Plane>(dst, group, 8 * Plane::kPerBlock);
}
#endif

}  // namespace qx::QX_ISA
