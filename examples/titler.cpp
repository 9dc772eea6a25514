// Lays a title over raw video that comes in on standard input, and writes it to standard output.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>

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
            int length = 0;
            std::sscanf(value, "%5dx%5d%n", &o.width, &o.height, &length);
            if (length == 0 || value[length] != 0) o.width = 0;
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
    o.threads = std::min(o.threads, o.height);
    if (o.fade_out > 0 && o.frames == 0) throw Error("--fade-out needs --frames");
    return o;
}

class Titler {
 public:
    explicit Titler(const Options& options)
        : o_(options), title_(load_png(o_.title, o_.width, o_.height)), frame_(o_.width, o_.height) {
        if (!o_.matte.empty())
            for (Argb32 px : load_png(o_.matte, o_.width, o_.height).pixels)
                matte_.push_back(uint8_t(px >> 8));  // green
        if (o_.input == "v210") packed_.resize(v210_pitch(o_.width) * size_t(o_.height));
    }

    // The next frame from standard input; false at the end of the video.
    bool read() {
        void* buffer = packed_.empty() ? static_cast<void*>(frame_.pixels.data()) : packed_.data();
        const size_t bytes = packed_.empty() ? frame_.pixels.size() * sizeof(Argb32) : packed_.size();
        const size_t got = read_all(STDIN_FILENO, "standard input", buffer, bytes);
        if (got != 0 && got != bytes)
            throw Error("the last frame is cut short: " + std::to_string(got) + " of " +
                        std::to_string(bytes) + " bytes");
        return got == bytes;
    }

    // Composes frame number n, its rows shared out to the threads.
    void compose(int64_t n) {
        const uint32_t opacity = opacity_of(n);
        auto share = [=](int k) { return int(int64_t{o_.height} * k / o_.threads); };
        std::vector<std::future<void>> others;
        // A share that the system has no thread for is done by this one, when it is waited for.
        for (int k = 1; k < o_.threads; ++k)
            others.push_back(std::async([=] { compose_rows(share(k), share(k + 1), opacity); }));
        compose_rows(0, share(1), opacity);
        for (std::future<void>& other : others) other.get();
    }

    void write() const {
        write_all(STDOUT_FILENO, "standard output", frame_.pixels.data(),
                  frame_.pixels.size() * sizeof(Argb32));
    }

 private:
    // In 64 bits: a video may go on for long after its title has gone.
    uint32_t opacity_of(int64_t n) const {
        int64_t opacity = 256;
        if (n < o_.fade_in) opacity = 256 * (n + 1) / (o_.fade_in + 1);
        const int64_t left = o_.frames - n;
        if (o_.fade_out > 0 && left <= o_.fade_out)
            opacity = std::min(opacity, 256 * left / (o_.fade_out + 1));
        return uint32_t(std::max<int64_t>(opacity, 0));
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

// A line on standard error, a few times a second and at the end, be that an error.
class Progress {
 public:
    explicit Progress(int frames) : frames_(frames) {}
    ~Progress() {
        show();
        std::fprintf(stderr, "               \n");
    }

    int64_t done() const { return done_; }

    void frame_done() {
        ++done_;
        if (Clock::now() - shown_ < std::chrono::milliseconds(300)) return;
        shown_ = Clock::now();
        const double fps = show();
        if (frames_ > done_) std::fprintf(stderr, ", %.0f s left   ", double(frames_ - done_) / fps);
    }

 private:
    using Clock = std::chrono::steady_clock;

    double show() const {
        const std::chrono::duration<double> seconds = Clock::now() - start_;
        const double fps = double(done_) / std::max(seconds.count(), 1e-9);
        std::fprintf(stderr, "\r%lld frames, %.1f fps", static_cast<long long>(done_), fps);
        return fps;
    }

    const int frames_;
    int64_t done_ = 0;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point shown_ = start_;
};

void run(int argc, char** argv) {
    const Options options = parse(argc, argv);
    Titler titler(options);
    for (Progress progress(options.frames); titler.read(); progress.frame_done()) {
        titler.compose(progress.done());
        titler.write();
    }
}

}  // namespace

int main(int argc, char** argv) { return run_program("titler", usage, argc, argv, run); }
