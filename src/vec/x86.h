// What sse2, avx2 and avx512 do better: the operations that stand on portable ones.
#pragma once

#include "vec/x86_base.h"
//
#include "vec/portable.h"

namespace qx::QX_ISA {

// ---- weights ----

// Alpha x256 has the quotient by 256 of its product with mask x256 in its high byte.
QX_INLINE U8 scale_alpha(U8 px, MaskX256 mask) {
    return with_alpha(px, U8(mul_hi(mask.lanes, U16(px & splat(kAlphaByte)))));
}

QX_INLINE Spread weight_of(U8 fg, MaskX256 mask) { return {mul_hi(mask.lanes, spread_byte<3>(fg))}; }
QX_INLINE Spread weight_of(U8 fg, MaskX256 mask, Opacity opacity) {
    return {scaled_alpha(fg, mul_hi(mask.lanes, splat_16(opacity.number)))};
}

QX_INLINE Terms scale_premultiplied(U8 px, Spread weight) {
    U16 factor = spread_byte<3>(px) * weight.lanes;
#if QX_VECTOR_BYTES == 64
    U16 odd = U16(_mm512_ternarylogic_epi32(Bits(px), Bits(splat(kAlphaByte)), Bits(splat_16(0xFF00)), 0xA8));
#else
    U16 odd = U16(opaque(px)) & 0xFF00;
#endif
    return {mul_hi(U16(px) & 0x00FF, factor), mul_hi(odd, factor)};
}

#if QX_VECTOR_BYTES == 64
QX_INLINE Terms scale_opaque(U8 px, Spread weight) {
    U16 odd = U16(replace_bytes<1, -1, -1, -1>(splat(0x00FF0000), px));
    return {mul_hi(U16(px) << 8, weight.lanes), odd * weight.lanes};
}
#endif

#if QX_VECTOR_BYTES >= 32
// In each 16-bit lane, the sum of the products of the lower and of the upper bytes: of pixels times factors
// of -128 to 127.
QX_INLINE I16 mul_add_bytes(U8 px, I16 factors) { return I16(QX_OP(maddubs_epi16)(Bits(px), Bits(factors))); }

// The first term is a + floor(-a * n / 256). Products of bytes need no splitting; their high bytes are the
// quotients.
QX_INLINE U8 mix(U8 a, U8 b, int n) {
    auto times = [](U8 px, int factor, int shift) QX_LAMBDA {
        return U8(mul_add_bytes(px, I16(splat_16(static_cast<uint32_t>(factor & 255) << shift))));
    };
    U8 even = times(a, -n, 0) + times(b, n, 0), odd = times(a, -n, 8) + times(b, n, 8);
    return a + merge_high(U16(even), U16(odd));
}
#endif

QX_INLINE constexpr int vectors_to_wait() { return kBytes == 64 ? 4 : 16; }  // for look-ups; for the divider

// ---- sums of products ----

// A byte times -128, times a coefficient's opposite, has the quotient by 512 in its high half, floored. -128
// is a factor that a byte can hold. The pixels lie in some order, which pixels_of_sixteenths undoes.
struct PlanesX128 {
    I16 byte_0, byte_1, byte_2;
};

// The lower and the upper 16-bit lanes of two vectors of pixels.
QX_INLINE Pair split_pixels(Pair px) {
#if QX_VECTOR_BYTES == 64
    return {replace_bytes<-1, -1, 0, 1>(px.first, px.second),
            replace_bytes<2, 3, -1, -1>(px.second, px.first)};
#elif QX_VECTOR_BYTES == 32
    static constexpr auto index =
        constant<uint8_t>([](int i) { return i % 8 / 2 * 4 + i % 16 / 8 * 2 + i % 2; });
    Bits first = _mm256_shuffle_epi8(Bits(px.first), Bits(index.vector()));
    Bits second = _mm256_shuffle_epi8(Bits(px.second), Bits(index.vector()));
    return {U8(_mm256_unpacklo_epi64(first, second)), U8(_mm256_unpackhi_epi64(first, second))};
#else
    auto pack = [](U32 first, U32 second) QX_LAMBDA {
        return U8(_mm_packs_epi32(Bits(I32(first) >> 16), Bits(I32(second) >> 16)));
    };
    return {pack(U32(px.first) << 16, U32(px.second) << 16), pack(U32(px.first), U32(px.second))};
#endif
}

QX_INLINE PlanesX128 planes_of(Pair px) {
    Pair bytes_01_23 = split_pixels(px);
    U8 bytes_01 = bytes_01_23.first, bytes_23 = bytes_01_23.second;
#if QX_VECTOR_BYTES >= 32
    I16 lower = I16(splat_16(0x0080)), upper = I16(splat_16(0x8000));
    return {mul_add_bytes(bytes_01, lower), mul_add_bytes(bytes_01, upper), mul_add_bytes(bytes_23, lower)};
#else
    auto plane = [](U16 bytes) QX_LAMBDA { return I16(bytes) * -128; };
    return {plane(U16(bytes_01) & 0x00FF), plane(U16(bytes_01) >> 8), plane(U16(bytes_23) & 0x00FF)};
#endif
}

template <const int (&from)[3]>
QX_INLINE I16 sum_of_512ths(const PlanesX128& px) {
    static constexpr Constant<int16_t> opposites[] = {constant<int16_t>([](int) { return -from[0]; }),
                                                      constant<int16_t>([](int) { return -from[1]; }),
                                                      constant<int16_t>([](int) { return -from[2]; })};
    const Constant<int16_t>* factor = opposites;
    // Or g++ makes the vectors out of numbers, for every short line and even in the loop.
    asm("" : "+r"(factor));
    I16 sum = mul_hi(px.byte_2, factor[2].vector()) + mul_hi(px.byte_1, factor[1].vector()) +
              mul_hi(px.byte_0, factor[0].vector());
    asm("" : "+v"(sum));  // or it adds up all sums last, out of more products than there are registers
    return sum;
}

QX_INLINE Pair pixels_of_sixteenths(I16 byte_0, I16 byte_1, I16 byte_2, Argb32 offsets, Pair px) {
#if QX_VECTOR_BYTES == 64
    // Bits 4 to 11 of the lanes go to where their pixels are: the first vector's have the even lanes.
    static constexpr auto even_lanes = constant<uint8_t>([](int i) { return 4 + i % 8 / 4 * 32; });
    auto pixels = [=](U8 px, int odd) QX_LAMBDA {
        const Bits from = Bits(even_lanes.vector() + static_cast<uint8_t>(16 * odd));
        auto replace = [=](U8 px, __mmask64 bytes, I16 by) QX_LAMBDA {
            return U8(_mm512_mask_multishift_epi64_epi8(Bits(px), bytes, from, Bits(by)));
        };
        px = replace(px, bytes_of_pixels<0b0001>(), byte_0);
        px = replace(px, bytes_of_pixels<0b0010>(), byte_1);
        return replace(px, bytes_of_pixels<0b0100>(), byte_2) + splat(offsets);
    };
    return {pixels(px.first, 0), pixels(px.second, 1)};
#else
    auto byte = [=](int k) QX_LAMBDA { return static_cast<int16_t>((offsets >> 8 * k & 255) << 4); };
    U16 bytes_01 = U16(byte_0 + byte(0)) >> 4 | (U16(byte_1 + byte(1)) & 0x0FF0) << 4;
    U16 bytes_23 = U16(byte_2 + byte(2)) >> 4 | (U16(split_pixels(px).second) & 0xFF00);
    return zip_in_blocks(bytes_01, bytes_23);
#endif
}

// The sum of the products of bytes x8 has the quotient by 8192 in its high half, floored. Sums are worked out
// vector by vector, once all are known: in 32 bits there are registers for one.
struct OffsetPixels {
    U8 of[2];
    int offset_0, offset_1, offset_2;
};
QX_INLINE OffsetPixels offset_planes(Pair px, int offset_0, int offset_1, int offset_2) {
    return {{px.first, px.second}, offset_0, offset_1, offset_2};
}

QX_INLINE I16 splat_pair(int lower, int upper) {
    return I16(U32{} + (lower & 0xFFFF) + (uint32_t(upper) << 16));
}

// Bytes 0 and 1, or 1 and 2, x8 in the lower and the upper lanes of their pixels.
template <int k>
QX_INLINE I16 two_bytes_x8(U8 px) {
#if QX_VECTOR_BYTES >= 32
    if (k == 0) return mul_add_bytes(shuffle_pixels<0, -1, 1, -1>(px), splat_pair(8, 8));
    return mul_add_bytes(px, splat_pair(8 << 8, 8));
#else
    if (k == 0) return I16((U32(px) & 0xFF) | (U32(px) << 8 & 0xFF0000)) * 8;
    return I16(U32(px) << 16 >> 24 | (U32(px) & 0xFF0000)) * 8;
#endif
}

template <int k>
struct SumX65536 {
    OffsetPixels px;
    int from_k, from_1;

