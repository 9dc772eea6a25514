// What happens once, when the library is loaded: the choice of a build.
#pragma once

#include "frame/kernels.h"

namespace qx {

struct Build {
    const char* name;
    const KernelTable* kernels;
};

// All builds, the widest last; this processor and operating system run the first usable_builds() of them.
constexpr int kBuilds = 0
#define QX_COUNT(build, condition) +1
    QX_BUILDS(QX_COUNT);
#undef QX_COUNT
extern const Build builds[kBuilds];
int usable_builds();

// The kernels that the exports call. Constant-initialised to the first build, so that a call that comes
// before the library's constructor is safe; raised once by on_load and never changed after.
extern const KernelTable* active;

void on_load();

}  // namespace qx
