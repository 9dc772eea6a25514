#include "measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <random>
#include <thread>

#include "frame/load.h"
#include "instructions.h"
#include "machine.h"
#include "plain.h"

size_t line_offset = 0;
const PlainBuild* plain_builds = nullptr;

namespace {

// ---- what the contenders work on ----

template <typename T>
class Lines {
 public:
    explicit Lines(size_t count) : storage_(count + (64 + line_offset) / sizeof(T)) {
        void* begin = storage_.data();
        size_t space = storage_.size() * sizeof(T);
        std::align(64, count, begin, space);
        begin_ = static_cast<T*>(begin) + line_offset / sizeof(T);
    }
    T* data() { return begin_; }
    T& operator[](size_t i) { return begin_[i]; }

 private:
    std::vector<T> storage_;
    T* begin_;
};

struct Buffers {
    Job job;
    size_t pixels;
    Lines<Argb32> dst, a, b;
    Lines<uint8_t> mask, lut;

    Buffers(const Case& c, int width, int height)
        : job(resized(c, width, height)),
          pixels(std::max(job.src_pixels(), job.dst_pixels())),
          dst(job.dst_pixels()),
          a(pixels),
          b(pixels),
          mask(pixels + 3),  // pixman reads whole words
          lut(256) {
        std::mt19937 random(20);
        for (size_t i = 0; i < pixels; ++i) {
            a[i] = c.input == Input::kGradient ? gradient(i % size_t(job.src_width)) : Argb32(random());
            if (c.input == Input::kV210) a[i] &= 0x3FFFFFFF;
            b[i] = premultiplied(Argb32(random()));
            mask[i] = uint8_t(random());
        }
        for (size_t i = 0; i < 256; ++i) lut[i] = uint8_t(255 - i);
        job.dst = dst.data();
        job.a = a.data();
        job.b = b.data();
        job.mask = mask.data();
        job.lut = lut.data();
        job.number = 200;
    }

