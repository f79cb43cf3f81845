#pragma once

// A run again from the lines that its record kept.

#include <filesystem>
#include <string>
#include <vector>

#include "station/interpret/run.h"

namespace station {

struct RecordedRun {
    std::string unit;                      // empty on a bench
    TestRun run;                           // of the full run
    std::vector<std::string> singleItems;  // of the plan's single tests, in the record's order
};

// Of an attempt's folder. Throws WrongUse where its record can't be read or says that the unit did not pass.
RecordedRun readPassedRun(const std::filesystem::path& folder);

}  // namespace station
