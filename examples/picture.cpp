#include "picture.h"

#include <png.h>

#include <cstdio>

Picture load_png(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) throw Error(path + ": " + image.message);
    image.format = PNG_FORMAT_BGRA;            // Argb32, byte for byte
    image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // 16-bit files hold sRGB too, not linear light
    Picture picture(int(image.width), int(image.height));
    if (!png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr))
        throw Error(path + ": " + image.message);
    return picture;
}

void save_png(const std::string& path, const Picture& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.format = PNG_FORMAT_BGRA;
    image.width = png_uint_32(picture.width);
    image.height = png_uint_32(picture.height);
    const std::string partial = path + ".partial";
    bool written = png_image_write_to_file(&image, partial.c_str(), 0, picture.pixels.data(), 0, nullptr);
    if (!written || std::rename(partial.c_str(), path.c_str()) != 0) {
        std::remove(partial.c_str());
        throw Error(path + ": " + (written ? "cannot be written" : image.message));
    }
}
