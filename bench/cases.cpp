// What the bench runs: every kernel, and the scalers at each of their ratios.
#include "line_kernels.h"
#include "measure.h"

namespace {

void same_size(Job& job, int width, int height) {
    job.src_width = job.dst_width = width;
    job.src_height = job.dst_height = height;
}

template <typename Line>
void each_row(const Job& job, Line line) {
    for (int y = 0; y < job.dst_height; ++y) {
        const size_t at = size_t(y) * size_t(job.dst_width), from = size_t(y) * size_t(job.src_width);
        line({job.dst + at, job.a + from, job.b + from, job.mask + from, job.lut, job.number, job.dst_width});
    }
}

template <typename Call>
auto runner(Call call) {
    return [call](const qx::KernelTable& table, const Job& job) { return repeat([=] { call(table, job); }); };
}

Case line_case(const LineKernel& kernel) {
    auto run = [call = kernel.call](const qx::KernelTable& table, const Job& job) {
        each_row(job, [&](const Arguments& line) { call(table, line); });
    };
    auto expect = [line = kernel.expect](const Job& job) { each_row(job, line); };
    return {kernel.name, same_size, runner(run), expect, Input::kRandom, kernel.inputs > 0};
}

// The references of the other kernels, in a table as theirs.
const qx::KernelTable references = [] {
    qx::KernelTable table = {};
    table.v210yuv422p10 = [](uint16_t* dst, const void* src, int32_t count) {
        reference::v210yuv422p10(dst, static_cast<const uint8_t*>(src), count);
    };
    table.zoom_in2x1d = reference::zoom_in2x1d;
    table.zoom_in2x2d = reference::zoom_in2x2d;
    table.scale_1d = reference::scale_1d;
    table.scale_horz = [](Argb32* dst, int32_t dst_width, int32_t dst_stride, const Argb32* src,
                          int32_t src_width, int32_t height, int32_t src_stride) {
        for (int32_t y = 0; y < height; ++y)
            reference::scale_1d(dst + y * dst_stride, dst_width, src + y * src_stride, src_width);
    };
    table.zoom_outNx = reference::zoom_outNx;
    return table;
}();

template <typename Resize, typename Call>
Case other_case(const std::string& name, Resize resize, Call call, Input input = Input::kGradient) {
    return {name, resize, runner(call), [=](const Job& job) { call(references, job); }, input};
}

// A row of samples has as many bytes as a row of pixels. Six pixels come in 16 bytes, rows in groups of 48.
void v210_size(Job& job, int width, int height) {
    same_size(job, width / 2 * 2, std::max(height, 4));  // FFmpeg's decoder gives nothing below four rows
    job.src_width = (width + 47) / 48 * 32;
}
void unpack(const qx::KernelTable& table, const Job& job) {
    each_row(job, [&](const Arguments& line) {
        table.v210yuv422p10(reinterpret_cast<uint16_t*>(line.dst), line.a, line.count);
    });
}

void doubled_width(Job& job, int width, int height) {
    same_size(job, width / 2, height);
    job.dst_width = 2 * job.src_width;
}
void zoom_in_lines(const qx::KernelTable& table, const Job& job) {
    each_row(job, [&](const Arguments& line) { table.zoom_in2x1d(line.dst, line.a, job.src_width); });
}

void doubled_size(Job& job, int width, int height) {
    doubled_width(job, width, (height + 3) / 2);
    job.dst_height = 2 * job.src_height;
}
void zoom_in_picture(const qx::KernelTable& table, const Job& job) {
    table.zoom_in2x2d(job.dst, job.a, job.src_width, job.src_height, job.src_width);
}

void scale_lines(const qx::KernelTable& table, const Job& job) {
    each_row(job,
             [&](const Arguments& line) { table.scale_1d(line.dst, line.count, line.a, job.src_width); });
}
void scale_picture(const qx::KernelTable& table, const Job& job) {
    table.scale_horz(job.dst, job.dst_width, job.dst_width, job.a, job.src_width, job.dst_height,
                     job.src_width);
}

void zoom_out(const qx::KernelTable& table, const Job& job) {
    table.zoom_outNx(job.dst, job.dst_width, job.dst_height, job.a, job.src_width, job.src_height);
}

}  // namespace

std::vector<Case> all_cases() {
    std::vector<Case> cases;
    for (const LineKernel& kernel : line_kernels) cases.push_back(line_case(kernel));
    cases.push_back(other_case("v210yuv422p10", v210_size, unpack, Input::kV210));
    cases.push_back(other_case("zoom_in2x1d", doubled_width, zoom_in_lines));
    cases.push_back(other_case("zoom_in2x2d", doubled_size, zoom_in_picture));
    for (int to : {4, 2}) {
        const std::string ratio = " " + std::to_string(to) + ":3";
        auto resize = [=](Job& job, int width, int height) {
            same_size(job, width, height);
            job.src_width = width * 3 / to;
        };
        cases.push_back(other_case("scale_1d" + ratio, resize, scale_lines));
        cases.push_back(other_case("scale_horz" + ratio, resize, scale_picture));
    }
    for (int factor : {2, 3}) {
        auto resize = [=](Job& job, int width, int height) {
            same_size(job, width / factor, (height + factor - 1) / factor);
            job.src_width *= factor;
            job.src_height *= factor;
        };
        cases.push_back(other_case("zoom_outNx by " + std::to_string(factor), resize, zoom_out));
    }
    return cases;
}
