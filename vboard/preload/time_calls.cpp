// Waiting and the time: the libc calls, sent to the virtual board, whose clock is the only one.

#include <errno.h>
#include <sys/select.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "vboard/preload/connection.h"

using vboard::preload::Exchange;
using vboard::preload::monotonicNanoseconds;
using vboard::preload::wallClockNanoseconds;
using vboard::wire::Call;

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t nanosecondsPerMicrosecond = 1'000;

std::int64_t sleepNanoseconds(std::int64_t nanoseconds) {
    Exchange exchange(Call::sleep);
    (void)exchange.argument(0, nanoseconds).perform();  // an interrupted sleep says what is left
    return exchange.reply.values[0];
}

// The descriptors of the set that select(2) looks at.
std::int64_t toMask(const fd_set* set, int descriptors) {
    std::uint64_t mask = 0;
    for (int descriptor = 0; set != nullptr && descriptor < std::min(descriptors, 64); ++descriptor) {
        if (FD_ISSET(descriptor, set)) {
            mask |= std::uint64_t{1} << descriptor;
        }
    }
    return static_cast<std::int64_t>(mask);
}

void fromMask(std::int64_t mask, fd_set* set) {
    if (set == nullptr) {
        return;
    }
    FD_ZERO(set);
    for (int descriptor = 0; descriptor < 64; ++descriptor) {
        if ((static_cast<std::uint64_t>(mask) >> descriptor & 1) != 0) {
            FD_SET(descriptor, set);
        }
    }
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int select(int descriptors, fd_set* readers, fd_set* writers, fd_set* exceptions, struct timeval* timeout) {
    Exchange exchange(Call::select);
    exchange.argument(0, toMask(readers, descriptors))
        .argument(1, toMask(writers, descriptors))
        .argument(2, -1);
    if (timeout != nullptr && timeout->tv_sec < 0) {
        errno = EINVAL;
        return -1;
    }
    if (timeout != nullptr) {
        exchange.argument(
            2, timeout->tv_sec * nanosecondsPerSecond + timeout->tv_usec * nanosecondsPerMicrosecond);
    }
    const std::int64_t result = exchange.perform();
    if (result == -1) {
        return -1;
    }
    fromMask(exchange.reply.values[0], readers);
    fromMask(exchange.reply.values[1], writers);
    fromMask(0, exceptions);
    if (timeout != nullptr && exchange.reply.values[2] >= 0) {
        timeout->tv_sec = static_cast<time_t>(exchange.reply.values[2] / nanosecondsPerSecond);
        timeout->tv_usec = static_cast<suseconds_t>(exchange.reply.values[2] % nanosecondsPerSecond /
                                                    nanosecondsPerMicrosecond);
    }
    return static_cast<int>(result);
}

unsigned sleep(unsigned seconds) {
    const std::int64_t left = sleepNanoseconds(seconds * nanosecondsPerSecond);
    return static_cast<unsigned>((left + nanosecondsPerSecond - 1) / nanosecondsPerSecond);
}

int usleep(useconds_t microseconds) {
    return sleepNanoseconds(microseconds * nanosecondsPerMicrosecond) == 0 ? 0 : -1;
}

time_t time(time_t* result) noexcept {
    const auto seconds = static_cast<time_t>(wallClockNanoseconds() / nanosecondsPerSecond);
    if (result != nullptr) {
        *result = seconds;
    }
    return seconds;
}

int clock_gettime(clockid_t id, timespec* result) noexcept {
    const std::int64_t now = id == CLOCK_REALTIME ? wallClockNanoseconds() : monotonicNanoseconds();
    result->tv_sec = static_cast<time_t>(now / nanosecondsPerSecond);
    result->tv_nsec = static_cast<long>(now % nanosecondsPerSecond);
    return 0;
}

}  // extern "C"
