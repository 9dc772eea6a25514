// The kernels that take lines of one length, as rows: a name, how to call it in a table, and its reference.
// The suite and the bench walk these rows.
#pragma once

#include <vector>

#include "frame/load.h"
#include "reference.h"

// What a line kernel may be given; a row uses what its kernel has.
struct Arguments {
    Argb32* dst = nullptr;
    const Argb32* a = nullptr;  // bg, src or src1
    const Argb32* b = nullptr;  // fg or src2
    const uint8_t* mask = nullptr;
    const uint8_t* lut = nullptr;
    uint32_t number = 0;  // opacity, weight or fill value
    int32_t count = 0;
};

struct LineKernel {
    const char* name;
    int inputs;
    void (*call)(const qx::KernelTable&, const Arguments&);
    void (*expect)(const Arguments&);
};

// How a kernel of a table is called, with the arguments it takes in their order.
#define QX_CALL_WITH(name, ...) \
    [](const qx::KernelTable& table, [[maybe_unused]] const Arguments& x) { table.name(x.dst, __VA_ARGS__); }

// The reference of a kernel that gives each pixel its own result.
#define QX_EACH(pixel)                                        \
    [](const Arguments& x) {                                  \
        for (int i = 0; i < x.count; ++i) x.dst[i] = (pixel); \
    }

#define QX_COMPOSITE(family, weight)                                                                        \
    [](const Arguments& x) {                                                                                \
        reference::composite(                                                                               \
            reference::family, [&x]([[maybe_unused]] int i, int alpha) { return int(weight); }, x.dst, x.a, \
            x.b, x.count);                                                                                  \
    }

inline uint32_t fade(uint32_t value, uint32_t weight) { return value * std::min(weight, 256u) / 256; }

#define QX_FAMILY_ROWS(family)                                                                     \
    {#family, 2, QX_CALL_WITH(family, x.a, x.b, x.count), QX_COMPOSITE(family, (void(x), alpha))}, \
        {#family "_t", 2, QX_CALL_WITH(family##_t, x.a, x.b, x.count, x.number),                   \
         QX_COMPOSITE(family, fade(alpha, x.number))},                                             \
        {#family "_m", 2, QX_CALL_WITH(family##_m, x.a, x.b, x.count, x.mask),                     \
         QX_COMPOSITE(family, fade(alpha, x.mask[i]))},                                            \
        {#family "_mt", 2, QX_CALL_WITH(family##_mt, x.a, x.b, x.count, x.mask, x.number),         \
         QX_COMPOSITE(family, fade(alpha, fade(x.mask[i], x.number)))},                            \
    {                                                                                              \
#family "_mlt", 2, QX_CALL_WITH(family##_mlt, x.a, x.b, x.count, x.mask, x.lut, x.number), \
            QX_COMPOSITE(family, fade(alpha, fade(x.lut[x.mask[i]], x.number)))                    \
    }

inline const std::vector<LineKernel> line_kernels = {
    {"fill", 0, QX_CALL_WITH(fill, x.number, x.count), QX_EACH(x.number)},
    {"argb2ayuv", 1, QX_CALL_WITH(argb2ayuv, x.a, x.count), QX_EACH(reference::argb2ayuv(x.a[i]))},
    {"ayuv2argb", 1, QX_CALL_WITH(ayuv2argb, x.a, x.count), QX_EACH(reference::ayuv2argb(x.a[i]))},
    QX_FAMILY_ROWS(blend),
    QX_FAMILY_ROWS(lblend),
    QX_FAMILY_ROWS(sblend),
    {"alpha", 1, QX_CALL_WITH(alpha, x.a, x.count), QX_EACH(reference::alpha(x.a[i]))},
    {"mask", 1, QX_CALL_WITH(mask, x.a, x.mask, x.count), QX_EACH(reference::mask(x.a[i], x.mask[i]))},
    {"lin_pix", 2, QX_CALL_WITH(lin_pix, x.a, x.b, x.number, x.count),
     QX_EACH(reference::mix(x.a[i], x.b[i], int(std::min(x.number, 256u))))},
};
#undef QX_FAMILY_ROWS
#undef QX_COMPOSITE
#undef QX_EACH
#undef QX_CALL_WITH

// The builds that this machine runs.
inline std::vector<qx::Build> machine_builds() { return {qx::builds, qx::builds + qx::usable_builds()}; }
