// Pictures in memory as the library wants them, and in PNG files.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "qxpixlib.h"

struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Picture {
    int width = 0, height = 0;
    std::vector<Argb32> pixels;  // rows from top to bottom without gaps, straight alpha

    Picture() = default;
    Picture(int w, int h) : width(w), height(h), pixels(size_t(w) * size_t(h)) {}

    Argb32* row(int y) { return pixels.data() + size_t(y) * size_t(width); }
    const Argb32* row(int y) const { return pixels.data() + size_t(y) * size_t(width); }
};

// Both throw Error with a sentence that names the file. A file is written whole or not at all.
Picture load_png(const std::string& path);
void save_png(const std::string& path, const Picture& picture);
