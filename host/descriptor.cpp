#include "host/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace host {

void require(bool fine, const std::string& what) {
    if (!fine) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

int checked(int result, const char* call) {
    require(result != -1, call);
    return result;
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
}

int Descriptor::release() {
    return std::exchange(number_, -1);
}

void Descriptor::close() {
    if (isOpen()) {
        (void)::close(release());  // what had to be on the disk was synced before
    }
}

Pipe openPipe() {
    int ends[2];
    (void)checked(pipe2(ends, O_CLOEXEC), "pipe");
    Pipe pipe = {Descriptor(ends[0]), Descriptor(ends[1])};
    (void)checked(fcntl(ends[0], F_SETFL, O_NONBLOCK), "fcntl");
    return pipe;
}

}  // namespace host