    static Job resized(const Case& c, int width, int height) {
        Job job;
        c.resize(job, width, height);
        return job;
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

Job half_of(Job job, int half) {
    const int src_rows = job.src_height / 2, dst_rows = job.dst_height / 2;
    const size_t src_at = size_t(half * src_rows) * size_t(job.src_width);
    const size_t dst_at = size_t(half * dst_rows) * size_t(job.dst_width);
    job.dst += dst_at;
    job.a += src_at;
    job.b += src_at;
    job.mask += src_at;
    job.src_height = src_rows;
    job.dst_height = dst_rows;
    return job;
}

// ---- the contenders ----

constexpr Argb32 kUntouched = 0x5A5A5A5A;

Contender table_contender(const Case& c, Kind kind, const std::string& name, const qx::KernelTable& table) {
    auto prepare = [&c, kind, &table](Job job) {
        if (kind == Kind::kInPlace) job.a = job.dst;
        auto run = [&c, &table, job](int times) { c.run(table, job, times); };
        auto agrees = [&c, job] {
            std::vector<Argb32> expected(job.dst_pixels(), kUntouched);
            Job reference = job;
            reference.dst = expected.data();
            if (job.a == job.dst) reference.a = reference.dst;
            c.expect(reference);
            return std::equal(expected.begin(), expected.end(), job.dst);
        };
        return Ready{run, agrees};
    };
    return {kind, name, prepare};
}

Contender copy_contender(const Case& c, const PlainBuild& build) {
    const Copy copy = build.copy[c.copied_lines][c.copied_mask];
    auto prepare = [&c, copy](const Job& job) {
        auto run = [job, copy](int times) {
            for (; times > 0; --times)
                for (int y = 0; y < job.dst_height; ++y) {
                    const size_t at = size_t(y) * size_t(job.dst_width);
                    copy(job.dst + at, job.a + at, job.b + at, job.mask + at, job.dst_width);
                }
        };
        auto agrees = [&c, job] {
            return all_near(job.dst, job.dst_pixels(), 0, [&](size_t i) {
                return (c.copied_lines > 0 ? job.a[i] : 7) ^ (c.copied_lines > 1 ? job.b[i] : 0) ^
                       (c.copied_mask ? job.mask[i] : 0u);
            });
        };
        return Ready{run, agrees};
    };
    return {Kind::kCopy, build.name, prepare};
}

std::vector<Contender> contenders_of(const Case& c, const Peers& peers) {
    std::vector<Contender> all;
    for (int i = 0; i < qx::usable_builds(); ++i)
        all.push_back(table_contender(c, Kind::kBuild, qx::builds[i].name, *qx::builds[i].kernels));
    const qx::Build& widest = qx::builds[qx::usable_builds() - 1];
    if (c.copied_lines > 0) all.push_back(table_contender(c, Kind::kInPlace, widest.name, *widest.kernels));
    for (const PlainBuild* build = plain_builds; build; build = build->next) {
        all.push_back(table_contender(c, Kind::kPlain, build->name, *build->kernels));
        if (c.copied_lines >= 0) all.push_back(copy_contender(c, *build));
    }
    auto [first, last] = peers.equal_range(c.name);
    for (; first != last; ++first) all.push_back(first->second);
    return all;
}

// ---- measuring ----

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + long(values.size() / 2), values.end());
    return values[values.size() / 2];
}

template <typename Clock>
double seconds_of(Clock clock, const std::function<void(int)>& run, int times) {
    const double start = clock();
    run(times);
    return (clock() - start) / times;
}

std::vector<Figure> take_turns(const std::vector<Contender>& contenders, const Shape& shape,
                               Buffers& buffers) {
    struct Turn {
        Ready ready;
        int times;
        std::vector<double> seconds;
    };
    std::vector<Turn> turns;
    for (const Contender& contender : contenders) {
        Turn turn{contender.prepare(buffers.job), 1, {}};
        std::fill_n(buffers.dst.data(), buffers.job.dst_pixels(), kUntouched);
        turn.ready.run(1);
        if (!turn.ready.agrees()) {
            std::fprintf(stderr, "%s: wrong result at %s\n", contender.name.c_str(), shape.name);
            std::exit(1);
        }
        while (seconds_of(thread_seconds, turn.ready.run, turn.times) * turn.times < shape.sample_seconds)
            turn.times *= 2;
        turns.push_back(turn);
    }
    std::vector<size_t> order(turns.size());
    std::iota(order.begin(), order.end(), size_t(0));
    std::mt19937 random(20);
    for (int round = 0; round < shape.rounds; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (size_t i : order)
            turns[i].seconds.push_back(seconds_of(thread_seconds, turns[i].ready.run, turns[i].times));
    }
    std::vector<Figure> figures;
    for (size_t i = 0; i < turns.size(); ++i)
        figures.push_back({contenders[i].kind, contenders[i].name, median(turns[i].seconds)});
    return figures;
}

// The time of two threads, each on its half of the rows.
double seconds_of_two_threads(const Contender& contender, const Shape& shape, const Job& job) {
    const Ready halves[] = {contender.prepare(half_of(job, 0)), contender.prepare(half_of(job, 1))};
    auto both = [&](int times) {
        std::thread other(halves[1].run, times);
        halves[0].run(times);
        other.join();
    };
    const int times = 1 + int(0.01 / seconds_of(wall_seconds, both, 1));  // a thread takes its time to start
    std::vector<double> seconds;
    for (int round = 0; round < shape.rounds; ++round)
        seconds.push_back(seconds_of(wall_seconds, both, times));
    return median(seconds);
}

}  // namespace

Result measure(const Case& kernel, const Shape& shape, const Peers& peers) {
    Buffers buffers(kernel, shape.width, shape.height);
    const std::vector<Contender> contenders = contenders_of(kernel, peers);
    Result result{&kernel, &shape, buffers.job.dst_pixels(), size_t(buffers.job.dst_height),
                  take_turns(contenders, shape, buffers)};
    if (shape.is_picture()) {
        const Contender& widest = contenders[size_t(qx::usable_builds()) - 1];
        result.figures.push_back(
            {Kind::kTwoThreads, widest.name, seconds_of_two_threads(widest, shape, buffers.job)});
    }
    return result;
}

double instructions_for_16(const Case& kernel, const qx::KernelTable& table) {
    struct Count {
        long instructions;
        size_t pixels;
    };
    auto count = [&](int width) -> Count {
        Buffers buffers(kernel, width, 1);
        return {instructions_of([&] { kernel.run(table, buffers.job, 1); }), buffers.job.dst_pixels()};
    };
    const Count more = count(1920), less = count(960);
    return 16.0 * double(more.instructions - less.instructions) / double(more.pixels - less.pixels);
}
