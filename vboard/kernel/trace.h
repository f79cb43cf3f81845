#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "vboard/kernel/clock.h"

namespace vboard {

// One request of the tool and what became of it.
struct TraceEntry {
    Time at{0};                      // when it was asked
    std::string task;                // "main", "thread 1", "child 1", ...
    std::string request;             // libc call, or the name of an ioctl request
    std::string where;               // path behind the descriptor or in the arguments, "" where there is none
    std::string arguments;           // for people: flags, values, bytes
    std::vector<std::uint8_t> data;  // what went out with it, or came back
    unsigned option = 0;             // mode, action, queue or flags of some calls; not part of the text
    std::int64_t result = 0;
    int error = 0;         // errno, 0 for success
    bool refused = false;  // the board does not know this

    std::string text() const;
};

using Trace = std::vector<TraceEntry>;

// The whole trace, a line each.
std::string toText(const Trace& trace);

// "B5 01 07"
std::string hexText(const std::uint8_t* bytes, std::size_t size);

// "EIO" for 5; the number where the host has no name for it.
std::string errorName(int error);

// The errno with this name, or 0.
int errorNumber(std::string_view name);

}  // namespace vboard
