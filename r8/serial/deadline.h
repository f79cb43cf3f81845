#pragma once

#include <stdint.h>

// Waits that share one budget. The budget is kept here, on CLOCK_MONOTONIC, because only some C libraries
// write the remaining time back into select's timeout.
struct Deadline {
    int64_t microseconds;  // on CLOCK_MONOTONIC
};

constexpr Deadline noDeadline = {INT64_MAX};

// The deadline that far from now.
Deadline deadlineIn(long seconds, long microseconds);

bool hasPassed(Deadline deadline);

// Wait until fd can be read or written, or until the deadline: 1 when it can, 0 when it could not in time,
// -1 with errno (EBADF for a descriptor that select(2) has no room for). A deadline that has passed still
// finds what is ready now.
int waitReadable(int fd, Deadline deadline);
int waitWritable(int fd, Deadline deadline);
