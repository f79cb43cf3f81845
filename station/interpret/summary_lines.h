#pragma once

// The tool's summary, and what it prints beside its records. Lines are UTF-8, without their line break; any
// text is safe.

#include <string_view>

#include "station/interpret/run.h"

namespace station {

// A line of the summary on the pipe. One that no summary has goes to run.unknown.
void readSummaryLine(TestRun& run, std::string_view line);

// The rule above and below the summary; the board description's own frame is made of other signs.
bool isRule(std::string_view line);

// The last record of every run.
constexpr std::string_view endMarker = "R8TESTEND";

// What the tool prints directly: MAC addresses, RS485 counts, records that it lost.
void readConsoleLine(TestRun& run, std::string_view line);

}  // namespace station
