// The loop that the blending families share. A family is a step, its arithmetic for one vector of pixels; a
// variant is what the foreground's weight is made of besides its alpha.
#pragma once

#include "line/line_loop.h"

namespace qx::QX_ISA {

// ---- what weights are made of, as lines: anything that has `+ i`, load, load_n and load_block ----

QX_INLINE Opacity operator+(Opacity opacity, ptrdiff_t) { return opacity; }
QX_INLINE Opacity load(Opacity opacity) { return opacity; }
QX_INLINE Opacity load_n(Opacity opacity, int) { return opacity; }

// A mask line seen through a table.
template <typename Table>
struct MappedMask {
    const uint8_t* mask;
    Table table;
};
template <typename Table>
QX_INLINE MappedMask<Table> operator+(const MappedMask<Table>& line, ptrdiff_t i) {
    return {line.mask + i, line.table};
}
template <typename Table>
QX_INLINE auto load(const MappedMask<Table>& line) {
    return load(line.mask, line.table);
}
template <typename Table>
QX_INLINE auto load_n(const MappedMask<Table>& line, int n) {
    return load_n(line.mask, line.table, n);
}
template <typename Table>
QX_INLINE auto load_block(const MappedMask<Table>& line) {
    return load_block(line.mask, line.table);
}

// ---- steps: pixels of a background under a foreground of some weight ----

// finish(bg, fg, weight), all in one.
template <typename Finish>
struct WeightStep {
    Finish finish;

    template <typename Under, typename Weight>
    QX_INLINE_MEMBER Weight prepare(Under, Weight weight) const {
        return weight;
    }
};
template <typename Finish>
WeightStep(Finish) -> WeightStep<Finish>;

// finish(bg, fg, cover), where the cover takes alphas alone: a division by each.
template <typename Finish>
struct CoverStep {
    Finish finish;

    template <typename Under, typename Weight>
    QX_INLINE_MEMBER auto prepare(Under under, Weight weight) const {
        return cover(under, weight);
    }
};
template <typename Finish>
CoverStep(Finish) -> CoverStep<Finish>;

// What is prepared for many vectors before the first is finished: covers, since in one loop with the colours
// the processor runs out of room for operations that wait for a division; and weights out of a table, where
// a block looks up more bytes at once than a vector has pixels.
template <typename>
constexpr bool kPreparesCovers = false;
template <typename Finish>
constexpr bool kPreparesCovers<CoverStep<Finish>> = vectors_to_wait() > 0;
template <typename>
constexpr bool kIsMapped = false;
template <typename Table>
constexpr bool kIsMapped<MappedMask<Table>> = true;

constexpr int kBlockPixels = block_vectors() * kPixels;
// Vectors, in blocks. With 10 of them sse2 and avx2 lose 6 %, with 20 they lose 2 %; 80 gain nothing, and
// double the stack. (Zen 4, 1920 pixels.)
constexpr int kBatch = 40 / block_vectors();

// Whole blocks from pixel i on, a batch at a time. Returns the pixel after them.
template <typename Step, typename... Lines>
QX_INLINE int32_t composite_batches(ptrdiff_t i, const Step& step, Argb32* dst, const Argb32* bg,
                                    const Argb32* fg, ptrdiff_t end, Lines... lines) {
    auto prepare = [=](ptrdiff_t at) QX_LAMBDA {
        return step.prepare(load_block(bg + at), weight_of(load_block(fg + at), load_block(lines + at)...));
    };
    decltype(prepare(0)) prepared[kBatch];
    while (end - i >= kBlockPixels) {
        const ptrdiff_t left = (end - i) / kBlockPixels, blocks = left < kBatch ? left : kBatch;
        for (ptrdiff_t k = 0; k < blocks; ++k) prepared[k] = prepare(i + k * kBlockPixels);
        for (ptrdiff_t k = 0; k < blocks; ++k)
            for (int v = 0; v < block_vectors(); ++v, i += kPixels)
                store(dst + i, step.finish(load(bg + i), load(fg + i), of_vector(prepared[k], v)));
    }
    return static_cast<int32_t>(i);
}

// dst[i] = the step for bg[i] and fg[i], whose weight is made of lines[i]..., for count > 0 pixels; but for
// the pixel before the last where count % 4 is 2: that one takes the last pixel's foreground, and keeps its
// own background and lines.
template <typename Step, typename... Lines>
QX_INLINE void composite(Step step, Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                         Lines... lines) {
    auto one = [=](U8 under, U8 over, auto... line) QX_LAMBDA {
        return step.finish(under, over, step.prepare(under, weight_of(over, line...)));
    };
    const bool pair = count % 4 == 2;
    int32_t head = unaligned_pixels(dst, count);
    if (pair && ((count - head) & (kPixels - 1)) < 2) head = 0;  // the pair has to lie in the rest
    walk<kPixels>(
        count, head,
        [=](int32_t i, int32_t end) QX_LAMBDA {
            constexpr bool is_mapped = (kIsMapped<Lines> || ...);
            if constexpr (kPreparesCovers<Step> || (is_mapped && block_vectors() > 1))
                if (end - i >= vectors_to_wait() * kPixels)
                    i = composite_batches(i, step, dst, bg, fg, end, lines...);
            map_whole<!kPreparesCovers<Step> && !is_mapped>(dst, i, end, one, bg, fg, lines...);
        },
        [=](int32_t i, int32_t n) QX_LAMBDA {
            U8 over = load_n(fg + i, n);
            if (pair && i + n == count) over = repeat_last(over, n);
            store_n(dst + i, one(load_n(bg + i, n), over, load_n(lines + i, n)...), n);
        });
}

// The same with the mask seen through a table and faded. For a line of as many pixels as the table has bytes
// the table is faded itself.
template <typename Step>
QX_INLINE void composite_mapped(Step step, Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                const uint8_t* mask, const uint8_t* lut, Opacity opacity) {
    auto table = table_of(lut);
    if (count < 256)
        return composite(step, dst, bg, fg, count, MappedMask<decltype(table)>{mask, table}, opacity);
    uint8_t room[256];
    table = fade(table, opacity, room);
    composite(step, dst, bg, fg, count, MappedMask<decltype(table)>{mask, table});
}

// The five kernels of a family, by their names.
#define QX_COMPOSITE_FAMILY(step, plain, t, m, mt, mlt)                                           \
    void plain(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count) {                  \
        composite(step, dst, bg, fg, count);                                                      \
    }                                                                                             \
    void t(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, uint32_t opacity) {    \
        composite(step, dst, bg, fg, count, Opacity{opacity});                                    \
    }                                                                                             \
    void m(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, const uint8_t* mask) { \
        composite(step, dst, bg, fg, count, mask);                                                \
    }                                                                                             \
    void mt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, const uint8_t* mask,  \
            uint32_t opacity) {                                                                   \
        composite(step, dst, bg, fg, count, mask, Opacity{opacity});                              \
    }                                                                                             \
    void mlt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, const uint8_t* mask, \
             const uint8_t* lut, uint32_t opacity) {                                              \
        composite_mapped(step, dst, bg, fg, count, mask, lut, Opacity{opacity});                  \
    }

}  // namespace qx::QX_ISA
