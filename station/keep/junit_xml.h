#pragma once

#include <string>

#include "station/interpret/run.h"
#include "station/keep/attempt_info.h"

namespace station {

// One test case per item: failed ones fail, skipped ones and the clock that waits for a person are skipped,
// what is not known is an error. A last case "run" stands for the run as a whole. UTF-8; the operator lines
// are the suite's output.
std::string junitXml(const AttemptInfo& info, const TestRun& run);

}  // namespace station
