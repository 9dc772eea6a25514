// Lays a title over raw video that comes in on standard input, and writes it to standard output.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "picture.h"
#include "v210.h"

namespace {

const char usage[] =
    "usage: titler --size WxH --title TITLE.png [OPTION ...] <FRAMES >FRAMES\n"
    "  --input bgra|v210   what comes in, bgra where nothing is said; bgra goes out. v210 is\n"
    "                      taken at 8 of its 10 bits, each pair of pixels with its one colour,\n"
    "                      and converted by BT.601; its alpha is 255\n"
    "  --matte MATTE.png   where the title shows: white for all of it, black for nothing\n"
    "  --fade-in N         frames over which it comes, and\n"
    "  --fade-out N        goes, which needs --frames\n"
    "  --frames N          frames that will come\n"
    "  --threads N         threads that share the rows of a frame\n"
    "The title and the matte have the size of the video.\n";

struct Options {
    int width = 0, height = 0, fade_in = 0, fade_out = 0, frames = 0, threads = 1;
    std::string title, matte, input = "bgra";
};

int number_of(const std::string& option, const char* text, int least) {
    char* end;
    long value = std::strtol(text, &end, 10);
    if (*text == 0 || *end != 0 || value < least || value > 1000000)
        throw Error(option + " " + text + ": not a number that will do");
    return int(value);
}

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; i += 2) {
        const std::string option = argv[i];
        if (i + 1 == argc) throw Error(option + " needs a value; see --help");
        const char* value = argv[i + 1];
        if (option == "--size") {
            if (std::sscanf(value, "%dx%d", &o.width, &o.height) != 2) o.width = 0;
        } else if (option == "--title") {
            o.title = value;
        } else if (option == "--matte") {
            o.matte = value;
        } else if (option == "--input") {
            o.input = value;
        } else if (option == "--fade-in") {
            o.fade_in = number_of(option, value, 0);
        } else if (option == "--fade-out") {
            o.fade_out = number_of(option, value, 0);
        } else if (option == "--frames") {
            o.frames = number_of(option, value, 1);
        } else if (option == "--threads") {
            o.threads = number_of(option, value, 1);
        } else {
            throw Error("unknown option " + option + "; see --help");
        }
    }
    if (o.width < 1 || o.height < 1 || o.width > 16384 || o.height > 16384)
        throw Error("--size has to be given as 1280x720, up to 16384x16384");
    if (o.title.empty()) throw Error("--title is needed; see --help");
    if (o.input != "bgra" && o.input != "v210") throw Error("--input is bgra or v210");
    if (o.input == "v210" && o.width % 2 != 0) throw Error("v210 has an even width");
    if (o.fade_out > 0 && o.frames == 0) throw Error("--fade-out needs --frames");
    return o;
}

Picture load_of_size(const std::string& path, const Options& o) {
    Picture picture = load_png(path);
    if (picture.width != o.width || picture.height != o.height)
        throw Error(path + ": " + std::to_string(picture.width) + "x" + std::to_string(picture.height) +
                    " is not the size of the video");
    return picture;
}

class Titler {
 public:
    explicit Titler(const Options& options)
        : o_(options), title_(load_of_size(o_.title, o_)), frame_(o_.width, o_.height) {
        if (!o_.matte.empty())
            for (Argb32 px : load_of_size(o_.matte, o_).pixels) matte_.push_back(uint8_t(px >> 8));  // green
        if (o_.input == "v210") packed_.resize(v210_pitch(o_.width) * size_t(o_.height));
    }

    // The next frame from `in`; false at the end of the video.
    bool read(std::FILE* in) {
        void* buffer = packed_.empty() ? static_cast<void*>(frame_.pixels.data()) : packed_.data();
        const size_t bytes = packed_.empty() ? frame_.pixels.size() * sizeof(Argb32) : packed_.size();
        const size_t got = std::fread(buffer, 1, bytes, in);
        if (got != 0 && got != bytes)
            throw Error("the last frame is cut short: " + std::to_string(got) + " of " +
                        std::to_string(bytes) + " bytes");
        return got == bytes;
    }

    // Composes frame number n, its rows shared out to the threads.
    void compose(int n) {
        const uint32_t opacity = opacity_of(n);
        std::vector<std::thread> others;
        auto share = [=](int k) { return int(int64_t{o_.height} * k / o_.threads); };
        for (int k = 1; k < o_.threads; ++k)
            others.emplace_back([=] { compose_rows(share(k), share(k + 1), opacity); });
        compose_rows(0, share(1), opacity);
        for (std::thread& other : others) other.join();
    }

    void write(std::FILE* out) const {
        if (std::fwrite(frame_.pixels.data(), sizeof(Argb32), frame_.pixels.size(), out) !=
                frame_.pixels.size() ||
            std::fflush(out) != 0)
            throw Error(std::string("the output cannot be written: ") + std::strerror(errno));
    }

 private:
    uint32_t opacity_of(int n) const {
        int opacity = 256;
        if (n < o_.fade_in) opacity = 256 * (n + 1) / (o_.fade_in + 1);
        const int left = o_.frames - n;
        if (o_.fade_out > 0 && left <= o_.fade_out)
            opacity = std::min(opacity, 256 * left / (o_.fade_out + 1));
        return uint32_t(std::max(opacity, 0));
    }

    // lblend keeps the alpha of the video.
    void compose_rows(int first, int end, uint32_t opacity) {
        std::vector<uint16_t> planes(packed_.empty() ? 0 : 2 * size_t(o_.width));
        for (int y = first; y < end; ++y) {
            Argb32* row = frame_.row(y);
            if (!packed_.empty()) {
                qx_v210yuv422p10(planes.data(), &packed_[size_t(y) * v210_pitch(o_.width)], o_.width);
                const uint16_t* cb = &planes[size_t(o_.width)];
                planes_to_argb(row, planes.data(), cb, cb + o_.width / 2, o_.width);
            }
            if (matte_.empty())
                qx_lblend_t(row, row, title_.row(y), o_.width, opacity);
            else
                qx_lblend_mt(row, row, title_.row(y), o_.width, &matte_[size_t(y) * size_t(o_.width)],
                             opacity);
        }
    }

    const Options o_;
    const Picture title_;
    std::vector<uint8_t> matte_;
    Picture frame_;
    std::vector<uint8_t> packed_;
};

// A line on standard error, a few times a second.
class Progress {
 public:
    explicit Progress(int frames) : frames_(frames) {}

    void show(int done, bool last) {
        const auto now = Clock::now();
        if (!last && now - shown_ < std::chrono::milliseconds(300)) return;
        shown_ = now;
        const double seconds = std::chrono::duration<double>(now - start_).count();
        const double fps = seconds > 0 ? done / seconds : 0;
        std::fprintf(stderr, "\r%d frames, %.1f fps", done, fps);
        if (frames_ > done && fps > 0 && !last)
            std::fprintf(stderr, ", %.0f s left   ", (frames_ - done) / fps);
        if (last) std::fprintf(stderr, "               \n");
    }

 private:
    using Clock = std::chrono::steady_clock;
    const int frames_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point shown_ = start_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) return std::fputs(usage, stdout) < 0;
    std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is an error like another, and is said
    try {
        const Options options = parse(argc, argv);
        Titler titler(options);
        Progress progress(options.frames);
        int n = 0;
        for (; titler.read(stdin); progress.show(++n, false)) {
            titler.compose(n);
            titler.write(stdout);
        }
        progress.show(n, true);
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "\ntitler: %s\n", e.what());
        return 1;
    }
}
