#include "line/composite.h"

namespace qx::QX_ISA {

// Over, with a premultiplied result. Two terms, each floored on its own: 255 over 255 gives 254, and must.
// Alpha, an odd byte, is a colour of value 255 in both inputs. bg.c * bg.a * (256 - w) is exact in any order,
// and bg.a * (256 - w) <= 65280 is one factor for all bytes of the pixel.
constexpr auto blend_step = [](U8 bg, U8 fg, U16 w) {
    return add(scale(opaque(fg), w), scale_64k(bg, opaque(bg), spread_alpha(bg) * (256 - w)));
};

QX_COMPOSITE_FAMILY(blend_step, blend, blend_t, blend_m, blend_mt, blend_mlt)

}  // namespace qx::QX_ISA
