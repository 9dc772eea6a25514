// Shows every kernel of the library once, on real pictures, in one contact sheet with captions; and what the
// blending families make of a soft edge, in another.
#include <algorithm>
#include <cstdio>
#include <fstream>

#include "picture.h"
#include "v210.h"

namespace {

const char usage[] =
    "usage: gallery BACKGROUND.png TITLE.png LETTERS.png FOOTAGE.v210 DIRECTORY\n"
    "The pictures and the one frame of v210 footage are 1280 x 720; the letters are cells of\n"
    "8 x 18 pixels, one for each character from ! to ~. Writes gallery.png, edges.png and\n"
    "the footage unpacked into three planes, footage.planes, into the directory.\n";

constexpr int kWidth = 1280, kHeight = 720;

// ---- the sheet: thumbnails over a checkerboard, which shows through where a result is transparent ----

constexpr int kShrink = 5, kThumbWidth = kWidth / kShrink, kThumbHeight = kHeight / kShrink;
constexpr int kGap = 8, kCaption = 18;
constexpr int kLetter = 8;  // the picture of letters has a cell of this width for each character from ! to ~
constexpr int kCellWidth = kThumbWidth + kGap, kCellHeight = kThumbHeight + kCaption + kGap;

// The mean of kShrink x kShrink pixels, colours weighted by alpha.
Argb32 mean(const Picture& picture, int left, int top) {
    uint32_t sum[4] = {}, alpha = 0;
    for (int y = 0; y < kShrink; ++y) {
        for (int x = 0; x < kShrink; ++x) {
            Argb32 px = picture.row(top + y)[left + x];
            for (int c = 0; c < 3; ++c) sum[c] += (px >> 8 * c & 255) * (px >> 24);
            alpha += px >> 24;
        }
    }
    if (alpha == 0) return 0;
    return sum[0] / alpha | sum[1] / alpha << 8 | sum[2] / alpha << 16 | alpha / (kShrink * kShrink) << 24;
}

Picture thumbnail(const Picture& picture) {
    Picture thumb(kThumbWidth, kThumbHeight);
    for (int y = 0; y < kThumbHeight; ++y)
        for (int x = 0; x < kThumbWidth; ++x) thumb.row(y)[x] = mean(picture, x * kShrink, y * kShrink);
    return thumb;
}

struct Tile {
    const char* caption;
    Picture picture;
};

void draw_text(Picture& sheet, int left, int top, const char* text, const Picture& letters) {
    for (; *text != 0; ++text, left += kLetter) {
        if (*text == ' ') continue;
        for (int y = 0; y < letters.height; ++y) {
            Argb32* dst = sheet.row(top + y) + left;
            qx_lblend(dst, dst, letters.row(y) + (*text - '!') * kLetter, kLetter);
        }
    }
}

Picture contact_sheet(const std::vector<Tile>& tiles, int columns, const Picture& letters) {
    const int rows = (int(tiles.size()) + columns - 1) / columns;
    Picture sheet(columns * kCellWidth + kGap, rows * kCellHeight + kGap);
    for (int y = 0; y < sheet.height; ++y) qx_fill(sheet.row(y), 0xFF202028, sheet.width);
    for (size_t k = 0; k < tiles.size(); ++k) {
        const int left = kGap + int(k) % columns * kCellWidth, top = kGap + int(k) / columns * kCellHeight;
        const Picture thumb = thumbnail(tiles[k].picture);
        for (int y = 0; y < kThumbHeight; ++y) {
            Argb32* dst = sheet.row(top + y) + left;
            for (int x = 0; x < kThumbWidth; x += 8)
                qx_fill(dst + x, (x / 8 + y / 8) % 2 ? 0xFF5A5A60 : 0xFF74747C, 8);
            qx_lblend(dst, dst, thumb.row(y), kThumbWidth);
        }
        draw_text(sheet, left, top + kThumbHeight, tiles[k].caption, letters);
    }
    return sheet;
}

// ---- the footage ----

std::vector<char> load_footage(const std::string& path) {
    std::vector<char> footage(v210_pitch(kWidth) * kHeight);
    if (!std::ifstream(path, std::ios::binary).read(footage.data(), std::streamsize(footage.size())))
        throw Error(path + ": no frame of 1280 x 720 v210");
    return footage;
}

struct Planes {
    std::vector<uint16_t> y = std::vector<uint16_t>(size_t(kWidth) * kHeight);
    std::vector<uint16_t> cb = std::vector<uint16_t>(y.size() / 2), cr = cb;
};

Planes unpack(const std::vector<char>& footage) {
    Planes planes;
    std::vector<uint16_t> line(2 * kWidth);
    for (size_t row = 0; row < kHeight; ++row) {
        qx_v210yuv422p10(line.data(), &footage[row * v210_pitch(kWidth)], kWidth);
        std::copy_n(&line[0], kWidth, &planes.y[row * kWidth]);
        std::copy_n(&line[kWidth], kWidth / 2, &planes.cb[row * kWidth / 2]);
        std::copy_n(&line[kWidth + kWidth / 2], kWidth / 2, &planes.cr[row * kWidth / 2]);
    }
    return planes;
}

void save_planes(const std::string& path, const Planes& planes) {
    std::vector<uint16_t> samples;
    for (const auto* plane : {&planes.y, &planes.cb, &planes.cr})
        samples.insert(samples.end(), plane->begin(), plane->end());
    save_file(path, samples.data(), samples.size() * sizeof(uint16_t));
}

Picture picture_of(const Planes& planes) {
    Picture picture(kWidth, kHeight);
    planes_to_argb(picture.row(0), planes.y.data(), planes.cb.data(), planes.cr.data(), kWidth * kHeight);
    return picture;
}

// ---- the tiles ----

template <typename Row>
Picture by_rows(Row row) {
    Picture picture(kWidth, kHeight);
    for (int y = 0; y < kHeight; ++y) row(picture.row(y), y);
    return picture;
}

// An ellipse with a soft edge.
std::vector<uint8_t> soft_matte() {
    std::vector<uint8_t> matte(size_t(kWidth) * kHeight);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            double u = (x - 520) / 330.0, v = (y - 320) / 200.0;
            matte[size_t(y) * kWidth + size_t(x)] =
                uint8_t(std::clamp(2 * (1 - u * u - v * v), 0.0, 1.0) * 255);
        }
    }
    return matte;
}

