// All that is compared takes turns in one process, in another order each round; a figure is the median of the
// rounds.
#pragma once

#include "frame/kernels.h"
#include "job.h"

// Peers of the scalers place their samples a little differently, which a gradient forgives; FFmpeg's decoder
// wants the unused bits of v210 to be 0.
enum class Input { kRandom, kGradient, kV210 };

struct Case {
    std::string name;
    std::function<void(Job&, int width, int height)> resize;  // the sizes, for outputs of about this size
    std::function<std::function<void(int times)>(const qx::KernelTable&, const Job&)> run;
    std::function<void(const Job&)> expect;
    Input input = Input::kRandom;
    bool in_place = false;  // dst may be a
};

std::vector<Case> all_cases();

struct Shape {
    const char* name;
    int width, height;
    int rounds;
    double sample_seconds;  // at least so long is one measurement
};

struct Figure {
    std::string kind, contender;
    double seconds;  // for one run, the median of the rounds
};

struct Result {
    const Case* kernel;
    const Shape* shape;
    size_t pixels;  // of the result
    std::vector<Figure> figures;
};

// Runs every contender; leaves the program if one of them gives a wrong result.
Result measure(const Case& kernel, const Shape& shape);

// Instructions for 16 pixels of a long line: what a line of 1920 has more than one of 960.
double instructions_for_16(const Case& kernel, const qx::KernelTable& table);
