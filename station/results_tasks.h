#pragma once

// What the station does with a results folder, beside adding to it.

#include "station/exit_status.h"
#include "station/results_options.h"

namespace station {

// The station's exit status. All throw WrongUse and std::system_error.
ExitStatus reportResults(const ResultsOptions& options);
ExitStatus exportResults(const ResultsOptions& options);
ExitStatus indexResults(const ResultsOptions& options);

}  // namespace station
