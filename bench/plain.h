// The kernels as loops that leave everything to a compiler, in as many builds as there are compilers and
// targets.
#pragma once

#include "frame/kernels.h"

struct PlainBuild {
    const char* name;
    const qx::KernelTable* kernels;
    const PlainBuild* next;
};
// Each build puts itself in here. A list of plain structures: these units are built for this very machine,
// and no inline function of a C++ library may come from them.
extern const PlainBuild* plain_builds;
