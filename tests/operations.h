// The operations of src/vec as functions over lines of pixels. operations.cpp is compiled for every build,
// and has the same rows in all of them.
#pragma once

#include <stdint.h>

#include "qxpixlib.h"

namespace qx {

constexpr int kLine = 256;  // pixels: some blocks of the widest build, and one for each value of a byte

struct Operands {
    Argb32* out;           // up to four lines
    const Argb32 *a, *b;   // a line
    const uint8_t* mask;   // of a line
    const uint8_t* table;  // 256 bytes
    uint32_t number;       // an opacity, a weight, a length and so on
};

struct Operation {
    const char* name;
    uint32_t first, last;  // number
    void (*run)(const Operands& x);
};

struct Operations {
    const Operation* row;
    int count;
};

}  // namespace qx
