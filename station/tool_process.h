#pragma once

// The report pipe and the process that writes to it.

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "files.h"
#include "run.h"

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

// The pipe's place is taken; nothing was started and nothing was changed.
struct PipeRefused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct ReportPipe {
    Descriptor reader;
    Descriptor writer;  // never used: with it the pipe has no end each time that somebody closes it
};

// The report pipe, made at that path when there is none, ready for a tool to open. Throws PipeRefused
// where something else lies, and where another station reads or another tool still writes.
ReportPipe openReportPipe(const std::string& path);

// Starts the command and reads until it has ended and its pipes are drained. timeoutSeconds 0: none. A tool
// that is out of time, or a station that is told to stop, ends the tool with SIGTERM and, two seconds later,
// with SIGKILL. Throws std::system_error when the command can't be started.
ToolEnd superviseTool(const std::vector<std::string>& command, int reportPipe, double timeoutSeconds,
                      const StreamHandlers& handlers);

// Reads the descriptor to its end, all of it as records.
ToolEnd readStream(int fd, const StreamHandlers& handlers);

}  // namespace station
