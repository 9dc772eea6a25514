// Every line kernel of every build that this machine runs, and the exported functions, against the reference.
#include "line_kernels.h"

#include <gtest/gtest.h>
#include <immintrin.h>

#include <climits>
#include <numeric>
#include <random>
#include <tuple>

#include "guarded.h"

namespace qx {
void PrintTo(const Build& build, std::ostream* out) { *out << build.name; }
}  // namespace qx
void PrintTo(const LineKernel& kernel, std::ostream* out) { *out << kernel.name; }

namespace {

// The exported functions as one more table: the suite then also proves that each reaches its own kernel.
const qx::KernelTable exported = {
#define QX_ENTRY(name) qx_##name,
    QX_KERNELS(QX_ENTRY)
#undef QX_ENTRY
};

std::vector<qx::Build> tables() {
    std::vector<qx::Build> all = machine_builds();
    all.push_back({"exports", &exported});
    return all;
}

// Random bytes, every fourth an extreme: 0 and 255 are where truncation and saturation go wrong.
class RandomBytes {
 public:
    uint8_t operator()() {
        uint32_t r = engine_();
        return r & 0x300 ? uint8_t(r) : r & 0x400 ? 255 : 0;
    }
    int below(int n) { return int(engine_() % uint32_t(n)); }
    void fill(void* p, size_t bytes) { std::generate_n(static_cast<uint8_t*>(p), bytes, std::ref(*this)); }
    std::vector<Argb32> line(int count) {
        std::vector<Argb32> px(static_cast<size_t>(count));
        fill(px.data(), px.size() * sizeof(Argb32));
        return px;
    }

 private:
    std::mt19937 engine_{20};
};

std::vector<Argb32> copy_of(const Argb32* line, int count) {
    std::vector<Argb32> px(static_cast<size_t>(count));
    std::memcpy(px.data(), line, px.size() * sizeof(Argb32));
    return px;
}

class LineKernelTest : public testing::TestWithParam<std::tuple<qx::Build, LineKernel>> {
 protected:
    const LineKernel& kernel() const { return std::get<1>(GetParam()); }
    void call(const Arguments& x) const { kernel().call(*std::get<0>(GetParam()).kernels, x); }

    // What dst holds after the reference has run on x.
    std::vector<Argb32> expected(Arguments x) const {
        std::vector<Argb32> dst(static_cast<size_t>(x.count));
        x.dst = dst.data();
        kernel().expect(x);
        return dst;
    }

