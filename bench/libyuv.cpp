// libyuv's nearest function to a kernel: whole pictures at a call, as its users would.
#include <libyuv.h>

#include "job.h"

namespace {

using Call = void (*)(const Job&);
using Expected = Argb32 (*)(const Job&, size_t i);

Contender peer(const char* name, Call call, Expected expected, int tolerance) {
    auto prepare = [=](const Job& job) {
        auto run = [=](int times) {
            for (; times > 0; --times) call(job);
        };
        auto agrees = [=] {
            return all_near(job.dst, job.dst_pixels(), tolerance, [&](size_t i) { return expected(job, i); });
        };
        return Ready{run, agrees};
    };
    return {Kind::kPeer, std::string("libyuv ") + name, prepare};
}

int stride(const Job& job) { return job.dst_width * 4; }

// A picture of four planes in the place of one of pixels.
template <typename Byte>
Byte* plane(Byte* planes, const Job& job, int k) {
    return planes + size_t(k) * job.dst_pixels();
}

void blend(const Job& job) {
    libyuv::ARGBBlend(job.b_bytes(), stride(job), job.a_bytes(), stride(job), job.dst_bytes(), stride(job),
                      job.dst_width, job.dst_height);
}
Argb32 blended(const Job& job, size_t i) {
    return 0xFF000000 | pixel_by([&](int k) {
               return byte_of(job.b[i], k) + byte_of(job.a[i], k) * (255 - byte_of(job.b[i], 3)) / 255.0;
           });
}

void to_planes(const Job& job) {
    const int width = job.dst_width, height = job.dst_height;
    libyuv::ARGBToI444(job.a_bytes(), stride(job), plane(job.dst_bytes(), job, 0), width,
                       plane(job.dst_bytes(), job, 1), width, plane(job.dst_bytes(), job, 2), width, width,
                       height);
    libyuv::ARGBExtractAlpha(job.a_bytes(), stride(job), plane(job.dst_bytes(), job, 3), width, width,
                             height);
}
// BT.601, studio range.
Argb32 planes_expected(const Job& job, size_t four) {
    return pixel_by([&](int n) {
        const size_t i = four * 4 + size_t(n), pixels = job.dst_pixels();
        const Argb32 px = job.a[i % pixels];
        const int b = byte_of(px, 0), g = byte_of(px, 1), r = byte_of(px, 2);
        switch (i / pixels) {
            case 0:
                return 16 + 0.257 * r + 0.504 * g + 0.098 * b;
            case 1:
                return 128 - 0.148 * r - 0.291 * g + 0.439 * b;
            case 2:
                return 128 + 0.439 * r - 0.368 * g - 0.071 * b;
            default:
                return double(byte_of(px, 3));
        }
    });
}

void from_planes(const Job& job) {
    const int width = job.dst_width;
    libyuv::I444AlphaToARGB(plane(job.a_bytes(), job, 0), width, plane(job.a_bytes(), job, 1), width,
                            plane(job.a_bytes(), job, 2), width, plane(job.a_bytes(), job, 3), width,
                            job.dst_bytes(), stride(job), width, job.dst_height, 0);
}
Argb32 from_planes_expected(const Job& job, size_t i) {
    auto at = [&](int k) { return int(plane(job.a_bytes(), job, k)[i]); };
    const double y = 1.164 * (at(0) - 16), u = at(1) - 128, v = at(2) - 128;
    const double channels[4] = {y + 2.018 * u, y - 0.391 * u - 0.813 * v, y + 1.596 * v, double(at(3))};
    return pixel_by([&](int k) { return channels[k]; });
}

void shuffle(const Job& job) {
    static const uint8_t alphas[16] = {3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15};
    libyuv::ARGBShuffle(job.a_bytes(), stride(job), job.dst_bytes(), stride(job), alphas, job.dst_width,
                        job.dst_height);
}
Argb32 alpha_of(const Job& job, size_t i) { return (job.a[i] >> 24) * 0x01010101u; }

void attenuate(const Job& job) {
    libyuv::ARGBAttenuate(job.a_bytes(), stride(job), job.dst_bytes(), stride(job), job.dst_width,
                          job.dst_height);
}
Argb32 attenuated(const Job& job, size_t i) {
    return pixel_by([&](int k) {
        return k == 3 ? byte_of(job.a[i], 3) : byte_of(job.a[i], k) * byte_of(job.a[i], 3) / 255.0;
    });
}

void interpolate(const Job& job) {
    libyuv::ARGBInterpolate(job.a_bytes(), stride(job), job.b_bytes(), stride(job), job.dst_bytes(),
                            stride(job), job.dst_width, job.dst_height, int(job.number));
}
void interpolate_plane(const Job& job) {
    libyuv::InterpolatePlane(job.a_bytes(), stride(job), job.b_bytes(), stride(job), job.dst_bytes(),
                             stride(job), stride(job), job.dst_height, int(job.number));
}
Argb32 interpolated(const Job& job, size_t i) {
    return pixel_by([&](int k) {
        return (byte_of(job.a[i], k) * (256.0 - job.number) + byte_of(job.b[i], k) * double(job.number)) /
               256;
    });
}

void rect(const Job& job) {
    libyuv::ARGBRect(job.dst_bytes(), stride(job), 0, 0, job.dst_width, job.dst_height, job.number);
}
Argb32 filled(const Job& job, size_t) { return job.number; }

// On the bench's gradient a scaler that starts half a pixel beside another one differs by a step or two.
template <libyuv::FilterMode filter>
Contender scaler(const char* name) {
    Contender contender = peer(
        name,
        [](const Job& job) {
            libyuv::ARGBScale(job.a_bytes(), job.src_width * 4, job.src_width, job.src_height,
                              job.dst_bytes(), stride(job), job.dst_width, job.dst_height, filter);
        },
        nullptr, 0);
    auto prepare = [prepare = contender.prepare](const Job& job) {
        auto agrees = [=] {
            return all_near(job.dst, job.dst_pixels(), 4 + 512 / job.src_width, [&](size_t i) {
                return job.a[i % size_t(job.dst_width) * size_t(job.src_width) / size_t(job.dst_width)];
            });
        };
        return Ready{prepare(job).run, agrees};
    };
    return {Kind::kPeer, contender.name, prepare};
}

}  // namespace

