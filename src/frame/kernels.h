// The one list of kernels, and the table that each instruction set's build makes of it. Exports, tests and
// bench all grow from this list; the types are those of the public header.
#pragma once

#include "qxpixlib.h"

#define QX_FAMILY(X, family) \
    X(family)                \
    X(family##_t)            \
    X(family##_m)            \
    X(family##_mt)           \
    X(family##_mlt)

#define QX_KERNELS(X)    \
    X(fill)              \
    X(argb2ayuv)         \
    X(ayuv2argb)         \
    X(v210yuv422p10)     \
    QX_FAMILY(X, blend)  \
    QX_FAMILY(X, lblend) \
    QX_FAMILY(X, sblend) \
    X(alpha)             \
    X(mask)              \
    X(lin_pix)           \
    X(zoom_in2x1d)       \
    X(zoom_in2x2d)       \
    X(scale_1d)          \
    X(scale_horz)        \
    X(zoom_outNx)

// The builds, each able to run only where the ones before it can.
#define QX_BUILDS(X) \
    X(sse2)          \
    X(avx2)          \
    X(avx512)

namespace qx {

struct KernelTable {
#define QX_MEMBER(name) decltype(&qx_##name) name;
    QX_KERNELS(QX_MEMBER)
#undef QX_MEMBER
};

#define QX_DECLARE(build)             \
    namespace build {                 \
    extern const KernelTable kernels; \
    }
QX_BUILDS(QX_DECLARE)
#undef QX_DECLARE

}  // namespace qx
