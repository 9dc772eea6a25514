#include "line/composite.h"

namespace qx::QX_ISA {

// Over, with a straight result: the colours go towards the foreground's by its share of the alpha of both.
constexpr CoverStep sblend_step{[](U8 bg, U8 fg, const auto& cover) QX_LAMBDA {
    return with_alpha(towards(bg, fg, cover.share), cover.alpha);
}};

QX_COMPOSITE_FAMILY(sblend_step, sblend, sblend_t, sblend_m, sblend_mt, sblend_mlt)

}  // namespace qx::QX_ISA