void add_libyuv(Peers& peers) {
    for (const char* family : {"blend", "lblend", "sblend"})
        peers.insert({family, peer("ARGBBlend", blend, blended, 2)});
    peers.insert({"argb2ayuv", peer("ARGBToI444 and alpha", to_planes, planes_expected, 2)});
    peers.insert({"ayuv2argb", peer("I444AlphaToARGB", from_planes, from_planes_expected, 3)});
    peers.insert({"alpha", peer("ARGBShuffle", shuffle, alpha_of, 0)});
    peers.insert({"mask", peer("ARGBAttenuate", attenuate, attenuated, 1)});
    peers.insert({"lin_pix", peer("ARGBInterpolate", interpolate, interpolated, 1)});
    peers.insert({"lin_pix", peer("InterpolatePlane", interpolate_plane, interpolated, 1)});
    peers.insert({"fill", peer("ARGBRect", rect, filled, 0)});
    for (const char* name :
         {"scale_1d 4:3", "scale_1d 2:3", "scale_horz 4:3", "scale_horz 2:3", "zoom_in2x1d"})
        peers.insert({name, scaler<libyuv::kFilterLinear>("ARGBScale linear")});
    peers.insert({"zoom_in2x2d", scaler<libyuv::kFilterBilinear>("ARGBScale bilinear")});
    for (const char* name : {"zoom_outNx by 2", "zoom_outNx by 3"})
        peers.insert({name, scaler<libyuv::kFilterNone>("ARGBScale none")});
}
