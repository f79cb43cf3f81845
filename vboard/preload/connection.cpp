#include "vboard/preload/connection.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <utility>

namespace vboard::preload {

namespace {

constexpr int firstConnection = 500;  // far above every descriptor that the tool could mistake for its own
constexpr int mostConnections = 64;
constexpr int firstHostFile = 900;  // above every connection
constexpr int boardGoneStatus = 70;

thread_local int ownConnection = -1;
thread_local bool mayStart = false;
int passedConnection = -1;
std::atomic<std::int64_t> lastNow{0};
std::atomic<std::int64_t> lastEpoch{0};
std::atomic<bool> hasHostFiles{false};
bool isOpen[mostConnections];

[[noreturn]] void stop(const char* why) {
    (void)!::write(STDERR_FILENO, why, strlen(why));
    _exit(boardGoneStatus);
}

// Out of the low numbers, which belong to the tool.
int moveUp(int connection) {
    const int moved = fcntl(connection, F_DUPFD_CLOEXEC, firstConnection);
    if (moved < firstConnection || moved >= firstConnection + mostConnections) {
        stop("vboard: too many tasks\n");
    }
    (void)syscall(SYS_close, connection);
    isOpen[moved - firstConnection] = true;
    return moved;
}

int passedDescriptor(const msghdr& message) {
    const cmsghdr* control = CMSG_FIRSTHDR(&message);
    if (control == nullptr || control->cmsg_type != SCM_RIGHTS) {
        return -1;
    }
    int descriptor = -1;
    memcpy(&descriptor, CMSG_DATA(control), sizeof descriptor);
    return descriptor;
}

void receiveReply(wire::Reply& reply) {
    iovec part = {&reply, sizeof reply};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    ssize_t received = 0;
    do {
        received = recvmsg(ownConnection, &message, 0);
    } while (received == -1 && errno == EINTR);
    if (received < static_cast<ssize_t>(wire::replyHeaderBytes)) {
        stop("vboard: the virtual board has gone\n");
    }
    lastNow = reply.now;
    lastEpoch = reply.epoch;
    const int descriptor = passedDescriptor(message);
    if (descriptor != -1) {
        passedConnection = moveUp(descriptor);
    }
}

void startFirstTask() {
    const char* number = getenv(wire::connectionVariable);
    if (number == nullptr) {
        stop("vboard: this program was not started by the virtual board\n");
    }
    becomeTask(moveUp(atoi(number)));
}

}  // namespace

Exchange::Exchange(wire::Call call, int descriptor) {
    request.call = call;
    request.descriptor = descriptor;
}

Exchange& Exchange::argument(int index, std::int64_t value) {
    request.arguments[index] = value;
    return *this;
}

Exchange& Exchange::data(const void* bytes, std::size_t size) {
    const std::size_t fits = std::min(size, wire::dataBytes - request.size);
    if (fits != 0) {
        memcpy(request.data + request.size, bytes, fits);
    }
    request.size += static_cast<std::uint32_t>(fits);
    return *this;
}

Exchange& Exchange::text(const char* text) {
    const std::size_t size = strlen(text) + 1;
    if (size > wire::dataBytes - request.size) {
        stop("vboard: a path or command is too long for the board\n");
    }
    return data(text, size);
}

std::int64_t Exchange::perform() {
    if (ownConnection == -1) {
        startFirstTask();
    }
    if (!mayStart) {
        awaitPermission();
    }
    if (send(ownConnection, &request, wire::requestHeaderBytes + request.size, MSG_NOSIGNAL) == -1) {
        stop("vboard: the virtual board has gone\n");
    }
    receiveReply(reply);
    if (reply.signal != 0) {
        (void)raise(reply.signal);
    }
    if (reply.error != 0) {
        errno = reply.error;
        return -1;
    }
    return reply.result;
}

std::int64_t monotonicNanoseconds() {
    return lastNow;
}

std::int64_t wallClockNanoseconds() {
    constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
    return lastEpoch * nanosecondsPerSecond + lastNow;
}

bool isHostDescriptor(int descriptor) {
    return descriptor == STDOUT_FILENO || descriptor == STDERR_FILENO ||
           (hasHostFiles && descriptor >= firstHostFile);
}

bool isHostPath(const char* path) {
    const char* folder = getenv(wire::hostFolderVariable);
    const std::size_t length = folder == nullptr ? 0 : strlen(folder);
    return length != 0 && strncmp(path, folder, length) == 0 && path[length] == '/';
}

int openHostFile(const char* path, int flags, mode_t mode) {
    const auto low = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
    if (low == -1) {
        return -1;
    }
    hasHostFiles = true;
    const int moved = fcntl(low, F_DUPFD_CLOEXEC, firstHostFile);
    (void)syscall(SYS_close, low);
    return moved;
}

int takePassedConnection() {
    return std::exchange(passedConnection, -1);
}

void becomeTask(int connection) {
    ownConnection = connection;
    mayStart = false;
}

void awaitPermission() {
    wire::Reply permission;
    receiveReply(permission);
    mayStart = true;
    if (permission.signal != 0) {
        (void)raise(permission.signal);
    }
}

void dropInheritedConnections() {
    for (int i = 0; i < mostConnections; ++i) {
        if (isOpen[i] && firstConnection + i != passedConnection) {
            closeConnection(firstConnection + i);
        }
    }
}

void closeConnection(int connection) {
    isOpen[connection - firstConnection] = false;  // before another task may get the same number
    (void)syscall(SYS_close, connection);
}

}  // namespace vboard::preload
