// A character device in user space, on the emulated machine's own kernel: each request goes to the host over
// a port and comes back answered by the device model there. Started under the name "vidapp" it is the main
// application, which does nothing but run.
// usage: device PORT NAME    NAME in /dev: the control device, or another one that stands in for the clock
// chip

#include <errno.h>
#include <fcntl.h>
#include <linux/fuse.h>
#include <linux/rtc.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/uio.h>
#include <unistd.h>

#include "emulated/control_message.h"
#include "r8/contract/control_requests.h"

namespace {

constexpr char namePrefix[] = "DEVNAME=";
constexpr ControlRequest readTime = {RTC_RD_TIME, "RTC_RD_TIME", ArgumentKind::fromDriver, sizeof(rtc_time)};
constexpr size_t requestBytes = 0x21000;  // the kernel wants room for a page of header and its largest write
constexpr unsigned longestTransfer = 4096;

alignas(8) uint8_t request[requestBytes];
int cuse = -1;
int host = -1;
char deviceName[64];

const fuse_in_header& header() {
    return *reinterpret_cast<const fuse_in_header*>(request);
}

template <typename Body>
const Body& body() {
    return *reinterpret_cast<const Body*>(request + sizeof(fuse_in_header));
}

bool reply(int error, const void* first = nullptr, size_t firstBytes = 0, const void* second = nullptr,
           size_t secondBytes = 0) {
    fuse_out_header out = {};
    out.len = static_cast<uint32_t>(sizeof out + firstBytes + secondBytes);
    out.error = -error;
    out.unique = header().unique;
    const iovec pieces[] = {
        {&out, sizeof out}, {const_cast<void*>(first), firstBytes}, {const_cast<void*>(second), secondBytes}};
    return writev(cuse, pieces, 3) == static_cast<ssize_t>(out.len) || errno == ENOENT;  // interrupted
}

bool initialise() {
    cuse_init_out out = {};
    out.major = FUSE_KERNEL_VERSION;
    out.minor = FUSE_KERNEL_MINOR_VERSION;
    out.flags = CUSE_UNRESTRICTED_IOCTL;  // the sizes in the request codes are not the arguments'
    out.max_read = longestTransfer;
    out.max_write = longestTransfer;
    return reply(0, &out, sizeof out, deviceName, strlen(deviceName) + 1);
}

bool transferAll(ssize_t (*transfer)(int, void*, size_t), void* bytes, size_t size) {
    for (size_t done = 0; done < size;) {
        const ssize_t count = transfer(host, static_cast<uint8_t*>(bytes) + done, size - done);
        if (count <= 0) {
            return false;
        }
        done += static_cast<size_t>(count);
    }
    return true;
}

ssize_t writeBytes(int fd, void* bytes, size_t size) {
    return write(fd, bytes, size);
}

bool askHost(emulated::ControlMessage& message) {
    return transferAll(writeBytes, &message, sizeof message) && transferAll(read, &message, sizeof message);
}

// The kernel fetches and stores what the argument points to, once it is told how much that is.
bool wantArgument(const fuse_ioctl_in& in, const ControlRequest& known) {
    fuse_ioctl_out out = {};
    out.flags = FUSE_IOCTL_RETRY;
    out.in_iovs = known.argument == ArgumentKind::toDriver ? 1 : 0;
    out.out_iovs = known.argument == ArgumentKind::fromDriver ? 1 : 0;
    const fuse_ioctl_iovec argument = {in.arg, known.bytes};
    return reply(0, &out, sizeof out, &argument, sizeof argument);
}

bool control() {
    const fuse_ioctl_in& in = body<fuse_ioctl_in>();
    const ControlRequest* known = in.cmd == readTime.code ? &readTime : findControlRequest(in.cmd);
    const size_t bytes = known == nullptr ? 0 : known->bytes;
    if (bytes != 0 && in.in_size + in.out_size == 0) {
        return wantArgument(in, *known);
    }
    emulated::ControlMessage message = {};
    message.code = in.cmd;
    message.process = header().pid;
    message.value = bytes == 0 ? static_cast<uint32_t>(in.arg) : 0;
    message.size = static_cast<uint32_t>(bytes);
    memcpy(message.data, &in + 1, in.in_size);
    if (!askHost(message)) {
        return reply(EIO);
    }
    if (message.error != 0) {
        return reply(message.error);
    }
    fuse_ioctl_out out = {};
    out.result = message.value == 0 ? 0 : static_cast<int32_t>(message.value);
    return reply(0, &out, sizeof out, message.data, in.out_size);
}

bool answer() {
    const fuse_open_out opened = {};
    switch (header().opcode) {
        case CUSE_INIT:
            return initialise();
        case FUSE_OPEN:
            return reply(0, &opened, sizeof opened);
        case FUSE_IOCTL:
            return control();
        case FUSE_RELEASE:
        case FUSE_FLUSH:
            return reply(0);
        case FUSE_INTERRUPT:
            return true;
        default:
            return reply(ENOSYS);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (strstr(argv[0], "vidapp") != nullptr) {
        for (;;) {
            pause();
        }
    }
    if (argc != 3) {
        return 2;
    }
    snprintf(deviceName, sizeof deviceName, "%s%s", namePrefix, argv[2]);
    cuse = open("/dev/cuse", O_RDWR | O_CLOEXEC);
    host = open(argv[1], O_RDWR | O_CLOEXEC);
    while (cuse >= 0 && host >= 0) {
        const ssize_t size = read(cuse, request, sizeof request);
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size < static_cast<ssize_t>(sizeof(fuse_in_header)) || !answer()) {
            break;
        }
    }
    perror("device");
    return 1;
}
