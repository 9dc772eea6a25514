// Lays a title over a background, both PNG files of one size, with a blending family of the library.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "picture.h"

namespace {

const char usage[] =
    "usage: compose BACKGROUND.png TITLE.png OUT.png [--family blend|lblend|sblend]\n"
    "       compose BACKGROUND.png TITLE.png --all DIRECTORY\n"
    "Lays the title over the background by their alpha and writes the result. The pictures\n"
    "have one size; the family is sblend where none is named. --all writes one picture for\n"
    "each family and a contact sheet into the directory, and times a frame of each.\n";

struct Family {
    const char* name;
    decltype(&qx_blend) blend_row;
};
const Family families[] = {{"blend", qx_blend}, {"lblend", qx_lblend}, {"sblend", qx_sblend}};

const Family& family_named(const std::string& name) {
    for (const Family& family : families)
        if (name == family.name) return family;
    throw Error("no family is called " + name + "; there are blend, lblend and sblend");
}

void compose(const Family& family, Picture& out, const Picture& background, const Picture& title) {
    for (int y = 0; y < out.height; ++y)
        family.blend_row(out.row(y), background.row(y), title.row(y), out.width);
}

double median_milliseconds(const Family& family, Picture& out, const Picture& background,
                           const Picture& title) {
    double frames[51];
    for (double& ms : frames) {
        auto start = std::chrono::steady_clock::now();
        compose(family, out, background, title);
        ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    }
    std::nth_element(frames, frames + 25, frames + 51);
    return frames[25];
}

// Four pictures of one size in two rows.
Picture contact_sheet(const Picture* (&tiles)[4]) {
    int width = tiles[0]->width, height = tiles[0]->height;
    Picture sheet(2 * width, 2 * height);
    for (int k = 0; k < 4; ++k)
        for (int y = 0; y < height; ++y)
            std::copy_n(tiles[k]->row(y), width, sheet.row(k / 2 * height + y) + k % 2 * width);
    return sheet;
}

void compose_all(const Picture& background, const Picture& title, const std::string& directory) {
    Picture results[3];
    const Picture* tiles[4] = {&background, &results[0], &results[1], &results[2]};
    for (int k = 0; k < 3; ++k) {
        results[k] = Picture(background.width, background.height);
        double ms = median_milliseconds(families[k], results[k], background, title);
        const std::string path = directory + "/" + families[k].name + ".png";
        save_png(path, results[k]);
        std::printf("%-24s %s   %.3f ms a frame\n", path.c_str(), size_of(results[k]).c_str(), ms);
    }
    Picture sheet = contact_sheet(tiles);
    save_png(directory + "/sheet.png", sheet);
    std::printf("%-24s %s\n", (directory + "/sheet.png").c_str(), size_of(sheet).c_str());
    std::printf("The sheet shows the background, then qx_blend, qx_lblend and qx_sblend.\n");
}

struct Options {
    std::vector<std::string> files;
    std::string family = "sblend", directory;
};

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        std::string* value = word == "--family" ? &options.family
                             : word == "--all"  ? &options.directory
                                                : nullptr;
        if (value != nullptr) {
            if (++i == argc) throw Error(word + " needs a value; see --help");
            *value = argv[i];
        } else if (word[0] == '-') {
            throw Error("unknown option " + word + "; see --help");
        } else {
            options.files.push_back(word);
        }
    }
    if (options.files.size() != (options.directory.empty() ? 3 : 2))
        throw Error("two pictures and one place for the result are needed; see --help");
    return options;
}

void run(int argc, char** argv) {
    const Options options = parse(argc, argv);
    const Family& family = family_named(options.family);
    const Picture background = load_png(options.files[0]), title = load_png(options.files[1]);
    if (size_of(background) != size_of(title))
        throw Error("the pictures differ in size: " + size_of(background) + " and " + size_of(title));
    if (!options.directory.empty()) return compose_all(background, title, options.directory);
    Picture out(background.width, background.height);
    compose(family, out, background, title);
    const std::string& path = options.files[2];
    save_png(path, out);
    if (!is_standard_output(path)) std::printf("%s: %s\n", path.c_str(), size_of(out).c_str());
}

}  // namespace

int main(int argc, char** argv) { return run_program("compose", usage, argc, argv, run); }
