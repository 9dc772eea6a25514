#include "cases.h"

#include "line_kernels.h"

namespace {

void same_size(Job& job, int width, int height) {
    job.src_width = job.dst_width = width;
    job.src_height = job.dst_height = height;
}

// Runs a case so many times without a way through std::function each time, which the peers do not have
// either.
template <typename Once>
auto repeat(Once once) {
    return [once](const qx::KernelTable& table, const Job& job, int times) {
        for (; times > 0; --times) once(table, job);
    };
}

Arguments row(const Job& job, int y) {
    const size_t at = size_t(y) * size_t(job.dst_width);
    return {job.dst + at, job.a + at, job.b + at, job.mask + at, job.lut, job.number, job.dst_width};
}

Case line_case(const LineKernel& kernel) {
    auto run = [call = kernel.call](const qx::KernelTable& table, const Job& job) {
        for (int y = 0; y < job.dst_height; ++y) call(table, row(job, y));
    };
    auto expect = [line = kernel.expect](const Job& job) {
        for (int y = 0; y < job.dst_height; ++y) line(row(job, y));
    };
    const std::string name = kernel.name;
    const bool masked = name == "mask" || name.find("_m") != std::string::npos;
    return {name, same_size, repeat(run), expect, Input::kRandom, kernel.inputs, masked};
}

// A row of samples has as many bytes as a row of pixels. Six pixels come in 16 bytes, rows in groups of 48.
Case v210_case() {
    auto resize = [](Job& job, int width, int height) {
        same_size(job, width / 2 * 2, std::max(height, 4));  // FFmpeg's decoder gives nothing below four rows
        job.src_width = (width + 47) / 48 * 32;
    };
    auto each_row = [](const Job& job, auto unpack) {
        for (int y = 0; y < job.dst_height; ++y)
            unpack(reinterpret_cast<uint16_t*>(job.dst + size_t(y) * size_t(job.dst_width)),
                   job.a_bytes() + size_t(y) * size_t(job.src_width) * 4, job.dst_width);
    };
    return {"v210yuv422p10", resize,
            repeat([=](const qx::KernelTable& table, const Job& job) { each_row(job, table.v210yuv422p10); }),
            [=](const Job& job) { each_row(job, reference::v210yuv422p10); }, Input::kV210};
}

Case zoom_in2x1d_case() {
    auto resize = [](Job& job, int width, int height) {
        same_size(job, width / 2, height);
        job.dst_width = 2 * job.src_width;
    };
    auto each_row = [](const Job& job, auto zoom) {
        for (int y = 0; y < job.dst_height; ++y)
            zoom(job.dst + size_t(y) * size_t(job.dst_width), job.a + size_t(y) * size_t(job.src_width),
                 job.src_width);
    };
    return {"zoom_in2x1d", resize,
            repeat([=](const qx::KernelTable& table, const Job& job) { each_row(job, table.zoom_in2x1d); }),
            [=](const Job& job) { each_row(job, reference::zoom_in2x1d); }, Input::kGradient};
}

Case zoom_in2x2d_case() {
    auto resize = [](Job& job, int width, int height) {
        same_size(job, width / 2, (height + 3) / 2);
        job.dst_width = 2 * job.src_width;
        job.dst_height = 2 * job.src_height;
    };
    return {"zoom_in2x2d", resize, repeat([](const qx::KernelTable& table, const Job& job) {
                table.zoom_in2x2d(job.dst, job.a, job.src_width, job.src_height, job.src_width);
            }),
            [](const Job& job) {
                reference::zoom_in2x2d(job.dst, job.a, job.src_width, job.src_height, job.src_width);
            },
            Input::kGradient};
}

// From `from` source pixels to `to` outputs.
std::vector<Case> scale_cases(int from, int to) {
    auto resize = [=](Job& job, int width, int height) {
        same_size(job, width, height);
        job.src_width = width * from / to;
    };
    auto each_row = [](const Job& job, auto scale) {
        for (int y = 0; y < job.dst_height; ++y)
            scale(job.dst + size_t(y) * size_t(job.dst_width), job.dst_width,
                  job.a + size_t(y) * size_t(job.src_width), job.src_width);
    };
    const std::string ratio = " " + std::to_string(to) + ":" + std::to_string(from);
    auto expect = [=](const Job& job) { each_row(job, reference::scale_1d); };
    return {{"scale_1d" + ratio, resize,
             repeat([=](const qx::KernelTable& table, const Job& job) { each_row(job, table.scale_1d); }),
             expect, Input::kGradient},
            {"scale_horz" + ratio, resize, repeat([](const qx::KernelTable& table, const Job& job) {
                 table.scale_horz(job.dst, job.dst_width, job.dst_width, job.a, job.src_width, job.dst_height,
                                  job.src_width);
             }),
             expect, Input::kGradient}};
}

Case zoom_out_case(int factor) {
    auto resize = [=](Job& job, int width, int height) {
        same_size(job, width / factor, (height + factor - 1) / factor);
        job.src_width = job.dst_width * factor;
        job.src_height = job.dst_height * factor;
    };
    auto with = [](const Job& job, auto zoom) {
        zoom(job.dst, job.dst_width, job.dst_height, job.a, job.src_width, job.src_height);
    };
    return {"zoom_outNx by " + std::to_string(factor), resize,
            repeat([=](const qx::KernelTable& table, const Job& job) { with(job, table.zoom_outNx); }),
            [=](const Job& job) { with(job, reference::zoom_outNx); }, Input::kGradient};
}

std::vector<Case> make_cases() {
    std::vector<Case> cases;
    for (const LineKernel& kernel : line_kernels) cases.push_back(line_case(kernel));
    cases.insert(cases.end(), {v210_case(), zoom_in2x1d_case(), zoom_in2x2d_case()});
    for (int to : {4, 2})
        for (const Case& scale : scale_cases(3, to)) cases.push_back(scale);
    for (int factor : {2, 3}) cases.push_back(zoom_out_case(factor));
    return cases;
}

}  // namespace

const std::vector<Case>& all_cases() {
    static const std::vector<Case> cases = make_cases();
    return cases;
}
