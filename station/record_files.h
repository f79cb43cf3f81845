#pragma once

// A run as the files that other programs read.

#include <string>

#include "attempt.h"

namespace station {

constexpr int recordVersion = 1;  // of docs/record.schema.json

// The record as docs/record.schema.json describes it, UTF-8 with a line break at the end. Times are in
// seconds, to the millisecond. streamBytes and streamRecords count what came through the report pipe.
std::string recordJson(const AttemptInfo& info, const TestRun& run, const ToolEnd& end, uint64_t streamBytes,
                       uint64_t streamRecords, bool torn);

// One test case per item: failed ones fail, skipped ones and the clock that waits for a person are skipped,
// what is not known is an error. A last case "run" stands for the run as a whole. UTF-8; the operator lines
// are the suite's output.
std::string junitXml(const AttemptInfo& info, const TestRun& run);

}  // namespace station
