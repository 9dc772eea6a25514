#include "program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>

namespace {

Error error_of_system(const std::string& name, const char* what) {
    return Error(name + " cannot be " + what + ": " + std::strerror(errno));
}

// After a read or write that has failed: waits where the descriptor is only not ready, being non-blocking.
bool wait_if_busy(int fd, short events) {
    if (errno != EAGAIN) return false;
    pollfd waiting{fd, events, 0};
    poll(&waiting, 1, -1);
    return true;
}

bool put(int fd, const void* bytes, size_t count) {
    for (size_t done = 0; done < count;) {
        const ssize_t taken = write(fd, static_cast<const char*>(bytes) + done, count - done);
        if (taken >= 0)
            done += size_t(taken);
        else if (!wait_if_busy(fd, POLLOUT))
            return false;
    }
    return true;
}

bool put_and_close(int fd, const void* bytes, size_t count) {
    if (put(fd, bytes, count)) return close(fd) == 0;
    const int error = errno;
    close(fd);
    errno = error;
    return false;
}

mode_t mode_of_new_files() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

int run_program(const char* name, const char* usage, int argc, char** argv, void (*run)(int, char**)) {
    // A closed pipe and a limit are errors like others, and are said.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::string said;
    try {
        if (argc == 2 && std::strcmp(argv[1], "--help") == 0)
            std::fputs(usage, stdout);
        else
            run(argc, argv);
        if (std::fflush(stdout) != 0 || std::ferror(stdout))
            throw error_of_system("standard output", "written");
        return 0;
    } catch (const std::bad_alloc&) {
        said = "there is not enough memory";
    } catch (const std::exception& e) {
        said = e.what();
    }
    std::fprintf(stderr, "%s: %s\n", name, said.c_str());
    return 1;
}

size_t read_all(int fd, const std::string& name, void* bytes, size_t count) {
    size_t done = 0;
    while (done < count) {
        const ssize_t got = read(fd, static_cast<char*>(bytes) + done, count - done);
        if (got == 0) break;
        if (got > 0)
            done += size_t(got);
        else if (!wait_if_busy(fd, POLLIN))
            throw error_of_system(name, "read");
    }
    return done;
}

void write_all(int fd, const std::string& name, const void* bytes, size_t count) {
    if (!put(fd, bytes, count)) throw error_of_system(name, "written");
}

bool is_standard_output(const std::string& path) {
    struct stat file, output;
    return stat(path.c_str(), &file) == 0 && fstat(STDOUT_FILENO, &output) == 0 &&
           file.st_dev == output.st_dev && file.st_ino == output.st_ino;
}

void save_file(const std::string& path, const void* bytes, size_t count) {
    // Standard output has a position of its own, which a second opening of the same file would not share.
    if (is_standard_output(path)) return write_all(STDOUT_FILENO, path, bytes, count);
    struct stat old;
    const bool exists = stat(path.c_str(), &old) == 0;
    if (!exists && errno != ENOENT) throw error_of_system(path, "written");
    if (exists && !S_ISREG(old.st_mode)) {
        const int fd = open(path.c_str(), O_WRONLY);
        if (fd < 0 || !put_and_close(fd, bytes, count)) throw error_of_system(path, "written");
        return;
    }
    if (exists && access(path.c_str(), W_OK) != 0) throw error_of_system(path, "written");
    std::filesystem::path target = path;
    while (std::filesystem::is_symlink(target))  // the last one may lead to no file yet
        target = target.parent_path() / std::filesystem::read_symlink(target);
    std::string partial = target.string() + ".XXXXXX";
    const int fd = mkstemp(partial.data());
    if (fd < 0) throw error_of_system(path, "written");
    mode_t mode = exists ? old.st_mode & 07777 : mode_of_new_files();
    if (exists && fchown(fd, old.st_uid, old.st_gid) != 0) mode &= 0777;  // another's file, now the caller's
    fchmod(fd, mode);
    if (!put_and_close(fd, bytes, count) || std::rename(partial.c_str(), target.c_str()) != 0) {
        const Error error = error_of_system(path, "written");
        unlink(partial.c_str());
        throw error;
    }
}
