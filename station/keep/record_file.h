#pragma once

// A record as it lies on the disk, which anybody may write to.

#include <filesystem>

#include "station/keep/json.h"

namespace station {

// The record, which is an object that has outcome, started, items and reasons as records do. Throws
// std::runtime_error that says what it is not, and std::system_error.
Json readRecordFile(const std::filesystem::path& path);

}  // namespace station
