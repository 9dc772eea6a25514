#include "line/line_loop.h"

namespace qx::QX_ISA {

void mask(Argb32* dst, const Argb32* src, const uint8_t* mask, int32_t count) {
    map(
        dst, count, [](U8 px, auto mask) QX_LAMBDA { return scale_alpha(px, mask); }, src, mask);
}

}  // namespace qx::QX_ISA
