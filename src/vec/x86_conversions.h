// Conversions between colour spaces, and samples unpacked.
#pragma once

#include "vec/portable.h"
#include "vec/x86_bytes.h"

namespace qx::QX_ISA {

// ---- sums of products / 512: a byte times -128, times a coefficient's opposite, has the quotient in its
// high half, floored. -128 is a factor that a byte can hold. ----

// The pixels lie in some order, which pixels_of_sixteenths undoes.
struct PlanesX128 {
    I16 byte_0, byte_1, byte_2;
};
QX_INLINE PlanesX128 planes_of(Pair px) {
#if QX_VECTOR_BYTES >= 32
    static constexpr auto lower = constant<int16_t>([](int) { return 0x0080; });
    static constexpr auto upper = constant<uint16_t>([](int) { return 0x8000; });
    auto multiply = [](Bits bytes, I16 factors)
                        QX_LAMBDA { return I16(QX_OP(maddubs_epi16)(bytes, Bits(factors))); };
#if QX_VECTOR_BYTES == 64
    static constexpr auto index = constant<uint8_t>(
        [](int i) { return (i % 16 < 8 ? 0 : kBytes) + i / 16 * 16 + i % 8 / 2 * 4 + i % 2; });
    auto bytes_from = [=](int k) QX_LAMBDA {
        return _mm512_permutex2var_epi8(Bits(px.first), Bits(index.vector() + uint8_t(k)), Bits(px.second));
    };
    Bits bytes_01 = bytes_from(0), bytes_23 = bytes_from(2);
#else
    static constexpr auto index =
        constant<uint8_t>([](int i) { return i % 8 / 2 * 4 + i % 16 / 8 * 2 + i % 2; });
    Bits first = _mm256_shuffle_epi8(Bits(px.first), Bits(index.vector()));
    Bits second = _mm256_shuffle_epi8(Bits(px.second), Bits(index.vector()));
    Bits bytes_01 = _mm256_unpacklo_epi64(first, second), bytes_23 = _mm256_unpackhi_epi64(first, second);
#endif
    return {multiply(bytes_01, lower.vector()), multiply(bytes_01, I16(upper.vector())),
            multiply(bytes_23, lower.vector())};
#else
    auto plane = [=](int from) QX_LAMBDA {
        auto byte = [=](U8 v) QX_LAMBDA { return Bits(U32(v) << (24 - 8 * from) >> 24); };
        return I16(_mm_packs_epi32(byte(px.first), byte(px.second))) * -128;
    };
    return {plane(0), plane(1), plane(2)};
#endif
}

QX_INLINE I16 sum_of_512ths(const PlanesX128& px, int16_t from_0, int16_t from_1, int16_t from_2) {
    return mul_hi(px.byte_2, I16{} - from_2) + mul_hi(px.byte_1, I16{} - from_1) +
           mul_hi(px.byte_0, I16{} - from_0);
}

QX_INLINE Pair pixels_of_sixteenths(I16 byte_0, I16 byte_1, I16 byte_2, Pair px) {
    U8 bytes_01 = select(U8(splat_16(0xFF00)), U8(byte_1 << 4), U8(byte_0 >> 4));
    Pair out = zip_in_blocks(U16(bytes_01), U16(byte_2 >> 4));
    return {with_alpha(out.first, px.first), with_alpha(out.second, px.second)};
}

// ---- sums of products / 8192: of bytes times 8 the sum's high half, floored ----

QX_INLINE I16 splat_pair(int16_t lower, int16_t upper) {
    return I16(I32{} + (static_cast<uint16_t>(lower) | static_cast<int32_t>(upper) * 65536));
}

// Bytes 0 and 1, and bytes 2 and 1, in the lower and the upper lanes of their pixels, x8.
struct TwoPlanesX8 {
    I16 first, second;
};
struct PlanesX8 {
    TwoPlanesX8 byte_0_1, byte_2_1;
};
template <int from>
QX_INLINE I16 two_bytes_x8(U8 px, int16_t offset, int16_t offset_1) {
#if QX_VECTOR_BYTES >= 32
    I16 bytes = I16(shuffle_pixels<from, -1, 1, -1>(px));
#else
    I16 bytes = I16(U32(px) << (24 - 8 * from) >> 24 | U32(px) << 16 >> 24 << 16);
#endif
    return 8 * (bytes - splat_pair(offset, offset_1));
}
QX_INLINE PlanesX8 offset_planes(Pair px, int16_t offset_0, int16_t offset_1, int16_t offset_2) {
    return {{two_bytes_x8<0>(px.first, offset_0, offset_1), two_bytes_x8<0>(px.second, offset_0, offset_1)},
            {two_bytes_x8<2>(px.first, offset_2, offset_1), two_bytes_x8<2>(px.second, offset_2, offset_1)}};
}

struct SumX65536 {
    U32 first, second;
};
template <int k>
QX_INLINE SumX65536 sum_of_8192ths(const PlanesX8& px, int16_t from_k, int16_t from_1) {
    auto sum = [=](I16 bytes) QX_LAMBDA {
        return U32(QX_OP(madd_epi16)(Bits(bytes), Bits(splat_pair(from_k, from_1))));
    };
    const TwoPlanesX8& bytes = k == 0 ? px.byte_0_1 : px.byte_2_1;
    return {sum(bytes.first), sum(bytes.second)};
}

// Byte 1 is the sum of two high halves; what lies below them is not carried, since lanes of 16 bits are
// added.
QX_INLINE U8 pixels_of_high_halves(U32 byte_0, U32 byte_1, U32 byte_1_too, U32 byte_2, U8 px) {
    U32 bytes_1 = U32(U16(byte_1) + U16(byte_1_too));
#if QX_VECTOR_BYTES == 64
    static constexpr auto upper_lanes =
        constant<uint16_t>([](int i) { return (i % 2 == 0 ? 0 : kBytes / 2) + (i | 1); });
    I16 bytes_0_2 = I16(_mm512_permutex2var_epi16(Bits(byte_0), Bits(upper_lanes.vector()), Bits(byte_2)));
#elif QX_VECTOR_BYTES == 32
    I16 bytes_0_2 = I16(_mm256_blend_epi16(Bits(byte_0 >> 16), Bits(byte_2), 0xAA));
#else
    I16 bytes_0_2 = I16(byte_0 >> 16 | (byte_2 & 0xFFFF0000));
#endif
#if QX_VECTOR_BYTES >= 32
    U8 packed = pack_saturated(bytes_0_2, I16(bytes_1));
    static constexpr auto index = constant<uint8_t>([](int i) {
        constexpr int from[4] = {0, 9, 1, 0};
        return i % 4 == 3 && kBytes == 64 ? kBytes + i : i / 16 * 16 + i % 16 / 4 * 2 + from[i % 4];
    });
#if QX_VECTOR_BYTES == 64
    return U8(_mm512_permutex2var_epi8(Bits(packed), Bits(index.vector()), Bits(px)));
#else
    return with_alpha(U8(_mm256_shuffle_epi8(Bits(packed), Bits(index.vector()))), px);
#endif
#else
    Bits packed = Bits(pack_saturated(bytes_0_2, I16(bytes_1 >> 16)));
    return with_alpha(U8(_mm_unpacklo_epi8(packed, _mm_srli_si128(packed, 8))), px);
#endif
}
QX_INLINE Pair pixels_of_8192ths(SumX65536 byte_0, SumX65536 byte_1, SumX65536 byte_1_too, SumX65536 byte_2,
                                 Pair px) {
    return {pixels_of_high_halves(byte_0.first, byte_1.first, byte_1_too.first, byte_2.first, px.first),
            pixels_of_high_halves(byte_0.second, byte_1.second, byte_1_too.second, byte_2.second, px.second)};
}

// ---- samples ----

#if QX_VECTOR_BYTES == 64
// 32 samples from `first` on; those after the group's last are no samples.
template <typename Plane, int first>
QX_INLINE U16 samples(const uint8_t* group) {
    static constexpr auto index =
        constant<uint8_t>([](int i) { return Plane::bit(first + i / 2) / 8 + i % 2; });
    static constexpr auto shifts = constant<uint16_t>([](int i) { return Plane::bit(first + i) % 8; });
    Bits bytes = _mm512_permutex2var_epi8(_mm512_loadu_si512(group), Bits(index.vector()),
                                          _mm512_loadu_si512(group + kBytes));
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
#elif QX_VECTOR_BYTES == 32
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
    return U8(_mm256_shuffle_epi8(load_blocks(group, k), Bits(index.vector())));
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
#endif

}  // namespace qx::QX_ISA
