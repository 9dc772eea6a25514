// The C boundary: it guards, and hands its arguments to the active build.
#include "frame/load.h"
#include "qxpixlib.h"

using qx::active;

extern "C" {

void qx_pixinit() {}

// One entry with two names.
void qx_r210argb() __attribute__((alias("qx_pixinit")));

void qx_fill(Argb32* dst, uint32_t value, int32_t count) {
    if (count > 0) active->fill(dst, value, count);
}

#define QX_FAMILY(family)                                                              \
    void qx_##family(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count) { \
        if (count > 0) active->family(dst, bg, fg, count);                             \
    }

QX_FAMILY(blend)
QX_FAMILY(lblend)
QX_FAMILY(sblend)

}  // extern "C"
