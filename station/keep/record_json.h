#pragma once

#include <string>

#include "station/interpret/run.h"
#include "station/keep/attempt_info.h"

namespace station {

constexpr int recordVersion = 2;  // of docs/record.schema.json

// The record as docs/record.schema.json describes it, UTF-8 with a line break at the end. Times are in
// seconds, to the millisecond.
std::string recordJson(const AttemptInfo& info, const TestRun& run, const ToolEnd& end,
                       const StreamCounts& stream);

}  // namespace station
