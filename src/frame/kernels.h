// The one list of kernels, and the table that each instruction set's build makes of it. Exports, tests and
// bench all grow from this list; the types are those of the public header.
#pragma once

#include "frame/builds.h"
#include "qxpixlib.h"

#define QX_KERNELS(X) \
    X(fill)           \
    X(argb2ayuv)      \
    X(ayuv2argb)      \
    X(v210yuv422p10)  \
    X(blend)          \
    X(blend_t)        \
    X(blend_m)        \
    X(blend_mt)       \
    X(blend_mlt)      \
    X(lblend)         \
    X(lblend_t)       \
    X(lblend_m)       \
    X(lblend_mt)      \
    X(lblend_mlt)     \
    X(sblend)         \
    X(sblend_t)       \
    X(sblend_m)       \
    X(sblend_mt)      \
    X(sblend_mlt)     \
    X(alpha)          \
    X(mask)           \
    X(lin_pix)        \
    X(zoom_in2x1d)    \
    X(zoom_in2x2d)    \
    X(scale_1d)       \
    X(scale_horz)     \
    X(zoom_outNx)

namespace qx {

struct KernelTable {
#define QX_MEMBER(name) decltype(&qx_##name) name;
    QX_KERNELS(QX_MEMBER)
#undef QX_MEMBER
};

#define QX_DECLARE(build, condition)  \
    namespace build {                 \
    extern const KernelTable kernels; \
    }
QX_BUILDS(QX_DECLARE)
#undef QX_DECLARE

}  // namespace qx
