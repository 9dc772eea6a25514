// libyuv's nearest function to a kernel: whole pictures at a call, as its users would.
#include <libyuv.h>

#include "job.h"

namespace {

void add(const std::vector<std::string>& cases, const char* name, void (*call)(const Job&),
         bool (*agrees)(const Job&)) {
    auto prepare = [=](const Job& job) {
        return Ready{repeat([=] { call(job); }), [=] { return agrees(job); }};
    };
    for (const std::string& kernel : cases)
        peers().insert({kernel, {"peer", std::string("libyuv ") + name, prepare}});
}

int stride(const Job& job) { return job.dst_width * 4; }

// A picture of four planes in the place of one of pixels.
template <typename Byte>
Byte* plane(Byte* planes, const Job& job, int k) {
    return planes + size_t(k) * job.dst_pixels();
}

// BT.601, studio range: Y, U, V and alpha.
double ayuv(Argb32 px, int k) {
    const int b = byte_of(px, 0), g = byte_of(px, 1), r = byte_of(px, 2);
    return k == 0   ? 16 + 0.257 * r + 0.504 * g + 0.098 * b
           : k == 1 ? 128 - 0.148 * r - 0.291 * g + 0.439 * b
           : k == 2 ? 128 + 0.439 * r - 0.368 * g - 0.071 * b
                    : byte_of(px, 3);
}

template <libyuv::FilterMode filter>
void scale(const Job& job) {
    libyuv::ARGBScale(job.a_bytes(), job.src_width * 4, job.src_width, job.src_height, job.dst_bytes(),
                      stride(job), job.dst_width, job.dst_height, filter);
}
// On the bench's gradient a scaler that starts half a pixel beside another one differs by a step or two.
bool scaled(const Job& job) {
    return all_near(job, 4 + 512 / job.src_width, [&](size_t i) {
        return job.a[i % size_t(job.dst_width) * size_t(job.src_width) / size_t(job.dst_width)];
    });
}

[[maybe_unused]] const bool added = [] {
    add(
        {"blend", "lblend", "sblend"}, "ARGBBlend",
        [](const Job& job) {
            libyuv::ARGBBlend(job.b_bytes(), stride(job), job.a_bytes(), stride(job), job.dst_bytes(),
                              stride(job), job.dst_width, job.dst_height);
        },
        [](const Job& job) {
            return all_near(job, 2, [&](size_t i) {
                const Argb32 bg = job.a[i], fg = job.b[i];
                return 0xFF000000 | pixel_by([=](int k) {
                           return byte_of(fg, k) + byte_of(bg, k) * (255 - byte_of(fg, 3)) / 255.0;
                       });
            });
        });
    add(
        {"argb2ayuv"}, "ARGBToI444 and alpha",
        [](const Job& job) {
            uint8_t* to = job.dst_bytes();
            const int width = job.dst_width;
            libyuv::ARGBToI444(job.a_bytes(), stride(job), plane(to, job, 0), width, plane(to, job, 1), width,
                               plane(to, job, 2), width, width, job.dst_height);
            libyuv::ARGBExtractAlpha(job.a_bytes(), stride(job), plane(to, job, 3), width, width,
                                     job.dst_height);
        },
        [](const Job& job) {
            return all_near(job, 2, [&](size_t four) {
                return pixel_by([&](int n) {
                    const size_t i = four * 4 + size_t(n);
                    return ayuv(job.a[i % job.dst_pixels()], int(i / job.dst_pixels()));
                });
            });
        });
    add(
        {"ayuv2argb"}, "I444AlphaToARGB",
        [](const Job& job) {
            const uint8_t* from = job.a_bytes();
            const int width = job.dst_width;
            libyuv::I444AlphaToARGB(plane(from, job, 0), width, plane(from, job, 1), width,
                                    plane(from, job, 2), width, plane(from, job, 3), width, job.dst_bytes(),
                                    stride(job), width, job.dst_height, 0);
        },
        [](const Job& job) {
            return all_near(job, 3, [&](size_t i) {
                auto at = [&](int k) { return plane(job.a_bytes(), job, k)[i]; };
                const double y = 1.164 * (at(0) - 16), u = at(1) - 128, v = at(2) - 128;
                const double channels[] = {y + 2.018 * u, y - 0.391 * u - 0.813 * v, y + 1.596 * v,
                                           double(at(3))};
                return pixel_by([&](int k) { return channels[k]; });
            });
        });
    add(
        {"alpha"}, "ARGBShuffle",
        [](const Job& job) {
            static const uint8_t alphas[] = {3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15};
            libyuv::ARGBShuffle(job.a_bytes(), stride(job), job.dst_bytes(), stride(job), alphas,
                                job.dst_width, job.dst_height);
        },
        [](const Job& job) {
            return all_near(job, 0, [&](size_t i) { return (job.a[i] >> 24) * 0x01010101u; });
        });
    add(
        {"mask"}, "ARGBAttenuate",
        [](const Job& job) {
            libyuv::ARGBAttenuate(job.a_bytes(), stride(job), job.dst_bytes(), stride(job), job.dst_width,
                                  job.dst_height);
        },
        [](const Job& job) {
            return all_near(job, 1, [&](size_t i) {
                const Argb32 px = job.a[i];
                return pixel_by(
                    [=](int k) { return byte_of(px, k) * (k == 3 ? 255 : byte_of(px, 3)) / 255.0; });
            });
        });
    add(
        {"lin_pix"}, "ARGBInterpolate",
        [](const Job& job) {
            libyuv::ARGBInterpolate(job.a_bytes(), stride(job), job.b_bytes(), stride(job), job.dst_bytes(),
                                    stride(job), job.dst_width, job.dst_height, int(job.number));
        },
        [](const Job& job) {
            return all_near(job, 1, [&](size_t i) {
                const double share = job.number / 256.0;
                return pixel_by(
                    [&](int k) { return byte_of(job.a[i], k) * (1 - share) + byte_of(job.b[i], k) * share; });
            });
        });
    add(
        {"fill"}, "ARGBRect",
        [](const Job& job) {
            libyuv::ARGBRect(job.dst_bytes(), stride(job), 0, 0, job.dst_width, job.dst_height, job.number);
        },
        [](const Job& job) { return all_near(job, 0, [&](size_t) { return job.number; }); });
    add({"scale_1d 4:3", "scale_1d 2:3", "scale_horz 4:3", "scale_horz 2:3", "zoom_in2x1d"},
        "ARGBScale linear", scale<libyuv::kFilterLinear>, scaled);
    add({"zoom_in2x2d"}, "ARGBScale bilinear", scale<libyuv::kFilterBilinear>, scaled);
    add({"zoom_outNx by 2", "zoom_outNx by 3"}, "ARGBScale none", scale<libyuv::kFilterNone>, scaled);
    return true;
}();

}  // namespace
