#include "r8/serial/deadline.h"

#include <errno.h>
#include <sys/select.h>
#include <sys/time.h>
#include <time.h>

namespace {

constexpr int64_t microsecondsPerSecond = 1000 * 1000;
constexpr long nanosecondsPerMicrosecond = 1000;

int64_t now() {
    timespec time = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &time);  // every kernel has this clock
    return time.tv_sec * microsecondsPerSecond + time.tv_nsec / nanosecondsPerMicrosecond;
}

timeval remainingTime(Deadline deadline) {
    const int64_t left = deadline.microseconds - now();
    timeval time = {};
    if (left > 0) {
        time.tv_sec = static_cast<time_t>(left / microsecondsPerSecond);
        time.tv_usec = static_cast<suseconds_t>(left % microsecondsPerSecond);
    }
    return time;
}

bool isLimited(Deadline deadline) {
    return deadline.microseconds != noDeadline.microseconds;
}

enum class Direction { readable, writable };

int waitUntil(int fd, Deadline deadline, Direction direction) {
    if (fd < 0 || fd >= FD_SETSIZE) {
        errno = EBADF;  // a set has no room for it
        return -1;
    }
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    timeval timeout = {};
    if (isLimited(deadline)) {
        timeout = remainingTime(deadline);
    }
    return select(fd + 1, direction == Direction::readable ? &set : nullptr,
                  direction == Direction::writable ? &set : nullptr, nullptr,
                  isLimited(deadline) ? &timeout : nullptr);
}

}  // namespace

Deadline deadlineIn(long seconds, long microseconds) {
    return {now() + seconds * microsecondsPerSecond + microseconds};
}

bool hasPassed(Deadline deadline) {
    return isLimited(deadline) && now() >= deadline.microseconds;
}

int waitReadable(int fd, Deadline deadline) {
    return waitUntil(fd, deadline, Direction::readable);
}

int waitWritable(int fd, Deadline deadline) {
    return waitUntil(fd, deadline, Direction::writable);
}
