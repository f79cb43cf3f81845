#include "r8/driver/operator_pause.h"

#include <stddef.h>
#include <sys/select.h>
#include <unistd.h>

namespace {

constexpr size_t operatorInputBytes = 20;

// A pause that the operator's Enter cuts short. Reads at most 20 bytes into buffer, the line break replaced
// by NUL; returns the bytes before it, 0 when nothing came in time or could be read.
ssize_t waitOperator(char* buffer, unsigned seconds) {
    fd_set input;
    FD_ZERO(&input);
    FD_SET(STDIN_FILENO, &input);
    timeval timeout = {};
    timeout.tv_sec = static_cast<time_t>(seconds);
    if (select(STDIN_FILENO + 1, &input, nullptr, nullptr, &timeout) <= 0) {
        return 0;
    }
    const ssize_t length = read(STDIN_FILENO, buffer, operatorInputBytes);
    if (length <= 0) {
        return 0;
    }
    if (length > 1) {
        buffer[length - 1] = '\0';
    }
    return length - 1;
}

}  // namespace

void pauseForOperator() {
    char ignored[operatorInputBytes];
    (void)waitOperator(ignored, 1);
}
