// The loop that the blending families share. A family is a step, its arithmetic for one vector of pixels; a
// variant is a weight, which says how much of the foreground counts.
#pragma once

#include "line/alphas.h"
#include "line/line_loop.h"

namespace qx::QX_ISA {

// A weight takes foreground pixels, and the vectors of the variant's further lines, to the foreground's
// weight in 1/256: spread pixels to a spread weight and, for blocks, packed alphas and bytes to a packed one.
// Every product is floored on its own; opacity is 0 to 256, so that a weight is at most alpha.
constexpr auto plain_weight = [](auto fg) QX_LAMBDA { return alphas_of(fg); };
constexpr auto mask_weight = [](auto fg, auto mask) QX_LAMBDA { return mul_hi(mask, alphas_of(fg)); };

QX_INLINE auto opacity_weight(uint32_t opacity) {
    return [faded = splat_16(opacity)](auto fg) QX_LAMBDA { return mul_hi(alphas_x256_of(fg), faded); };
}
// The mask is faded first, the alpha after.
QX_INLINE auto mask_opacity_weight(uint32_t opacity) {
    return [faded = splat_16(opacity)](auto fg, auto mask)
               QX_LAMBDA { return mul_hi(alphas_x256_of(fg), mul_hi(mask, faded)); };
}

// A step in two stages: alphas by themselves, as a Cover, then colours(bg, fg, share).
template <typename Colours>
struct CoverThen {
    Colours colours;

