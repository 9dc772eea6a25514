#include "line/line_loop.h"

namespace qx::QX_ISA {

void alpha(Argb32* dst, const Argb32* src, int32_t count) {
    map(
        dst, count, [](U8 px) QX_LAMBDA { return spread_alpha(px); }, src);
}

}  // namespace qx::QX_ISA
