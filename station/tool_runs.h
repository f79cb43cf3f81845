#pragma once

// The ways in which the station gets a run: it starts the tool here, on a board or through a command of the
// caller's, or it reads a stream.

#include "station/command_line.h"
#include "station/exit_status.h"

namespace station {

// The station's exit status. Both throw WrongUse when nothing was tested and no record was kept, and
// std::system_error.
ExitStatus runTool(const Options& options);
ExitStatus readRecords(const Options& options);

}  // namespace station
