// What the bench gives its contenders, and what they are.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "qxpixlib.h"

// The lines of one picture. The rows of dst, and those of a, b and mask, follow each other without gaps.
struct Job {
    Argb32* dst = nullptr;
    const Argb32* a = nullptr;  // bg, src or src1
    const Argb32* b = nullptr;  // fg, premultiplied, or src2
    const uint8_t* mask = nullptr;
    const uint8_t* lut = nullptr;
    uint32_t number = 200;  // opacity, weight or fill value
    int src_width = 0, src_height = 0, dst_width = 0, dst_height = 0;

    size_t src_pixels() const { return size_t(src_width) * size_t(src_height); }
    size_t dst_pixels() const { return size_t(dst_width) * size_t(dst_height); }
    const uint8_t* a_bytes() const { return reinterpret_cast<const uint8_t*>(a); }
    const uint8_t* b_bytes() const { return reinterpret_cast<const uint8_t*>(b); }
    uint8_t* dst_bytes() const { return reinterpret_cast<uint8_t*>(dst); }
};

// A contender that is set up for a job: run does it so many times, agrees looks whether the result is right.
struct Ready {
    std::function<void(int)> run;
    std::function<bool()> agrees;
};

struct Contender {
    std::string kind;  // "build", "in_place", "plain" or "peer"
    std::string name;
    std::function<Ready(const Job&)> prepare;
};

// The other libraries' contenders, by the case that they stand in. Each library that is built in adds its
// own.
std::multimap<std::string, Contender>& peers();

// Repeats within the one call through std::function, which would be a good part of a short line's time.
template <typename Once>
std::function<void(int)> repeat(Once once) {
    return [once](int times) {
        for (; times > 0; --times) once();
    };
}

inline int byte_of(Argb32 px, int k) { return int(px >> (8 * k) & 255); }

// A pixel, byte k being rule(k) or the nearest that a byte can hold.
template <typename Rule>
Argb32 pixel_by(Rule rule) {
    Argb32 px = 0;
    for (int k = 0; k < 4; ++k) {
        double value = rule(k) + 0.5;
        px |= Argb32(value < 0 ? 0 : value > 255 ? 255 : int(value)) << (8 * k);
    }
    return px;
}

// Whether no byte of the result is further than `tolerance` from the pixel expected(i).
template <typename Expected>
bool all_near(const Job& job, int tolerance, Expected expected) {
    for (size_t i = 0; i < job.dst_pixels(); ++i) {
        const Argb32 want = expected(i);
        for (int k = 0; k < 4; ++k) {
            int off = byte_of(job.dst[i], k) - byte_of(want, k);
            if (off > tolerance || off < -tolerance) return false;
        }
    }
    return true;
}
