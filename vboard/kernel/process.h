#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "vboard/kernel/connection.h"
#include "vboard/kernel/node.h"
#include "vboard/wire.h"

namespace vboard {

// One process of the tool: its open files by descriptor. A forked child shares the open files themselves.
struct Process {
    std::map<int, std::shared_ptr<OpenFile>> files;

    int lowestFreeDescriptor() const;
    std::shared_ptr<OpenFile> file(int descriptor) const;  // null when it is not open
};

// What a task waits for when a request can't be answered at once.
struct Wait {
    std::function<bool()> ready;                 // null: only time ends it
    std::optional<Time> deadline;                // null: no limit
    std::function<void(wire::Reply&)> complete;  // fills the reply when the wait ends, one way or the other
};

// One thread of control of the tool, at the other end of one connection.
struct Task {
    std::string name;
    std::shared_ptr<Process> process;
    bool isFirstOfProcess = false;
    Connection connection;
    bool running = false;
    bool ended = false;
    int pendingSignal = 0;
    std::optional<Wait> wait;
    std::uint64_t waitNumber = 0;  // tells a deadline that its wait is over already
    std::size_t traceIndex = 0;    // of its last request
    wire::Reply reply = {};        // the next answer
};

}  // namespace vboard
