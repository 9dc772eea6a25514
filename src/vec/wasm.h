// What WebAssembly does better. Engines make several instructions of a shuffle that is neither a zip nor
// moves whole words, and one or two of a swizzle, whose constant they keep out of the loop.
#pragma once

#include <wasm_simd128.h>

#include "vec/base.h"

namespace qx::QX_ISA {

// ---- what the portable formulas call ----

// The same vector, about which the compiler then knows nothing: it would merge shuffles into dearer ones, and
// make of a product by powers of 2 a shift of each lane on its own.
template <typename Vector>
QX_INLINE Vector hidden(Vector v) {
    asm("" : "+r"(v));
    return v;
}

// Byte rule(i) for each byte; 0 where that is none of 0 to 15.
template <typename Rule>
QX_INLINE U8 swizzle(U8 bytes, Rule rule) {
    static constexpr auto index = constant<uint8_t>(rule);
    return U8(wasm_i8x16_swizzle(v128_t(bytes), v128_t(index.vector())));
}

template <int from>
QX_INLINE U8 repeat_byte(U8 px) {
    return swizzle(px, [](int i) { return i / 4 * 4 + from; });
}
template <int from>
QX_INLINE U16 spread_byte(U8 px) {
    return U16(swizzle(px, [](int i) { return i % 2 == 0 ? i / 4 * 4 + from : 255; }));
}

QX_INLINE U8 add_saturated(U8 a, U8 b) { return U8(wasm_u8x16_add_sat(v128_t(a), v128_t(b))); }

// Added to a number below 2^23, 2^23 leaves it rounded in the lowest bits of the float, where a conversion
// takes several instructions. A quotient is whole, within 2^-8, or at most 254/255 above a whole number,
// within 2^-9: less 0.498 it is rounded down.
QX_INLINE U32 reciprocal(U16 divisor) {
    typedef float F32 __attribute__((vector_size(kBytes)));
    U16 nonzero = divisor - U16(divisor == 0);
    F32 quotient = 0x1p32f / __builtin_convertvector(I32(nonzero), F32);
    return U32(quotient - 0.498f + 0x1p23f) & 0x0000FFFF;
}

QX_INLINE MaskLanes spread_mask(uint64_t four) {
    v128_t bytes = wasm_u16x8_extend_low_u8x16(v128_t(splat(static_cast<uint32_t>(four))));
    return {shuffle(U16(bytes), U16(bytes), [](int i) { return i / 2; })};
}

}  // namespace qx::QX_ISA

#include "vec/portable.h"

