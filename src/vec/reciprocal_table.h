// 65535 / i, truncated, for i of 1 to 255, and 0 for i of 0: the reciprocals of the qx_sblend family's
// alphas. Builds that look bytes up in registers read it; the others divide.
#pragma once

#include <stdint.h>

namespace qx {

struct Reciprocals {
    uint16_t of[256] = {};

    constexpr Reciprocals() {
        for (unsigned i = 1; i < 256; ++i) of[i] = static_cast<uint16_t>(65535 / i);
    }
};

// Worked out by the compiler, and each unit's own: nothing is filled at load, and no copy of one build can
// become another's.
static constexpr Reciprocals reciprocals;
static constexpr const uint16_t (&ReciprocalTable)[256] = reciprocals.of;

}  // namespace qx
