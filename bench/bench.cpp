// The speed of every kernel in every build that this machine runs, beside what else could do its work: plain
// loops of two compilers, and other libraries.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>

#include "frame/load.h"
#include "measure.h"

namespace {

const Shape shapes[] = {{"8", 8, 1, 25, 1e-4},
                        {"37", 37, 1, 25, 1e-4},
                        {"1920", 1920, 1, 25, 2e-4},
                        {"3840x2160", 3840, 2160, 7, 0}};

const char usage[] =
    "usage: qxpixlib_bench [REGEX] [--json | --instructions]\n"
    "  REGEX           only the kernels whose name and size match, such as 'sblend.* 1920$'\n"
    "  --json          for programs, such as performance.py\n"
    "  --instructions  instructions for 16 pixels instead of times\n";

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

// ---- for people ----

// Gpixel/s of the result, and how many times as fast as a peer the widest build is.
void print_row(const Result& result) {
    std::printf("%-25s", (result.kernel->name + " " + result.shape->name).c_str());
    const double widest = result.figures[size_t(qx::usable_builds() - 1)].seconds;
    for (const Figure& figure : result.figures) {
        const std::string name = figure.kind == "in_place" ? "in place" : figure.contender;
        std::printf("  %s %5.2f", name.c_str(), double(result.pixels) / figure.seconds * 1e-9);
        if (figure.kind == "peer") std::printf(" (x %.2f)", figure.seconds / widest);
    }
    std::printf("\n");
    std::fflush(stdout);
}

void print_instructions(const Case& kernel) {
    std::printf("%-15s", kernel.name.c_str());
    for (int i = 0; i < qx::usable_builds(); ++i)
        std::printf("  %s %5.1f", qx::builds[i].name, instructions_for_16(kernel, *qx::builds[i].kernels));
    std::printf("\n");
}

// ---- for programs ----

// As Linux names it, with the numbers that tell more than a virtual machine's name for it.
std::string processor() {
    std::map<std::string, std::string> fields;
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        const size_t colon = line.find(": ");
        if (colon != line.npos) fields[line.substr(0, line.find('\t'))] = line.substr(colon + 2);
    }
    return fields["model name"] + ", " + fields["vendor_id"] + " family " + fields["cpu family"] + " model " +
           fields["model"];
}

void print_json(const std::vector<Result>& results) {
    const char* commit = std::getenv("QXPIXLIB_COMMIT");
    std::printf("{\"processor\": \"%s\", \"commit\": \"%s\", \"bits\": %zu, \"results\": [",
                processor().c_str(), commit ? commit : "unknown", 8 * sizeof(void*));
    const char* separator = "\n";
    for (const Result& result : results) {
        for (const Figure& figure : result.figures) {
            std::printf(
                "%s{\"kernel\": \"%s\", \"shape\": \"%s\", \"kind\": \"%s\", \"contender\": \"%s\", "
                "\"pixels\": %zu, \"seconds\": %.4g}",
                separator, result.kernel->name.c_str(), result.shape->name, figure.kind.c_str(),
                figure.contender.c_str(), result.pixels, figure.seconds);
            separator = ",\n";
        }
    }
    std::printf("\n]}\n");
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = options_of(argc, argv);
    const std::vector<Case> cases = all_cases();
    bool nothing = true;
    std::vector<Result> results;
    auto wanted = [&](const std::string& name) {
        const bool matches = std::regex_search(name, options.filter);
        nothing = nothing && !matches;
        return matches;
    };
    if (options.instructions) {
        for (const Case& kernel : cases)
            if (wanted(kernel.name)) print_instructions(kernel);
    } else {
        for (const Shape& shape : shapes) {
            for (const Case& kernel : cases) {
                if (!wanted(kernel.name + " " + shape.name)) continue;
                results.push_back(measure(kernel, shape));
                if (!options.json) print_row(results.back());
            }
        }
    }
    if (nothing) {
        std::fprintf(stderr, "Nothing matches; a name is a kernel's and a size, such as 'blend_m 1920'.\n");
        return 1;
    }
    if (options.json) print_json(results);
}
