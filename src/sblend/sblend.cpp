#include "line/composite.h"

namespace qx::QX_ISA {

// Over, with a straight result: under the alpha of both, the colours go towards the foreground's by its share
// of it.
constexpr CoverStep sblend_step{[](U8 bg, U8 fg, const auto& cover) QX_LAMBDA {
    return colours_towards(with_alpha(bg, cover.alpha), fg, cover.share);
}};

QX_COMPOSITE_FAMILY(sblend_step, sblend, sblend_t, sblend_m, sblend_mt, sblend_mlt)

}  // namespace qx::QX_ISA
