#include "measure.h"

#include <signal.h>
#include <time.h>
#include <x86intrin.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <random>

#include "frame/load.h"
#include "plain.h"

const PlainBuild* plain_builds = nullptr;

std::multimap<std::string, Contender>& peers() {
    static std::multimap<std::string, Contender> all;
    return all;
}

namespace {

constexpr Argb32 kUntouched = 0x5A5A5A5A;

// ---- what the contenders work on ----

// Lines begin where one of the caches' does.
template <typename T>
std::shared_ptr<T[]> line_of(size_t count) {
    const size_t bytes = (count * sizeof(T) + 63) / 64 * 64;
    return {static_cast<T*>(std::aligned_alloc(64, bytes)), std::free};
}

Job sized(const Case& c, int width, int height) {
    Job job;
    c.resize(job, width, height);
    return job;
}

struct Buffers {
    Job job;
    size_t pixels = std::max(job.src_pixels(), job.dst_pixels());
    std::shared_ptr<Argb32[]> dst = line_of<Argb32>(job.dst_pixels());
    std::shared_ptr<Argb32[]> a = line_of<Argb32>(pixels), b = line_of<Argb32>(pixels);
    std::shared_ptr<uint8_t[]> mask = line_of<uint8_t>(pixels + 3);  // pixman reads whole words
    std::shared_ptr<uint8_t[]> lut = line_of<uint8_t>(256);

    Buffers(const Case& c, int width, int height) : job(sized(c, width, height)) {
        std::mt19937 random(20);
        for (size_t i = 0; i < pixels; ++i) {
            a[i] = c.input == Input::kGradient ? gradient(i % size_t(job.src_width)) : Argb32(random());
            if (c.input == Input::kV210) a[i] &= 0x3FFFFFFF;
            b[i] = premultiplied(Argb32(random()));
            mask[i] = uint8_t(random());
        }
        for (int i = 0; i < 256; ++i) lut[i] = uint8_t(255 - i);
        job.dst = dst.get();
        job.a = a.get();
        job.b = b.get();
        job.mask = mask.get();
        job.lut = lut.get();
    }

    Argb32 gradient(size_t x) const {
        const Argb32 level = Argb32(x * 256 / size_t(job.src_width));
        return level * 0x00010001 | (255 - level) * 0x01000100;
    }
    static Argb32 premultiplied(Argb32 px) {
        const Argb32 alpha = px >> 24;
        return pixel_by([=](int k) { return k == 3 ? alpha : byte_of(px, k) * alpha / 255; });
    }
};

// ---- the contenders ----

Contender table_contender(const Case& c, const char* kind, const char* name, const qx::KernelTable& table) {
    const bool in_place = kind == std::string("in_place");
    auto prepare = [&c, &table, in_place](Job job) {
        if (in_place) job.a = job.dst;
        auto agrees = [&c, in_place, job] {
            std::vector<Argb32> expected(job.dst_pixels(), kUntouched);
            Job reference = job;
            reference.dst = expected.data();
            if (in_place) reference.a = reference.dst;
            c.expect(reference);
            return std::equal(expected.begin(), expected.end(), job.dst);
        };
        return Ready{c.run(table, job), agrees};
    };
    return {kind, name, prepare};
}

std::vector<Contender> contenders_of(const Case& c) {
    std::vector<Contender> all;
    for (int i = 0; i < qx::usable_builds(); ++i)
        all.push_back(table_contender(c, "build", qx::builds[i].name, *qx::builds[i].kernels));
    for (const PlainBuild* build = plain_builds; build; build = build->next)
        all.push_back(table_contender(c, "plain", build->name, *build->kernels));
    const qx::Build& widest = qx::builds[qx::usable_builds() - 1];
    if (c.in_place) all.push_back(table_contender(c, "in_place", widest.name, *widest.kernels));
    auto [first, last] = peers().equal_range(c.name);
    for (; first != last; ++first) all.push_back(first->second);
    return all;
}

// ---- measuring ----

// Of this thread's own processor time: what else runs on the machine does not count.
double seconds_of(const std::function<void(int)>& run, int times) {
    auto now = [] {
        timespec t;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
    };
    const double start = now();
    run(times);
    return now() - start;
}

volatile sig_atomic_t steps;

// Counts them one by one: `run` works with the processor's trap flag set. Not inlined, its own ones are
// always as many.
[[gnu::noinline]] long instructions_of(const std::function<void(int)>& run) {
    signal(SIGTRAP, [](int) { steps = steps + 1; });
    steps = 0;
    const auto flags = __readeflags();
    __writeeflags(flags | 0x100);
    run(1);
    __writeeflags(flags);
    return steps;
}

}  // namespace

Result measure(const Case& kernel, const Shape& shape) {
    Buffers buffers(kernel, shape.width, shape.height);
    struct Turn {
        std::function<void(int)> run;
        int times;
        std::vector<double> seconds;
    };
    std::vector<Turn> turns;
    const std::vector<Contender> contenders = contenders_of(kernel);
    for (const Contender& contender : contenders) {
        const Ready ready = contender.prepare(buffers.job);
        std::fill_n(buffers.job.dst, buffers.job.dst_pixels(), kUntouched);
        ready.run(1);
        if (!ready.agrees()) {
            std::fprintf(stderr, "%s: wrong result of %s at %s\n", contender.name.c_str(),
                         kernel.name.c_str(), shape.name);
            std::exit(1);
        }
        int times = 1;
        while (seconds_of(ready.run, times) < shape.sample_seconds) times *= 2;
        turns.push_back({ready.run, times, {}});
    }
    std::vector<size_t> order(turns.size());
    std::iota(order.begin(), order.end(), size_t(0));
    std::mt19937 random(20);
    for (int round = 0; round < shape.rounds; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (size_t i : order)
            turns[i].seconds.push_back(seconds_of(turns[i].run, turns[i].times) / turns[i].times);
    }
    Result result{&kernel, &shape, buffers.job.dst_pixels(), {}};
    for (size_t i = 0; i < turns.size(); ++i) {
        const auto begin = turns[i].seconds.begin(), median = begin + shape.rounds / 2;
        std::nth_element(begin, median, turns[i].seconds.end());
        result.figures.push_back({contenders[i].kind, contenders[i].name, *median});
    }
    return result;
}

double instructions_for_16(const Case& kernel, const qx::KernelTable& table) {
    const Buffers more(kernel, 1920, 1), less(kernel, 960, 1);
    const long instructions =
        instructions_of(kernel.run(table, more.job)) - instructions_of(kernel.run(table, less.job));
    return 16.0 * double(instructions) / double(more.job.dst_pixels() - less.job.dst_pixels());
}