    QX_INLINE_MEMBER U32 of(int v) const {
        const I16 less = k == 0 ? splat_pair(8 * px.offset_0, 8 * px.offset_1)
                                : splat_pair(8 * px.offset_1, 8 * px.offset_2);
        const I16 factors = k == 0 ? splat_pair(from_k, from_1) : splat_pair(from_1, from_k);
        return U32(QX_OP(madd_epi16)(Bits(two_bytes_x8<k>(px.of[v]) - less), Bits(factors)));
    }
};
template <int k>
QX_INLINE SumX65536<k> sum_of_8192ths(const OffsetPixels& px, int from_k, int from_1) {
    return {px, from_k, from_1};
}

// Byte 1 is the sum of two high halves; what lies below them is not carried, since lanes of 16 bits are
// added.
QX_INLINE U8 pixels_of_high_halves(U32 byte_0, U32 byte_1, U32 byte_1_too, U32 byte_2, U8 px) {
    U32 bytes_1 = U32(U16(byte_1) + U16(byte_1_too));
#if QX_VECTOR_BYTES == 64
    I16 bytes_0_2 = I16(replace_bytes<2, 3, -1, -1>(U8(byte_2), U8(byte_0)));
#elif QX_VECTOR_BYTES == 32
    I16 bytes_0_2 = I16(_mm256_blend_epi16(Bits(byte_0 >> 16), Bits(byte_2), 0xAA));
#else
    I16 bytes_0_2 = I16(byte_0 >> 16 | (byte_2 & 0xFFFF0000));
#endif
#if QX_VECTOR_BYTES >= 32
    U8 packed = pack_saturated(bytes_0_2, I16(bytes_1));
    static constexpr auto from = constant<uint8_t>(
        [](int i) { return i % 4 == 3 ? 0x80 : i % 16 / 4 * 2 + (i % 4 == 1 ? 9 : i % 4 / 2); });
#if QX_VECTOR_BYTES == 64
    return U8(
        _mm512_mask_shuffle_epi8(Bits(px), bytes_of_pixels<0b0111>(), Bits(packed), Bits(from.vector())));
#else
    U8 colours = U8(_mm256_shuffle_epi8(Bits(packed), Bits(from.vector())));
#endif
#else
    Bits packed = Bits(pack_saturated(bytes_0_2, I16(bytes_1 >> 16)));
    U8 colours = U8(_mm_unpacklo_epi8(packed, _mm_srli_si128(packed, 8)));
#endif
#if QX_VECTOR_BYTES < 64
    return colours | (px & splat(kAlphaByte));
#endif
}
template <int k_0, int k_1, int k_1_too, int k_2>
QX_INLINE Pair pixels_of_sums(const SumX65536<k_0>& byte_0, const SumX65536<k_1>& byte_1,
                              const SumX65536<k_1_too>& byte_1_too, const SumX65536<k_2>& byte_2, Pair px) {
    auto pixels = [&](int v, U8 alpha) QX_LAMBDA {
        // As arguments g++ would work them out from the last one on, which is 2 % slower.
        U32 sum_0 = byte_0.of(v), sum_1 = byte_1.of(v), sum_1_too = byte_1_too.of(v), sum_2 = byte_2.of(v);
        return pixels_of_high_halves(sum_0, sum_1, sum_1_too, sum_2, alpha);
    };
    return {pixels(0, px.first), pixels(1, px.second)};
}

// ---- samples ----

#if QX_VECTOR_BYTES == 64
QX_INLINE constexpr int group_blocks() { return 16; }

// Eight blocks have 24 samples of Cb, and of Cr, in so few of their bytes that one vector has room for all:
// those of the last four blocks lie between those of the first four.
template <typename Plane>
struct Packed24 {
    static constexpr int kFirst = Plane::bit(0) / 8, kSecond = kFirst + kBytes - 2;  // what is loaded from

