#include "line/composite.h"

namespace qx::QX_ISA {

// A linear mix of the colours, each term floored on its own; alpha is added and saturated. Alpha is the odd
// byte of its lane and keeps a background weight of 256 there.
constexpr auto lblend_step = [](U8 bg, U8 fg, U16 w) {
    U16 rest = 256 - w, rest_odd = U16((U32(rest) & 0x0000FFFF) | 256 << 16);
    return add_saturated(scale(bg, rest, rest_odd), scale(fg, w));
};

QX_COMPOSITE_FAMILY(lblend_step, lblend, lblend_t, lblend_m, lblend_mt, lblend_mlt)

}  // namespace qx::QX_ISA
