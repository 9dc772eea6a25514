// What a mixer has to make of two pictures, by calling the library directly: raw R, G, B, A bytes on standard
// output. usage: expected_frame BACKGROUND.png TITLE.png blend|lblend|sblend OPACITY, the opacity in 1/256
#include <cstdio>
#include <cstdlib>

#include "picture.h"

// The blends treat the three colours alike, so that swapping two of them may come last.
static Argb32 rgba_of(Argb32 px) { return (px & 0xFF00FF00) | (px >> 16 & 255) | (px & 255) << 16; }

int main(int argc, char** argv) try {
    if (argc != 5) throw Error("two pictures, a family and an opacity are needed");
    const Picture background = load_png(argv[1]), title = load_png(argv[2]);
    const std::string family = argv[3];
    auto blend = family == "blend" ? qx_blend_t : family == "lblend" ? qx_lblend_t : qx_sblend_t;
    Picture out(background.width, background.height);
    for (int y = 0; y < out.height; ++y)
        blend(out.row(y), background.row(y), title.row(y), out.width, uint32_t(std::atoi(argv[4])));
    for (Argb32& px : out.pixels) px = rgba_of(px);
    return std::fwrite(out.pixels.data(), sizeof(Argb32), out.pixels.size(), stdout) != out.pixels.size();
} catch (const std::exception& e) {
    std::fprintf(stderr, "expected_frame: %s\n", e.what());
    return 1;
}
