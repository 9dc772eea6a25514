// 65535 / i, truncated, for i of 1 to 255, and 0 for i of 0: what qx_sblend divides by. Filled when the
// library is loaded, before a build that reads it is chosen.
#pragma once

#include <stdint.h>

namespace qx {

extern uint16_t ReciprocalTable[256];

}  // namespace qx
