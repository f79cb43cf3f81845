#pragma once

#include <sys/types.h>

#include "host/descriptor.h"
#include "vboard/wire.h"

namespace vboard {

// The board's end of a task's connection, and the tool's end until the tool has it.
class Connection {
  public:
    Connection();  // throws std::system_error

    int toolsEnd() const { return toolsEnd_.get(); }
    int descriptor() const { return ours_.get(); }  // to poll for requests

    // What comes at once: the size of the request, 0 when the task has ended, or -1 with errno.
    ssize_t receive(wire::Request& request) const;

    bool isCut() const;  // the tool's end is gone

    // started: a new task's connection, whose other end goes along. A task that has ended meanwhile shows at
    // the next receive.
    void send(const wire::Reply& reply, Connection* started) const;

    void closeToolsEnd();  // the tool has it, or will never have it
    void close();

  private:
    host::Descriptor ours_;
    host::Descriptor toolsEnd_;
};

}  // namespace vboard
