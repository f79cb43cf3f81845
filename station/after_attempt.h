#pragma once

// What a factory wants to happen behind each attempt, by a program of its own.

#include <filesystem>

#include "station/command_line.h"
#include "station/exit_status.h"
#include "station/session.h"

namespace station {

// Ends the session's attempt, then runs the program that the options name, with the record's path behind its
// arguments. That it fails, or takes longer than it may and is ended, is said on standard error and kept
// beside the record in after.txt, and changes nothing else. Returns the station's exit status.
ExitStatus finishAttempt(const Options& options, Session& session);

}  // namespace station