    static constexpr int byte(int k) { return Plane::bit(k) / 8 - (k < 12 ? kFirst : kSecond); }
    static constexpr uint64_t second_bytes() {
        uint64_t mask = 0;
        for (int k = 12; k < 24; ++k) mask |= uint64_t{3} << byte(k);
        return mask;
    }
    QX_INLINE_MEMBER static U8 load(const uint8_t* blocks) {
        Bits first = _mm512_loadu_si512(blocks + kFirst);
        return U8(_mm512_mask_loadu_epi8(first, byte_mask<second_bytes()>(), blocks + kSecond));
    }
};

// The samples from `first` on, of which k lies at byte_of(k) of two vectors.
template <typename Plane, int first, typename Rule>
QX_INLINE Bits samples(U8 a, U8 b, Rule byte_of) {
    static constexpr auto shifts = constant<uint16_t>([](int i) { return Plane::bit(first + i) % 8; });
    U8 bytes = shuffle(a, b, [=](int i) { return (byte_of(first + i / 2) + i % 2) % (2 * kBytes); });
    return Bits(U16(bytes) >> shifts.vector() & 0x03FF);
}

template <typename Plane>
QX_INLINE void unpack_plane(uint16_t* dst, const uint8_t* group) {
    if constexpr (Plane::kPerBlock == 6) {
        auto load = [=](int k) QX_LAMBDA { return U8(_mm512_loadu_si512(group + k * kBytes)); };
        auto byte_of = [](int k) { return Plane::bit(k) / 8 - k / 32 * kBytes; };
        _mm512_storeu_si512(dst, samples<Plane, 0>(load(0), load(1), byte_of));
        _mm512_storeu_si512(dst + 32, samples<Plane, 32>(load(1), load(2), byte_of));
        _mm512_storeu_si512(dst + 64, samples<Plane, 64>(load(2), load(3), byte_of));
    } else {
        U8 a = Packed24<Plane>::load(group), b = Packed24<Plane>::load(group + 8 * 16);
        auto byte_of = [](int k) { return k / 24 * kBytes + Packed24<Plane>::byte(k % 24); };
        _mm512_storeu_si512(dst, samples<Plane, 0>(a, b, byte_of));
        Bits last = samples<Plane, 32>(b, b, [=](int k) { return byte_of(k) - kBytes; });
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 32), _mm512_castsi512_si256(last));
    }
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

