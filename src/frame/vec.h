// The vectors of one instruction set, and the operations on them that C++ operators do not give. Every
// kernel source is compiled once for each instruction set; this header is the only place that knows which.
//
// A vector holds kPixels pixels. U8, U16, U32 are views of the same bits (a cast such as U16(px) changes
// nothing), with lanes in memory order: in a U16 view lane 0 of a pixel holds its bytes 0 and 1, lane 1 its
// bytes 2 and 3. "x256" says that a lane holds a byte in its high half.
//
// Everything lives in the namespace of its build, and everything is inlined: an inline function that reached
// the linker could be kept for all builds in its AVX-512 form.
#pragma once

#include <immintrin.h>
#include <stdint.h>

#include "qxpixlib.h"

#if defined(__AVX512VBMI__)
#define QX_ISA avx512
#define QX_OP(name) _mm512_##name
#elif defined(__AVX2__)
#define QX_ISA avx2
#define QX_OP(name) _mm256_##name
#else
#define QX_ISA sse2
#define QX_OP(name) _mm_##name
#endif

#define QX_INLINE static inline __attribute__((always_inline))
#define QX_INLINE_MEMBER inline __attribute__((always_inline))
#define QX_LAMBDA __attribute__((always_inline))

namespace qx::QX_ISA {

#if defined(__AVX512VBMI__)
using Bits = __m512i;
#elif defined(__AVX2__)
using Bits = __m256i;
#else
using Bits = __m128i;
#endif

constexpr int kBytes = sizeof(Bits);
constexpr int kPixels = kBytes / 4;

typedef uint8_t U8 __attribute__((vector_size(kBytes)));
typedef uint16_t U16 __attribute__((vector_size(kBytes)));
typedef uint32_t U32 __attribute__((vector_size(kBytes)));

// ---- memory: any address; nothing outside the n pixels is touched ----

QX_INLINE U8 load(const Argb32* p) {
    typedef uint8_t Anywhere __attribute__((vector_size(kBytes), aligned(1), may_alias));
    return *reinterpret_cast<const Anywhere*>(p);
}

QX_INLINE void store(Argb32* p, U8 px) {
    typedef uint8_t Anywhere __attribute__((vector_size(kBytes), aligned(1), may_alias));
    *reinterpret_cast<Anywhere*>(p) = px;
}

// The first n pixels, 0 < n < kPixels; load_n leaves zeros behind them. Lane masks where a masked access is
// as good as a plain one; elsewhere register moves, the larger pieces first.
#if defined(__AVX512VBMI__)
QX_INLINE __mmask16 first_lanes(int n) { return static_cast<__mmask16>((1u << n) - 1); }
QX_INLINE U8 load_n(const Argb32* p, int n) { return U8(_mm512_maskz_loadu_epi32(first_lanes(n), p)); }
QX_INLINE void store_n(Argb32* p, U8 px, int n) { _mm512_mask_storeu_epi32(p, first_lanes(n), Bits(px)); }
#else
QX_INLINE __m128i load_up_to_3(const Argb32* p, int n) {
    if (n == 0) return _mm_setzero_si128();
    if (n == 1) return _mm_loadu_si32(p);
    __m128i two = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return n == 2 ? two : _mm_unpacklo_epi64(two, _mm_loadu_si32(p + 2));
}
QX_INLINE void store_up_to_3(Argb32* p, __m128i px, int n) {
    if (n & 2) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), px);
        px = _mm_unpackhi_epi64(px, px);
    }
    if (n & 1) _mm_storeu_si32(p + (n & 2), px);
}
#if defined(__AVX2__)
QX_INLINE U8 load_n(const Argb32* p, int n) {
    if (n < 4) return U8(_mm256_zextsi128_si256(load_up_to_3(p, n)));
    __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    return U8(_mm256_inserti128_si256(_mm256_castsi128_si256(low), load_up_to_3(p + 4, n - 4), 1));
}
QX_INLINE void store_n(Argb32* p, U8 px, int n) {
    __m128i part = _mm256_castsi256_si128(Bits(px));
    if (n & 4) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), part);
        part = _mm256_extracti128_si256(Bits(px), 1);
    }
    store_up_to_3(p + (n & 4), part, n & 3);
}
#else
QX_INLINE U8 load_n(const Argb32* p, int n) { return U8(load_up_to_3(p, n)); }
QX_INLINE void store_n(Argb32* p, U8 px, int n) { store_up_to_3(p, Bits(px), n); }
#endif
#endif

// ---- lanes ----

QX_INLINE U8 splat(Argb32 px) { return U8(U32{} + px); }

// a * b / 65536 in each 16-bit lane; a * b itself is the low half.
QX_INLINE U16 mul_hi(U16 a, U16 b) { return U16(QX_OP(mulhi_epu16)(Bits(a), Bits(b))); }

QX_INLINE U8 add_saturated(U8 a, U8 b) { return U8(QX_OP(adds_epu8)(Bits(a), Bits(b))); }

