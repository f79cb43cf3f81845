#pragma once

// The tool as a process of the station: what it says is passed on as it comes, until it has ended.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "station/interpret/run.h"

namespace station {

// Where the bytes go as they come, and a call about four times a second in between.
struct StreamHandlers {
    std::function<void(std::string_view)> records;  // the report pipe
    std::function<void(std::string_view)> console;  // the tool's standard output
    std::function<void(std::string_view)> errors;   // its standard error
    std::function<void()> tick;
};

// SIGINT, SIGTERM and SIGHUP no longer end this process but the run; a reader of our own output that goes
// away does neither. Once, before the first of the functions below.
void takeOverSignals();

// From here on the stop signals end this process again.
void giveBackSignals();

// Starts the command, with PATH as a shell does, and reads until it has ended and its pipes are drained.
// timeoutSeconds 0: none; it is seen up to a quarter of a second late. A tool that is out of time, or a
// station that is told to stop, ends the tool with SIGTERM and, two seconds later or when told again, with
// SIGKILL. A program that can't be started shows as exit status 127. Throws std::system_error when the system
// has no more processes or descriptors: nothing was started then.
ToolEnd superviseTool(const std::vector<std::string>& command, int reportPipe, double timeoutSeconds,
                      const StreamHandlers& handlers);

// Reads the descriptor to its end, or until the station is told to stop, all of it as records. The exit
// status of the tool stays unknown.
ToolEnd readStream(int fd, const StreamHandlers& handlers);

}  // namespace station
