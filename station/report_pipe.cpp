#include "report_pipe.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "run.h"

namespace station {

namespace {

void makePipeAt(const std::string& path) {
    if (mkfifo(path.c_str(), 0600) == 0) {
        return;
    }
    check(errno == EEXIST, path);
    struct stat status = {};
    check(lstat(path.c_str(), &status) == 0, path);
    if (!S_ISFIFO(status.st_mode)) {
        throw WrongUse(path + ": something else lies where the report pipe belongs; it is left alone");
    }
}

bool hasReader(const std::string& path) {
    const Descriptor writer(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    check(writer.fd >= 0 || errno == ENXIO, path);
    return writer.fd >= 0;
}

// No read would tell a stranger's bytes from those of our tool. Without a writer a read gives the end of the
// file, with a silent one EAGAIN.
bool hasWriter(int fd) {
    int waiting = 0;
    char byte;
    return (ioctl(fd, FIONREAD, &waiting) == 0 && waiting > 0) || read(fd, &byte, 1) != 0;
}

}  // namespace

void makeRoom(int pipe) {
    constexpr int mostBytes = 1024 * 1024;       // that any user may ask for
    (void)fcntl(pipe, F_SETPIPE_SZ, mostBytes);  // less serves as well, as long as we keep up
}

ReportPipe openReportPipe(const std::string& path) {
    makePipeAt(path);
    if (hasReader(path)) {
        throw WrongUse(path + ": somebody reads this pipe already, another station perhaps");
    }
    Descriptor reader(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    check(reader.fd >= 0, path);
    if (flock(reader.fd, LOCK_EX | LOCK_NB) != 0) {  // two stations that started in the same moment
        throw WrongUse(path + ": another station reads this pipe");
    }
    if (hasWriter(reader.fd)) {
        throw WrongUse(path + ": a tool from before still writes to this pipe; wait until it has ended");
    }
    makeRoom(reader.fd);
    Descriptor writer(open(path.c_str(), O_WRONLY | O_NONBLOCK));  // the tool inherits it
    check(writer.fd >= 0, path);
    return {std::move(reader), std::move(writer)};
}

}  // namespace station
