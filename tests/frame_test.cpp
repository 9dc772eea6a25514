// The frame: what loading does, and the state that a call leaves the processor in.
#include <cpuid.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "vec/reciprocal_table.h"
#include "shared_library.h"
#include "suite.h"

namespace {

TEST(Frame, HoldsTheReciprocals) {
    EXPECT_EQ(qx::ReciprocalTable[0], 0);
    EXPECT_EQ(qx::ReciprocalTable[1], 65535);
    EXPECT_EQ(qx::ReciprocalTable[2], 32767);
    EXPECT_EQ(qx::ReciprocalTable[255], 257);
    for (int i = 1; i < 256; ++i) {  // the largest number whose product with i is no more than 65535
        EXPECT_LE(qx::ReciprocalTable[i] * i, 65535);
        EXPECT_GT((qx::ReciprocalTable[i] + 1) * i, 65535);
    }
}

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

TEST(Frame, InitialisationIsOneEntryWithTwoNamesThatDoesNothing) {
    void (*volatile one)() = qx_pixinit;  // volatile: a compiler may hold two names for two addresses
    void (*volatile other)() = qx_r210argb;
    EXPECT_EQ(one, other);
    uint8_t line[64], before[64];
    for (int i = 0; i < 64; ++i) line[i] = before[i] = uint8_t(i);
    using Convert = void (*)(void*, const void*, int);
    reinterpret_cast<Convert>(qx_r210argb)(line, line + 32, 8);
    reinterpret_cast<Convert>(qx_pixinit)(line, nullptr, -1);
    EXPECT_EQ(0, std::memcmp(line, before, sizeof line));
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

// Several threads call the library that hosts load, as soon as it is there. Would catch: a first call that
// has to set something up, and state that calls share.
TEST(Load, LeavesNothingForTheFirstCallsToDo) {
    constexpr int kThreads = 4, kCount = 517;
    RandomBytes random;
    const std::vector<Argb32> bg = random.line(kCount), fg = random.line(kCount);
    std::vector<uint8_t> mask(kCount), lut(256);
    random.fill(mask.data(), mask.size());
    random.fill(lut.data(), lut.size());
    std::vector<Argb32> want(kCount), got[kThreads];
    const LineKernel& sblend_mlt = *std::find_if(line_kernels.begin(), line_kernels.end(),
                                                 [](const auto& k) { return !strcmp(k.name, "sblend_mlt"); });
    sblend_mlt.expect({want.data(), bg.data(), fg.data(), mask.data(), lut.data(), 200, kCount});

    for (int round = 0; round < 20; ++round) {
        std::atomic<decltype(&qx_sblend_mlt)> call{nullptr};
        std::vector<std::thread> threads;
        for (std::vector<Argb32>& line : got) {
            line.assign(kCount, 0);
            threads.emplace_back([&] {
                while (call == nullptr) continue;
                call.load()(line.data(), bg.data(), fg.data(), kCount, mask.data(), lut.data(), 200);
            });
        }
        SharedLibrary library = open_library(QXPIXLIB_FILE);
        ASSERT_NE(library, nullptr);
        call = reinterpret_cast<decltype(&qx_sblend_mlt)>(find_function(library, "qx_sblend_mlt"));
        for (std::thread& thread : threads) thread.join();
        for (const std::vector<Argb32>& line : got) ASSERT_EQ(line, want);
        close_library(library);
    }
}

}  // namespace
