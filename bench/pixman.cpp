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

enum class Mask { kNone, kSolid, kBytes };

// pixman wants rows of whole words, which matters for a line by itself alone.
Image mask_image(const Job& job, Mask kind) {
    if (kind == Mask::kNone) return nullptr;
    if (kind == Mask::kBytes)
        return image_of(PIXMAN_a8, job.mask, job.dst_width, job.dst_height, (job.dst_width + 3) / 4 * 4);
    pixman_color_t colour = {0, 0, 0, uint16_t(job.number * 257)};
    return {pixman_image_create_solid_fill(&colour), pixman_image_unref};
}

Contender over(const char* name, Mask kind) {
    auto prepare = [=](const Job& job) {
        const int width = job.dst_width, height = job.dst_height;
        // A row of dst begins as the background, which OVER replaces: it composes in place.
        Image dst = image_of(PIXMAN_a8r8g8b8, job.dst, width, height, width * 4);
        Image fg = image_of(PIXMAN_a8r8g8b8, job.b, width, height, width * 4);
        Image mask = mask_image(job, kind);
        auto run = [=](int times) {
            for (; times > 0; --times)
                for (int y = 0; y < height; ++y)
                    pixman_image_composite32(PIXMAN_OP_OVER, fg.get(), mask.get(), dst.get(), 0, y, 0, y, 0,
                                             y, width, 1);
        };
        auto agrees = [=] {
            std::copy_n(job.a, job.dst_pixels(), job.dst);
            run(1);
            return all_near(job.dst, job.dst_pixels(), 2, [&](size_t i) {
                const double m =
                    kind == Mask::kNone ? 1 : (kind == Mask::kSolid ? job.number : job.mask[i]) / 255.0;
                return pixel_by([&](int k) {
                    return byte_of(job.b[i], k) * m +
                           byte_of(job.a[i], k) * (255 - byte_of(job.b[i], 3) * m) / 255;
                });
            });
        };
        return Ready{run, agrees};
    };
    return {Kind::kPeer, std::string("pixman ") + name, prepare};
}

}  // namespace

void add_pixman(Peers& peers) {
    for (const std::string family : {"blend", "lblend", "sblend"}) {
        peers.insert({family, over("OVER", Mask::kNone)});
        peers.insert({family + "_t", over("OVER, solid mask", Mask::kSolid)});
        for (const char* variant : {"_m", "_mt", "_mlt"})
            peers.insert({family + variant, over("OVER, a8 mask", Mask::kBytes)});
    }
}
