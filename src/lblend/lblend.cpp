#include "line/composite.h"

namespace qx::QX_ISA {

// A linear mix of the colours, each term floored on its own; alpha is added and saturated.
constexpr WeightStep lblend_step{[](U8 bg, U8 fg, auto w) QX_LAMBDA {
    return add_saturated(scale_colours(bg, rest_of(w)), scale(fg, w));
}};

QX_COMPOSITE_FAMILY(lblend_step, lblend, lblend_t, lblend_m, lblend_mt, lblend_mlt)

}  // namespace qx::QX_ISA
