// pixman's OVER on premultiplied pictures, row by row: plain, under a solid mask, under a mask of one byte a
// pixel.
#include <pixman.h>

#include <algorithm>
#include <memory>

#include "job.h"

namespace {

using Image = std::shared_ptr<pixman_image_t>;

Image image_of(pixman_format_code_t format, const void* pixels, int width, int height, int stride) {
    uint32_t* bits = static_cast<uint32_t*>(const_cast<void*>(pixels));
    return {pixman_image_create_bits_no_clear(format, width, height, bits, stride), pixman_image_unref};
}

Image no_mask(const Job&) { return nullptr; }
Image solid_mask(const Job& job) {
    const pixman_color_t colour = {0, 0, 0, uint16_t(job.number * 257)};
    return {pixman_image_create_solid_fill(&colour), pixman_image_unref};
}
// pixman wants rows of whole words, which matters for a line by itself alone.
Image byte_mask(const Job& job) {
    return image_of(PIXMAN_a8, job.mask, job.dst_width, job.dst_height, (job.dst_width + 3) / 4 * 4);
}

void add(const std::string& variant, const char* name, Image (*mask_of)(const Job&),
         uint32_t (*weight)(const Job&, size_t i)) {
    auto prepare = [=](const Job& job) {
        const int width = job.dst_width, height = job.dst_height;
        // A row of dst begins as the background, which OVER replaces: it composes in place.
        Image dst = image_of(PIXMAN_a8r8g8b8, job.dst, width, height, width * 4);
        Image fg = image_of(PIXMAN_a8r8g8b8, job.b, width, height, width * 4);
        auto once = [=, mask = mask_of(job)] {
            for (int y = 0; y < height; ++y)
                pixman_image_composite32(PIXMAN_OP_OVER, fg.get(), mask.get(), dst.get(), 0, y, 0, y, 0, y,
                                         width, 1);
        };
        auto agrees = [=] {
            std::copy_n(job.a, job.dst_pixels(), job.dst);
            once();
            return all_near(job, 2, [&](size_t i) {
                const double w = weight(job, i) / 255.0;
                return pixel_by([&](int k) {
                    return byte_of(job.b[i], k) * w +
                           byte_of(job.a[i], k) * (255 - byte_of(job.b[i], 3) * w) / 255;
                });
            });
        };
        return Ready{repeat(once), agrees};
    };
    for (const char* family : {"blend", "lblend", "sblend"})
        peers().insert({family + variant, {"peer", std::string("pixman ") + name, prepare}});
}

[[maybe_unused]] const bool added = [] {
    add("", "OVER", no_mask, [](const Job&, size_t) { return 255u; });
    add("_t", "OVER, solid mask", solid_mask, [](const Job& job, size_t) { return job.number; });
    for (const char* variant : {"_m", "_mt", "_mlt"})
        add(variant, "OVER, a8 mask", byte_mask,
            [](const Job& job, size_t i) { return uint32_t(job.mask[i]); });
    return true;
}();

}  // namespace
