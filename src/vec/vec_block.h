// Operations of the builds that can permute bytes through whole vectors: tables of 256 bytes in registers,
// and blocks, which are so many vectors of pixels that one byte of each of their pixels fills one vector.
#pragma once

#include "vec/vec_bytes.h"

#if defined(__AVX512VBMI__)

namespace qx::QX_ISA {

#define QX_PACKS_BYTES
constexpr int kBlock = 4;
constexpr int kBlockPixels = kBlock * kPixels;

// One byte of every pixel of a block.
struct Packed {
    U8 bytes;
};

// Byte `from` of every pixel of a block, in pixel order.
template <int from>
QX_INLINE Packed pack_bytes(const U8 (&px)[kBlock]) {
    static constexpr auto index = constant<uint8_t>([](int i) { return 4 * i + from; });
    Bits low = _mm512_permutex2var_epi8(Bits(px[0]), index.bits(), Bits(px[1]));
    Bits high = _mm512_permutex2var_epi8(Bits(px[2]), index.bits(), Bits(px[3]));
    return {U8(_mm512_inserti64x4(low, _mm512_castsi512_si256(high), 1))};
}

// The packed bytes of vector k of the block, in all four bytes of their pixels.
QX_INLINE Bits unpack_index(int k) {
    static constexpr auto index = constant<uint8_t>([](int i) { return i / 4; });
    return Bits(index.vector() + uint8_t(k * kPixels));
}
QX_INLINE U16 unpack_bytes(Packed packed, int k) {
    return U16(_mm512_maskz_permutexvar_epi8(0x5555555555555555, unpack_index(k), Bits(packed.bytes)));
}
QX_INLINE U8 with_packed_alpha(U8 px, Packed packed, int k) {
    return U8(
        _mm512_mask_permutexvar_epi8(Bits(px), 0x8888888888888888, unpack_index(k), Bits(packed.bytes)));
}

// The even (half = 0) or the odd bytes (half = 1) of two vectors in the lower and the upper bytes of 16-bit
// lanes.
template <int half>
QX_INLINE U16 join_bytes(U8 lower, U8 upper) {
    static constexpr auto index =
        constant<uint8_t>([](int i) { return (i % 2 == 0 ? 0 : kBytes) + i / 2 * 2 + half; });
    return U16(_mm512_permutex2var_epi8(Bits(lower), index.bits(), Bits(upper)));
}

// 256 bytes in registers, looked up kBytes at a time.
struct ByteTable {
    Bits part[4];

    QX_INLINE_MEMBER U8 operator[](U8 index) const {
        Bits low = _mm512_permutex2var_epi8(part[0], Bits(index), part[1]);
        Bits high = _mm512_permutex2var_epi8(part[2], Bits(index), part[3]);
        return U8(_mm512_mask_blend_epi8(_mm512_movepi8_mask(Bits(index)), low, high));
    }
};

QX_INLINE ByteTable byte_table(const uint8_t* bytes) {
    ByteTable table;
    for (int k = 0; k < 4; ++k) table.part[k] = _mm512_loadu_si512(bytes + k * kBytes);
    return table;
}

// The low bytes (half = 0) or the high bytes (half = 1) of a table of 16-bit numbers.
template <int half>
QX_INLINE ByteTable byte_table(const uint16_t* numbers) {
    static constexpr auto index = constant<uint8_t>([](int i) { return 2 * i + half; });
    ByteTable table;
    for (int k = 0; k < 4; ++k) {
        const uint16_t* from = numbers + k * kBytes;
        table.part[k] = _mm512_permutex2var_epi8(_mm512_loadu_si512(from), index.bits(),
                                                 _mm512_loadu_si512(from + kBytes / 2));
    }
    return table;
}

}  // namespace qx::QX_ISA

#endif
