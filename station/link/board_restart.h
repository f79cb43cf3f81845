#pragma once

// Whether a board has started anew, seen from outside.

#include <optional>
#include <string>

#include "station/interpret/measured.h"
#include "station/link/ssh_call.h"

namespace station {

// Which start of its kernel the board is in, as the kernel names it; empty when it does not answer or says
// something else. Throws std::system_error.
std::string bootIdOf(const BoardAddress& board);

// Asks until the board answers from another start than that one. Returns the seconds from now on; none when
// the limit is over or the station was told to stop. Throws std::system_error.
Count secondsUntilRestart(const BoardAddress& board, const std::string& bootId, double limitSeconds);

}  // namespace station
