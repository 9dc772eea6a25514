// The loops over a line: whole vectors, then the rest of the line in partial vectors.
#pragma once

#include <stddef.h>

#include "frame/vec_memory.h"

namespace qx::QX_ISA {

// dst[i] = formula(inputs[i]...) for count > 0 pixels. A vector is read whole before it is written, so dst
// may be the same line as any input.
template <typename Formula, typename... Inputs>
QX_INLINE void map(Argb32* dst, int32_t count, Formula formula, Inputs... inputs) {
    int32_t i = 0;
    for (; count - i >= kPixels; i += kPixels) store(dst + i, formula(load(inputs + i)...));
    if (int32_t rest = count - i) store_n(dst + i, formula(load_n(inputs + i, rest)...), rest);
}

// The same two vectors at a time, for a formula from a Pair to a Pair.
template <typename Formula>
QX_INLINE void map_pairs(Argb32* dst, int32_t count, Formula formula, const Argb32* src) {
    int32_t i = 0;
    for (; count - i >= 2 * kPixels; i += 2 * kPixels) {
        Pair px = formula({load(src + i), load(src + i + kPixels)});
        store(dst + i, px.first);
        store(dst + i + kPixels, px.second);
    }
    if (int32_t rest = count - i) store_up_to(dst + i, formula(load_up_to(src + i, rest)), rest);
}

// Two pixels for every one: dst[2 * i] = between(src[i - 1], src[i]) and dst[2 * i + 1] = src[i], where the
// first pixel also stands before itself. count > 0, and dst does not overlap src.
template <typename Between>
QX_INLINE void map_doubled(Argb32* dst, int32_t count, Between between, const Argb32* src) {
    U8 before = repeat_pixel(load_n(src, 1));
    int32_t i = 0;
    for (; count - i >= kPixels; i += kPixels, dst += 2 * kPixels) {
        U8 px = load(src + i);
        Pair doubled = zip_pixels({between(preceding(before, px), px), px});
        store(dst, doubled.first);
        store(dst + kPixels, doubled.second);
        before = px;
    }
    if (int32_t rest = count - i) {
        U8 px = load_n(src + i, rest);
        store_up_to(dst, zip_pixels({between(preceding(before, px), px), px}), 2 * rest);
    }
}

// dst[i ..] = the first n pixels of formula(i, n), for count > 0 pixels.
template <typename Formula>
QX_INLINE void generate(Argb32* dst, int32_t count, Formula formula) {
    int32_t i = 0;
    for (; count - i >= kPixels; i += kPixels) store(dst + i, formula(i, kPixels));
    if (int32_t rest = count - i) store_n(dst + i, formula(i, rest), rest);
}

}  // namespace qx::QX_ISA
