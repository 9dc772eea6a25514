// Where the samples of v210 lie.
#pragma once

namespace qx::QX_ISA {

// A block of six pixels is a stream of twelve samples, Cb0 Y0 Cr0 Y1 Cb1 Y2 and so on, three to a 32-bit
// word, from bits 0, 10 and 20 up.
constexpr int sample_bit(int block, int sample) {
    return 128 * block + 32 * (sample / 3) + 10 * (sample % 3);
}

struct Luma {
    static constexpr int kPerBlock = 6;
    static constexpr int bit(int k) { return sample_bit(k / 6, k % 6 * 2 + 1); }
};
struct Cb {
    static constexpr int kPerBlock = 3;
    static constexpr int bit(int k) { return sample_bit(k / 3, k % 3 * 4); }
};
struct Cr {
    static constexpr int kPerBlock = 3;
    static constexpr int bit(int k) { return sample_bit(k / 3, k % 3 * 4 + 2); }
};

}  // namespace qx::QX_ISA
