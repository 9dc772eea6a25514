// The kernels that take lines of one length, as rows: a name, how to call it in a table, and its reference.
// The suite and the bench walk these rows.
#pragma once

#include <vector>

#include "frame/load.h"
#include "reference.h"

// What a line kernel may be given; a row uses what its kernel has.
struct Arguments {
    Argb32* dst = nullptr;
    const Argb32* a = nullptr;  // bg, or the only input
    const Argb32* b = nullptr;  // fg
    uint32_t number = 0;        // the fill value
    int32_t count = 0;
};

struct LineKernel {
    const char* name;
    int inputs;
    void (*call)(const qx::KernelTable&, const Arguments&);
    void (*expect)(const Arguments&);
};

inline int plain_weight(int, int alpha) { return alpha; }

// The type of each argument is the kernel's own, so that a row only says which ones it takes and in what
// order.
#define QX_FAMILY_ROWS(family)                                                                      \
    {                                                                                               \
#family, 2,                                                                                       \
     [](const qx::KernelTable& table, const Arguments& x) { table.family(x.dst, x.a, x.b, x.count); }, \
     [](const Arguments& x) {                                                                          \
         reference::composite(reference::family, plain_weight, x.dst, x.a, x.b, x.count);              \
     } \
    }

inline const std::vector<LineKernel> line_kernels = {
    {"fill", 0,
     [](const qx::KernelTable& table, const Arguments& x) { table.fill(x.dst, x.number, x.count); },
     [](const Arguments& x) { std::fill(x.dst, x.dst + std::max(x.count, 0), x.number); }},
    QX_FAMILY_ROWS(blend),
    QX_FAMILY_ROWS(lblend),
    QX_FAMILY_ROWS(sblend),
};
#undef QX_FAMILY_ROWS

// The builds that this machine runs.
inline std::vector<qx::Build> machine_builds() { return {qx::builds, qx::builds + qx::usable_builds()}; }
