// The kernels whose output has another shape than their input: v210, zoom and the scalers.
#include <climits>
#include <numeric>

#include "suite.h"

namespace {

class PictureKernelTest : public testing::TestWithParam<qx::Build> {
 protected:
    const qx::KernelTable& kernels() const { return *GetParam().kernels; }

    // Runs call(dst, src) on buffers between guard pages, at addresses of any alignment, and expect(dst, src)
    // on aligned ones with the same contents; then holds all of dst, written or not, against each other.
    template <typename Call, typename Expect>
    void check(size_t dst_bytes, size_t src_bytes, Call call, Expect expect) {
        for (auto edge : {GuardedPages::kLower, GuardedPages::kUpper}) {
            size_t dst_gap = random.below(2) ? size_t(random.below(64)) : 0;
            size_t src_gap = random.below(2) ? size_t(random.below(64)) : 0;
            uint8_t* dst = dst_pages.place(dst_bytes, edge, dst_gap);
            uint8_t* src = src_pages.place(src_bytes, edge, src_gap);
            random.fill(dst, dst_bytes);
            random.fill(src, src_bytes);
            std::vector<uint32_t> want((dst_bytes + 3) / 4), copy((src_bytes + 3) / 4);
            std::copy_n(dst, dst_bytes, reinterpret_cast<uint8_t*>(want.data()));
            std::copy_n(src, src_bytes, reinterpret_cast<uint8_t*>(copy.data()));
            expect(want.data(), copy.data());
            call(dst, src);
            ASSERT_TRUE(std::equal(dst, dst + dst_bytes, reinterpret_cast<const uint8_t*>(want.data())));
            ASSERT_TRUE(dst_pages.margins_intact() && src_pages.margins_intact());
        }
    }
    RandomBytes random;
    GuardedPages dst_pages{1 << 17}, src_pages{1 << 17};
};

INSTANTIATE_TEST_SUITE_P(All, PictureKernelTest, testing::ValuesIn(tables()),
                         [](const auto& info) { return std::string(info.param.name); });

// Would catch: a sample from the wrong bits, or any access past the last block or the last sample.
TEST_P(PictureKernelTest, V210GivesEveryEvenCountItsThreePlanes) {
    for (int count : {2, 4, 6, 8, 10, 12, 14, 24, 46, 48, 50, 52, 94, 96, 98, 144, 720, 1280, 1918, 1920}) {
        SCOPED_TRACE(count);
        check(
            size_t(count) * 4, size_t(count + 5) / 6 * 16,
            [&](uint8_t* dst, const uint8_t* src) {
                kernels().v210yuv422p10(reinterpret_cast<uint16_t*>(dst), src, count);
            },
            [&](uint32_t* dst, const uint32_t* src) {
                reference::v210yuv422p10(reinterpret_cast<uint16_t*>(dst),
                                         reinterpret_cast<const uint8_t*>(src), count);
            });
    }
}

TEST_P(PictureKernelTest, DoublesWholeGroupsOfALine) {
    for (int count = 4; count < 80; ++count) {
        SCOPED_TRACE(count);
        check(
            size_t(count) * 8, size_t(count) / 4 * 16,  // the pixels past the last group are not even there
            [&](uint8_t* dst, const uint8_t* src) {
                kernels().zoom_in2x1d(reinterpret_cast<Argb32*>(dst), reinterpret_cast<const Argb32*>(src),
                                      count);
            },
            [&](uint32_t* dst, const uint32_t* src) { reference::zoom_in2x1d(dst, src, count); });
    }
}

// Would catch: rows that go astray, an odd row that leaves out the unwritten end of the even ones, a last row
// that is not copied for a height of 0 or below.
TEST_P(PictureKernelTest, DoublesPictures) {
    for (int width : {1, 2, 3, 4, 5, 6, 8, 10, 16, 18, 33, 64}) {
        for (int height : {-3, 0, 1, 2, 3, 5}) {
            for (int padding : {0, 3}) {
                SCOPED_TRACE(testing::Message() << width << " x " << height << " + " << padding);
                const int rows = std::max(height, 0), stride = width + padding;
                const int read = rows == 0 ? 0 : (rows - 1) * stride + width;
                check(
                    size_t(2 * width) * size_t(std::max(2 * rows, 2)) * 4, size_t(read) * 4,
                    [&](uint8_t* dst, const uint8_t* src) {
                        kernels().zoom_in2x2d(reinterpret_cast<Argb32*>(dst),
                                              reinterpret_cast<const Argb32*>(src), width, height, stride);
                    },
                    [&](uint32_t* dst, const uint32_t* src) {
                        reference::zoom_in2x2d(dst, src, width, height, stride);
                    });
            }
        }
    }
}

// All sizes, and long lines on which the pinned last position lies several pixels after the one before.
// Would catch: a tap of the wrong pixel, a window that reaches past the line, a step that overflows.
TEST_P(PictureKernelTest, ScalesLines) {
    std::vector<std::pair<int, int>> sizes = {{1280, 1920}, {1920, 1280}, {1440, 1920}, {1920, 1440},
                                              {3000, 8},    {8, 3000},    {4000, 3999}, {5000, 2},
                                              {4096, 9000}, {300, 301}};
    for (int dst = 4; dst <= 70; ++dst)
        for (int src = 2; src <= 64; ++src) sizes.push_back({dst, src});
    for (auto [dst_count, src_count] : sizes) {
        SCOPED_TRACE(testing::Message() << src_count << " to " << dst_count);
        check(
            size_t(dst_count) * 4, size_t(src_count) * 4,
            [&, d = dst_count, s = src_count](uint8_t* dst, const uint8_t* src) {
                kernels().scale_1d(reinterpret_cast<Argb32*>(dst), d, reinterpret_cast<const Argb32*>(src),
                                   s);
            },
            [&, d = dst_count, s = src_count](uint32_t* dst, const uint32_t* src) {
                reference::scale_1d(dst, d, src, s);
            });
    }
}

TEST_P(PictureKernelTest, ScalesRowsByTheirStrides) {
    for (int height : {-1, 0, 1, 3}) {
        const int rows = std::max(height, 0);
        check(
            size_t(rows * 40) * 4, size_t(rows * 30) * 4,
            [&](uint8_t* dst, const uint8_t* src) {
                kernels().scale_horz(reinterpret_cast<Argb32*>(dst), 37, 40,
                                     reinterpret_cast<const Argb32*>(src), 29, height, 30);
            },
            [&](uint32_t* dst, const uint32_t* src) {
                for (int y = 0; y < rows; ++y) reference::scale_1d(dst + y * 40, 37, src + y * 30, 29);
            });
    }
}

// Odd pairs of sizes, and rows of every width at small factors; the source ends with the last position that
// is read, inside the picture or beyond it. Would catch: a factor that is rounded down, a clamped position, a
// vector that reaches past the last tap.
TEST_P(PictureKernelTest, ZoomsOutByWholeFactors) {
    struct Size {
        int src_width, src_height, dst_width, dst_height;
    };
    std::vector<Size> sizes = {{64, 48, 32, 24}, {10, 4, 6, 2}, {9, 9, 3, 3}, {7, 5, 7, 5},  {3, 2, 6, 4},
                               {100, 3, 9, 3},   {1, 1, 1, 1},  {0, 5, 4, 4}, {-3, 2, 6, 1}, {70, 1, 35, 1}};
    for (int factor = 1; factor <= 5; ++factor)
        for (int width = 1; width <= 70; ++width) sizes.push_back({factor * width, 2, width, 2});
    for (const Size& z : sizes) {
        SCOPED_TRACE(testing::Message() << z.src_width << " x " << z.src_height << " to " << z.dst_width
                                        << " x " << z.dst_height);
        auto factor = [](int src, int dst) { return src / dst + (src % dst != 0); };
        const int fx = factor(z.src_width, z.dst_width), fy = factor(z.src_height, z.dst_height);
        const int read = fx > 0 ? (z.dst_height - 1) * fy * z.src_width + (z.dst_width - 1) * fx + 1 : 0;
        check(
            size_t(z.dst_width * z.dst_height) * 4, size_t(read) * 4,
            [&](uint8_t* dst, const uint8_t* src) {
                kernels().zoom_outNx(reinterpret_cast<Argb32*>(dst), z.dst_width, z.dst_height,
                                     reinterpret_cast<const Argb32*>(src), z.src_width, z.src_height);
            },
            [&](uint32_t* dst, const uint32_t* src) {
                reference::zoom_outNx(dst, z.dst_width, z.dst_height, src, z.src_width, z.src_height);
            });
    }
}

// Arguments outside the contract, on null pointers. Would catch: a missing guard, a division by zero, a
// position that overflows.
TEST(PictureExports, WriteNothingForImpossibleSizes) {
    for (int n : {INT_MIN, -4, -1, 0, 1}) {
        qx_v210yuv422p10(nullptr, nullptr, n);
        qx_zoom_in2x1d(nullptr, nullptr, n);
        qx_scale_1d(nullptr, n, nullptr, 100);
        qx_scale_1d(nullptr, 100, nullptr, n);
        qx_scale_horz(nullptr, 100, 100, nullptr, n, 5, 100);
        if (n < 1) {
            qx_zoom_in2x2d(nullptr, nullptr, n, 5, 5);
            qx_scale_horz(nullptr, 100, 100, nullptr, 100, n, 100);
            qx_zoom_outNx(nullptr, n, 4, nullptr, INT_MIN, INT_MIN);
            qx_zoom_outNx(nullptr, 4, n, nullptr, INT_MIN, INT_MIN);
        }
    }
    qx_v210yuv422p10(nullptr, nullptr, 47);
    qx_v210yuv422p10(nullptr, nullptr, INT_MAX);
    qx_zoom_in2x1d(nullptr, nullptr, 3);
    qx_zoom_in2x2d(nullptr, nullptr, 1 << 30, 5, 5);
    qx_scale_1d(nullptr, 3, nullptr, 100);
    qx_scale_1d(nullptr, 100, nullptr, 8388608);
    qx_scale_horz(nullptr, 100, 100, nullptr, INT_MAX, 1, 100);
}

// Would catch: 32-bit arithmetic in strides. A row lies beyond the reach of an int when counted in bytes.
TEST(PictureExports, ReachRowsBeyondTwoGigabytes) {
    if (sizeof(void*) < 8) GTEST_SKIP() << "no room for it";
    constexpr size_t kFar = size_t{600} << 20, kBytes = (kFar + 1024) * 4;  // pixels; two rows are touched
    uint8_t* p = reserve_pages(kBytes);
    if (p == nullptr) GTEST_SKIP() << "no address space for it";
    ASSERT_TRUE(open_pages(p, kPage) && open_pages(p + kFar * 4, kPage));
    Argb32 *src = reinterpret_cast<Argb32*>(p), dst[32] = {};
    std::fill_n(src + kFar, 16, 0x40404040u);
    qx_scale_horz(dst, 16, 16, src, 16, 2, int32_t(kFar));
    EXPECT_EQ(dst[16], 0x40404040u);
    release_pages(p, kBytes);
}

// Would catch: 32-bit arithmetic in columns, of which the last ones are read past pixel 2^31 - 1.
TEST(PictureExports, ReachColumnsBeyondTwoGigabytes) {
    constexpr int32_t kWidth = (1 << 30) + 64, kPiece = 1 << 24;  // pixels
    const size_t dst_bytes = size_t{kWidth} * 4, src_bytes = size_t{kWidth} * 8;
    auto* dst = reinterpret_cast<Argb32*>(repeat_pages(kPiece * 4, dst_bytes));
    auto* src = reinterpret_cast<Argb32*>(repeat_pages(kPiece * 4, src_bytes));
    if (dst == nullptr || src == nullptr) GTEST_SKIP() << "no room for it, or no repeating of pages";
    std::iota(src, src + kPiece, 0u);
    for (const qx::Build& build : tested_builds()) {
        std::fill_n(dst, kPiece, 1);
        build.kernels->zoom_outNx(dst, kWidth, 1, src, INT_MAX, 1);
        for (uint32_t x = 0; x < kPiece; ++x) ASSERT_EQ(dst[x], 2 * x % kPiece) << build.name;
    }
    release_pages(reinterpret_cast<uint8_t*>(dst), dst_bytes);
    release_pages(reinterpret_cast<uint8_t*>(src), src_bytes);
}

}  // namespace
