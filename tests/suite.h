// What the test files share: the tables under test, and random input.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <random>

#include "guarded.h"
#include "line_kernels.h"
#include "other_builds.h"

namespace qx {
#define QX_DECLARE(build, condition)  \
    namespace build {                 \
    extern const KernelTable kernels; \
    }
QX_OTHER_BUILDS(QX_DECLARE)
#undef QX_DECLARE

inline void PrintTo(const Build& build, std::ostream* out) { *out << build.name; }
}  // namespace qx
inline void PrintTo(const LineKernel& kernel, std::ostream* out) { *out << kernel.name; }

// Objects that are linked into a program have a constructor, but nobody calls their DllMain.
#if defined(_WIN32)
inline const bool loaded = (qx::on_load(), true);
#endif

// The exported functions as one more table: the suite then also proves that each reaches its own kernel.
inline const qx::KernelTable exported = {
#define QX_ENTRY(name) qx_##name,
    QX_KERNELS(QX_ENTRY)
#undef QX_ENTRY
};

// The builds that this machine runs, those included that are in no library.
inline std::vector<qx::Build> tested_builds() {
    std::vector<qx::Build> all = machine_builds();
#define QX_ADD(build, condition) all.push_back({#build, &qx::build::kernels});
    QX_OTHER_BUILDS(QX_ADD)
#undef QX_ADD
    return all;
}

inline std::vector<qx::Build> tables() {
    std::vector<qx::Build> all = tested_builds();
    all.push_back({"exports", &exported});
    return all;
}

// Random bytes, every fourth an extreme: there truncation, saturation and signs go wrong.
class RandomBytes {
 public:
    uint8_t operator()() {
        uint32_t r = uint32_t(engine_());
        constexpr uint8_t extremes[] = {0, 0, 1, 127, 128, 254, 255, 255};
        return r & 0x300 ? uint8_t(r) : extremes[r >> 10 & 7];
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

inline std::vector<Argb32> copy_of(const Argb32* line, int count) {
    std::vector<Argb32> px(static_cast<size_t>(count));
    std::memcpy(px.data(), line, px.size() * sizeof(Argb32));
    return px;
}
