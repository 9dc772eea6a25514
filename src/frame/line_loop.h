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

// Two pixels for every one: dst[2 * i] and dst[2 * i + 1] are the pixels of formula(inputs[i]...), a Pair of
// those at even and those at odd places. dst overlaps no input.
template <typename Formula, typename... Inputs>
QX_INLINE void map_doubled(Argb32* dst, int32_t count, Formula formula, Inputs... inputs) {
    int32_t i = 0;
    for (; count - i >= kPixels; i += kPixels) {
        Pair px = zip_pixels(formula(load(inputs + i)...));
        store(dst + 2 * ptrdiff_t{i}, px.first);
        store(dst + 2 * ptrdiff_t{i} + kPixels, px.second);
    }
    if (int32_t rest = count - i)
        store_up_to(dst + 2 * ptrdiff_t{i}, zip_pixels(formula(load_n(inputs + i, rest)...)), 2 * rest);
}

// dst[i ..] = the first n pixels of formula(i, n), for count > 0 pixels.
template <typename Formula>
QX_INLINE void generate(Argb32* dst, int32_t count, Formula formula) {
    int32_t i = 0;
    for (; count - i >= kPixels; i += kPixels) store(dst + i, formula(i, kPixels));
    if (int32_t rest = count - i) store_n(dst + i, formula(i, rest), rest);
}

}  // namespace qx::QX_ISA
