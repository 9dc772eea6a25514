// The vectors of one instruction set, and the operations on them that C++ operators do not give. Every
// kernel source is compiled once for each instruction set; this header and its sisters, vec_*.h, are the only
// place that knows which.
//
// A vector holds kPixels pixels. U8, U16, U32, I16 and I32 are views of the same bits (a cast such as U16(px)
// changes nothing), with lanes in memory order: in a U16 view lane 0 of a pixel holds its bytes 0 and 1, lane
// 1 its bytes 2 and 3. "x256" says that a lane holds a byte in its high half.
//
// Everything lives in the namespace of its build, and everything is inlined: an inline function that reached
// the linker could be kept for all builds in its AVX-512 form.
#pragma once

#include <immintrin.h>
#include <stdint.h>

#include "qxpixlib.h"

#if defined(__AVX512VBMI__)
#define QX_OP(name) _mm512_##name
#elif defined(__AVX2__)
#define QX_OP(name) _mm256_##name
#else
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

constexpr int kBytes = QX_VECTOR_BYTES;
static_assert(sizeof(Bits) == kBytes, "the flags are not those of the build");
constexpr int kPixels = kBytes / 4;

typedef uint8_t U8 __attribute__((vector_size(kBytes)));
typedef uint16_t U16 __attribute__((vector_size(kBytes)));
typedef uint32_t U32 __attribute__((vector_size(kBytes)));
typedef int16_t I16 __attribute__((vector_size(kBytes)));
typedef int32_t I32 __attribute__((vector_size(kBytes)));

// ---- lanes ----

// Bytes of `set` where the mask's are 255, of `clear` where they are 0.
QX_INLINE U8 select(U8 mask, U8 set, U8 clear) {
#if defined(__AVX512VBMI__)
    return U8(_mm512_ternarylogic_epi32(Bits(mask), Bits(set), Bits(clear), 0xCA));
#elif defined(__AVX2__)
    return U8(_mm256_blendv_epi8(Bits(clear), Bits(set), Bits(mask)));
#else
    return (mask & set) | (~mask & clear);
#endif
}
// The same where `clear` has zeros under the mask.
QX_INLINE U8 select_over_zeros(U8 mask, U8 set, U8 clear) {
#if defined(__AVX2__)
    return select(mask, set, clear);
#else
    return (mask & set) | clear;
#endif
}

QX_INLINE U8 splat(Argb32 px) { return U8(U32{} + px); }
QX_INLINE U16 splat_16(uint32_t number) { return U16{} + static_cast<uint16_t>(number); }

// One number in the lower, another in the upper 16-bit lane of every pixel.
QX_INLINE I16 splat_pair(int16_t lower, int16_t upper) {
    return I16(I32{} + (static_cast<uint16_t>(lower) | static_cast<int32_t>(upper) * 65536));
}

// a * b / 65536, floored, in each 16-bit lane; a * b itself is the low half.
QX_INLINE U16 mul_hi(U16 a, U16 b) { return U16(QX_OP(mulhi_epu16)(Bits(a), Bits(b))); }
QX_INLINE I16 mul_hi(I16 a, I16 b) { return I16(QX_OP(mulhi_epi16)(Bits(a), Bits(b))); }

#if defined(__AVX2__)
// In each 16-bit lane, the sum of the products of the lower and of the upper bytes: of pixels times factors
// of -128 to 127.
QX_INLINE I16 mul_add_bytes(U8 px, I16 factors) { return I16(QX_OP(maddubs_epi16)(Bits(px), Bits(factors))); }
#define QX_MULTIPLIES_BYTES
#endif

// In each pixel, the sum of the products of the lower and of the upper 16-bit lanes.
QX_INLINE I32 mul_add_pairs(I16 a, I16 b) { return I32(QX_OP(madd_epi16)(Bits(a), Bits(b))); }

// (a + b) / 2 of every byte, truncated: the processor's average rounds up, which an odd sum undoes.
QX_INLINE U8 average(U8 a, U8 b) { return U8(QX_OP(avg_epu8)(Bits(a), Bits(b))) - ((a ^ b) & 1); }

QX_INLINE U8 add_saturated(U8 a, U8 b) { return U8(QX_OP(adds_epu8)(Bits(a), Bits(b))); }

