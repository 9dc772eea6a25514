// What sse2, avx2 and avx512 do better, in 32 and in 64 bits. "x256" says that a lane holds a byte in its
// high half.
#pragma once

// What the portable formulas call,
#include "vec/x86_bytes.h"
#include "vec/x86_memory.h"
// and what calls portable operations itself.
#include "vec/x86_blocks.h"
#include "vec/x86_conversions.h"
#include "vec/x86_taps.h"
#include "vec/x86_weights.h"
