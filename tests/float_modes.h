// The floating-point modes that a caller may have set.
#pragma once

#include <cstdint>

#if defined(__i386__) || defined(__x86_64__)
#include <immintrin.h>

using FloatModes = unsigned;
inline FloatModes float_modes() { return _mm_getcsr(); }
inline void set_float_modes(FloatModes modes) { _mm_setcsr(modes); }

// The four rounding modes; tiny numbers are 0, and all exceptions but "inexact" trap.
constexpr FloatModes difficult_float_modes[] = {0x9040, 0xB040, 0xD040, 0xF040};

#elif defined(__aarch64__)

using FloatModes = uint64_t;
inline FloatModes float_modes() {
    FloatModes modes;
    asm volatile("mrs %0, fpcr" : "=r"(modes)::"memory");
    return modes;
}
inline void set_float_modes(FloatModes modes) { asm volatile("msr fpcr, %0" ::"r"(modes) : "memory"); }

// The four rounding modes; tiny numbers are 0. Exceptions do not trap on most processors.
constexpr FloatModes difficult_float_modes[] = {0x1000000, 0x1400000, 0x1800000, 0x1C00000};

#else
#include <cfenv>

using FloatModes = int;
inline FloatModes float_modes() { return std::fegetround(); }
inline void set_float_modes(FloatModes modes) { std::fesetround(modes); }

constexpr FloatModes difficult_float_modes[] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};

#endif
