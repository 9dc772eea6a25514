#include "frame/composite.h"

namespace qx::QX_ISA {

// Over, with a straight result. w <= alpha always. bg + floor(share * (fg - bg) / 256) lies between bg and
// fg, so that only its low byte matters, and share * (fg - bg) needs no more than its low half.
constexpr TwoStages step{
    [](auto under, auto w, auto shares) QX_LAMBDA {
        auto alpha = w + scale_alphas(under, 255 - w);
        return Mix<decltype(w)>{alpha, shares(w, alpha)};
    },
    [](U8 bg, U8 fg, U16 share) QX_LAMBDA {
        ByteLanes from = split(bg), to = split(fg);
        return bg + merge({(to.even - from.even) * share >> 8, (to.odd - from.odd) * share});
    }};

QX_COMPOSITE_FAMILY(sblend, step)

}  // namespace qx::QX_ISA
