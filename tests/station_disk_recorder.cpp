// Loaded in front of r8-station: writes down what it syncs and renames (DISK_LOG), is the disk that has
// no room for files whose path holds a text (DISK_FULL_FOR), and kills it at one of the steps in which it
// changes its index (DISK_KILL_AT), or has no room from there on (DISK_FULL_AT).

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

template <typename Function>
Function next(const char* name, Function) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

std::string pathOf(int fd) {
    char path[4096];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
    return {path, length < 0 ? 0 : static_cast<std::size_t>(length)};
}

bool isFull(int fd) {
    const char* const text = std::getenv("DISK_FULL_FOR");
    return text != nullptr && pathOf(fd).find(text) != std::string::npos;
}

// Whether this is the step of the index, counted from 1, that the variable names, or a later one.
bool isStep(const char* variable, int fd) {
    static int steps = 0;
    const char* const at = std::getenv(variable);
    return at != nullptr && pathOf(fd).find("/index.sqlite") != std::string::npos && ++steps >= std::atoi(at);
}

// False: the disk takes no more.
bool takesStep(int fd) {
    if (isStep("DISK_KILL_AT", fd)) {
        (void)raise(SIGKILL);
    }
    if (isStep("DISK_FULL_AT", fd)) {
        errno = ENOSPC;
        return false;
    }
    return true;
}

void note(const std::string& what) {
    if (const char* const path = std::getenv("DISK_LOG")) {
        const int log = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        (void)dprintf(log, "%s\n", what.c_str());
        (void)close(log);
    }
}

}  // namespace

extern "C" ssize_t write(int fd, const void* bytes, std::size_t count) {
    if (isFull(fd)) {
        errno = ENOSPC;
        return -1;
    }
    constexpr std::size_t most = 1000;  // a disk may take less than it is given
    const bool isKept = pathOf(fd).find("/results/") != std::string::npos;
    return next("write", &write)(fd, bytes, isKept ? std::min(count, most) : count);
}

extern "C" ssize_t pwrite64(int fd, const void* bytes, std::size_t count, off64_t at) {
    return takesStep(fd) ? next("pwrite64", &pwrite64)(fd, bytes, count, at) : -1;
}

extern "C" int ftruncate64(int fd, off64_t length) noexcept {
    return takesStep(fd) ? next("ftruncate64", &ftruncate64)(fd, length) : -1;
}

extern "C" int fdatasync(int fd) {
    return takesStep(fd) ? next("fdatasync", &fdatasync)(fd) : -1;
}

extern "C" int fsync(int fd) {
    note("sync " + pathOf(fd));
    return next("fsync", &fsync)(fd);
}

extern "C" int rename(const char* from, const char* to) noexcept {
    note("rename " + std::string(to));
    return next("rename", &rename)(from, to);
}
