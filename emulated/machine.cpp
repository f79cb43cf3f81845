#include "emulated/machine.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace emulated {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t readBytes = 4096;

}  // namespace

Machine::Machine(const std::filesystem::path& folder, const vboard::VirtualBoard& board,
                 const std::filesystem::path& log, int signals, unsigned sshPort, bool countsInstructions)
    : hardware_(board), plugs_(folder_.path), qemu_(folder), signals_(signals), powerOn_(SteadyClock::now()) {
    heard(Channel::panel).fd = qemu_.addChannel("panel");
    heard(Channel::rs485).fd = qemu_.addChannel("rs485");
    qemu_.add({"-chardev", "null,id=unused0", "-chardev", "null,id=unused2", "-device",
               "pci-serial-4x,chardev1=unused0,chardev2=rs485,chardev3=unused2,chardev4=panel"});
    monitor_ = qemu_.addChannel("monitor");
    qemu_.add({"-mon", "chardev=monitor,mode=control"});
    qemu_.add(hardware_.arguments());
    if (countsInstructions) {
        qemu_.add({"-icount", "shift=0,sleep=on"});
    }
    if (sshPort != 0) {
        qemu_.add({"-netdev",
                   "user,restrict=on,id=service,hostfwd=tcp:127.0.0.1:" + std::to_string(sshPort) + "-:22",
                   "-device", "virtio-net-pci,romfile=,netdev=service,mac=52:54:00:00:00:10"});
    }
    heard(Channel::output).fd = qemu_.addPort("out");
    heard(Channel::errors).fd = qemu_.addPort("err");
    heard(Channel::records).fd = qemu_.addPort("records");
    heard(Channel::clock).fd = qemu_.addPort("clock");
    heard(Channel::agent).fd = qemu_.addPort("agent");
    heard(Channel::control).fd = qemu_.addPort("control");  // the last one that the machine waits for
    qemu_.start(log);
    command("{\"execute\":\"qmp_capabilities\"}");
}

double Machine::sincePowerOn() const {
    return std::chrono::duration<double>(SteadyClock::now() - powerOn_).count();
}

// False when the channel has nothing more to say now.
bool Machine::take(Heard& channel) {
    char bytes[readBytes];
    const ssize_t count = read(channel.fd, bytes, sizeof bytes);
    if (count > 0) {
        if (channel.listener) {
            channel.listener({bytes, static_cast<std::size_t>(count)});
        }
        return true;
    }
    if (count == 0 || errno != EAGAIN) {
        stop("the emulated machine went away");
    }
    return false;
}

void Machine::hearMonitor() {
    char bytes[readBytes];
    ssize_t count;
    while ((count = read(monitor_, bytes, sizeof bytes)) > 0) {
        reply_.append(bytes, static_cast<std::size_t>(count));
    }
    for (std::size_t end; (end = reply_.find('\n')) != std::string::npos; reply_.erase(0, end + 1)) {
        if (reply_.compare(0, 8, "{\"error\"") == 0) {
            stop("qemu refused: " + reply_.substr(0, end));
        }
    }
}

void Machine::listen(std::chrono::milliseconds atMost, const std::function<void()>& afterEach) {
    std::vector<pollfd> waiting = {{signals_, POLLIN, 0}, {monitor_, POLLIN, 0}};
    for (const Heard& channel : channels_) {
        waiting.push_back({channel.fd, POLLIN, 0});
    }
    // An interrupted wait is as good as a short one.
    (void)poll(waiting.data(), waiting.size(), static_cast<int>(atMost.count()));
    if ((waiting[0].revents & POLLIN) != 0) {
        stoppedBySignal_ = true;
        stop("stopped by a signal");
    }
    hearMonitor();
    afterEach();
    for (Heard& channel : channels_) {
        while (stopReason_.empty() && take(channel)) {
            afterEach();
        }
    }
}

}  // namespace emulated
