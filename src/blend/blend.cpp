#include "line/composite.h"

namespace qx::QX_ISA {

// Over, with a premultiplied result. Two terms, each floored on its own: 255 over 255 gives 254, and must.
// Alpha is a colour of value 255 in both inputs.
constexpr WeightStep blend_step{[](U8 bg, U8 fg, auto w) QX_LAMBDA {
    return add(scale_opaque(fg, w), scale_premultiplied(bg, rest_of(w)));
}};

QX_COMPOSITE_FAMILY(blend_step, blend, blend_t, blend_m, blend_mt, blend_mlt)

}  // namespace qx::QX_ISA
