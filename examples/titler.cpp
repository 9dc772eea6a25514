// Lays a title over raw video that comes in on standard input, and writes it to standard output.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
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
    "  --threads N         threads, each busy with a frame of its own; 3 where nothing is said\n"
    "The title and the matte have the size of the video.\n";

struct Options {
    int width = 0, height = 0, fade_in = 0, fade_out = 0, frames = 0, threads = 3;
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
    // More would only wait: one at either end, and one for each processor.
    o.threads = std::min(o.threads, int(std::thread::hardware_concurrency()) + 2);
    if (o.fade_out > 0 && o.frames == 0) throw Error("--fade-out needs --frames");
    return o;
}

// A line on standard error, a few times a second and at the end, be that an error.
class Progress {
 public:
    explicit Progress(int frames) : frames_(frames) {}

    void frame_done() {
        ++done_;
        if (Clock::now() - shown_ < std::chrono::milliseconds(300)) return;
        shown_ = Clock::now();
        const double fps = show();
        if (frames_ > done_) std::fprintf(stderr, ", %.0f s left   ", double(frames_ - done_) / fps);
    }

    void end() const {
        show();
        std::fprintf(stderr, "               \n");
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

// Lets the frames through in order, one at a time.
class Gate {
 public:
    void wait_for(int64_t n) {
        std::unique_lock<std::mutex> lock(mutex_);
        passed_.wait(lock, [&] { return next_ == n; });
    }

    void pass() {
        std::lock_guard<std::mutex> lock(mutex_);
        ++next_;
        passed_.notify_all();
    }

 private:
    std::mutex mutex_;
    std::condition_variable passed_;
    int64_t next_ = 0;
};

// A frame on its way from standard input to standard output.
struct Frame {
    explicit Frame(const Options& o) : picture(o.width, o.height) {
        if (o.input != "v210") return;
        packed.resize(v210_pitch(o.width) * size_t(o.height));
        planes.resize(2 * size_t(o.width));
    }

    Picture picture;
    std::vector<uint8_t> packed;   // v210, if that is what comes in,
    std::vector<uint16_t> planes;  // and a line of it
};

class Titler {
 public:
    explicit Titler(const Options& options) : o_(options), title_(load_png(o_.title, o_.width, o_.height)) {
        if (!o_.matte.empty())
            for (Argb32 px : load_png(o_.matte, o_.width, o_.height).pixels)
                matte_.push_back(uint8_t(px >> 8));  // green
    }

    // Reads, composes and writes frames, in turn with the other threads that do so: each is busy with a frame
    // of its own, which goes through the gates in order. After an error, or the end of the video, its gate
    // stays shut, and threads that wait there do so until the program ends.
    void take_turns(Frame frame) {
        try {
            while (take_turn(frame)) continue;
            progress_.end();
            ended_.set_value();
        } catch (...) {
            progress_.end();
            ended_.set_exception(std::current_exception());
        }
    }

    // When the video has ended; throws what has ended it.
    void wait() { ended_.get_future().get(); }

 private:
    // False at the end of the video.
    bool take_turn(Frame& frame) {
        const int64_t n = taken_++;
        reading_.wait_for(n);
        std::exception_ptr error;
        bool is_there = false;
        try {
            is_there = read(frame);
        } catch (...) {
            error = std::current_exception();
        }
        if (is_there) {
            reading_.pass();
            compose(frame, n);
        }
        writing_.wait_for(n);  // the frames before are whole, whatever has become of this one
        if (error) std::rethrow_exception(error);
        if (!is_there) return false;
        write_all(STDOUT_FILENO, "standard output", frame.picture.pixels.data(),
                  frame.picture.pixels.size() * sizeof(Argb32));
        progress_.frame_done();
        writing_.pass();
        return true;
    }

    // The next frame from standard input; false at the end of the video.
    static bool read(Frame& frame) {
        std::vector<Argb32>& pixels = frame.picture.pixels;
        void* buffer = frame.packed.empty() ? static_cast<void*>(pixels.data()) : frame.packed.data();
        const size_t bytes = frame.packed.empty() ? pixels.size() * sizeof(Argb32) : frame.packed.size();
        const size_t got = read_all(STDIN_FILENO, "standard input", buffer, bytes);
        if (got != 0 && got != bytes)
            throw Error("the last frame is cut short: " + std::to_string(got) + " of " +
                        std::to_string(bytes) + " bytes");
        return got == bytes;
    }

    // lblend keeps the alpha of the video.
    void compose(Frame& frame, int64_t n) const {
        const uint32_t opacity = opacity_of(n);
        for (int y = 0; y < o_.height; ++y) {
            Argb32* row = frame.picture.row(y);
            if (!frame.packed.empty()) {
                uint16_t* luma = frame.planes.data();
                qx_v210yuv422p10(luma, &frame.packed[size_t(y) * v210_pitch(o_.width)], o_.width);
                const uint16_t* cb = luma + o_.width;
                planes_to_argb(row, luma, cb, cb + o_.width / 2, o_.width);
            }
            if (matte_.empty())
                qx_lblend_t(row, row, title_.row(y), o_.width, opacity);
            else
                qx_lblend_mt(row, row, title_.row(y), o_.width, &matte_[size_t(y) * size_t(o_.width)],
                             opacity);
        }
    }

    // In 64 bits: a video may go on for long after its title has gone.
    uint32_t opacity_of(int64_t n) const {
        int64_t opacity = 256;
        if (n < o_.fade_in) opacity = 256 * (n + 1) / (o_.fade_in + 1);
        const int64_t left = o_.frames - n;
        if (o_.fade_out > 0 && left <= o_.fade_out)
            opacity = std::min(opacity, 256 * left / (o_.fade_out + 1));
        return uint32_t(std::max<int64_t>(opacity, 0));
    }

    const Options o_;
    const Picture title_;
    std::vector<uint8_t> matte_;
    std::atomic<int64_t> taken_{0};  // frames that a thread has, or waits for
    Gate reading_, writing_;
    Progress progress_{o_.frames};
    std::promise<void> ended_;
};

void run(int argc, char** argv) {
    const Options options = parse(argc, argv);
    const auto titler = std::make_shared<Titler>(options);
    // Frames of less than 128 KiB are done before another thread is awake.
    const bool alone = options.threads == 1 || size_t(options.width) * size_t(options.height) < 32768;
    int started = 0;
    try {
        // Detached, for one may be in a read that never returns when writing has failed.
        for (; !alone && started < options.threads; ++started)
            std::thread([titler](Frame frame) { titler->take_turns(std::move(frame)); }, Frame(options))
                .detach();
    } catch (const std::exception&) {
        // There is no room for another one: those that have started do all.
    }
    if (started == 0) titler->take_turns(Frame(options));
    titler->wait();
}

}  // namespace

int main(int argc, char** argv) { return run_program("titler", usage, argc, argv, run); }
