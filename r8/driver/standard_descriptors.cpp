#include "r8/driver/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

void openStandardDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1) {
            (void)open("/dev/null", O_RDWR);  // gets the lowest number that is free, which is this one
        }
    }
}