    RandomBytes random;
};

// Would catch: a wrong formula, tail, pairing or aligned access; any byte read or written outside the lines.
TEST_P(LineKernelTest, GivesTheReferencesBytesAndTouchesNothingElse) {
    std::vector<int> counts(70);
    std::iota(counts.begin(), counts.end(), 1);
    counts.insert(counts.end(), {127, 130, 1001, 4094});
    GuardedPages pages[3] = {GuardedPages(5000 * 4), GuardedPages(5000 * 4), GuardedPages(5000 * 4)};
    for (int count : counts) {
        for (int trial = 0; trial < 8; ++trial) {
            // Half of the lines touch their guard page, the others lie at any byte address.
            Argb32* lines[3];
            for (int k = 0; k < 3; ++k) {
                size_t bytes = size_t(count) * 4, gap = random.below(2) ? size_t(random.below(64)) : 0;
                auto edge = (trial >> (k % 2)) & 1 ? GuardedPages::kUpper : GuardedPages::kLower;
                lines[k] = reinterpret_cast<Argb32*>(pages[k].place(bytes, edge, gap));
                random.fill(lines[k], bytes);
            }
            std::vector<Argb32> a = copy_of(lines[1], count), b = copy_of(lines[2], count);
            Argb32 number = random.line(1)[0];
            call({lines[0], lines[1], lines[2], number, count});
            std::vector<Argb32> got = copy_of(lines[0], count);
            ASSERT_EQ(got, expected({nullptr, a.data(), b.data(), number, count})) << "count " << count;
            for (const GuardedPages& p : pages) ASSERT_TRUE(p.margins_intact()) << "count " << count;
        }
    }
}

// Would catch: an output stored before all of its inputs are read.
TEST_P(LineKernelTest, WorksInPlace) {
    for (int input = 0; input < kernel().inputs; ++input) {
        for (int count : {1, 2, 3, 4, 6, 7, 15, 16, 18, 31, 62, 64, 66, 200, 334}) {
            std::vector<Argb32> a = random.line(count), b = random.line(count);
            std::vector<Argb32> want = expected({nullptr, a.data(), b.data(), 0, count});
            std::vector<Argb32>& dst = input == 0 ? a : b;
            call({dst.data(), a.data(), b.data(), 0, count});
            ASSERT_EQ(dst, want) << "count " << count << ", dst is input " << input;
        }
    }
}

// Would catch: a weight, a reciprocal or a saturation that fails for a single pair of alphas.
TEST_P(LineKernelTest, HoldsForEveryPairOfAlphas) {
    constexpr int kPairs = 256 * 256;
    for (int round = 0; round < 4; ++round) {
        std::vector<Argb32> a = random.line(kPairs), b = random.line(kPairs), got(kPairs);
        for (uint32_t i = 0; i < kPairs; ++i) {
            a[i] = (a[i] & 0xFFFFFF) | (i & 255) << 24;
            b[i] = (b[i] & 0xFFFFFF) | (i >> 8) << 24;
        }
        call({got.data(), a.data(), b.data(), 0, kPairs});
        ASSERT_EQ(got, expected({nullptr, a.data(), b.data(), 0, kPairs}));
    }
}

std::string test_name(const testing::TestParamInfo<LineKernelTest::ParamType>& info) {
    return std::string(std::get<1>(info.param).name) + "_" + std::get<0>(info.param).name;
}
INSTANTIATE_TEST_SUITE_P(All, LineKernelTest,
                         testing::Combine(testing::ValuesIn(tables()), testing::ValuesIn(line_kernels)),
                         test_name);

// Would catch: a guard that is missing in one export, or that lets a pointer be used before it is looked at.
TEST(Exports, DoNothingForCountsOfZeroAndBelow) {
    for (const LineKernel& kernel : line_kernels) {
        for (int count : {0, -1, -2, -4, -5, INT_MIN}) {
            SCOPED_TRACE(kernel.name);
            kernel.call(exported, {nullptr, nullptr, nullptr, 0, count});
        }
    }
}

// Values that a reader may want to look up, {bg, fg, result}; the truncations in them are intended.
struct Worked {
    const char* kernel;
    reference::Bytes bg, fg, result;
};
const Worked worked[] = {
    {"blend", {100, 255, 0, 255}, {200, 255, 0, 0}, {99, 254, 0, 254}},
    {"blend", {100, 255, 0, 128}, {200, 255, 255, 128}, {125, 190, 127, 190}},
    {"blend", {100, 255, 255, 255}, {200, 255, 0, 255}, {199, 254, 0, 254}},
    {"blend", {100, 255, 255, 0}, {200, 255, 0, 0}, {0, 0, 0, 0}},
    {"lblend", {1, 128, 255, 7}, {9, 9, 9, 0}, {1, 128, 255, 7}},
    {"lblend", {10, 20, 30, 0}, {255, 1, 0, 255}, {254, 0, 0, 254}},
    {"lblend", {10, 20, 30, 1}, {255, 1, 0, 255}, {254, 0, 0, 255}},
    {"lblend", {0, 0, 0, 100}, {0, 0, 0, 128}, {0, 0, 0, 164}},
    {"sblend", {10, 20, 30, 255}, {200, 100, 50, 0}, {10, 20, 30, 254}},
    {"sblend", {10, 20, 30, 1}, {200, 100, 50, 0}, {10, 20, 30, 0}},
    {"sblend", {10, 20, 30, 2}, {200, 100, 50, 0}, {10, 20, 30, 1}},
    {"sblend", {0, 255, 30, 77}, {255, 0, 31, 255}, {254, 0, 30, 255}},
    {"sblend", {0, 255, 30, 0}, {255, 0, 31, 128}, {254, 0, 30, 128}},
    {"sblend", {0, 255, 100, 255}, {255, 0, 200, 128}, {128, 126, 150, 254}},
    {"sblend", {0, 255, 100, 255}, {255, 0, 200, 254}, {254, 0, 199, 254}},
};

// Would catch: a reference and a kernel that are wrong in the same way.
TEST(Exports, GiveTheWorkedValues) {
    for (const Worked& w : worked) {
        Argb32 bg = reference::pixel_of(w.bg), fg = reference::pixel_of(w.fg), dst = 0;
        for (const LineKernel& kernel : line_kernels)
            if (kernel.name == std::string(w.kernel)) kernel.call(exported, {&dst, &bg, &fg, 0, 1});
        EXPECT_EQ(reference::bytes_of(dst), w.result) << w.kernel;
    }
}

// The pixel before the last looks wrong in a remainder of two, and is meant to: it takes its neighbour's
// foreground. Would catch: somebody mending it.
TEST(Exports, PairTheLastTwoPixelsWithTheLastForeground) {
    for (auto family : {qx_blend, qx_lblend, qx_sblend}) {
        RandomBytes random;
        for (int count : {2, 6, 10, 18, 34, 66}) {
            std::vector<Argb32> bg = random.line(count), fg = random.line(count), got(bg), want(bg);
            family(got.data(), bg.data(), fg.data(), count);
            fg.end()[-2] = fg.end()[-1];
            for (int i = 0; i < count; ++i) family(&want[size_t(i)], &bg[size_t(i)], &fg[size_t(i)], 1);
            EXPECT_EQ(got, want) << "count " << count;
        }
    }
}

// Would catch: a division that traps, or an instruction whose result follows the caller's rounding mode.
TEST_P(LineKernelTest, IgnoresTheCallersFloatingPointModes) {
    constexpr int kCount = 256 * 256 + 7;
    std::vector<Argb32> a = random.line(kCount), b = random.line(kCount), got(kCount);
    std::vector<Argb32> want = expected({nullptr, a.data(), b.data(), 0, kCount});
    constexpr unsigned kFlush = 0x8040, kUnmasked = 0x1000;  // all exceptions but "inexact" unmasked
    const unsigned before = _mm_getcsr();
    for (unsigned rounding : {0x0000u, 0x2000u, 0x4000u, 0x6000u}) {
        _mm_setcsr(kFlush | kUnmasked | rounding);
        call({got.data(), a.data(), b.data(), 0, kCount});
        _mm_setcsr(before);
        ASSERT_EQ(got, want) << "rounding " << rounding;
    }
}

}  // namespace