#if QX_VECTOR_BYTES >= 32
QX_INLINE void store_samples(uint16_t* dst, __m128i samples, int n) {
    if (n & 4) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), samples);
        samples = _mm_unpackhi_epi64(samples, samples);
    }
    if (n & 2) {
        _mm_storeu_si32(dst + (n & 4), samples);
        samples = _mm_srli_epi64(samples, 32);
    }
    if (n & 1) _mm_storeu_si16(dst + (n & 6), samples);
}

// The samples of a block that lie at bit(0) to bit(7), moved to the top of their lanes by a product.
template <typename Rule>
QX_INLINE __m128i samples_at(const uint8_t* block, Rule) {
    static constexpr Rule bit{};
    static constexpr auto index = constant<uint8_t>([](int i) { return bit(i / 2 % 8) / 8 + i % 2; });
    static constexpr auto factors = constant<uint16_t>([](int i) { return 64 >> bit(i % 8) % 8; });
    auto vector = [](const void* p) QX_LAMBDA { return _mm_loadu_si128(static_cast<const __m128i*>(p)); };
    __m128i lanes = _mm_shuffle_epi8(vector(block), vector(index.lane));
    return _mm_srli_epi16(_mm_mullo_epi16(lanes, vector(factors.lane)), 6);
}

template <typename Luma, typename Cb, typename Cr>
QX_INLINE void unpack_block(uint16_t* y, uint16_t* cb, uint16_t* cr, const uint8_t* block, int pixels) {
    struct LumaBits {
        constexpr int operator()(int k) const { return Luma::bit(k % 6); }
    };
    struct ChromaBits {
        constexpr int operator()(int k) const { return k < 4 ? Cb::bit(k % 3) : Cr::bit(k % 4 % 3); }
    };
    store_samples(y, samples_at(block, LumaBits{}), pixels);
    __m128i chroma = samples_at(block, ChromaBits{});
    store_samples(cb, chroma, pixels / 2);
    store_samples(cr, _mm_unpackhi_epi64(chroma, chroma), pixels / 2);
}
#endif

