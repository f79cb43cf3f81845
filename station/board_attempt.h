#pragma once

#include "station/command_line.h"
#include "station/exit_status.h"

namespace station {

// One attempt on a board, as runTool describes it: a call of ssh for each part of the plan.
ExitStatus runOnBoard(const Options& options);

}  // namespace station
