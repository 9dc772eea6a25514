// What arm64 does better. Its products of bytes have 16 bits, and of two vectors of them it picks the high
// bytes at once (uzp2); weights are bytes. "Twice" says that a byte stands in two bytes for its pixel, which
// fills half a vector.
#pragma once

#include <arm_neon.h>

#include "vec/base.h"

namespace qx::QX_ISA {

// ---- what the portable formulas call ----

template <int from>
QX_INLINE U8 repeat_byte(U8 px) {
    static constexpr auto index = constant<uint8_t>([](int i) { return i / 4 * 4 + from; });
    return vqtbl1q_u8(px, index.vector());
}

QX_INLINE U8 average(U8 a, U8 b) { return vhaddq_u8(a, b); }
QX_INLINE U8 add_saturated(U8 a, U8 b) { return vqaddq_u8(a, b); }

// A weight of 0 to 255 in all bytes of its pixel; and what it leaves of 256.
struct ByteWeight {
    U8 bytes;
};
struct RestOf {
    U8 bytes;
};

QX_INLINE ByteWeight splat_weight(uint32_t number) { return {U8{} + static_cast<uint8_t>(number)}; }
template <int from>
QX_INLINE ByteWeight byte_weight(U8 px) {
    return {repeat_byte<from>(px)};
}
QX_INLINE RestOf rest_of(ByteWeight weight) { return {weight.bytes}; }

// ---- masks ----

struct MaskTwice {
    uint8x8_t bytes;
};
QX_INLINE MaskTwice spread_mask(uint64_t four) {
    uint8x8_t bytes = vcreate_u8(four);
    return {vzip1_u8(bytes, bytes)};
}

}  // namespace qx::QX_ISA

#include "vec/portable.h"