// A constant vector, worked out by the compiler: lane i holds rule(i). As the index of a byte shuffle it says
// which byte of the source goes to place i.
template <typename Lane>
struct Constant {
    typedef Lane Vector __attribute__((vector_size(kBytes)));
    alignas(kBytes) Lane lane[kBytes / sizeof(Lane)];

    QX_INLINE_MEMBER Vector vector() const { return *reinterpret_cast<const Vector*>(lane); }
    QX_INLINE_MEMBER Bits bits() const { return Bits(vector()); }
};
template <typename Lane, typename Rule>
constexpr Constant<Lane> constant(Rule rule) {
    Constant<Lane> c{};
    for (int i = 0; i < kBytes / static_cast<int>(sizeof(Lane)); ++i) c.lane[i] = static_cast<Lane>(rule(i));
    return c;
}

// Two vectors of pixels.
struct Pair {
    U8 first, second;
};

// Two vectors of pixels in turn, from the first one's first pixel on: a0 b0 a1 b1 and so on.
QX_INLINE Pair zip_pixels(Pair px) {
#if defined(__AVX512VBMI__)
    static constexpr auto index = constant<uint32_t>([](int i) { return i % 2 * kPixels + i / 2; });
    auto zip = [=](U32 at) QX_LAMBDA {
        return U8(_mm512_permutex2var_epi32(Bits(px.first), Bits(at), Bits(px.second)));
    };
    return {zip(index.vector()), zip(index.vector() + kPixels / 2)};
#else
    Bits low = QX_OP(unpacklo_epi32)(Bits(px.first), Bits(px.second));
    Bits high = QX_OP(unpackhi_epi32)(Bits(px.first), Bits(px.second));
#if defined(__AVX2__)
    return {U8(_mm256_permute2x128_si256(low, high, 0x20)), U8(_mm256_permute2x128_si256(low, high, 0x31))};
#else
    return {U8(low), U8(high)};
#endif
#endif
}

// Each pixel's predecessor: the last pixel of the vector before, then all of px but its last.
QX_INLINE U8 preceding(U8 before, U8 px) {
#if defined(__AVX512VBMI__)
    return U8(_mm512_alignr_epi32(Bits(px), Bits(before), kPixels - 1));
#elif defined(__AVX2__)
    Bits middle = _mm256_permute2x128_si256(Bits(before), Bits(px), 0x21);
    return U8(_mm256_alignr_epi8(Bits(px), middle, 12));
#else
    return U8(_mm_or_si128(_mm_slli_si128(Bits(px), 4), _mm_srli_si128(Bits(before), 12)));
#endif
}

// The first pixel in every place.
QX_INLINE U8 repeat_pixel(U8 px) { return U8(U32{} + U32(px)[0]); }

// The pixel at n - 1 also in the place of the one at n - 2, for n >= 2.
QX_INLINE U8 repeat_last(U8 px, int n) {
#if defined(__AVX512VBMI__)
    return U8(
        _mm512_mask_alignr_epi32(Bits(px), static_cast<__mmask16>(1u << (n - 2)), Bits(px), Bits(px), 1));
#else
    static constexpr auto lane = constant<int32_t>([](int i) { return i; });
    U8 place = U8(lane.vector() == n - 2);
#if defined(__AVX2__)
    Bits next = _mm256_permutevar8x32_epi32(Bits(px), Bits(lane.vector() + 1));
#else
    Bits next = _mm_shuffle_epi32(Bits(px), _MM_SHUFFLE(0, 3, 2, 1));
#endif
    return (px & ~place) | (U8(next) & place);
#endif
}

// 65535 / divisor, truncated, in every 32-bit lane, for a divisor of 1 to 255 in both of its 16-bit lanes;
// some number for 0. Both lanes together are 65537 * divisor, exact as a float, and 2^32 / 65537 is 65535 and
// next to nothing. A quotient that is no whole number is at least 1/255 away from one, where a float's step
// is below 1/512, so that it is exact in every rounding mode. The divider never sees 0, and nothing can trap.
QX_INLINE U32 reciprocal(U16 divisor) {
    typedef float F32 __attribute__((vector_size(kBytes)));
    I32 nonzero = I32(QX_OP(max_epi16)(Bits(divisor), Bits(splat_16(1))));
    return U32(__builtin_convertvector(0x1p32f / __builtin_convertvector(nonzero, F32), I32));
}

}  // namespace qx::QX_ISA
