// The speed of every kernel in every build that this machine runs, beside what else could do its work: plain
// loops of two compilers, other libraries, and a bare copy of the same bytes.
#include <cstdio>
#include <cstdlib>
#include <regex>

#include "machine.h"
#include "report.h"

namespace {

const Shape shapes[] = {{"8", 8, 1, 25, 1e-4},
                        {"37", 37, 1, 25, 1e-4},
                        {"1920", 1920, 1, 25, 2e-4},
                        {"1920x1080", 1920, 1080, 7, 0},
                        {"3840x2160", 3840, 2160, 7, 0}};

const char usage[] =
    "usage: qxpixlib_bench [REGEX] [--json | --instructions] [--offset BYTES]\n"
    "  REGEX           run only the kernels whose name and size match, such as 'sblend.* 1920$'\n"
    "  --json          every figure, for programs\n"
    "  --instructions  instructions for 16 pixels instead of times\n"
    "  --offset BYTES  let every line begin so far after a multiple of 64; 0 unless given\n";

struct Options {
    bool json = false, instructions = false;
    std::regex filter{""};
};

Options options_of(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--json") {
            options.json = true;
        } else if (argument == "--instructions") {
            options.instructions = true;
        } else if (argument == "--offset" && i + 1 < argc) {
            line_offset = size_t(std::atoi(argv[++i])) / sizeof(Argb32) * sizeof(Argb32);
        } else if (argument[0] == '-') {
            std::fputs(usage, argument == "--help" ? stdout : stderr);
            std::exit(argument == "--help" ? 0 : 2);
        } else {
            try {
                options.filter = argument;
            } catch (const std::regex_error& error) {
                std::fprintf(stderr, "%s: %s\n", argument.c_str(), error.what());
                std::exit(2);
            }
        }
    }
    return options;
}

Peers installed_peers() {
    Peers peers;
#if defined(QX_LIBYUV)
    add_libyuv(peers);
#endif
#if defined(QX_PIXMAN)
    add_pixman(peers);
#endif
#if defined(QX_FFMPEG)
    add_ffmpeg(peers);
#endif
    return peers;
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = options_of(argc, argv);
    auto wanted = [&](const std::string& name) { return std::regex_search(name, options.filter); };
    if (options.instructions) {
        std::vector<const Case*> cases;
        for (const Case& kernel : all_cases())
            if (wanted(kernel.name)) cases.push_back(&kernel);
        print_instructions(cases);
        return 0;
    }
    const Peers peers = installed_peers();
    const OtherLoad others;
    std::vector<Result> results;
    for (const Shape& shape : shapes) {
        for (const Case& kernel : all_cases()) {
            const std::string name = kernel.name + " " + shape.name;
            if (!wanted(name)) continue;
            std::fprintf(stderr, "\r%-40s", name.c_str());
            results.push_back(measure(kernel, shape, peers));
        }
    }
    std::fprintf(stderr, "\r%-40s\r", "");
    if (results.empty()) {
        std::fprintf(stderr, "Nothing matches; a name is a kernel's and a size, such as 'blend_m 1920'.\n");
        return 1;
    }
    if (options.json) {
        print_json(results, others.processors());
        return 0;
    }
    std::printf("%s; lines begin %zu bytes after a multiple of 64.\n", processor_name().c_str(), line_offset);
    for (const Shape& shape : shapes) print_table(shape, results);
    if (others.processors() > 0.1)
        std::printf("\nThis machine was busy: other programs took %.0f %% of a processor meanwhile.\n",
                    others.processors() * 100);
}
