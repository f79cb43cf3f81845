#include "station/link/report_pipe.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "station/wrong_use.h"

namespace station {

namespace {

void makePipeAt(const std::string& path) {
    if (mkfifo(path.c_str(), 0600) == 0) {
        return;
    }
    host::require(errno == EEXIST, path);
    struct stat status = {};
    host::require(lstat(path.c_str(), &status) == 0, path);
    if (!S_ISFIFO(status.st_mode)) {
        throw WrongUse(path + ": something else lies where the report pipe belongs; it is left alone");
    }
}

// Whoever looks for readers by opening the pipe, or reads it, is seen by others that look: of two stations
// that start in the same moment the one without the lock must not come near it.
host::Descriptor lockOf(const std::string& path) {
    const std::string name = path + ".lock";
    host::Descriptor lock(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    host::require(lock.isOpen(), name);
    if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        throw WrongUse(path + ": another station reads this pipe already");
    }
    return lock;
}

bool hasReader(const std::string& path) {
    const host::Descriptor writer(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    host::require(writer.isOpen() || errno == ENXIO, path);
    return writer.isOpen();
}

// No read would tell a stranger's bytes from those of our tool. Without a writer a read gives the end of the
// file, with a silent one EAGAIN.
bool hasWriter(int fd) {
    int waiting = 0;
    char byte;
    return (ioctl(fd, FIONREAD, &waiting) == 0 && waiting > 0) || read(fd, &byte, 1) != 0;
}

}  // namespace

void makeRoom(const host::Descriptor& pipe) {
    constexpr int mostBytes = 1024 * 1024;             // that any user may ask for
    (void)fcntl(pipe.get(), F_SETPIPE_SZ, mostBytes);  // less serves as well, as long as we keep up
}

ReportPipe openReportPipe(const std::string& path) {
    makePipeAt(path);
    ReportPipe pipe;
    pipe.lock = lockOf(path);
    if (hasReader(path)) {
        throw WrongUse(path + ": somebody reads this pipe already");
    }
    pipe.reader = host::Descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    host::require(pipe.reader.isOpen(), path);
    if (hasWriter(pipe.reader.get())) {
        throw WrongUse(path + ": a tool from before still writes to this pipe; wait until it has ended");
    }
    makeRoom(pipe.reader);
    pipe.writer = host::Descriptor(open(path.c_str(), O_WRONLY | O_NONBLOCK));  // the tool inherits it
    host::require(pipe.writer.isOpen(), path);
    return pipe;
}

}  // namespace station
