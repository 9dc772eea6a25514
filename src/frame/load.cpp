#include "frame/load.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace qx {

const Build builds[kBuilds] = {
#define QX_ENTRY(build) {#build, &build::kernels},
    QX_BUILDS(QX_ENTRY)
#undef QX_ENTRY
};

const KernelTable* active = &sse2::kernels;

// __builtin_cpu_supports also asks the operating system (XGETBV) whether it keeps the wide registers.
int usable_builds() {
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("avx2")) return 1;
    bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                  __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi");
    return avx512 ? 3 : 2;
}

void on_load() { active = builds[usable_builds() - 1].kernels; }

}  // namespace qx

#if defined(_WIN32)
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) qx::on_load();
    return TRUE;
}
#else
__attribute__((constructor)) static void constructor() { qx::on_load(); }
#endif
