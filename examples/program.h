// What the example programs share: a main that reports errors, and files that are written whole or not at
// all.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The body of a program's main: prints the usage for --help, else calls run. The exit status is 1, and a
// sentence on standard error says why, after an exception or where standard output does not take all.
int run_program(const char* name, const char* usage, int argc, char** argv, void (*run)(int, char**));

// Reads `count` bytes, or fewer at the end of the file; returns how many. These two wait for a descriptor
// that is non-blocking, and throw Error with `name` in its sentence.
size_t read_all(int fd, const std::string& name, void* bytes, size_t count);
void write_all(int fd, const std::string& name, const void* bytes, size_t count);

// Writes a file whole, or throws Error and leaves what is there. Links are followed; a file keeps its mode,
// and anything else (a device, a pipe, standard output by its path) takes the bytes as they come.
void save_file(const std::string& path, const void* bytes, size_t count);

// Whether the path leads to where standard output goes.
bool is_standard_output(const std::string& path);