namespace qx::QX_ISA {

// ---- products of bytes ----

// The 16-bit lanes of the lower and of the upper half of a vector's bytes.
struct Wide {
    U16 low, high;
};
QX_INLINE Wide times(U8 a, U8 b) { return {vmull_u8(vget_low_u8(a), vget_low_u8(b)), vmull_high_u8(a, b)}; }
QX_INLINE Wide x256(U8 px) { return {vshll_n_u8(vget_low_u8(px), 8), vshll_high_n_u8(px, 8)}; }
QX_INLINE Wide add_times(Wide sum, U8 a, U8 b) {
    return {vmlal_u8(sum.low, vget_low_u8(a), vget_low_u8(b)), vmlal_high_u8(sum.high, a, b)};
}
QX_INLINE Wide less_times(Wide sum, U8 a, U8 b) {
    return {vmlsl_u8(sum.low, vget_low_u8(a), vget_low_u8(b)), vmlsl_high_u8(sum.high, a, b)};
}
QX_INLINE U8 high_bytes(Wide lanes) { return vuzp2q_u8(U8(lanes.low), U8(lanes.high)); }

// ---- weights ----

QX_INLINE uint8x8_t alpha_twice(U8 px) {
    static constexpr uint8_t index[] = {3, 3, 7, 7, 11, 11, 15, 15};
    return vqtbl1_u8(px, vld1_u8(index));
}

QX_INLINE U8 scale_alpha(U8 px, MaskTwice mask) {
    return with_alpha(px, U8(vmull_u8(alpha_twice(px), mask.bytes)));
}

QX_INLINE ByteWeight weight_of(U8 fg, Opacity opacity) {
    return {repeat_byte<1>(U8((U32(fg) >> 24) * opacity.number))};
}
QX_INLINE ByteWeight weight_of(U8 fg, MaskTwice mask) {
    return {repeat_byte<1>(U8(vmull_u8(alpha_twice(fg), mask.bytes)))};
}
QX_INLINE ByteWeight weight_of(U8 fg, MaskTwice mask, Opacity opacity) {
    U16 faded = U16(vmovl_u8(mask.bytes)) * static_cast<uint16_t>(opacity.number);
    return weight_of(fg, MaskTwice{vshrn_n_u16(U16(faded), 8)});
}

QX_INLINE U8 scale(U8 px, ByteWeight weight) { return high_bytes(times(px, weight.bytes)); }
QX_INLINE U8 scale(U8 px, RestOf weight) { return high_bytes(less_times(x256(px), px, weight.bytes)); }
QX_INLINE U8 scale_colours(U8 px, RestOf weight) {
    return scale(px, RestOf{weight.bytes & splat(~kAlphaByte)});  // nothing is taken from alpha
}

// The factor of a pixel, alpha * (256 - weight), has 16 bits: its high and its low bytes are multiplied
// apart.
QX_INLINE U8 scale_premultiplied(U8 px, RestOf weight) {
    uint8x8_t alpha = alpha_twice(px), twice = vmovn_u16(U16(weight.bytes));
    U8 factor = U8(vmlsl_u8(vshll_n_u8(alpha, 8), alpha, twice));
    U8 bytes = opaque(px);
    Wide low = times(bytes, repeat_byte<0>(factor)), high = times(bytes, repeat_byte<1>(factor));
    return high_bytes({vsraq_n_u16(high.low, low.low, 8), vsraq_n_u16(high.high, low.high, 8)});
}

QX_INLINE U8 add(U8 a, U8 b) { return a + b; }

QX_INLINE U8 mix(U8 a, U8 b, int n) {
    auto weight = splat_weight(static_cast<uint32_t>(n));
    return scale(a, rest_of(weight)) + scale(b, weight);
}

// ---- covers ----

// 65535 / alpha, truncated, for an alpha of 1 to 255 in every 32-bit lane; some number for 0. One step of
// Newton's from the estimate, which the architecture defines to the bit: for these 255 numbers any factor
// from 65535.25 to 65536.25 gives the right quotient, so that no rounding matters.
QX_INLINE U32 reciprocal_of(U32 alpha) {
    float32x4_t divisor = vcvtq_f32_u32(vmaxq_u32(alpha, vdupq_n_u32(1))),  // 0 might trap
        estimate = vrecpeq_f32(divisor);
    estimate = vmulq_f32(estimate, vrecpsq_f32(divisor, estimate));
    return vcvtq_u32_f32(vmulq_n_f32(estimate, 65535.75f));
}

QX_INLINE Cover<Under, ByteWeight> cover(U8 under, ByteWeight weight) {
    uint8x8_t twice = vmovn_u16(U16(weight.bytes));
    U16 kept = vmull_u8(alpha_twice(under), vmvn_u8(twice));
    U32 w = U32(weight.bytes) >> 24, alpha = w + (U32(kept) >> 24);
    return {{U8(vsliq_n_u32(U32(under), alpha, 24))}, {repeat_byte<1>(U8(reciprocal_of(alpha) * w))}};
}

QX_INLINE U8 colours_towards(U8 from, U8 to, ByteWeight share) {
    return with_alpha(high_bytes(less_times(add_times(x256(from), to, share.bytes), from, share.bytes)),
                      from);
}

// ---- conversions: eight pixels at a time ----

// The lower and the upper lanes of all pixels: bytes 0 and 1, and bytes 2 and 3.
QX_INLINE U16 lower_lanes(Pair px) { return vuzp1q_u16(U16(px.first), U16(px.second)); }
QX_INLINE U16 upper_lanes(Pair px) { return vuzp2q_u16(U16(px.first), U16(px.second)); }

// Byte k, 0 to 2, of every pixel, x256.
QX_INLINE U16 plane_x256(Pair px, int k) {
    return k == 1 ? lower_lanes(px) & 0xFF00 : (k == 0 ? lower_lanes(px) : upper_lanes(px)) << 8;
}

// A product / 512, floored: the doubled product of 64 times the byte has it in its high half.
struct PlanesX64 {
    I16 byte_0, byte_1, byte_2;
};
QX_INLINE PlanesX64 planes_of(Pair px) {
    auto plane = [=](int k) QX_LAMBDA { return I16(vshrq_n_u16(plane_x256(px, k), 2)); };
    return {plane(0), plane(1), plane(2)};
}
template <const int (&from)[3]>
QX_INLINE I16 sum_of_512ths(const PlanesX64& px) {
    auto product = [](I16 plane, int factor)
                       QX_LAMBDA { return vqdmulhq_n_s16(plane, static_cast<int16_t>(factor)); };
    return product(px.byte_0, from[0]) + product(px.byte_1, from[1]) + product(px.byte_2, from[2]);
}
QX_INLINE Pair pixels_of_sixteenths(I16 byte_0, I16 byte_1, I16 byte_2, Argb32 offsets, Pair px) {
    I16 bytes_01 = vsliq_n_s16(byte_0 >> 4, byte_1 >> 4, 8);
    U16 bytes_23 = vbslq_u16(vdupq_n_u16(0x00FF), U16(byte_2 >> 4), upper_lanes(px));
    U8 low = U8(bytes_01) + U8(splat_16(offsets)), high = U8(bytes_23) + U8(splat_16(offsets >> 16));
    return {U8(vzip1q_u16(U16(low), U16(high))), U8(vzip2q_u16(U16(low), U16(high)))};
}

// A sum of products / 8192, floored: of 8 times the bytes, its high half.
struct PlanesX8 {
    I16 byte[3];
};
QX_INLINE PlanesX8 offset_planes(Pair px, int offset_0, int offset_1, int offset_2) {
    auto plane = [=](int k, int offset) QX_LAMBDA {
        return I16(vshrq_n_u16(plane_x256(px, k), 5)) - static_cast<int16_t>(8 * offset);
    };
    return {{plane(0, offset_0), plane(1, offset_1), plane(2, offset_2)}};
}
template <int k>
QX_INLINE I16 sum_of_8192ths(const PlanesX8& px, int from_k, int from_1) {
    auto factor_k = static_cast<int16_t>(from_k), factor_1 = static_cast<int16_t>(from_1);
    I16 byte_k = px.byte[k], byte_1 = px.byte[1];
    I32 low = vmull_n_s16(vget_low_s16(byte_k), factor_k), high = vmull_high_n_s16(byte_k, factor_k);
    if (from_1 != 0) {
        low = vmlal_n_s16(low, vget_low_s16(byte_1), factor_1);
        high = vmlal_high_n_s16(high, byte_1, factor_1);
    }
    return vuzp2q_s16(I16(low), I16(high));
}
QX_INLINE Pair pixels_of_sums(I16 byte_0, I16 byte_1, I16 byte_1_too, I16 byte_2, Pair px) {
    auto bytes_02 = vqmovun_high_s16(vqmovun_s16(byte_0), byte_2);
    auto bytes_13 = vshrn_high_n_u16(vqmovun_s16(byte_1 + byte_1_too), upper_lanes(px), 8);
    U16 bytes_01 = U16(vzip1q_u8(bytes_02, bytes_13)), bytes_23 = U16(vzip2q_u8(bytes_02, bytes_13));
    return {U8(vzip1q_u16(bytes_01, bytes_23)), U8(vzip2q_u16(bytes_01, bytes_23))};
}

// ---- samples ----

template <int blocks>
QX_INLINE U8 look_up(const U8* block, U8 index) {
    static_assert(blocks >= 2 && blocks <= 4);
    if constexpr (blocks == 2) return vqtbl2q_u8({{block[0], block[1]}}, index);
    if constexpr (blocks == 3) return vqtbl3q_u8({{block[0], block[1], block[2]}}, index);
    if constexpr (blocks == 4) return vqtbl4q_u8({{block[0], block[1], block[2], block[3]}}, index);
}

template <typename Plane, int first = 0>
QX_INLINE void unpack_plane(uint16_t* dst, const uint8_t* group) {
    constexpr int block = Plane::bit(first) / 128, blocks = Plane::bit(first + 7) / 128 - block + 1;
    static constexpr auto index =
        constant<uint8_t>([](int i) { return Plane::bit(first + i / 2) / 8 - 16 * block + i % 2; });
    static constexpr auto shifts = constant<int16_t>([](int i) { return -(Plane::bit(first + i) % 8); });
    U8 bytes[blocks];
    for (int k = 0; k < blocks; ++k) bytes[k] = vld1q_u8(group + 16 * (block + k));
    U16 samples = U16(look_up<blocks>(bytes, index.vector()));
    samples = vshlq_u16(samples, shifts.vector()) & 0x03FF;
    *reinterpret_cast<U8Anywhere*>(dst + first) = U8(samples);
    if constexpr (first + 8 < 8 * Plane::kPerBlock) unpack_plane<Plane, first + 8>(dst, group);
}

}  // namespace qx::QX_ISA