namespace qx::QX_ISA {

// ---- conversions: the bytes at even and at odd places as numbers, in 16-bit lanes ----

struct ByteLanes {
    I32 even[2], odd[2];
};
QX_INLINE ByteLanes offset_planes(Pair px, int offset_0, int offset_1, int offset_2) {
    const U16 even = U16(splat(static_cast<uint32_t>(offset_2 << 16 | offset_0))), odd = splat_16(offset_1);
    auto evens = [=](U8 v) QX_LAMBDA { return I32((U16(v) & 0x00FF) - even); };
    auto odds = [=](U8 v) QX_LAMBDA { return I32((U16(v) >> 8) - odd); };
    return {{evens(px.first), evens(px.second)}, {odds(px.first), odds(px.second)}};
}
QX_INLINE ByteLanes planes_of(Pair px) { return offset_planes(px, 0, 0, 0); }

// The product of byte k and a factor.
template <int k>
QX_INLINE I32 product(const ByteLanes& px, int v, int factor) {
    const int factors = k == 2 ? factor << 16 : factor & 0xFFFF;
    return I32(wasm_i32x4_dot_i16x8(v128_t(k == 1 ? px.odd[v] : px.even[v]), wasm_i32x4_splat(factors)));
}
template <const int (&from)[3]>
QX_INLINE Sums sum_of_512ths(const ByteLanes& px) {
    auto sum = [&](int v) QX_LAMBDA {
        return (product<0>(px, v, from[0]) >> 9) + (product<1>(px, v, from[1]) >> 9) +
               (product<2>(px, v, from[2]) >> 9);
    };
    return {{sum(0), sum(1)}};
}
template <int k>
QX_INLINE Sums sum_of_8192ths(const ByteLanes& px, int from_k, int from_1) {
    auto sum = [&](int v) QX_LAMBDA { return (product<k>(px, v, from_k) + product<1>(px, v, from_1)) >> 13; };
    return {{sum(0), sum(1)}};
}

// Lanes or bytes of two vectors in turn, from the first or from the middle of each.
template <typename Vector>
QX_INLINE Vector zip_low(Vector a, Vector b) {
    constexpr int lanes = sizeof(a) / sizeof(a[0]);
    return hidden(shuffle(a, b, [](int i) { return i % 2 * lanes + i / 2; }));
}
template <typename Vector>
QX_INLINE Vector zip_high(Vector a, Vector b) {
    constexpr int lanes = sizeof(a) / sizeof(a[0]);
    return hidden(shuffle(a, b, [](int i) { return i % 2 * lanes + lanes / 2 + i / 2; }));
}

QX_INLINE v128_t narrow(I32 first, I32 second) {
    return wasm_i16x8_narrow_i32x4(v128_t(first), v128_t(second));
}
QX_INLINE v128_t narrow(const Sums& sums) { return narrow(sums.of[0], sums.of[1]); }

QX_INLINE Pair pixels_of_sixteenths(const Sums& byte_0, const Sums& byte_1, const Sums& byte_2,
                                    Argb32 offsets, Pair px) {
    auto lanes = [](const Sums& sums) QX_LAMBDA { return U16(I16(narrow(sums)) >> 4); };
    U16 bytes_01 = (lanes(byte_0) & 0x00FF) | lanes(byte_1) << 8, bytes_2 = lanes(byte_2);
    return {with_alpha(U8(zip_low(bytes_01, bytes_2)) + splat(offsets), px.first),
            with_alpha(U8(zip_high(bytes_01, bytes_2)) + splat(offsets), px.second)};
}
QX_INLINE Pair pixels_of_sums(const Sums& byte_0, const Sums& byte_1, const Sums& byte_1_too,
                              const Sums& byte_2, Pair px) {
    v128_t lanes_1 = narrow(byte_1.of[0] + byte_1_too.of[0], byte_1.of[1] + byte_1_too.of[1]);
    U8 bytes_02 = U8(wasm_u8x16_narrow_i16x8(narrow(byte_0), narrow(byte_2)));
    U8 bytes_1 = U8(wasm_u8x16_narrow_i16x8(lanes_1, lanes_1));
    U16 bytes_01 = U16(zip_low(bytes_02, bytes_1)), bytes_2 = U16(zip_high(bytes_02, bytes_1));
    return {with_alpha(U8(zip_low(bytes_01, bytes_2)), px.first),
            with_alpha(U8(zip_high(bytes_01, bytes_2)), px.second)};
}

// ---- samples ----

// Eight samples, each in two bytes, from block to block.
template <typename Plane, int first, int block>
QX_INLINE U8 bytes_of_samples(const uint8_t* group) {
    auto byte = [](int i) {
        const int at = Plane::bit(first + i / 2) / 8 + i % 2 - 16 * block;
        return 0 <= at && at < 16 ? at : 255;
    };
    U8 bytes = swizzle(U8(wasm_v128_load(group + 16 * block)), byte);
    if constexpr (Plane::bit(first + 7) / 128 > block)
        bytes |= bytes_of_samples<Plane, first, block + 1>(group);
    return bytes;
}
template <typename Plane, int first = 0>
QX_INLINE void unpack_plane(uint16_t* dst, const uint8_t* group) {
    static constexpr auto to_top =
        constant<uint16_t>([](int i) { return 1 << (6 - Plane::bit(first + i) % 8); });
    U8 bytes = bytes_of_samples<Plane, first, Plane::bit(first) / 128>(group);
    wasm_v128_store(dst + first, v128_t(U16(bytes) * hidden(to_top.vector()) >> 6));
    if constexpr (first + 8 < 8 * Plane::kPerBlock) unpack_plane<Plane, first + 8>(dst, group);
}

}  // namespace qx::QX_ISA
