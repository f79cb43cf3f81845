#pragma once

// The named pipe that a networked tool writes its records to.

#include <string>

#include "host/descriptor.h"

namespace station {

struct ReportPipe {
    host::Descriptor reader;
    // Never used. With it the pipe has no end each time that somebody closes it, and a tool that we start
    // inherits it: one that outlives a killed station marks the pipe as taken before it has opened it itself.
    host::Descriptor writer;
    host::Descriptor lock;  // of the file beside the pipe: one station at a time
};

// The report pipe, made at that path when there is none, with a megabyte of room where the system grants it,
// ready for a tool to open. Throws WrongUse where something else lies, and where another station or anybody
// else reads or another tool still writes: nothing was started then. Asking ends a reader that waits for its
// first writer. Throws std::system_error when the path can't be used.
ReportPipe openReportPipe(const std::string& path);

// Gives a pipe as much room as the system grants, so that a terminal that is stopped for a while loses
// nothing.
void makeRoom(const host::Descriptor& pipe);

}  // namespace station
