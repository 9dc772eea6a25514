// What x86 alone has: a choice of builds, and registers whose upper halves a call leaves clear.
#include <cpuid.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

#include "suite.h"

namespace {

// The processor's features as the operating system lists them.
std::set<std::string> features_in_cpuinfo() {
    std::ifstream info("/proc/cpuinfo");  // under Wine, on the drive that is the system's root
    for (std::string line; std::getline(info, line);) {
        if (line.rfind("flags", 0) != 0) continue;
        std::istringstream words(line);
        return {std::istream_iterator<std::string>(words), {}};
    }
    return {};
}

// The names of a condition such as "avx512f && avx512bw" are those of /proc/cpuinfo.
bool holds(const char* condition, const std::set<std::string>& features) {
    std::istringstream words(condition);
    return std::all_of(std::istream_iterator<std::string>(words), {},
                       [&](const std::string& word) { return word == "&&" || features.count(word) != 0; });
}

// Would catch: a processor that is taken for less than it is (by its maker's name, say), or for more. An
// emulated processor has the host's /proc/cpuinfo, so its test names the build.
TEST(Load, ChoosesTheWidestBuildThatTheProcessorRuns) {
    std::string widest;
    if (const char* expected = std::getenv("QXPIXLIB_EXPECTED_BUILD")) {
        widest = expected;
    } else {
        const std::set<std::string> features = features_in_cpuinfo();
        if (features.empty()) GTEST_SKIP() << "/proc/cpuinfo cannot be read";
#define QX_WIDEST(build, condition) \
    if (holds(#condition, features)) widest = #build;
        QX_BUILDS(QX_WIDEST)
#undef QX_WIDEST
    }
    EXPECT_EQ(widest, qx::builds[qx::usable_builds() - 1].name);
    EXPECT_EQ(qx::active, qx::builds[qx::usable_builds() - 1].kernels);
}

// Bit 2 of XINUSE: some upper half of a ymm register is not clear.
bool upper_halves_in_use() {
    unsigned low, high;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(1));
    return low & 4;
}

// Would catch: a kernel that returns without vzeroupper on some path, which slows the host's own code.
TEST(Frame, KernelsLeaveTheUpperRegisterHalvesClear) {
    unsigned a, b, c, d;
    if (!__get_cpuid_count(0xD, 1, &a, &b, &c, &d) || !(a & 4)) GTEST_SKIP() << "no XINUSE on this processor";
    if (qx::usable_builds() < 2) GTEST_SKIP() << "no AVX2 on this processor";
    asm volatile("vpcmpeqd %%ymm0, %%ymm0, %%ymm0" ::: "xmm0");
    bool seen = upper_halves_in_use();
    asm volatile("vzeroupper; pxor %%xmm0, %%xmm0" ::: "xmm0");
    if (!seen || upper_halves_in_use()) GTEST_SKIP() << "XINUSE does not follow the registers in this mode";

    std::vector<Argb32> dst(300), bg(300, 0x80402010), fg(300, 0x40FF0080);
    const std::vector<uint8_t> mask(300, 77), lut(256, 99);
    for (const qx::Build& build : machine_builds()) {
        for (const LineKernel& kernel : line_kernels) {
            for (int count = 1; count <= 300; ++count) {
                asm volatile("vzeroupper" ::: "memory");  // what the test's own libraries left there
                kernel.call(*build.kernels,
                            {dst.data(), bg.data(), fg.data(), mask.data(), lut.data(), 100, count});
                ASSERT_FALSE(upper_halves_in_use()) << build.name << " " << kernel.name << " count " << count;
            }
        }
    }
}

}  // namespace
