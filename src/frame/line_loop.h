// The loop over a line: whole vectors, then the rest of the line in one partial vector.
#pragma once

#include "frame/vec.h"

namespace qx::QX_ISA {

// dst[i] = formula(inputs[i]...) for count > 0 pixels. A vector is read whole before it is written, so dst
// may be the same line as any input.
template <typename Formula, typename... Inputs>
QX_INLINE void map(Argb32* dst, int32_t count, Formula formula, const Inputs*... inputs) {
    int32_t i = 0;
    for (; count - i >= kPixels; i += kPixels) store(dst + i, formula(load(inputs + i)...));
    if (int32_t rest = count - i) store_n(dst + i, formula(load_n(inputs + i, rest)...), rest);
}

}  // namespace qx::QX_ISA
