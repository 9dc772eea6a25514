// Blocks of avx512, which permutes bytes through whole vectors: four vectors of pixels, of which one byte
// each fills a vector; and tables of 256 bytes in registers.
#pragma once

#include "vec/reciprocal_table.h"
#include "vec/x86.h"

#if QX_VECTOR_BYTES == 64

namespace qx::QX_ISA {

QX_INLINE constexpr int block_vectors() { return 4; }

// One byte of every pixel of a block: of pixel i of vector k in the place of byte k of pixel i.
struct Packed {
    U8 bytes;
};

QX_INLINE Packed load_block(const Argb32* line) {
    U8 alphas = load(line + 3 * kPixels);
    alphas = replace_bytes<3, -1, -1, -1>(alphas, load(line));
    alphas = replace_bytes<-1, 3, -1, -1>(alphas, load(line + kPixels));
    return {replace_bytes<-1, -1, 3, -1>(alphas, load(line + 2 * kPixels))};
}
QX_INLINE Packed load_block(const uint8_t* mask) {
    static constexpr auto index = constant<uint8_t>([](int i) { return i % 4 * kPixels + i / 4; });
    return {U8(_mm512_permutexvar_epi8(Bits(index.vector()), _mm512_loadu_si512(mask)))};
}

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

QX_INLINE Cover<Packed, Packed> cover(Packed under, Packed weight) {
    const TableInRegisters low = table_of<0>(ReciprocalTable), high = table_of<1>(ReciprocalTable);
    U8 alpha = weight.bytes + scale(under, Packed{255 - weight.bytes}).bytes;
    const __mmask64 upper_half = _mm512_movepi8_mask(Bits(alpha));  // where the reciprocal's high byte is 1
    U8 low_bytes = low[alpha];
    U8 high_bytes = U8(
        _mm512_mask_blend_epi8(upper_half, _mm512_permutex2var_epi8(high.part[0], Bits(alpha), high.part[1]),
                               Bits(splat(0x01010101))));
    U16 even = U16(replace_bytes<-1, 0, -1, 2>(low_bytes, high_bytes)),
        odd = U16(replace_bytes<1, -1, 3, -1>(high_bytes, low_bytes));
    U16 weights = U16(weight.bytes);
    return {{alpha}, {merge_high(even * (weights & 0x00FF), odd * (weights >> 8))}};
}

// ---- what a block's vectors take of it ----

struct PackedOfVector {
    Packed block;
    int k;
};

// Byte k of pixels in the place of bytes 0 and 2, or 3.
QX_INLINE Spread of_vector(Packed weight, int k) {
    return {U16(_mm512_shuffle_epi8(Bits(weight.bytes),
                                    Bits(U8(places_within_pixels<0, -1, 0, -1>()) + uint8_t(k))))};
}
QX_INLINE Cover<PackedOfVector, Spread> of_vector(const Cover<Packed, Packed>& cover, int k) {
    return {{cover.alpha, k}, of_vector(cover.share, k)};
}
QX_INLINE U8 with_alpha(U8 px, PackedOfVector alpha) {
    Bits place = Bits(U8(places_within_pixels<-1, -1, -1, 0>()) + uint8_t(alpha.k));
    return U8(_mm512_mask_shuffle_epi8(Bits(px), bytes_of_pixels<0b1000>(), Bits(alpha.block.bytes), place));
}

}  // namespace qx::QX_ISA

#endif
