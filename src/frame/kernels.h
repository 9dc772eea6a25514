// The one list of kernels, and the table that each instruction set's build makes of it. Exports, tests and
// bench all grow from this list; the types are those of the public header.
#pragma once

#include "qxpixlib.h"

#define QX_KERNELS(X) \
    X(fill)           \
    X(blend)          \
    X(lblend)         \
    X(sblend)

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
