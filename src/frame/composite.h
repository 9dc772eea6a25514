// The loop that the blending families share. A family is a step, its arithmetic for one vector of pixels; a
// variant is a weight, which says how much of the foreground counts.
#pragma once

#include "frame/line_loop.h"
#include "frame/pixel.h"

namespace qx::QX_ISA {

// A weight takes foreground pixels, and the vectors of the variant's further lines, to the foreground's
// weight in 1/256, a plain number in every 16-bit lane.
constexpr auto plain_weight = [](U8 fg) { return spread_alpha(fg); };

// dst[i] = step(bg[i], fg[i], weight(fg[i], lines[i]...)) for count > 0 pixels, but for the pixel before the
// last where count % 4 is 2: that one takes the last pixel's foreground, and keeps its own background and
// lines. Whole vectors are multiples of four pixels, so that pair always lies in the rest.
template <typename Step, typename Weight, typename... Lines>
QX_INLINE void composite(Step step, Weight weight, Argb32* dst, const Argb32* bg, const Argb32* fg,
                         int32_t count, const Lines*... lines) {
    int32_t i = 0;
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

}  // namespace qx::QX_ISA
