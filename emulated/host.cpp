#include "emulated/host.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <system_error>

namespace emulated {

TemporaryFolder::TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "r8-emulated-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    path = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

int openStopSignals() {
    sigset_t signals;
    (void)sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        (void)sigaddset(&signals, signal);
    }
    (void)sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int fd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return fd;
}

void sendAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno == EAGAIN) {
            pollfd writable = {fd, POLLOUT, 0};
            (void)poll(&writable, 1, -1);
        } else if (count < 0) {
            throw std::system_error(errno, std::generic_category(), "the emulated machine");
        } else {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }
}

}  // namespace emulated
