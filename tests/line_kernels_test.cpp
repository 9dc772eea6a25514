// Every line kernel of every build, and the exported functions, against the reference.
#include "line_kernels.h"

#include <cfenv>
#include <climits>
#include <numeric>
#include <tuple>

#include "float_modes.h"
#include "suite.h"

namespace {

// Opacities and weights around their edges, as callers may pass them.
constexpr uint32_t kNumbers[] = {0, 1, 127, 128, 129, 255, 256, 257, 0x80000000, 0xFFFFFFFF};

class LineKernelTest : public testing::TestWithParam<std::tuple<qx::Build, LineKernel>> {
 protected:
    const LineKernel& kernel() const { return std::get<1>(GetParam()); }
    void call(Arguments x) const {
        const qx::KernelTable* table = std::get<0>(GetParam()).kernels;
        if (table != &exported && kernel().inputs > 0)
            x.number = std::min(x.number, 256u);  // the exports clamp
        kernel().call(*table, x);
    }

    // What dst holds after the reference has run on x.
    std::vector<Argb32> expected(Arguments x) const {
        std::vector<Argb32> dst(static_cast<size_t>(x.count));
        x.dst = dst.data();
        kernel().expect(x);
        return dst;
    }

    uint32_t some_number() {
        return random.below(2) ? kNumbers[random.below(10)] : uint32_t(random.below(257));
    }