// A small picture in the middle of a transparent one.
Picture centred(const Picture& small) {
    Picture picture(kWidth, kHeight);
    for (int y = 0; y < small.height; ++y)
        std::copy_n(small.row(y), small.width,
                    picture.row((kHeight - small.height) / 2 + y) + (kWidth - small.width) / 2);
    return picture;
}

template <typename Plain, typename T, typename M, typename MT, typename MLT>
void add_family(std::vector<Tile>& tiles, const char* const (&captions)[5], const Picture& background,
                const Picture& title, const std::vector<uint8_t>& matte, Plain plain, T t, M m, MT mt,
                MLT mlt) {
    uint8_t inverted[256];
    for (int k = 0; k < 256; ++k) inverted[k] = uint8_t(255 - k);
    auto lay = [&](const char* caption, auto row) {
        tiles.push_back({caption, by_rows([&](Argb32* dst, int y) {
                             row(dst, background.row(y), title.row(y), &matte[size_t(y) * kWidth]);
                         })});
    };
    auto lay_all = [&](auto... rows) {
        const char* const* caption = captions;
        (lay(*caption++, rows), ...);
    };
    using Line = const Argb32*;
    using Mask = const uint8_t*;
    lay_all([=](Argb32* dst, Line bg, Line fg, Mask) { plain(dst, bg, fg, kWidth); },
            [=](Argb32* dst, Line bg, Line fg, Mask) { t(dst, bg, fg, kWidth, 110); },
            [=](Argb32* dst, Line bg, Line fg, Mask mask) { m(dst, bg, fg, kWidth, mask); },
            [=](Argb32* dst, Line bg, Line fg, Mask mask) { mt(dst, bg, fg, kWidth, mask, 110); },
            [&](Argb32* dst, Line bg, Line fg, Mask mask) { mlt(dst, bg, fg, kWidth, mask, inverted, 256); });
}

#define FAMILY(name) qx_##name, qx_##name##_t, qx_##name##_m, qx_##name##_mt, qx_##name##_mlt
#define CAPTIONS(name)                                                         \
    {                                                                          \
        "qx_" #name, "qx_" #name "_t: faded", "qx_" #name "_m: a soft matte",  \
            "qx_" #name "_mt: faded matte", "qx_" #name "_mlt: matte inverted" \
    }