#if defined(__AVX2__)
// The operand of a byte shuffle, worked out by the compiler: byte i of the result is byte rule(i) of the
// source.
struct ByteIndex {
    alignas(kBytes) uint8_t byte[kBytes];
    QX_INLINE_MEMBER operator Bits() const { return *reinterpret_cast<const Bits*>(byte); }
};
template <typename Rule>
constexpr ByteIndex byte_index(Rule rule) {
    ByteIndex index{};
    for (int i = 0; i < kBytes; ++i) index.byte[i] = static_cast<uint8_t>(rule(i));
    return index;
}

// Byte k of every pixel of the result is byte `from_k` of that pixel; a negative one gives 0.
template <int from_0, int from_1, int from_2, int from_3>
QX_INLINE U8 shuffle_pixels(U8 px) {
    static constexpr ByteIndex index = byte_index([](int i) {
        constexpr int from[4] = {from_0, from_1, from_2, from_3};
        return from[i % 4] < 0 ? 0x80 : i % 16 / 4 * 4 + from[i % 4];
    });
    return U8(QX_OP(shuffle_epi8)(Bits(px), index));
}
#endif

// Byte `from` of every pixel, as a plain number in both 16-bit lanes of the pixel.
template <int from>
QX_INLINE U16 spread_byte(U8 px) {
#if defined(__AVX2__)
    return U16(shuffle_pixels<from, -1, from, -1>(px));
#else
    U32 byte = U32(px) << (24 - 8 * from) >> 24;
    return U16(byte | byte << 16);
#endif
}

// The pixel at n - 1 also in the place of the one at n - 2, where n % 4 is 2.
QX_INLINE U8 repeat_last(U8 px, [[maybe_unused]] int n) {
#if defined(__AVX512VBMI__)
    return U8(
        _mm512_mask_shuffle_epi32(Bits(px), static_cast<__mmask16>(1u << (n - 2)), Bits(px), _MM_PERM_DDBB));
#elif defined(__AVX2__)
    Bits last = _mm256_shuffle_epi32(Bits(px), _MM_SHUFFLE(3, 3, 1, 1));
    return U8(n == 6 ? _mm256_blend_epi32(Bits(px), last, 0xF0) : last);
#else
    return U8(_mm_shuffle_epi32(Bits(px), _MM_SHUFFLE(3, 3, 1, 1)));
#endif
}

// 65535 / divisor, truncated, in every 32-bit lane, for a divisor of 1 to 255; some number for 0. A quotient
// that is no whole number is at least 1/255 away from one, where a float's step is below 1/512, so that it is
// exact in every rounding mode. The divider never sees 0, and nothing can trap.
QX_INLINE U32 reciprocal(U32 divisor) {
    typedef int32_t I32 __attribute__((vector_size(kBytes)));
    typedef float F32 __attribute__((vector_size(kBytes)));
    U16 nonzero = U16(QX_OP(max_epi16)(Bits(divisor), Bits(U32{} + 1)));
    return U32(__builtin_convertvector(65535.0f / __builtin_convertvector(I32(nonzero), F32), I32));
}

#if defined(__AVX512VBMI__)
// ---- a block of vectors: one byte of each of its pixels fills one vector ----

#define QX_PACKS_BYTES
constexpr int kBlock = 4;
constexpr int kBlockPixels = kBlock * kPixels;

// Byte `from` of every pixel of a block, in pixel order.
template <int from>
QX_INLINE U8 pack_bytes(const U8 (&px)[kBlock]) {
    static constexpr ByteIndex index = byte_index([](int i) { return 4 * i + from; });
    Bits low = _mm512_permutex2var_epi8(Bits(px[0]), index, Bits(px[1]));
    Bits high = _mm512_permutex2var_epi8(Bits(px[2]), index, Bits(px[3]));
    return U8(_mm512_inserti64x4(low, _mm512_castsi512_si256(high), 1));
}

// The packed bytes of vector k of the block, in all four bytes of their pixels.
QX_INLINE Bits unpack_index(int k) {
    static constexpr ByteIndex index = byte_index([](int i) { return i / 4; });
    return Bits(U8(Bits(index)) + uint8_t(k * kPixels));
}
QX_INLINE U16 unpack_bytes(U8 packed, int k) {
    return U16(_mm512_maskz_permutexvar_epi8(0x5555555555555555, unpack_index(k), Bits(packed)));
}
QX_INLINE U8 with_packed_alpha(U8 px, U8 packed, int k) {
    return U8(_mm512_mask_permutexvar_epi8(Bits(px), 0x8888888888888888, unpack_index(k), Bits(packed)));
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

// The low bytes (half = 0) or the high bytes (half = 1) of a table of 16-bit numbers.
template <int half>
QX_INLINE ByteTable byte_table(const uint16_t* numbers) {
    static constexpr ByteIndex index = byte_index([](int i) { return 2 * i + half; });
    ByteTable table;
    for (int k = 0; k < 4; ++k) {
        const uint16_t* from = numbers + k * kBytes;
        table.part[k] =
            _mm512_permutex2var_epi8(_mm512_loadu_si512(from), index, _mm512_loadu_si512(from + kBytes / 2));
    }
    return table;
}
#endif

}  // namespace qx::QX_ISA
