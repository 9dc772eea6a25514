#include "report.h"

#include <algorithm>
#include <cstdio>

#include "frame/load.h"
#include "machine.h"

namespace {

struct Column {
    const char* title;
    Kind kind;
    const char* name;  // what the contender's name begins with: the fastest of those is shown
};
const Column columns[] = {
#define QX_COLUMN(build, condition) {#build, Kind::kBuild, #build},
    QX_BUILDS(QX_COLUMN)
#undef QX_COLUMN
        {"in place", Kind::kInPlace, ""},
    {"two threads", Kind::kTwoThreads, ""},
    {"plain", Kind::kPlain, "native"},
    {"plain, SSE2", Kind::kPlain, "sse2"},
    {"copy", Kind::kCopy, "native"}};

// 0 where nothing of the kind took part.
double least_seconds(const std::vector<Figure>& figures, Kind kind, const std::string& beginning) {
    double least = 0;
    for (const Figure& figure : figures)
        if (figure.kind == kind && figure.contender.rfind(beginning, 0) == 0 &&
            (least == 0 || figure.seconds < least))
            least = figure.seconds;
    return least;
}

void print_header(const std::vector<std::string>& titles) {
    std::printf("| kernel |");
    for (const std::string& title : titles) std::printf(" %s |", title.c_str());
    std::printf("\n|---|");
    for (size_t i = 0; i < titles.size(); ++i) std::printf("--:|");
    std::printf("\n");
}

void print_row(const Result& result, const std::vector<Column>& shown, bool in_ns) {
    std::printf("| %s |", result.kernel->name.c_str());
    for (const Column& column : shown) {
        const double seconds = least_seconds(result.figures, column.kind, column.name);
        if (seconds == 0)
            std::printf(" |");
        else if (in_ns)
            std::printf(" %.1f |", seconds / double(result.rows) * 1e9);
        else
            std::printf(" %.2f |", double(result.pixels) / seconds * 1e-9);
    }
    const char* separator = " ";
    for (const Figure& peer : result.figures) {
        if (peer.kind != Kind::kPeer) continue;
        std::printf("%s%s:", separator, peer.contender.c_str());
        for (int i = 0; i < qx::usable_builds(); ++i)
            std::printf(" %.2f",
                        peer.seconds / least_seconds(result.figures, Kind::kBuild, qx::builds[i].name));
        separator = "; ";
    }
    std::printf(" |\n");
}

}  // namespace

void print_table(const Shape& shape, const std::vector<Result>& all) {
    std::vector<Result> results;
    for (const Result& result : all)
        if (result.shape == &shape) results.push_back(result);
    if (results.empty()) return;

    std::vector<Column> shown;
    std::vector<std::string> titles;
    for (const Column& column : columns) {
        auto has_figure = [&](const Result& result) {
            return least_seconds(result.figures, column.kind, column.name) > 0;
        };
        if (std::none_of(results.begin(), results.end(), has_figure)) continue;
        shown.push_back(column);
        titles.push_back(column.title);
    }
    titles.push_back("how much faster than");

    const bool in_ns = shape.width < 100;
    std::printf("\n### %s: %s\n\n", shape.name, in_ns ? "nanoseconds a row" : "Gpixel/s of the result");
    print_header(titles);
    for (const Result& result : results) print_row(result, shown, in_ns);
}

void print_instructions(const std::vector<const Case*>& cases) {
    std::printf("### Instructions for 16 pixels\n\n");
    std::vector<std::string> titles;
    for (int i = 0; i < qx::usable_builds(); ++i) titles.push_back(qx::builds[i].name);
    print_header(titles);
    for (const Case* kernel : cases) {
        std::printf("| %s |", kernel->name.c_str());
        for (int i = 0; i < qx::usable_builds(); ++i)
            std::printf(" %.1f |", instructions_for_16(*kernel, *qx::builds[i].kernels));
        std::printf("\n");
    }
}

void print_json(const std::vector<Result>& results, double other_load) {
    static const char* const kinds[] = {"build", "in_place", "two_threads", "plain", "copy", "peer"};
    std::printf("{\"processor\": \"%s\", \"other_load\": %.3f, \"results\": [", processor_name().c_str(),
                other_load);
    const char* separator = "\n";
    for (const Result& result : results) {
        for (const Figure& figure : result.figures) {
            std::printf(
                "%s{\"kernel\": \"%s\", \"shape\": \"%s\", \"kind\": \"%s\", \"contender\": \"%s\", "
                "\"pixels\": %zu, \"seconds\": %.4g}",
                separator, result.kernel->name.c_str(), result.shape->name, kinds[int(figure.kind)],
                figure.contender.c_str(), result.pixels, figure.seconds);
            separator = ",\n";
        }
    }
    std::printf("\n]}\n");
}
