// The vectors of one build, and what every machine's operations on them start from.
//
// Every kernel source is compiled once for each build; CMake gives the build's name (QX_ISA), the bytes of
// its vectors (QX_VECTOR_BYTES) and its header of operations (QX_OPERATIONS). A vector holds kPixels pixels.
// U8, U16, U32, I16 and I32 are views of the same bits (a cast such as U16(px) changes nothing), with lanes
// in memory order: in a U16 view the lower lane of a pixel holds its bytes 0 and 1, the upper one bytes 2
// and 3.
//
// Everything lives in the namespace of its build and is inlined, and no C++ library is included: an inline
// function from there, compiled for one build, could become the copy that the linker keeps for all of them.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "qxpixlib.h"

#define QX_INLINE static inline __attribute__((always_inline))
#define QX_INLINE_MEMBER inline __attribute__((always_inline))
#define QX_LAMBDA __attribute__((always_inline))

namespace qx::QX_ISA {

constexpr int kBytes = QX_VECTOR_BYTES;
constexpr int kPixels = kBytes / 4;

typedef uint8_t U8 __attribute__((vector_size(kBytes)));
typedef uint16_t U16 __attribute__((vector_size(kBytes)));
typedef uint32_t U32 __attribute__((vector_size(kBytes)));
typedef int16_t I16 __attribute__((vector_size(kBytes)));
typedef int32_t I32 __attribute__((vector_size(kBytes)));

typedef uint8_t U8Anywhere __attribute__((vector_size(kBytes), aligned(1), may_alias));

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "a pixel's alpha has to be its last byte in memory");

constexpr Argb32 kAlphaByte = 0xFF000000;

// Two vectors of pixels.
struct Pair {
    U8 first, second;
};

// A number of 0 to 256 for each pixel, in both of its 16-bit lanes.
struct Spread {
    U16 lanes;
};

// A byte of a mask for each pixel, as a number in both of its 16-bit lanes.
struct MaskLanes {
    U16 lanes;
};

// How much of a whole line counts: 0 to 256, in 1/256.
struct Opacity {
    uint32_t number;
};

// Pixels that have been given an alpha of their own.
struct Under {
    U8 px;
};

// How a layer of some weight lies over another: the alpha of both, and the layer's share of the colours.
template <typename Alpha, typename Share>
struct Cover {
    Alpha alpha;
    Share share;
};

// Results for every byte of a vector, those for the bytes at even places apart from those at odd ones: in the
// low byte of a lane of `even`, with 0 above it; in the high byte of a lane of `odd`, above anything.
struct Terms {
    U16 even, odd;
};

template <typename, typename>
constexpr bool same_type = false;
template <typename Type>
constexpr bool same_type<Type, Type> = true;

QX_INLINE U8 splat(Argb32 px) { return U8(U32{} + px); }
QX_INLINE U16 splat_16(uint32_t number) { return U16{} + static_cast<uint16_t>(number); }

// A constant vector, worked out by the compiler: lane i holds rule(i).
template <typename Lane>
struct Constant {
    typedef Lane Vector __attribute__((vector_size(kBytes)));
    alignas(kBytes) Lane lane[kBytes / sizeof(Lane)];

    QX_INLINE_MEMBER Vector vector() const { return *reinterpret_cast<const Vector*>(lane); }
};
template <typename Lane, typename Rule>
constexpr Constant<Lane> constant(Rule rule) {
    Constant<Lane> c{};
    for (int i = 0; i < kBytes / static_cast<int>(sizeof(Lane)); ++i) c.lane[i] = static_cast<Lane>(rule(i));
    return c;
}

// A vector of rule(0), rule(1) and so on: of pixels, and of the lanes of a and b, one after the other.
template <int... lane>
struct Lanes {};
template <int count, int... lane>
struct FirstLanes : FirstLanes<count - 1, count - 1, lane...> {};
template <int... lane>
struct FirstLanes<0, lane...> {
    using Type = Lanes<lane...>;
};
template <typename Rule, int... lane>
QX_INLINE U32 each_pixel(Rule rule, Lanes<lane...>) {
    return U32{rule(lane)...};
}
template <typename Vector, typename Rule, int... lane>
QX_INLINE Vector shuffle(Vector a, Vector b, Rule rule, Lanes<lane...>) {
    return __builtin_shufflevector(a, b, rule(lane)...);
}
template <typename Rule>
QX_INLINE U8 each_pixel(Rule rule) {
    return U8(each_pixel(rule, FirstLanes<kPixels>::Type{}));
}
template <typename Vector, typename Rule>
QX_INLINE Vector shuffle(Vector a, Vector b, Rule rule) {
    return shuffle(a, b, rule, typename FirstLanes<kBytes / sizeof(a[0])>::Type{});
}

}  // namespace qx::QX_ISA
