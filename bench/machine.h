// The machine that the bench runs on.
#pragma once

#include <string>

// Seconds of the calling thread's own processor time, and of the clock on the wall.
double thread_seconds();
double wall_seconds();

// What other programs, and other guests of the same machine, take of the processors.
class OtherLoad {
 public:
    OtherLoad();
    double processors() const;  // on average, since the object was made

 private:
    double start_, wall_;
};

std::string processor_name();
