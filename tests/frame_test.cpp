// The frame: what loading does.
#include <atomic>
#include <cstring>
#include <thread>

#include "shared_library.h"
#include "suite.h"
#include "vec/reciprocal_table.h"

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
                while (call == nullptr) std::this_thread::yield();  // valgrind runs one thread at a time
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
