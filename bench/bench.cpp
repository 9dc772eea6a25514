// Pixels per second of every kernel in every build that this machine runs, beside the plain loop over the
// same formula, for short lines, a line that stays in the cache, and a picture that does not.
#include <benchmark/benchmark.h>

#include "line_kernels.h"

namespace {

struct Shape {
    const char* name;
    int width, height;
};
const Shape shapes[] = {{"8", 8, 1}, {"37", 37, 1}, {"1920", 1920, 1}, {"3840x2160", 3840, 2160}};

template <typename RunLine>
void run(benchmark::State& state, const Shape& shape, RunLine run_line) {
    const size_t pixels = size_t(shape.width) * size_t(shape.height);
    std::vector<Argb32> dst(pixels), a(pixels), b(pixels);
    std::vector<uint8_t> mask(pixels), lut(256);
    for (size_t i = 0; i < pixels; ++i) {
        a[i] = Argb32(i) * 2654435761u;
        b[i] = ~a[i] * 40503u;
        mask[i] = uint8_t(a[i] >> 13);
    }
    for (size_t i = 0; i < lut.size(); ++i) lut[i] = uint8_t(255 - i);
    for (auto _ : state) {
        for (int y = 0; y < shape.height; ++y) {
            size_t row = size_t(y) * size_t(shape.width);
            run_line(Arguments{&dst[row], &a[row], &b[row], &mask[row], lut.data(), 200, shape.width});
        }
        benchmark::ClobberMemory();
    }
    state.counters["pixels"] =
        benchmark::Counter(double(pixels) * double(state.iterations()), benchmark::Counter::kIsRate);
}

template <typename RunLine>
void add(const LineKernel& kernel, const char* contender, const Shape& shape, RunLine run_line) {
    const std::string name = std::string(kernel.name) + "/" + shape.name + "/" + contender;
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) { run(s, shape, run_line); });
}

}  // namespace

int main(int argc, char** argv) {
    for (const LineKernel& kernel : line_kernels) {
        for (const Shape& shape : shapes) {
            add(kernel, "plain", shape, kernel.expect);
            for (const qx::Build& build : machine_builds())
                add(kernel, build.name, shape, [=](const Arguments& x) { kernel.call(*build.kernels, x); });
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
}
