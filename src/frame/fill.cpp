#include "line/line_loop.h"

namespace qx::QX_ISA {

void fill(Argb32* dst, uint32_t value, int32_t count) {
    map(dst, count, [px = splat(value)]() QX_LAMBDA { return px; });
}

}  // namespace qx::QX_ISA
