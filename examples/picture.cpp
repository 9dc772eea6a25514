#include "picture.h"

#include <png.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace {

// Whether a file of any kind has the bytes for that many pixels: a pixel takes a bit or more, and deflate
// makes at most 1032 bytes of one.
bool can_hold(std::FILE* file, uint64_t pixels) {
    struct stat info;
    const bool has_size = fstat(fileno(file), &info) == 0 && S_ISREG(info.st_mode);
    return !has_size || pixels / 8 / 1032 <= uint64_t(info.st_size);
}

}  // namespace

std::string size_of(int width, int height) { return std::to_string(width) + " x " + std::to_string(height); }

Picture load_png(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (file == nullptr) throw Error(path + " cannot be read: " + std::strerror(errno));
    png_image image{};
    const std::unique_ptr<png_image, void (*)(png_image*)> freed(&image, png_image_free);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_stdio(&image, file.get())) throw Error(path + ": " + image.message);
    const int width = int(image.width),
              height = int(image.height);  // a million at most, by libpng's own limit
    if (!can_hold(file.get(), uint64_t{image.width} * image.height))
        throw Error(path + " is too short to hold " + size_of(width, height));
    image.format = PNG_FORMAT_BGRA;            // Argb32, byte for byte
    image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // 16-bit files hold sRGB too, not linear light
    Picture picture;
    try {
        picture = Picture(width, height);
    } catch (const std::bad_alloc&) {
        throw Error(path + ": there is not enough memory for " + size_of(width, height));
    }
    if (!png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr))
        throw Error(path + ": " + image.message);
    return picture;
}

Picture load_png(const std::string& path, int width, int height) {
    Picture picture = load_png(path);
    if (picture.width != width || picture.height != height)
        throw Error(path + " is " + size_of(picture) + ", and has to be " + size_of(width, height));
    return picture;
}

void save_png(const std::string& path, const Picture& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.format = PNG_FORMAT_BGRA;
    image.width = png_uint_32(picture.width);
    image.height = png_uint_32(picture.height);
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<char> file(size);
    if (!png_image_write_to_memory(&image, file.data(), &size, 0, picture.pixels.data(), 0, nullptr))
        throw Error(path + ": " + image.message);
    save_file(path, file.data(), size);
}
