#pragma once

#include <string>

namespace station {

// This moment in UTC, as "2026-11-22T21:05:35Z".
std::string utcNow();

}  // namespace station
