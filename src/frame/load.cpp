#include "frame/load.h"

#if defined(__i386__) || defined(__x86_64__)
#include <cpuid.h>
#endif
#if defined(_WIN32) && !defined(QXPIXLIB_STATIC)
#include <windows.h>
#endif

namespace qx {

constexpr Build builds[kBuilds] = {
#define QX_ENTRY(build, condition) {#build, &build::kernels},
    QX_BUILDS(QX_ENTRY)
#undef QX_ENTRY
};

const KernelTable* active = builds[0].kernels;

#if defined(__i386__) || defined(__x86_64__)
// The register halves that the operating system keeps for a program, by the bits of XCR0.
static unsigned kept_registers() {
    unsigned low, high;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

// The processor is asked itself: __builtin_cpu_supports knows only some makers' processors, and says no for
// the others.
int usable_builds() {
    unsigned a, b = 0, c = 0, d;
    const unsigned kept = __get_cpuid(1, &a, &b, &c, &d) && (c & bit_OSXSAVE) ? kept_registers() : 0;
    const bool ymm = (kept & 0x06) == 0x06, zmm = (kept & 0xE6) == 0xE6;
    if (!__get_cpuid_count(7, 0, &a, &b, &c, &d)) b = c = 0;
    [[maybe_unused]] const bool sse2 = true, avx2 = ymm && (b & bit_AVX2), avx512f = zmm && (b & bit_AVX512F),
                                avx512bw = zmm && (b & bit_AVX512BW), avx512vl = zmm && (b & bit_AVX512VL),
                                avx512vbmi = zmm && (c & bit_AVX512VBMI);
    const bool runs[] = {
#define QX_CONDITION(build, condition) (condition),
        QX_BUILDS(QX_CONDITION)
#undef QX_CONDITION
    };
    int usable = 0;
    while (usable < kBuilds && runs[usable]) ++usable;
    return usable;
}
#else
int usable_builds() { return kBuilds; }
#endif

void on_load() { active = builds[usable_builds() - 1].kernels; }

}  // namespace qx

#if defined(_WIN32) && !defined(QXPIXLIB_STATIC)
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) qx::on_load();
    return TRUE;
}
#elif !defined(__wasm__)  // its one build is active from the start, and nothing there calls constructors
__attribute__((constructor)) static void constructor() { qx::on_load(); }
#endif