    QX_INLINE_MEMBER Cover<U16> cover(U8 bg, U16 w) const { return SpreadCover{}(spread_alpha(bg), w); }
    QX_INLINE_MEMBER U8 finish(U8 bg, U8 fg, const Cover<U16>& cover) const {
        return with_alpha_of(colours(bg, fg, cover.share), U8(U32(cover.alpha) << 24));
    }
    QX_INLINE_MEMBER U8 operator()(U8 bg, U8 fg, U16 w) const { return finish(bg, fg, cover(bg, w)); }
};
template <typename Colours>
CoverThen(Colours) -> CoverThen<Colours>;

// Covers, and weights that a table takes part in, are better done in blocks.
template <typename>
struct InBlocks {
    static constexpr bool covers = false, mapped = false;
};
template <typename Colours>
struct InBlocks<CoverThen<Colours>> {
    static constexpr bool covers = true;
};
template <>
struct InBlocks<MappedMask> {
    static constexpr bool mapped = true;
};

#if defined(QX_PACKS_BYTES)
// Whole blocks from pixel i on: finish(i, begin(i)), each block begun before the one before it is finished.
// What is begun is one long chain of operations, which would leave the processor waiting. Returns the pixel
// after the blocks.
template <typename Begin, typename Finish>
QX_INLINE int32_t walk_blocks(int32_t i, int32_t end, Begin begin, Finish finish) {
    auto begun = begin(i);
    for (; end - i >= 2 * kBlockPixels; i += kBlockPixels) {
        auto next = begin(i + kBlockPixels);
        finish(i, begun);
        begun = next;
    }
    finish(i, begun);
    return i + kBlockPixels;
}

// The alphas of a block.
QX_INLINE Packed load_alphas(const Argb32* line) {
    U8 px[kBlock];
    for (int k = 0; k < kBlock; ++k) px[k] = load(line + k * kPixels);
    return pack_bytes<3>(px);
}
#endif

// Composites what is better done in blocks, from pixel i on, and returns the pixel after them: covers, and
// weights that a table takes part in.
template <typename Step, typename Weight, typename... Lines>
QX_INLINE int32_t composite_blocks(int32_t i, [[maybe_unused]] const Step& step,
                                   [[maybe_unused]] const Weight& weight, [[maybe_unused]] Argb32* dst,
                                   [[maybe_unused]] const Argb32* bg, [[maybe_unused]] const Argb32* fg,
                                   [[maybe_unused]] int32_t end, [[maybe_unused]] Lines... lines) {
#if defined(QX_PACKS_BYTES)
    if constexpr (InBlocks<Step>::covers || (InBlocks<Lines>::mapped || ...)) {
        if (end - i < kBlockPixels) return i;
        auto packed_weight = [=](int32_t i)
                                 QX_LAMBDA { return weight(load_alphas(fg + i), load_packed(lines + i)...); };
        if constexpr (InBlocks<Step>::covers) {
            const PackedCover cover;
            return walk_blocks(
                i, end, [&](int32_t i) QX_LAMBDA { return cover(load_alphas(bg + i), packed_weight(i)); },
                [&](int32_t i, Cover<Packed> covered) QX_LAMBDA {
                    for (int k = 0; k < kBlock; ++k, i += kPixels) {
                        U8 px = step.colours(load(bg + i), load(fg + i), unpack_bytes(covered.share, k));
                        store(dst + i, with_packed_alpha(px, covered.alpha, k));
                    }
                });
        } else {
            return walk_blocks(i, end, packed_weight, [&](int32_t i, Packed w) QX_LAMBDA {
                for (int k = 0; k < kBlock; ++k, i += kPixels)
                    store(dst + i, step(load(bg + i), load(fg + i), unpack_bytes(w, k)));
            });
        }
    }
#else
    // Covers in a loop of their own: in one with the colours the processor runs out of room for operations
    // that wait for a division.
    if constexpr (InBlocks<Step>::covers) {
        constexpr int kCovers = 40;
        Cover<U16> covers[kCovers];
        for (; end - i >= kCovers * kPixels; i += kCovers * kPixels) {
            for (ptrdiff_t k = 0, at = i; k < kCovers; ++k, at += kPixels)
                covers[k] = step.cover(load(bg + at), weight(load(fg + at), load(lines + at)...));
            for (ptrdiff_t k = 0, at = i; k < kCovers; ++k, at += kPixels)
                store(dst + at, step.finish(load(bg + at), load(fg + at), covers[k]));
        }
    }
#endif
    return i;
}

// dst[i] = step(bg[i], fg[i], weight(fg[i], lines[i]...)) for count > 0 pixels, but for the pixel before the
// last where count % 4 is 2: that one takes the last pixel's foreground, and keeps its own background and
// lines.
template <typename Step, typename Weight, typename... Lines>
QX_INLINE void composite(Step step, Weight weight, Argb32* dst, const Argb32* bg, const Argb32* fg,
                         int32_t count, Lines... lines) {
    const bool pair = count % 4 == 2;
    int32_t head = unaligned_pixels(dst, count);
    if (pair && (count - head) % kPixels < 2) head = 0;  // the pair has to lie in the rest
    walk<kPixels>(
        count, head,
        [=](int32_t i, int32_t end) QX_LAMBDA {
            i = composite_blocks(i, step, weight, dst, bg, fg, end, lines...);
#pragma GCC unroll 2  // as in map
            for (ptrdiff_t k = i; k < end; k += kPixels) {
                U8 over = load(fg + k);
                store(dst + k, step(load(bg + k), over, weight(over, load(lines + k)...)));
            }
        },
        [=](int32_t i, int32_t n) QX_LAMBDA {
            U8 over = load_n(fg + i, n);
            if (pair && i + n == count) over = repeat_last(over, n);
            store_n(dst + i, step(load_n(bg + i, n), over, weight(over, load_n(lines + i, n)...)), n);
        });
}

// The same with the mask seen through a table and faded. For a long line a table in registers is faded
// itself.
template <typename Step>
QX_INLINE void composite_mapped(Step step, Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                const uint8_t* mask, const uint8_t* lut, uint32_t opacity) {
    MappedMask mapped = map_mask(mask, lut);
#if defined(QX_PACKS_BYTES)
    if (count >= 4 * kBlockPixels) {
        for (Bits& part : mapped.table.part) part = Bits(mul_hi(Packed{U8(part)}, splat_16(opacity)).bytes);
        return composite(step, mask_weight, dst, bg, fg, count, mapped);
    }
#endif
    composite(step, mask_opacity_weight(opacity), dst, bg, fg, count, mapped);
}

// The five kernels of a family, by their names.
#define QX_COMPOSITE_FAMILY(step, plain, t, m, mt, mlt)                                           \
    void plain(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count) {                  \
        composite(step, plain_weight, dst, bg, fg, count);                                        \
    }                                                                                             \
    void t(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, uint32_t opacity) {    \
        composite(step, opacity_weight(opacity), dst, bg, fg, count);                             \
    }                                                                                             \
    void m(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, const uint8_t* mask) { \
        composite(step, mask_weight, dst, bg, fg, count, mask);                                   \
    }                                                                                             \
    void mt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, const uint8_t* mask,  \
            uint32_t opacity) {                                                                   \
        composite(step, mask_opacity_weight(opacity), dst, bg, fg, count, mask);                  \
    }                                                                                             \
    void mlt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, const uint8_t* mask, \
             const uint8_t* lut, uint32_t opacity) {                                              \
        composite_mapped(step, dst, bg, fg, count, mask, lut, opacity);                           \
    }

}  // namespace qx::QX_ISA
