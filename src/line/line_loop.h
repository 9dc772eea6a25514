// The loops over a line: whole vectors, then the rest of the line in partial vectors.
#pragma once

#include <stddef.h>

#include "vec/vec.h"

namespace qx::QX_ISA {

// The pixels of a long line that come before its first aligned vector of dst. They are done apart, because a
// store across two cache lines costs as much as several. In a line of fewer than some 16 vectors that part
// costs more than the stores gain, and vectors of 16 bytes lie across lines too seldom.
QX_INLINE int32_t unaligned_pixels(const Argb32* dst, int32_t count) {
    if (kBytes <= 16 || count < 16 * kPixels) return 0;
    return static_cast<int32_t>(-(reinterpret_cast<uintptr_t>(dst) / sizeof(Argb32)) % kPixels);
}

// Walks through count > 0 pixels: `head` of them first, then whole steps, then the rest; a line of less than
// a step is a part only. part(i, n) does n pixels from i on, fewer than a step; bulk(i, end) does whole
// steps.
template <int kStep, typename Bulk, typename Part>
QX_INLINE void walk(int32_t count, int32_t head, Bulk bulk, Part part) {
    for (int32_t i = 0, n = count < kStep ? count : head;; n = count - i) {
        if (n > 0) part(i, n);
        i += n;
        const int32_t end = i + ((count - i) & -kStep);
        if (i < end) bulk(i, end);
        if (end == count) return;
        i = end;
    }
}

// dst[i] = formula(inputs[i]...) for whole vectors, from pixel i to end; a short formula is done before the
// next branch is, so that one branch serves two vectors.
template <bool is_short = true, typename Formula, typename... Inputs>
QX_INLINE void map_whole(Argb32* dst, ptrdiff_t i, ptrdiff_t end, Formula formula, Inputs... inputs) {
    auto vector = [=](ptrdiff_t i) QX_LAMBDA { store(dst + i, formula(load(inputs + i)...)); };
    if constexpr (is_short)
        for (const ptrdiff_t last = end - 2 * kPixels; i <= last; i += 2 * kPixels) {
            vector(i);
            vector(i + kPixels);
        }
    for (; i < end; i += kPixels) vector(i);
}

// dst[i] = formula(inputs[i]...) for count > 0 pixels. A vector is read whole before it is written, so dst
// may be the same line as any input.
template <typename Formula, typename... Inputs>
QX_INLINE void map(Argb32* dst, int32_t count, Formula formula, Inputs... inputs) {
    walk<kPixels>(
        count, unaligned_pixels(dst, count),
        [=](int32_t i, int32_t end) QX_LAMBDA { map_whole(dst, i, end, formula, inputs...); },
        [=](int32_t i, int32_t n) QX_LAMBDA { store_n(dst + i, formula(load_n(inputs + i, n)...), n); });
}

// The same two vectors at a time, for a formula from a Pair to a Pair.
template <typename Formula>
QX_INLINE void map_pairs(Argb32* dst, int32_t count, Formula formula, const Argb32* src) {
    walk<2 * kPixels>(
        count, unaligned_pixels(dst, count),
        [=](int32_t i, int32_t end) QX_LAMBDA {
            for (ptrdiff_t k = i; k < end; k += 2 * kPixels) {
                Pair px = formula({load(src + k), load(src + k + kPixels)});
                store(dst + k, px.first);
                store(dst + k + kPixels, px.second);
            }
        },
        [=](int32_t i, int32_t n) QX_LAMBDA { store_up_to(dst + i, formula(load_up_to(src + i, n)), n); });
}

// Two pixels for every one: dst[2 * i] = (src[i - 1] + src[i]) / 2 and dst[2 * i + 1] = src[i], where the
// first pixel also stands before itself. count > 0, and dst does not overlap src.
QX_INLINE void map_doubled(Argb32* dst, int32_t count, const Argb32* src) {
    U8 before = repeat_pixel(load_n(src, 1));
    auto doubled = [&](U8 px) QX_LAMBDA {
        Pair out = zip({average(preceding(before, px), px), px});
        before = px;
        return out;
    };
    int32_t i = 0;
    for (; count - i >= kPixels; i += kPixels, dst += 2 * kPixels) {
        Pair px = doubled(load(src + i));
        store(dst, px.first);
        store(dst + kPixels, px.second);
    }
    if (int32_t rest = count - i) store_up_to(dst, doubled(load_n(src + i, rest)), 2 * rest);
}

// dst[i ..] = the first n pixels of formula(i, n), for count > 0 pixels.
template <typename Formula>
QX_INLINE void generate(Argb32* dst, int32_t count, Formula formula) {
    int32_t i = 0;
    for (; count - i >= kPixels; i += kPixels) store(dst + i, formula(i, kPixels));
    if (int32_t rest = count - i) store_n(dst + i, formula(i, rest), rest);
}

}  // namespace qx::QX_ISA
