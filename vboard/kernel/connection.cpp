#include "vboard/kernel/connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace vboard {

namespace {

void closeOnce(int& descriptor) {
    if (descriptor != -1) {
        (void)::close(descriptor);
        descriptor = -1;
    }
}

}  // namespace

Connection::Connection() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == -1) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    ours_ = ends[0];
    toolsEnd_ = ends[1];
}

Connection::~Connection() {
    close();
}

ssize_t Connection::receive(wire::Request& request) const {
    return recv(ours_, &request, sizeof request, MSG_DONTWAIT);
}

bool Connection::isCut() const {
    pollfd end = {ours_, 0, 0};
    return poll(&end, 1, 0) == 1 && (end.revents & POLLHUP) != 0;
}

void Connection::send(const wire::Reply& reply, Connection* started) const {
    iovec part = {const_cast<wire::Reply*>(&reply), wire::replyHeaderBytes + reply.size};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (started != nullptr) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &started->toolsEnd_, sizeof started->toolsEnd_);
    }
    (void)sendmsg(ours_, &message, MSG_NOSIGNAL);
    if (started != nullptr) {
        started->closeToolsEnd();
    }
}

void Connection::closeToolsEnd() {
    closeOnce(toolsEnd_);
}

void Connection::close() {
    closeOnce(ours_);
    closeOnce(toolsEnd_);
}

}  // namespace vboard
