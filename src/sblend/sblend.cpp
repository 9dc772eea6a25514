#include "line/composite.h"

namespace qx::QX_ISA {

// Over, with a straight result. bg + floor(share * (fg - bg) / 256) lies between bg and fg, so that only its
// low byte matters, and share * (fg - bg) needs no more than its low half.
constexpr CoverThen sblend_step{[](U8 bg, U8 fg, U16 share) QX_LAMBDA {
    ByteLanes from = split(bg), to = split(fg);
    return bg + join_upper_bytes((to.even - from.even) * share, (to.odd - from.odd) * share);
}};

QX_COMPOSITE_FAMILY(sblend_step, sblend, sblend_t, sblend_m, sblend_mt, sblend_mlt)

}  // namespace qx::QX_ISA
