// Pictures in memory as the library wants them, and in PNG files.
#pragma once

#include <string>
#include <vector>

#include "program.h"
#include "qxpixlib.h"

struct Picture {
    int width = 0, height = 0;
    std::vector<Argb32> pixels;  // rows from top to bottom without gaps, straight alpha

    Picture() = default;
    Picture(int w, int h) : width(w), height(h), pixels(size_t(w) * size_t(h)) {}

    Argb32* row(int y) { return pixels.data() + size_t(y) * size_t(width); }
    const Argb32* row(int y) const { return pixels.data() + size_t(y) * size_t(width); }
};

std::string size_of(int width, int height);
inline std::string size_of(const Picture& p) { return size_of(p.width, p.height); }

// All throw Error with a sentence that names the file. The second takes a picture of this size alone; a file
// is saved as by save_file.
Picture load_png(const std::string& path);
Picture load_png(const std::string& path, int width, int height);
void save_png(const std::string& path, const Picture& picture);
