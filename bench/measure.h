// All that is compared takes turns in one process, in another order each round; a figure is the median of the
// rounds.
#pragma once

#include "cases.h"

struct Shape {
    const char* name;
    int width, height;
    int rounds;
    double sample_seconds;  // at least so long is one measurement

    bool is_picture() const { return height > 1; }
};

struct Figure {
    Kind kind;
    std::string contender;
    double seconds;  // for one run, the median of the rounds
};

struct Result {
    const Case* kernel;
    const Shape* shape;
    size_t pixels, rows;  // of the result
    std::vector<Figure> figures;
};

// Lines begin so many bytes after a multiple of 64.
extern size_t line_offset;

// Runs every contender; leaves the program if one of them gives a wrong result.
Result measure(const Case& kernel, const Shape& shape, const Peers& peers);

// Instructions for 16 pixels of a long line: what a line of 1920 has more than one of 960.
double instructions_for_16(const Case& kernel, const qx::KernelTable& table);
