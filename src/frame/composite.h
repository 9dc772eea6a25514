// The loop that the blending families share. A family is a step, its arithmetic for one vector of pixels; a
// variant is a weight, which says how much of the foreground counts.
#pragma once

#include "frame/alphas.h"
#include "frame/line_loop.h"

namespace qx::QX_ISA {

// A weight takes foreground pixels, and the vectors of the variant's further lines, to the foreground's
// weight in 1/256, a plain number in every 16-bit lane. Every product is floored on its own; opacity is 0 to
// 256, so that a weight is at most alpha.
constexpr auto plain_weight = [](U8 fg) QX_LAMBDA { return spread_alpha(fg); };
constexpr auto mask_weight = [](U8 fg, U16 mask_x256)
                                 QX_LAMBDA { return mul_hi(mask_x256, spread_alpha(fg)); };

QX_INLINE auto opacity_weight(uint32_t opacity) {
    return [faded = splat_16(opacity)](U8 fg) QX_LAMBDA { return mul_hi(spread_alpha_x256(fg), faded); };
}
// The mask is faded first, the alpha after.
QX_INLINE auto mask_opacity_weight(uint32_t opacity) {
    return [faded = splat_16(opacity)](U8 fg, U16 mask_x256)
               QX_LAMBDA { return mul_hi(spread_alpha_x256(fg), mul_hi(mask_x256, faded)); };
}

// A step in two stages: mix(bg alpha, weight, Shares) works on alphas alone and gives the result's alpha and
// the foreground's share of the colours; colours(bg, fg, share) does the rest.
template <typename Alphas>
struct Mix {
    Alphas alpha, share;
};
template <typename MixAlphas, typename MixColours>
struct TwoStages {
    MixAlphas mix;
    MixColours colours;

    QX_INLINE_MEMBER U8 operator()(U8 bg, U8 fg, U16 w) const {
        Mix<U16> m = mix(spread_alpha(bg), w, Shares<U16>{});
        return with_alpha_of(colours(bg, fg, m.share), U8(U32(m.alpha) << 24));
    }
};
template <typename MixAlphas, typename MixColours>
TwoStages(MixAlphas, MixColours) -> TwoStages<MixAlphas, MixColours>;

// Composites the whole blocks at the start of a line and returns how many pixels they have; 0 for a step that
// gains nothing from blocks.
template <typename Step, typename... Arguments>
QX_INLINE int32_t composite_blocks(const Step&, const Arguments&...) {
    return 0;
}

#if defined(QX_PACKS_BYTES)
// The alphas of a block are mixed before the colours of the block before it: the first stage is one long
// chain of operations, which would leave the processor waiting.
template <typename MixAlphas, typename MixColours, typename Weight, typename... Lines>
QX_INLINE int32_t composite_blocks(const TwoStages<MixAlphas, MixColours>& step, const Weight& weight,
                                   Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                   Lines... lines) {
    if (count < kBlockPixels) return 0;
    const Shares<U8> shares;
    auto mix = [&](int32_t i) QX_LAMBDA {
        U8 under[kBlock], w[kBlock];
        for (int k = 0; k < kBlock; ++k, i += kPixels) {
            under[k] = load(bg + i);
            w[k] = U8(weight(load(fg + i), load(lines + i)...));
        }
        return step.mix(pack_bytes<3>(under), pack_bytes<0>(w), shares);
    };
    auto finish = [&](int32_t i, Mix<U8> m) QX_LAMBDA {
        for (int k = 0; k < kBlock; ++k, i += kPixels) {
            U8 px = step.colours(load(bg + i), load(fg + i), unpack_bytes(m.share, k));
            store(dst + i, with_packed_alpha(px, m.alpha, k));
        }
    };
    int32_t i = 0;
    Mix<U8> mixed = mix(0);
    for (; count - i >= 2 * kBlockPixels; i += kBlockPixels) {
        Mix<U8> next = mix(i + kBlockPixels);
        finish(i, mixed);
        mixed = next;
    }
    finish(i, mixed);
    return i + kBlockPixels;
}
#endif

// dst[i] = step(bg[i], fg[i], weight(fg[i], lines[i]...)) for count > 0 pixels, but for the pixel before the
// last where count % 4 is 2: that one takes the last pixel's foreground, and keeps its own background and
// lines. Whole vectors and blocks are multiples of four pixels, so that pair always lies in the rest.
template <typename Step, typename Weight, typename... Lines>
QX_INLINE void composite(Step step, Weight weight, Argb32* dst, const Argb32* bg, const Argb32* fg,
                         int32_t count, Lines... lines) {
    int32_t i = composite_blocks(step, weight, dst, bg, fg, count, lines...);
    for (; count - i >= kPixels; i += kPixels) {
        U8 over = load(fg + i);
        store(dst + i, step(load(bg + i), over, weight(over, load(lines + i)...)));
    }
    if (int32_t rest = count - i) {
        U8 over = load_n(fg + i, rest);
        if (rest % 4 == 2) over = repeat_last(over, rest);
        store_n(dst + i, step(load_n(bg + i, rest), over, weight(over, load_n(lines + i, rest)...)), rest);
    }
}

// The five kernels of a family.
#define QX_COMPOSITE_FAMILY(family, step)                                                                  \
    void family(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count) {                          \
        composite(step, plain_weight, dst, bg, fg, count);                                                 \
    }                                                                                                      \
    void family##_t(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, uint32_t opacity) {    \
        composite(step, opacity_weight(opacity), dst, bg, fg, count);                                      \
    }                                                                                                      \
    void family##_m(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, const uint8_t* mask) { \
        composite(step, mask_weight, dst, bg, fg, count, mask);                                            \
    }                                                                                                      \
    void family##_mt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, const uint8_t* mask,  \
                     uint32_t opacity) {                                                                   \
        composite(step, mask_opacity_weight(opacity), dst, bg, fg, count, mask);                           \
    }                                                                                                      \
    void family##_mlt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count, const uint8_t* mask, \
                      const uint8_t* lut, uint32_t opacity) {                                              \
        composite(step, mask_opacity_weight(opacity), dst, bg, fg, count,                                  \
                  MappedMask{mask, byte_table(lut)});                                                      \
    }

}  // namespace qx::QX_ISA
