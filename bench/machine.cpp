#include "machine.h"

#include <time.h>
#include <unistd.h>

#include <fstream>

namespace {

double seconds(clockid_t clock) {
    timespec t;
    clock_gettime(clock, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// Processor time that was not idle, the stolen time included, and not this program's.
double others_seconds() {
    std::ifstream stat("/proc/stat");
    std::string name;
    stat >> name;
    double busy = 0, ticks = 0;
    for (int field = 0; field < 8 && stat >> ticks; ++field)
        if (field != 3 && field != 4) busy += ticks;  // idle, and waiting for a disk
    return busy / double(sysconf(_SC_CLK_TCK)) - seconds(CLOCK_PROCESS_CPUTIME_ID);
}

}  // namespace

double thread_seconds() { return seconds(CLOCK_THREAD_CPUTIME_ID); }
double wall_seconds() { return seconds(CLOCK_MONOTONIC); }

OtherLoad::OtherLoad() : start_(others_seconds()), wall_(wall_seconds()) {}
double OtherLoad::processors() const { return (others_seconds() - start_) / (wall_seconds() - wall_); }

std::string processor_name() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.rfind("model name", 0) == 0) return line.substr(line.find(": ") + 2);
    return "unknown";
}