std::vector<Tile> make_tiles(const Picture& background, const Picture& title, const Planes& footage) {
    const std::vector<uint8_t> matte = soft_matte();
    std::vector<Tile> tiles;
    auto add = [&](const char* caption, auto row) { tiles.push_back({caption, by_rows(row)}); };

    add_family(tiles, CAPTIONS(blend), background, title, matte, FAMILY(blend));
    add("qx_fill: half-transparent red", [](Argb32* dst, int) { qx_fill(dst, 0x80FF0000, kWidth); });
    add("qx_alpha: the title's alpha", [&](Argb32* dst, int y) { qx_alpha(dst, title.row(y), kWidth); });

    add_family(tiles, CAPTIONS(lblend), background, title, matte, FAMILY(lblend));
    add("qx_mask: the title, masked",
        [&](Argb32* dst, int y) { qx_mask(dst, title.row(y), &matte[size_t(y) * kWidth], kWidth); });
    const Picture footage_picture = picture_of(footage);
    add("qx_lin_pix: a cross-fade",
        [&](Argb32* dst, int y) { qx_lin_pix(dst, background.row(y), footage_picture.row(y), 128, kWidth); });

    add_family(tiles, CAPTIONS(sblend), background, title, matte, FAMILY(sblend));
    const Picture ayuv = by_rows([&](Argb32* dst, int y) { qx_argb2ayuv(dst, background.row(y), kWidth); });
    tiles.push_back({"qx_argb2ayuv, seen as ARGB", ayuv});
    add("qx_ayuv2argb: and back", [&](Argb32* dst, int y) { qx_ayuv2argb(dst, ayuv.row(y), kWidth); });

    tiles.push_back({"qx_v210yuv422p10: footage", footage_picture});
    add("qx_zoom_in2x1d: twice as wide",
        [&](Argb32* dst, int y) { qx_zoom_in2x1d(dst, tiles[0].picture.row(y) + kWidth / 4, kWidth / 2); });
    Picture twice(kWidth, kHeight);
    qx_zoom_in2x2d(twice.row(0), tiles[0].picture.row(120) + kWidth / 4, kWidth / 2, kHeight / 2, kWidth);
    tiles.push_back({"qx_zoom_in2x2d: twice the size", twice});

    Picture line(853 / 4 * 4, kHeight);
    for (int y = 0; y < kHeight; ++y) qx_scale_1d(line.row(y), line.width, tiles[0].picture.row(y), kWidth);
    tiles.push_back({"qx_scale_1d: two thirds", centred(line)});
    Picture third(kWidth / 3 / 4 * 4, kHeight);
    qx_scale_horz(third.row(0), third.width, third.width, tiles[0].picture.row(0), kWidth, kHeight, kWidth);
    tiles.push_back({"qx_scale_horz: a third", centred(third)});
    Picture half(kWidth / 2, kHeight / 2);
    qx_zoom_outNx(half.row(0), half.width, half.height, tiles[0].picture.row(0), kWidth, kHeight);
    tiles.push_back({"qx_zoom_outNx: half the size", centred(half)});
    return tiles;
}

// What each family makes of a soft edge, over an opaque background and over a transparent one that still has
// a colour, as keyed footage has: shown as straight alpha, over the checkerboard.
std::vector<Tile> make_edges() {
    const Picture disc = by_rows([](Argb32* dst, int y) {
        for (int x = 0; x < kWidth; ++x) {
            const double u = (x - kWidth / 2) / 520.0, v = (y - kHeight / 2) / 320.0;
            dst[x] = 0xFFF8E8 | uint32_t(std::clamp(1.6 * (1 - u * u - v * v), 0.0, 1.0) * 255) << 24;
        }
    });
    std::vector<Tile> tiles;
    auto lay_over = [&](Argb32 background, const char* const(&captions)[3]) {
        const std::vector<Argb32> bg(kWidth, background);
        const char* const* caption = captions;
        for (auto family : {qx_blend, qx_lblend, qx_sblend})
            tiles.push_back({*caption++, by_rows([&](Argb32* dst, int y) {
                                 family(dst, bg.data(), disc.row(y), kWidth);
                             })});
    };
    lay_over(0xFF1F6B3A, {"qx_blend over opaque green", "qx_lblend", "qx_sblend"});
    lay_over(0x001F6B3A, {"qx_blend over transparent green", "qx_lblend", "qx_sblend"});
    return tiles;
}

void save_sheet(const std::string& path, const Picture& sheet, const char* what) {
    save_png(path, sheet);
    std::printf("%-24s %d x %d   %s\n", path.c_str(), sheet.width, sheet.height, what);
}

void run(int argc, char** argv) {
    if (argc != 6) throw Error("four files and a directory are needed; see --help");
    const std::string directory = argv[5];
    qx_pixinit();
    const Picture background = load_png(argv[1], kWidth, kHeight), title = load_png(argv[2], kWidth, kHeight);
    const Picture letters = load_png(argv[3], ('~' - '!' + 1) * kLetter, kCaption);
    const Planes footage = unpack(load_footage(argv[4]));
    save_planes(directory + "/footage.planes", footage);
    save_sheet(directory + "/gallery.png", contact_sheet(make_tiles(background, title, footage), 7, letters),
               "every kernel once");
    save_sheet(directory + "/edges.png", contact_sheet(make_edges(), 3, letters),
               "a soft edge by each family");
}

}  // namespace

int main(int argc, char** argv) { return run_program("gallery", usage, argc, argv, run); }
