#pragma once

// The tool as a process of the station: what it says is passed on as it comes, until it has ended.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/descriptor.h"
#include "station/interpret/run.h"
#include "station/link/time_limit.h"

namespace station {

// Where the bytes go as they come, and a call about four times a second in between.
struct StreamHandlers {
    using Handler = std::function<void(std::string_view)>;

    Handler records;
    Handler console;  // the tool's standard output, where it is not the record stream
    Handler errors;   // its standard error
    std::function<void()> tick;
};

// SIGINT, SIGTERM and SIGHUP no longer end this process but the run; a reader of our own output that goes
// away does neither. Once, before the first of the functions below.
void takeOverSignals();

// From here on the stop signals end this process again.
void giveBackSignals();

// Readable while a stop signal is pending; reading from it would take the signal.
// Throws std::system_error.
host::Descriptor openStopSignals();

struct ToolStart {
    std::vector<std::string> command;  // found with PATH as a shell does
    // The records come through this pipe. -1: they come on standard output; what the tool prints comes on
    // standard error then.
    int reportPipe = -1;
    int input = -1;  // its standard input; -1: ours
    // The command is a link to a tool elsewhere: its standard input gets signs of life, whose end asks for
    // the tool's. It is a process group of its own, so that Ctrl-C does not cut the link before that.
    bool isLink = false;
    std::function<bool()> mustEnd;  // asked about four times a second; true: the tool is out of time
};

// Starts the command and reads until it has ended and its pipes are drained. A tool that is out of time, or a
// station that is told to stop, ends the tool with SIGTERM and, two seconds later or when told again, with
// SIGKILL; a link is given ten seconds between the end of its signs of life and SIGKILL. A program that can't
// be started shows as exit status 127. Throws std::system_error when the system has no more processes or
// descriptors: nothing was started then.
ToolEnd superviseTool(const ToolStart& start, const StreamHandlers& handlers);

// Reads the descriptor to its end, or until the station is told to stop or the time is over, all of it as
// records. The exit status of the tool stays unknown.
ToolEnd readStream(int fd, const TimeLimit& limit, const StreamHandlers& handlers);

}  // namespace station
