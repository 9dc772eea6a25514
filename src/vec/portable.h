// Every operation on vectors, in the compilers' vector extensions alone: its definition, and the code of any
// machine that has nothing better.
//
// An operation is a function template, so that a function of the same arguments in a build's own header takes
// its place, in the formulas below too.
#pragma once

#include "vec/base.h"

#define QX_PORTABLE            \
    template <typename = void> \
    QX_INLINE

namespace qx::QX_ISA {

// ---- bytes and lanes ----

// Bytes of `set` where the mask's are 255, of `clear` where they are 0.
QX_PORTABLE U8 select(U8 mask, U8 set, U8 clear) { return (mask & set) | (~mask & clear); }

// The high bytes of the 16-bit lanes of two vectors in the low and in the high bytes of one.
QX_PORTABLE U8 merge_high(U16 low, U16 high) { return U8(low >> 8 | (high & 0xFF00)); }

QX_PORTABLE U8 merge(Terms terms) { return U8((terms.odd & 0xFF00) | terms.even); }

QX_PORTABLE U8 add_saturated(U8 a, U8 b) {
    U8 sum = a + b;
    return sum | U8(sum < a);
}

// (a + b) / 2 of every byte, truncated.
QX_PORTABLE U8 average(U8 a, U8 b) { return (a & b) + ((a ^ b) >> 1); }

// Byte `from` of every pixel, in both of its 16-bit lanes as a number; in all four of its bytes.
template <int from, typename Vector>
QX_INLINE U16 spread_byte(Vector px) {
    static_assert(same_type<Vector, U8>);
    U32 byte = U32(px) << (24 - 8 * from) >> 24;
    return U16(byte | byte << 16);
}
template <int from, typename Vector>
QX_INLINE U8 repeat_byte(Vector px) {
    static_assert(same_type<Vector, U8>);
    U16 twice = spread_byte<from>(px);
    return U8(twice | twice << 8);
}

// ---- pixels ----

QX_PORTABLE U8 opaque(U8 px) { return px | splat(kAlphaByte); }

// The alpha of every pixel in all of its bytes.
QX_PORTABLE U8 spread_alpha(U8 px) { return repeat_byte<3>(px); }

// The colours of px under an alpha that is given as a number, or as that of other pixels; or what has got its
// alpha before.
QX_PORTABLE U8 with_alpha(U8 px, U8 alpha) { return select(splat(kAlphaByte), alpha, px); }
QX_PORTABLE U8 with_alpha(U8 px, Spread alpha) {
    return (px & splat(~kAlphaByte)) | U8(U32(alpha.lanes) << 24);
}
QX_PORTABLE U8 with_alpha(U8, Under under) { return under.px; }

// Two vectors of pixels in turn, from the first one's first pixel on: a0 b0 a1 b1 and so on.
QX_PORTABLE Pair zip(Pair px) {
    U32 a = U32(px.first), b = U32(px.second);
    auto from = [](int i) { return i % 2 * kPixels + i / 2; };
    return {U8(shuffle(a, b, from)), U8(shuffle(a, b, [=](int i) { return from(i + kPixels); }))};
}

// Each pixel's predecessor: the last pixel of the vector before, then all of px but its last.
QX_PORTABLE U8 preceding(U8 before, U8 px) {
    return U8(shuffle(U32(before), U32(px), [](int i) { return i + kPixels - 1; }));
}

// The first pixel in every place.
QX_PORTABLE U8 repeat_pixel(U8 px) { return U8(U32{} + U32(px)[0]); }

// The pixel at n - 1 also in the place of the one at n - 2, for n >= 2.
QX_PORTABLE U8 repeat_last(U8 px, int n) {
    static constexpr auto lane = constant<int32_t>([](int i) { return i; });
    U32 next = shuffle(U32(px), U32(px), [](int i) { return i + 1; });
    return select(U8(lane.vector() == n - 2), U8(next), px);
}

// ---- vectors from memory and back, at any address; nothing but the pixels asked for is touched ----

// A struct, since g++ drops the alignment of a cast that changes a pointer's type by no more than that.
template <typename Number>
struct __attribute__((packed, may_alias)) Anywhere {
    Number number;
};
using WordAnywhere = Anywhere<uint32_t>;

QX_PORTABLE U8 load(const Argb32* p) { return *reinterpret_cast<const U8Anywhere*>(p); }
QX_PORTABLE void store(Argb32* p, U8 px) { *reinterpret_cast<U8Anywhere*>(p) = px; }

// The first n pixels, 0 < n < kPixels; load_n leaves zeros after them.
QX_PORTABLE U8 load_n(const Argb32* p, int n) {
    U32 px{};
    for (int k = 0; k < kPixels - 1; ++k)
        if (k < n) px[k] = reinterpret_cast<const WordAnywhere*>(p)[k].number;
    return U8(px);
}
QX_PORTABLE void store_n(Argb32* p, U8 px, int n) {
    for (int k = 0; k < kPixels - 1; ++k)
        if (k < n) reinterpret_cast<WordAnywhere*>(p)[k].number = U32(px)[k];
}

// The first n pixels of a pair of vectors, 0 < n < 2 * kPixels.
QX_PORTABLE Pair load_up_to(const Argb32* p, int n) {
    if (n < kPixels) return {load_n(p, n), U8{}};
    return {load(p), n == kPixels ? U8{} : load_n(p + kPixels, n - kPixels)};
}
QX_PORTABLE void store_up_to(Argb32* p, Pair px, int n) {
    if (n < kPixels) return store_n(p, px.first, n);
    store(p, px.first);
    if (n > kPixels) store_n(p + kPixels, px.second, n - kPixels);
}

// Four pixels of a line that lie a step apart.
QX_PORTABLE void copy_four(Argb32* dst, const Argb32* src, ptrdiff_t step) {
    auto to = reinterpret_cast<WordAnywhere*>(dst);
    auto from = reinterpret_cast<const WordAnywhere*>(src);
    for (int k = 0; k < 4; ++k) to[k].number = from[k * step].number;
}

// Every second or third pixel of a line, from the first on; nothing after the last of them is read: the last
// vector ends with it.
QX_PORTABLE U8 load_every_second(const Argb32* src) {
    U32 first = U32(load(src)), second = U32(load(src + kPixels - 1));
    return U8(shuffle(first, second, [](int i) { return i < kPixels / 2 ? 2 * i : 2 * i + 1; }));
}
QX_PORTABLE U8 load_every_third(const Argb32* src) {
    constexpr int kThird = 2 * kPixels - 2;
    U32 first = U32(load(src)), second = U32(load(src + kPixels)), third = U32(load(src + kThird));
    U32 mixed = shuffle(first, second, [](int i) { return 3 * i % (2 * kPixels); });
    return U8(
        shuffle(mixed, third, [](int i) { return 3 * i < 2 * kPixels ? i : kPixels + 3 * i - kThird; }));
}

// ---- masks: one byte for each pixel of a vector ----

// The bytes of a vector's pixels, eight at most, in a number, the first one lowest.
QX_PORTABLE MaskLanes spread_mask(uint64_t bytes) {
    U32 lanes = U32(each_pixel([=](int k) QX_LAMBDA { return static_cast<uint8_t>(bytes >> 8 * k); }));
    return {U16(lanes | lanes << 16)};
}
template <typename Map>
QX_INLINE uint64_t mask_bytes(const uint8_t* mask, int n, Map map) {
    auto four = [=](int from) QX_LAMBDA {  // in 32 bits, where 64 take more than twice as long
        uint32_t bytes = 0;
        for (int k = 0; k < 4 && k < n - from; ++k) bytes |= uint32_t{map(mask[from + k])} << (8 * k);
        return bytes;
    };
    return kPixels > 4 ? four(0) | uint64_t{four(4)} << 32 : four(0);
}
QX_PORTABLE auto load(const uint8_t* mask) {
    uint64_t bytes = 0;
    __builtin_memcpy(&bytes, mask, kPixels < 8 ? kPixels : 8);
    return spread_mask(bytes);
}
QX_PORTABLE auto load_n(const uint8_t* mask, int n) {
    return spread_mask(mask_bytes(mask, n, [](uint8_t m) QX_LAMBDA { return m; }));
}

// Pixels under a mask: their alpha is multiplied by it, / 256; the colours stay.
QX_PORTABLE U8 scale_alpha(U8 px, MaskLanes mask) { return with_alpha(px, U8((U16(px) >> 8) * mask.lanes)); }

// A table of 256 bytes that masks are seen through. Two loads a pixel are all that machines have which cannot
// keep it in registers.
struct TableInMemory {
    const uint8_t* bytes;
};
QX_PORTABLE TableInMemory table_of(const uint8_t* bytes) { return {bytes}; }

QX_PORTABLE auto load_n(const uint8_t* mask, TableInMemory table, int n) {
    return spread_mask(mask_bytes(mask, n, [=](uint8_t m) QX_LAMBDA { return table.bytes[m]; }));
}
QX_PORTABLE auto load(const uint8_t* mask, TableInMemory table) { return load_n(mask, table, kPixels); }

// Each byte times opacity / 256. What cannot be kept in registers goes to `room`.
QX_PORTABLE TableInMemory fade(TableInMemory table, Opacity opacity, uint8_t (&room)[256]) {
    for (int i = 0; i < 256; ++i) room[i] = static_cast<uint8_t>(table.bytes[i] * opacity.number >> 8);
    return {room};
}

// ---- weights, of 0 to 256 in 1/256, and bytes multiplied by them; every quotient is floored on its own ----

QX_PORTABLE Spread splat_weight(uint32_t number) { return {splat_16(number)}; }

// Byte `from` of every pixel as a weight.
template <int from, typename Vector>
QX_INLINE Spread byte_weight(Vector px) {
    static_assert(same_type<Vector, U8>);
    return {spread_byte<from>(px)};
}

// The alpha of every pixel times a number of at most 256 / 256.
QX_PORTABLE U16 scaled_alpha(U8 px, U16 number) { return spread_byte<3>(px) * number >> 8; }

// The weight of foreground pixels: their alpha, faded by an opacity, under a mask, or under a mask that is
// faded first. An opacity is at most 256, so that a weight is at most its alpha.
QX_PORTABLE auto weight_of(U8 fg) { return byte_weight<3>(fg); }
QX_PORTABLE Spread weight_of(U8 fg, Opacity opacity) { return {scaled_alpha(fg, splat_16(opacity.number))}; }
QX_PORTABLE Spread weight_of(U8 fg, MaskLanes mask) { return {scaled_alpha(fg, mask.lanes)}; }
QX_PORTABLE Spread weight_of(U8 fg, MaskLanes mask, Opacity opacity) {
    return weight_of(fg, MaskLanes{mask.lanes * splat_16(opacity.number) >> 8});
}

// 256 - weight.
QX_PORTABLE Spread rest_of(Spread weight) { return {256 - weight.lanes}; }

// Every byte times a factor / 256, that of the odd bytes being another one.
QX_PORTABLE Terms scale_lanes(U8 px, U16 even, U16 odd) {
    return {(U16(px) & 0x00FF) * even >> 8, (U16(px) >> 8) * odd};
}

// Every byte times weight / 256.
QX_PORTABLE Terms scale(U8 px, Spread weight) { return scale_lanes(px, weight.lanes, weight.lanes); }

// The same, alpha being taken for 255.
template <typename Weight>
QX_INLINE auto scale_opaque(U8 px, Weight weight) {
    return scale(opaque(px), weight);
}

// The same for the colours; alpha is left as it is.
QX_PORTABLE Terms scale_colours(U8 px, Spread weight) {
    return scale_lanes(px, weight.lanes, U16((U32(weight.lanes) & 0x0000FFFF) | 256 << 16));
}

// Every byte times the alpha of its pixel times weight / 65536, for a weight of at least 1, alpha itself
// being taken for 255. The factor of a pixel, alpha * weight <= 65280, is multiplied byte by byte: x * high +
// x * low / 256 <= 65279.
QX_PORTABLE Terms scale_premultiplied(U8 px, Spread weight) {
    U16 factor = spread_byte<3>(px) * weight.lanes, high = factor >> 8, low = factor & 0x00FF;
    U16 even = U16(px) & 0x00FF, odd = U16(opaque(px)) >> 8;
    return {(even * high + (even * low >> 8)) >> 8, odd * high + (odd * low >> 8)};
}

// Sums of two results, saturated or known to stay below 256. The odd ones are added as bytes, so that nothing
// is carried into them from below.
QX_PORTABLE U8 add(Terms a, Terms b) { return merge({a.even + b.even, U16(U8(a.odd) + U8(b.odd))}); }
QX_PORTABLE U8 add_saturated(Terms a, Terms b) {
    return merge({U16(add_saturated(U8(a.even), U8(b.even))), U16(add_saturated(U8(a.odd), U8(b.odd)))});
}

// a * (256 - n) / 256 + b * n / 256 of every byte, for n of 0 to 127.
QX_PORTABLE U8 mix(U8 a, U8 b, int n) {
    Spread weight = {splat_16(static_cast<uint32_t>(n))};
    return add(scale(a, rest_of(weight)), scale(b, weight));
}

// ---- covers ----

// 1 in place of 0.
QX_PORTABLE U16 at_least_1(U16 number) { return number - U16(number == 0); }

// 65535 / divisor, truncated, in every 32-bit lane, for a divisor of 1 to 255 in both of its 16-bit lanes;
// some number for 0. Both lanes together are 65537 * divisor, exact as a float, and 2^32 / 65537 is 65535 and
// next to nothing. A quotient that is no whole number is at least 1/255 away from one, where a float's step
// is at most 1/512, so that it is exact in every rounding mode. The divider never sees 0, and nothing can
// trap.
QX_PORTABLE U32 reciprocal(U16 divisor) {
    typedef float F32 __attribute__((vector_size(kBytes)));
    I32 nonzero = I32(at_least_1(divisor));
    return U32(__builtin_convertvector(0x1p32f / __builtin_convertvector(nonzero, F32), I32));
}

// alpha = weight + under.a * (255 - weight) / 256, and share = (65535 / alpha) * weight / 256, 0 where alpha
// is. A weight is at most alpha, so that the reciprocal times weight is at most 65535 and share at most 255.
QX_PORTABLE Cover<Under, Spread> cover(U8 under, Spread weight) {
    U16 alpha = weight.lanes + scaled_alpha(under, 255 - weight.lanes);
    return {{with_alpha(under, Spread{alpha})}, {spread_byte<1>(U8(U16(reciprocal(alpha)) * weight.lanes))}};
}

// Pixels with what is in the high bytes of products, for the even and for the odd bytes, added to their
// colours.
QX_PORTABLE U8 add_high_to_colours(U8 px, U16 even, U16 odd) {
    return px + U8(even >> 8 | (odd & U16(splat(0x0000FF00))));
}

// from + floor(share * (to - from) / 256) of every colour, and from's alpha. It lies between the two, so that
// only its low byte matters, and share * (to - from) needs no more than its low half.
QX_PORTABLE U8 colours_towards(U8 from, U8 to, Spread share) {
    U16 even = (U16(to) & 0x00FF) - (U16(from) & 0x00FF), odd = (U16(to) >> 8) - (U16(from) >> 8);
    return add_high_to_colours(from, even * share.lanes, odd * share.lanes);
}

// ---- blocks: so many vectors of pixels whose weights and covers are worked out together ----

QX_PORTABLE constexpr int block_vectors() { return 1; }

// From how many vectors on it pays to prepare many covers, or a block's look-ups, before the first is
// finished; 0 where it never does.
QX_PORTABLE constexpr int vectors_to_wait() { return 0; }

// What a block's weights are made of, and what is made of it for vector k.
template <typename... Line>
QX_INLINE auto load_block(Line... line) {
    static_assert((!same_type<Line, Argb32*> && ...), "a build's own takes lines that are const");
    return load(line...);
}
template <typename Prepared>
QX_INLINE Prepared of_vector(Prepared prepared, int) {
    return prepared;
}

// ---- conversions: two vectors of pixels at a time ----

// Bytes 0, 1 and 2 of the pixels as numbers, less an offset each.
struct Planes {
    I32 byte[3][2];
};
QX_PORTABLE Planes offset_planes(Pair px, int offset_0, int offset_1, int offset_2) {
    auto plane = [](U8 v, int k, int offset) QX_LAMBDA { return I32(U32(v) << (24 - 8 * k) >> 24) - offset; };
    return {{{plane(px.first, 0, offset_0), plane(px.second, 0, offset_0)},
             {plane(px.first, 1, offset_1), plane(px.second, 1, offset_1)},
             {plane(px.first, 2, offset_2), plane(px.second, 2, offset_2)}}};
}
QX_PORTABLE auto planes_of(Pair px) { return offset_planes(px, 0, 0, 0); }

// Sums of products: of each byte k and from[k] / 512, each quotient floored, for factors of -16383 to 16383
// and sums of 16 bits; of byte k, 0 or 2, and byte 1, the sum / 8192, floored.
struct Sums {
    I32 of[2];
};
template <const int (&from)[3], typename AnyPlanes>
QX_INLINE Sums sum_of_512ths(const AnyPlanes& px) {
    static_assert(same_type<AnyPlanes, Planes>);
    auto sum = [&](int v) QX_LAMBDA {
        return (px.byte[0][v] * from[0] >> 9) + (px.byte[1][v] * from[1] >> 9) +
               (px.byte[2][v] * from[2] >> 9);
    };
    return {{sum(0), sum(1)}};
}
template <int k, typename AnyPlanes>
QX_INLINE Sums sum_of_8192ths(const AnyPlanes& px, int from_k, int from_1) {
    auto sum = [&](int v) QX_LAMBDA { return (px.byte[k][v] * from_k + px.byte[1][v] * from_1) >> 13; };
    return {{sum(0), sum(1)}};
}

// Pixels of sums: / 16, floored, plus the bytes of `offsets`, for results within 0 to 255; or saturated, byte
// 1 being that of two added. Alpha is that of px.
QX_PORTABLE Pair pixels_of_sixteenths(const Sums& byte_0, const Sums& byte_1, const Sums& byte_2,
                                      Argb32 offsets, Pair px) {
    auto colours = [&](int v) QX_LAMBDA {
        return U8((byte_0.of[v] >> 4 & 255) | (byte_1.of[v] >> 4 & 255) << 8 |
                  (byte_2.of[v] >> 4 & 255) << 16) +
               splat(offsets);
    };
    return {with_alpha(colours(0), px.first), with_alpha(colours(1), px.second)};
}
QX_PORTABLE Pair pixels_of_sums(const Sums& byte_0, const Sums& byte_1, const Sums& byte_1_too,
                                const Sums& byte_2, Pair px) {
    auto saturated = [](I32 sum) QX_LAMBDA {
        sum &= ~(sum >> 31);                  // not below 0
        return (sum | I32(sum > 255)) & 255;  // not above 255
    };
    auto colours = [&](int v) QX_LAMBDA {
        return U8(saturated(byte_0.of[v]) | saturated(byte_1.of[v] + byte_1_too.of[v]) << 8 |
                  saturated(byte_2.of[v]) << 16);
    };
    return {with_alpha(colours(0), px.first), with_alpha(colours(1), px.second)};
}

// ---- 10-bit samples out of blocks of 16 bytes, and out of groups of blocks ----
//
// A plane says where its samples lie: Plane::kPerBlock of them in every block, sample k at bit Plane::bit(k)
// of the group, never across a 32-bit word.

QX_PORTABLE constexpr int group_blocks() { return 8; }

template <typename Plane, typename Byte>
QX_INLINE void unpack_samples(uint16_t* dst, const Byte* block, int n) {
    auto out = reinterpret_cast<Anywhere<uint16_t>*>(dst);
    auto unpack = [&](int k) QX_LAMBDA {
        const uint32_t word = reinterpret_cast<const WordAnywhere*>(block)[Plane::bit(k) / 32].number;
        out[k].number = word >> Plane::bit(k) % 32 & 0x3FF;
    };
    for (; n >= Plane::kPerBlock; n -= Plane::kPerBlock, out += Plane::kPerBlock, block += 16)
        for (int k = 0; k < Plane::kPerBlock; ++k) unpack(k);
    for (int k = 0; k < n; ++k) unpack(k);
}

// The samples of a block's first pixels: 2, 4 or 6 of them.
template <typename Luma, typename Cb, typename Cr, typename Byte>
QX_INLINE void unpack_block(uint16_t* y, uint16_t* cb, uint16_t* cr, const Byte* block, int pixels) {
    unpack_samples<Luma>(y, block, pixels);
    unpack_samples<Cb>(cb, block, pixels / 2);
    unpack_samples<Cr>(cr, block, pixels / 2);
}

// All samples of a group.
template <typename Plane, typename Byte>
QX_INLINE void unpack_plane(uint16_t* dst, const Byte* group) {
    unpack_samples<Plane>(dst, group, group_blocks() * Plane::kPerBlock);
}

// ---- the pixels of a line that a linear resampler mixes ----

// For output k of a vector, at position + k * step in 1/256 of a pixel, i(k) being its whole part: right is
// src[i(k) + 1]; left is src[i(k)] for even k and src[i(k - 1) + 1] for odd k. fraction is the position's, a
// weight.
using Fraction = decltype(byte_weight<0>(U8{}));
struct Taps {
    U8 left, right;
    Fraction fraction;
};

// The positions of a vector's outputs, from the pixel on that the first one lies in.
QX_PORTABLE U32 positions_from(uint32_t position, uint32_t step) {
    static constexpr auto lane = constant<uint32_t>([](int i) { return i; });
    return (position & 255) + lane.vector() * step;
}

// Calls use(taps_at) once, for a build that loads taps in several ways to choose by the step.
// taps_at(position, n) are the taps of n outputs from a position on, within src[0 .. src_count - 1]; those
// from n on, if any, are any pixels.
template <typename Pixel, typename Use>
QX_INLINE void with_taps(const Pixel* src, int32_t, uint32_t step, Use use) {
    use([=](uint32_t position, int n) QX_LAMBDA -> Taps {
        auto tap = [=](int k) QX_LAMBDA {
            const uint32_t own = position + static_cast<uint32_t>(k < n ? k : n - 1) * step;
            return reinterpret_cast<const WordAnywhere*>(src) + (own >> 8);
        };
        U8 left =
            each_pixel([=](int k) QX_LAMBDA { return k % 2 == 0 ? tap(k)[0].number : tap(k - 1)[1].number; });
        U8 right = each_pixel([=](int k) QX_LAMBDA { return tap(k)[1].number; });
        return {left, right, byte_weight<0>(U8(positions_from(position, step)))};
    });
}

}  // namespace qx::QX_ISA
