// Blocks of avx512, which permutes bytes through whole vectors: four vectors of pixels, of which one byte
// each fills a vector; and tables of 256 bytes in registers.
#pragma once

#include "vec/reciprocal_table.h"
#include "vec/x86.h"

#if QX_VECTOR_BYTES == 64

namespace qx::QX_ISA {

QX_INLINE constexpr int block_vectors() { return 4; }

// One byte of every pixel of a block, in pixel order: alphas, masks or weights.
struct Packed {
    U8 bytes;
};

QX_INLINE Packed load_block(const Argb32* line) {
    auto alphas = [=](int k) QX_LAMBDA {
        U8 first = load(line + k * kPixels), second = load(line + (k + 1) * kPixels);
        return Bits(shuffle(first, second, [](int i) { return (4 * i + 3) % (2 * kBytes); }));
    };
    return {U8(_mm512_inserti64x4(alphas(0), _mm512_castsi512_si256(alphas(2)), 1))};
}
QX_INLINE Packed load_block(const uint8_t* mask) { return {U8(_mm512_loadu_si512(mask))}; }

// ---- tables ----

struct TableInRegisters {
    Bits part[4];

    QX_INLINE_MEMBER U8 operator[](U8 index) const {
        Bits low = _mm512_permutex2var_epi8(part[0], Bits(index), part[1]);
        Bits high = _mm512_permutex2var_epi8(part[2], Bits(index), part[3]);
        return U8(_mm512_mask_blend_epi8(_mm512_movepi8_mask(Bits(index)), low, high));
    }
};

QX_INLINE TableInRegisters table_of(const uint8_t* bytes) {
    TableInRegisters table;
    for (int k = 0; k < 4; ++k) table.part[k] = _mm512_loadu_si512(bytes + k * kBytes);
    return table;
}

// The low bytes (half = 0) or the high bytes (half = 1) of a table of 16-bit numbers.
template <int half>
QX_INLINE TableInRegisters table_of(const uint16_t* numbers) {
    TableInRegisters table;
    for (int k = 0; k < 4; ++k) {
        const uint16_t* from = numbers + k * kBytes;
        U8 first = U8(_mm512_loadu_si512(from)), second = U8(_mm512_loadu_si512(from + kBytes / 2));
        table.part[k] = Bits(shuffle(first, second, [](int i) { return 2 * i + half; }));
    }
    return table;
}

QX_INLINE MaskX256 spread_mapped(__m128i bytes, const TableInRegisters& table) {
    Bits index = _mm512_permutexvar_epi8(unpack_index(0), _mm512_castsi128_si512(bytes));
    return {U16(table[U8(index)]) & 0xFF00};
}
QX_INLINE MaskX256 load(const uint8_t* mask, const TableInRegisters& table) {
    return spread_mapped(load_bytes(mask), table);
}
QX_INLINE MaskX256 load_n(const uint8_t* mask, const TableInRegisters& table, int n) {
    return spread_mapped(load_bytes(mask, n), table);
}
QX_INLINE Packed load_block(const uint8_t* mask, const TableInRegisters& table) {
    return {table[load_block(mask).bytes]};
}

// ---- weights and covers ----

QX_INLINE Packed scale(Packed a, Packed b) {
    U16 x = U16(a.bytes), y = U16(b.bytes);
    return {merge_high((x & 0x00FF) * (y & 0x00FF), mul_hi(x & 0xFF00, y & 0xFF00))};
}
QX_INLINE Packed scale(Packed bytes, Opacity opacity) {
    return {merge(scale(bytes.bytes, Spread{splat_16(opacity.number)}))};
}

QX_INLINE TableInRegisters fade(TableInRegisters table, Opacity opacity, uint8_t (&)[256]) {
    for (Bits& part : table.part) part = Bits(scale(Packed{U8(part)}, opacity).bytes);
    return table;
}

QX_INLINE Packed weight_of(Packed fg) { return fg; }
QX_INLINE Packed weight_of(Packed fg, Opacity opacity) { return scale(fg, opacity); }
QX_INLINE Packed weight_of(Packed fg, Packed mask) { return scale(mask, fg); }
QX_INLINE Packed weight_of(Packed fg, Packed mask, Opacity opacity) {
    return scale(fg, scale(mask, opacity));
}

// The even (half = 0) or the odd bytes (half = 1) of two vectors in the low and the high bytes of 16-bit
// lanes.
template <int half>
QX_INLINE U16 merge_bytes(U8 low, U8 high) {
    return U16(shuffle(low, high, [](int i) { return (i % 2 == 0 ? 0 : kBytes) + i / 2 * 2 + half; }));
}

QX_INLINE Cover<Packed, Packed> cover(Packed under, Packed weight) {
    const TableInRegisters low = table_of<0>(ReciprocalTable), high = table_of<1>(ReciprocalTable);
    U8 alpha = weight.bytes + scale(under, Packed{255 - weight.bytes}).bytes;
    U8 low_bytes = low[alpha], high_bytes = high[alpha];
    U16 even = merge_bytes<0>(low_bytes, high_bytes), odd = merge_bytes<1>(low_bytes, high_bytes);
    U16 weights = U16(weight.bytes);
    return {{alpha}, {merge_high(even * (weights & 0x00FF), odd * (weights >> 8))}};
}

// ---- what a block's vectors take of it ----

struct PackedOfVector {
    Packed block;
    int k;
};

QX_INLINE Spread of_vector(Packed weight, int k) {
    return {U16(_mm512_maskz_permutexvar_epi8(0x5555555555555555, unpack_index(k), Bits(weight.bytes)))};
}
QX_INLINE Cover<PackedOfVector, Spread> of_vector(const Cover<Packed, Packed>& cover, int k) {
    return {{cover.alpha, k}, of_vector(cover.share, k)};
}
QX_INLINE U8 with_alpha(U8 px, PackedOfVector alpha) {
    return U8(_mm512_mask_permutexvar_epi8(Bits(px), 0x8888888888888888, unpack_index(alpha.k),
                                           Bits(alpha.block.bytes)));
}

}  // namespace qx::QX_ISA

#endif
