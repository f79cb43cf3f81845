#include "vboard/kernel/connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <cstring>

namespace vboard {

Connection::Connection() {
    int ends[2];
    (void)host::checked(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), "socketpair");
    ours_ = host::Descriptor(ends[0]);
    toolsEnd_ = host::Descriptor(ends[1]);
}

ssize_t Connection::receive(wire::Request& request) const {
    return recv(ours_.get(), &request, sizeof request, MSG_DONTWAIT);
}

bool Connection::isCut() const {
    pollfd end = {ours_.get(), 0, 0};
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
        const int descriptor = started->toolsEnd();
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    (void)sendmsg(ours_.get(), &message, MSG_NOSIGNAL);
    if (started != nullptr) {
        started->closeToolsEnd();
    }
}

void Connection::closeToolsEnd() {
    toolsEnd_.close();
}

void Connection::close() {
    ours_.close();
    toolsEnd_.close();
}

}  // namespace vboard
