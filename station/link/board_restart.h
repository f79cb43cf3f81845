#pragma once

// Whether a board has started anew, seen from outside.

#include <optional>
#include <string>

#include "station/interpret/measured.h"
#include "station/link/ssh_call.h"

namespace station {

struct BootAnswer {
    std::string id;  // of the start that its kernel is in; empty: it does not answer, or with something else
    bool stopped = false;  // the station was told to stop
};
// Throws std::system_error.
BootAnswer askBootId(const BoardAddress& board);

struct RestartAnswer {
    Count seconds;  // from now on, until the board answered from another start; none: the limit was over
    bool stopped = false;  // the station was told to stop
};
// Throws std::system_error.
RestartAnswer waitForRestart(const BoardAddress& board, const std::string& bootId, double limitSeconds);

}  // namespace station