// ---- pixels of a line that lie apart ----

// Vectors of four pixels, from rule(0), rule(4) and so on.
template <typename Rule>
QX_INLINE U8 fours(Rule rule) {
#if QX_VECTOR_BYTES == 64
    auto eight = [=](int k) QX_LAMBDA {
        return _mm512_castsi256_si512(
            _mm256_inserti128_si256(_mm256_castsi128_si256(rule(k)), rule(k + 4), 1));
    };
    return U8(_mm512_inserti64x4(eight(0), _mm512_castsi512_si256(eight(8)), 1));
#elif QX_VECTOR_BYTES == 32
    return U8(_mm256_set_m128i(rule(4), rule(0)));
#else
    return U8(rule(0));
#endif
}

QX_INLINE void copy_four(Argb32* dst, const Argb32* src, ptrdiff_t step) {
    __m128i low = _mm_unpacklo_epi32(_mm_loadu_si32(src), _mm_loadu_si32(src + step));
    __m128i high = _mm_unpacklo_epi32(_mm_loadu_si32(src + 2 * step), _mm_loadu_si32(src + 3 * step));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_unpacklo_epi64(low, high));
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

#if QX_VECTOR_BYTES == 32
QX_INLINE U8 load_every_second(const Argb32* src) {
    auto floats = [=](int i) QX_LAMBDA { return _mm256_castsi256_ps(Bits(load(src + i))); };
    Bits mixed =
        _mm256_castps_si256(_mm256_shuffle_ps(floats(0), floats(kPixels - 1), _MM_SHUFFLE(3, 1, 2, 0)));
    return U8(_mm256_permute4x64_epi64(mixed, _MM_SHUFFLE(3, 1, 2, 0)));
}
#endif

// Out of one or two vectors, or what the line has of them, where those reach far enough; else one by one, a
// pair of neighbours at a load.
template <typename Use>
QX_INLINE void with_taps(const Argb32* src, [[maybe_unused]] int32_t src_count, uint32_t step, Use use) {
#if QX_VECTOR_BYTES >= 32
    // The last right tap of a vector is at most (255 + (kPixels - 1) * step) / 256 + 1 pixels after its base.
    constexpr uint32_t kOneVector = (kPixels - 2) * 256 / (kPixels - 1);
    constexpr uint32_t kTwoVectors = (2 * kPixels - 2) * 256 / (kPixels - 1);
    auto use_loaded = [=](auto load_from) QX_LAMBDA {
        use([=](uint32_t position, int) QX_LAMBDA -> Taps {
            const int32_t base = static_cast<int32_t>(position >> 8);
            auto px = load_from(src + base, src_count - base);
            U32 positions = positions_from(position, step), index = positions >> 8;
            U8 right = permute_pixels(px, index + 1);
            return {follow_by(permute_pixels(px, index), right), right, byte_weight<0>(U8(positions))};
        });
    };
    if (step <= kOneVector)
        return use_loaded([](const Argb32* p, int32_t n)
                              QX_LAMBDA { return n >= kPixels ? load(p) : load_n(p, n); });
    if (step <= kTwoVectors)
        return use_loaded([](const Argb32* p, int32_t n) QX_LAMBDA {
            return n >= 2 * kPixels ? Pair{load(p), load(p + kPixels)} : load_up_to(p, n);
        });
#endif
    use([=](uint32_t position, int n) QX_LAMBDA -> Taps {
        auto pixel_of = [=](int k) QX_LAMBDA {
            return src + ((position + static_cast<uint32_t>(k < n ? k : n - 1) * step) >> 8);
        };
        auto pair_at = [=](int k) QX_LAMBDA {
            return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pixel_of(k)));
        };
        auto right_of = [=](int k) QX_LAMBDA {
            return _mm_unpacklo_epi32(_mm_loadu_si32(pixel_of(k) + 1), _mm_loadu_si32(pixel_of(k + 1) + 1));
        };
        return {fours([=](int k) QX_LAMBDA { return _mm_unpacklo_epi64(pair_at(k), pair_at(k + 2)); }),
                fours([=](int k) QX_LAMBDA { return _mm_unpacklo_epi64(right_of(k), right_of(k + 2)); }),
                byte_weight<0>(U8(positions_from(position, step)))};
    });
}

}  // namespace qx::QX_ISA

#include "vec/x86_blocks.h"
