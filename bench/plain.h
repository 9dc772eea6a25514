// The kernels as loops that leave everything to a compiler, in as many builds as there are compilers and
// targets.
#pragma once

#include "frame/kernels.h"

// A bare copy moves the bytes of a kernel through as many streams, and does next to nothing with them.
using Copy = void (*)(Argb32* dst, const Argb32* a, const Argb32* b, const uint8_t* mask, int32_t count);

struct PlainBuild {
    const char* name;
    const qx::KernelTable* kernels;
    Copy copy[3][2];  // by the number of input lines, and whether a mask is one more
    const PlainBuild* next;
};
// Each build puts itself in here. A list of plain structures: these units are built for this very machine,
// and no inline function of a C++ library may come from them.
extern const PlainBuild* plain_builds;