    RandomBytes random;
};

// Would catch: a wrong formula, tail, pairing or aligned access; any byte read or written outside the lines.
TEST_P(LineKernelTest, GivesTheReferencesBytesAndTouchesNothingElse) {
    std::vector<int> counts(70);
    std::iota(counts.begin(), counts.end(), 1);
    counts.insert(counts.end(), {127, 130, 1001, 4094});
    GuardedPages dst(5000 * 4), a(5000 * 4), b(5000 * 4), mask(5000), lut(256);
    for (int count : counts) {
        for (int trial = 0; trial < 8; ++trial) {
            // Half of the lines touch a guard page, the others lie at any byte address.
            auto place = [&](GuardedPages& pages, size_t bytes) {
                size_t gap = random.below(2) ? size_t(random.below(64)) : 0;
                uint8_t* p =
                    pages.place(bytes, random.below(2) ? GuardedPages::kUpper : GuardedPages::kLower, gap);
                random.fill(p, bytes);
                return p;
            };
            auto place_line = [&](GuardedPages& pages) {
                return reinterpret_cast<Argb32*>(place(pages, size_t(count) * 4));
            };
            Arguments x = {place_line(dst), place_line(a), place_line(b), place(mask, size_t(count)),
                           place(lut, 256), some_number(), count};
            call(x);
            std::vector<Argb32> got = copy_of(x.dst, count), line_a = copy_of(x.a, count),
                                line_b = copy_of(x.b, count);
            x.a = line_a.data();  // aligned copies: the reference has no need to bear more
            x.b = line_b.data();
            ASSERT_EQ(got, expected(x)) << "count " << count << ", number " << x.number;
            for (const GuardedPages* p : {&dst, &a, &b, &mask, &lut})
                ASSERT_TRUE(p->margins_intact()) << count;
        }
    }
}

// A long line begins with a part up to the first aligned vector of dst. Would catch: a part that loses or
// repeats pixels, that parts the last two pixels, or that leaves a rest no loop takes.
TEST_P(LineKernelTest, HoldsWhereverALongLineBegins) {
    constexpr int kMost = 330;
    std::vector<Argb32> dst(kMost + 16), a = random.line(kMost), b = random.line(kMost),
                                         masks = random.line(kMost);
    auto* mask = reinterpret_cast<const uint8_t*>(masks.data());
    for (int begin = 0; begin < 16; ++begin) {
        for (int count = 126; count <= kMost; count += count < 136 || count > 252 ? 1 : 29) {
            Arguments x = {&dst[size_t(begin)], a.data(), b.data(), mask, mask + kMost, some_number(), count};
            call(x);
            ASSERT_EQ(copy_of(x.dst, count), expected(x)) << "count " << count << ", begin " << begin;
        }
    }
}

// Would catch: an output stored before all of its inputs are read.
TEST_P(LineKernelTest, WorksInPlace) {
    for (int input = 0; input < kernel().inputs; ++input) {
        for (int count : {1, 2, 3, 4, 6, 7, 15, 16, 18, 31, 62, 64, 66, 200, 334}) {
            std::vector<Argb32> a = random.line(count), b = random.line(count),
                                masks = random.line(count + 64);
            auto* mask = reinterpret_cast<const uint8_t*>(masks.data());
            std::vector<Argb32>& dst = input == 0 ? a : b;
            Arguments x = {dst.data(), a.data(), b.data(), mask, mask + 4 * count, some_number(), count};
            std::vector<Argb32> want = expected(x);
            call(x);
            ASSERT_EQ(dst, want) << "count " << count << ", dst is input " << input;
        }
    }
}

// Every pair of alphas, and with the first one's alpha every mask byte: bytes 2 and 3 of an index. Would
// catch: a weight, a reciprocal or a saturation that fails for a single pair. Once more with the caller's
// floating-point modes changed. Would catch: a division that traps, or raises more than "inexact", in a whole
// vector or in the part of one with which the line ends; an instruction that follows the rounding mode.
TEST_P(LineKernelTest, HoldsForEveryPairOfAlphasInEveryRoundingMode) {
    constexpr int kPairs = 256 * 256, kLine = kPairs + 1;
    const FloatModes before = float_modes();
    std::vector<uint8_t> lut(256), mask(kLine);
    for (const FloatModes& modes : difficult_float_modes) {
        const bool a_with_masks = &modes == difficult_float_modes;  // for qx_mask; else b, for the blends
        std::vector<Argb32> a = random.line(kLine), b = random.line(kLine), got(kLine);
        random.fill(lut.data(), lut.size());
        for (uint32_t i = 0; i < kPairs; ++i) {
            a[i] = (a[i] & 0xFFFFFF) | (i & 255) << 24;
            b[i] = (b[i] & 0xFFFFFF) | (i >> 8) << 24;
            mask[i] = a_with_masks ? uint8_t(i) : uint8_t(i >> 8);
        }
        Arguments x = {got.data(), a.data(), b.data(), mask.data(), lut.data(), some_number(), kLine};
        std::feclearexcept(FE_ALL_EXCEPT);
        set_float_modes(modes);
        call(x);
        const int raised = std::fetestexcept(FE_ALL_EXCEPT & ~FE_INEXACT);
        set_float_modes(before);
        ASSERT_EQ(raised, 0) << "modes " << modes;
        ASSERT_EQ(got, expected(x)) << "modes " << modes << ", number " << x.number;
    }
}

std::string test_name(const testing::TestParamInfo<LineKernelTest::ParamType>& info) {
    return std::string(std::get<1>(info.param).name) + "_" + std::get<0>(info.param).name;
}
INSTANTIATE_TEST_SUITE_P(All, LineKernelTest,
                         testing::Combine(testing::ValuesIn(tables()), testing::ValuesIn(line_kernels)),
                         test_name);

const LineKernel& kernel_named(const std::string& name) {
    return *std::find_if(line_kernels.begin(), line_kernels.end(),
                         [&](const auto& k) { return k.name == name; });
}

// Would catch: a coefficient, a truncation or a clamp that is wrong for a single colour.
TEST(Exhaustive, ConversionsHoldForEveryColour) {
    constexpr int kLine = 1 << 16;
    std::vector<Argb32> src(kLine), want(kLine), got(kLine);
    for (const char* name : {"argb2ayuv", "ayuv2argb"}) {
        const LineKernel& kernel = kernel_named(name);
        for (uint32_t high = 0; high < 256; ++high) {
            for (uint32_t i = 0; i < kLine; ++i) src[i] = i | high << 16 | (i * 7 + high) << 24;
            kernel.expect({want.data(), src.data(), nullptr, nullptr, nullptr, 0, kLine});
            for (const qx::Build& build : tested_builds()) {
                kernel.call(*build.kernels, {got.data(), src.data(), nullptr, nullptr, nullptr, 0, kLine});
                ASSERT_EQ(got, want) << name << " " << build.name;
            }
        }
    }
}

// Would catch: a weight for which one of the two products is off.
TEST(Exhaustive, InterpolationHoldsForEveryPairAndWeight) {
    constexpr int kLine = 256 * 256 / 4;
    std::vector<Argb32> a(kLine), b(kLine), want(kLine), got(kLine);
    for (uint32_t i = 0; i < kLine; ++i) {
        a[i] = i % 64 * 0x04040404 + 0x03020100;
        b[i] = i / 64 * 0x01010101;
    }
    for (uint32_t weight = 0; weight <= 256; ++weight) {
        const Arguments x = {got.data(), a.data(), b.data(), nullptr, nullptr, weight, kLine};
        for (int i = 0; i < kLine; ++i)
            want[size_t(i)] = reference::mix(a[size_t(i)], b[size_t(i)], int(weight));
        for (const qx::Build& build : tested_builds()) {
            kernel_named("lin_pix").call(*build.kernels, x);
            ASSERT_EQ(got, want) << build.name << " weight " << weight;
        }
    }
}

// Would catch: a guard that is missing in one export, or that lets a pointer be used before it is looked at.
TEST(Exports, DoNothingForCountsOfZeroAndBelow) {
    for (const LineKernel& kernel : line_kernels) {
        for (int count : {0, -1, -2, -4, -5, INT_MIN}) {
            SCOPED_TRACE(kernel.name);
            kernel.call(exported, {nullptr, nullptr, nullptr, nullptr, nullptr, 0, count});
        }
    }
}

// Values that a reader may want to look up, {bg, fg, result}; opacity and weight are 128. The truncations in
// them are intended.
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
    {"blend_t", {100, 100, 100, 255}, {200, 200, 200, 255}, {149, 149, 149, 253}},
    {"argb2ayuv", {255, 255, 255, 7}, {}, {127, 234, 127, 7}},
    {"argb2ayuv", {0, 0, 255, 0}, {}, {90, 81, 239, 0}},
    {"ayuv2argb", {128, 235, 128, 255}, {}, {254, 254, 254, 255}},
    {"ayuv2argb", {0, 0, 0, 0}, {}, {0, 135, 0, 0}},
    {"ayuv2argb", {255, 255, 255, 1}, {}, {255, 124, 255, 1}},
    {"alpha", {0x33, 0x22, 0x11, 0x80}, {}, {0x80, 0x80, 0x80, 0x80}},
    {"lin_pix", {255, 1, 0, 255}, {255, 1, 255, 0}, {254, 0, 127, 127}},
};

// Would catch: a reference and a kernel that are wrong in the same way.
TEST(Exports, GiveTheWorkedValues) {
    for (const Worked& w : worked) {
        Argb32 bg = reference::pixel_of(w.bg), fg = reference::pixel_of(w.fg), dst = 0;
        kernel_named(w.kernel).call(exported, {&dst, &bg, &fg, nullptr, nullptr, 128, 1});
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

}  // namespace
